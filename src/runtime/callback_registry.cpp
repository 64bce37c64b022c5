// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/callback_registry.hpp"

#include "runtime/never_destroyed.hpp"

#include <cstdint>
#include <unordered_map>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

struct callback_target {
    std::shared_ptr<callback_gate> gate;
    std::weak_ptr<void> object;
};

// Every registration of the process. A number is never used again.
class callback_registry {
public:
    void* add(callback_target target) CORVEL_HUB_EXCLUDES(m_mutex) {
        std::scoped_lock const lock{m_mutex};
        ++m_last_number;
        // NOLINTNEXTLINE(*-reinterpret-cast, performance-no-int-to-ptr): a number, never followed
        auto* const closure = reinterpret_cast<void*>(m_last_number);
        m_targets.emplace(closure, std::move(target));
        return closure;
    }

    void remove(void* closure) CORVEL_HUB_EXCLUDES(m_mutex) {
        std::scoped_lock const lock{m_mutex};
        m_targets.erase(closure);
    }

    callback_target find(void* closure) CORVEL_HUB_EXCLUDES(m_mutex) {
        std::scoped_lock const lock{m_mutex};
        auto const found = m_targets.find(closure);
        return found == m_targets.end() ? callback_target{} : found->second;
    }

private:
    std::mutex m_mutex;
    std::unordered_map<void*, callback_target> m_targets CORVEL_HUB_GUARDED_BY(m_mutex);
    std::uintptr_t m_last_number CORVEL_HUB_GUARDED_BY(m_mutex) = 0;
};

callback_registry& registry() {
    static never_destroyed<callback_registry> instance;
    return *instance;
}

} // namespace

bool callback_gate::enter() {
    std::scoped_lock const lock{m_mutex};
    if (m_shut) {
        return false;
    }
    ++m_inside;
    return true;
}

void callback_gate::leave() {
    std::scoped_lock const lock{m_mutex};
    --m_inside;
    m_left.notify_all();
}

// Not analysed: the wait releases the lock and takes it again.
void callback_gate::shut() CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
    int own = 0;
    for (auto const* entry = callback_entry::innermost_; entry != nullptr; entry = entry->m_outer) {
        own += entry->m_gate.get() == this ? 1 : 0;
    }
    std::unique_lock lock{m_mutex};
    m_shut = true;
    while (m_inside > own) {
        m_left.wait(lock);
    }
}

bool callback_gate::is_shut() {
    std::scoped_lock const lock{m_mutex};
    return m_shut;
}

callback_registration::callback_registration(
    std::shared_ptr<callback_gate> gate, std::weak_ptr<void> target)
    : m_gate{std::move(gate)}
    , m_closure{registry().add({m_gate, std::move(target)})} {}

callback_registration::~callback_registration() {
    withdraw();
}

void* callback_registration::closure() const {
    return m_closure;
}

std::shared_ptr<callback_gate> const& callback_registration::gate() const {
    return m_gate;
}

void callback_registration::withdraw() {
    registry().remove(m_closure);
}

// NOLINTNEXTLINE(*-avoid-non-const-global-variables): each thread has its own
thread_local callback_entry const* callback_entry::innermost_ = nullptr;

callback_entry::callback_entry(void* closure) {
    auto found = registry().find(closure);
    if (!found.gate || !found.gate->enter()) {
        return;
    }
    m_gate = std::move(found.gate);
    m_target = found.object.lock();
    m_outer = std::exchange(innermost_, this);
}

callback_entry::~callback_entry() {
    if (!m_gate) {
        return;
    }
    m_target.reset(); // still inside: this may be the object's end
    innermost_ = m_outer;
    m_gate->leave();
}

void* callback_entry::target() const {
    return m_target.get();
}

} // namespace arvenhold::corvel::hub
