// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>

namespace arvenhold::corvel::hub {

// Callbacks of the NATS client may begin after their subscription or connection is gone. The client
// is therefore given a number as the closure, never an address: the number is looked up, and the
// callback is turned away when the object has withdrawn it.
//
// 1. A callback that was let in keeps its object alive until it is through.
// 2. An object's gate counts the callbacks inside. Shutting the gate turns new ones away and waits
//    for those of other threads, so that afterwards the application's data may go too.
// 3. Nothing here calls foreign code while holding a lock.

/// Admits callbacks until it is shut. Shared by all callbacks of one provider or one consumer.
class callback_gate {
public:
    callback_gate() = default;
    callback_gate(callback_gate const&) = delete;
    callback_gate& operator=(callback_gate const&) = delete;
    ~callback_gate() = default;

    /// Turns further callbacks away, then waits until no other thread is inside one. The calling
    /// thread may be inside.
    void shut();

private:
    friend class callback_entry;

    std::mutex m_mutex;
    std::condition_variable m_left;
    int m_inside = 0;
    bool m_shut = false;

    bool enter();
    void leave();
};

/// The right of an object to be called back, from construction until it is withdrawn.
class callback_registration {
public:
    /// @param gate    Counts the callbacks.
    /// @param target  The object that is called; not kept alive.
    callback_registration(std::shared_ptr<callback_gate> gate, std::weak_ptr<void> target);
    callback_registration(callback_registration const&) = delete;
    callback_registration& operator=(callback_registration const&) = delete;
    ~callback_registration();

    /// Returns what the NATS client is given as the closure.
    void* closure() const;

    /// Ends the right; callbacks that were let in go on. Does nothing if it has ended. May be
    /// called from any thread.
    void withdraw();

private:
    void* const m_closure;
};

/// One callback on its way through, on the stack of the thread that the NATS client calls from.
class callback_entry {
public:
    explicit callback_entry(void* closure);
    callback_entry(callback_entry const&) = delete;
    callback_entry& operator=(callback_entry const&) = delete;
    ~callback_entry();

    /// Returns the object to call; null when the callback is turned away.
    void* target() const;

private:
    friend class callback_gate;

    // The entries of the calling thread, innermost first.
    // NOLINTNEXTLINE(*-avoid-non-const-global-variables): each thread has its own
    static thread_local callback_entry const* innermost_;

    std::shared_ptr<callback_gate> m_gate; // null when turned away
    std::shared_ptr<void> m_target;
    callback_entry const* m_outer = nullptr;
};

} // namespace arvenhold::corvel::hub
