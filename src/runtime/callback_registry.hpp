// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/detail/thread_annotations.hpp>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <utility>

namespace arvenhold::corvel::hub {

// Callbacks of the NATS client may begin after their subscription or connection is gone. Their closure
// is therefore a number, never an address. The registry looks the number up and turns the callback
// away if the object has withdrawn it.
//
// 1. A callback that was let in keeps its object alive until it returns.
// 2. An object's gate counts the callbacks inside. Shutting the gate turns new ones away and waits
//    for those of other threads, so that afterwards the application's data may be destroyed too.
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
    void shut() CORVEL_HUB_EXCLUDES(m_mutex);

    /// Returns whether shut() has been called: a callback that is inside must not use the
    /// application's object any more.
    bool is_shut() CORVEL_HUB_EXCLUDES(m_mutex);

private:
    friend class callback_entry;

    std::mutex m_mutex;
    std::condition_variable m_left;
    int m_inside CORVEL_HUB_GUARDED_BY(m_mutex) = 0;
    bool m_shut CORVEL_HUB_GUARDED_BY(m_mutex) = false;

    bool enter() CORVEL_HUB_EXCLUDES(m_mutex);
    void leave() CORVEL_HUB_EXCLUDES(m_mutex);
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

    /// Returns the closure for the NATS client.
    void* closure() const;

    /// Returns the gate that counts the callbacks.
    std::shared_ptr<callback_gate> const& gate() const;

    /// Ends the right; callbacks that were let in go on. Does nothing if it has ended. May be
    /// called from any thread.
    void withdraw();

private:
    std::shared_ptr<callback_gate> const m_gate;
    void* const m_closure;
};

/// The same for an object of a given class, so that its handlers get what they expect.
template <class Owner>
class callback_registration_of : public callback_registration {
public:
    callback_registration_of(std::shared_ptr<callback_gate> gate, std::weak_ptr<Owner> owner)
        : callback_registration{std::move(gate), std::move(owner)} {}
};

/// One callback while it runs, on the stack of the thread that the NATS client calls from.
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
