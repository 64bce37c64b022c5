// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/fake_nats/delivery.hpp"

#include <utility>

namespace arvenhold::corvel::hub::fakes {

delivery_control::delivery_control(std::mutex& mutex, std::condition_variable& changed)
    : m_mutex{mutex}
    , m_changed{changed} {}

void delivery_control::post(delivery_thread& thread, delivery_thread::delivery delivery) {
    thread.waiting.push_back(std::move(delivery));
    if (!thread.thread.joinable()) {
        thread.thread = std::thread{[this, &thread] {
            run_deliveries(thread);
        }};
    }
    m_changed.notify_all();
}

void delivery_control::hold() {
    m_is_held = true;
}

void delivery_control::release() {
    m_is_held = false;
    m_changed.notify_all();
}

bool delivery_control::is_idle(delivery_thread const& thread) {
    return thread.waiting.empty() && !thread.is_busy;
}

void delivery_control::stop(delivery_thread& thread) {
    {
        std::scoped_lock const lock{m_mutex};
        m_is_stopping = true;
        m_changed.notify_all();
    }
    if (thread.thread.joinable()) {
        thread.thread.join();
    }
}

void delivery_control::run_deliveries(delivery_thread& thread) {
    std::unique_lock lock{m_mutex};
    while (!m_is_stopping) {
        if (m_is_held || thread.waiting.empty()) {
            m_changed.wait(lock);
            continue;
        }
        auto const delivery = std::move(thread.waiting.front());
        thread.waiting.pop_front();
        thread.is_busy = true;
        lock.unlock();
        delivery.run();
        lock.lock();
        thread.is_busy = false;
        m_changed.notify_all();
    }
}

} // namespace arvenhold::corvel::hub::fakes
