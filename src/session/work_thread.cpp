// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/work_thread.hpp"

#include <atomic>
#include <condition_variable>
#include <map>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub {

struct work_thread::queue {
    struct timer {
        work task;
        duration interval; // zero: it runs once
    };
    using timed_work = std::multimap<time_point, timer>;
    using due_timer = timed_work::node_type;

    std::atomic<std::thread::id> thread{}; // compared by is_current() on any thread

    std::mutex mutex;
    std::condition_variable changed;
    std::vector<work> posted CORVEL_HUB_GUARDED_BY(mutex);
    timed_work timed CORVEL_HUB_GUARDED_BY(mutex);
    work last CORVEL_HUB_GUARDED_BY(mutex);            // finish()'s
    bool closed CORVEL_HUB_GUARDED_BY(mutex) = false;  // nothing is accepted any more
    bool stopped CORVEL_HUB_GUARDED_BY(mutex) = false; // nothing begins any more

    bool has_due_timer() CORVEL_HUB_REQUIRES(mutex) {
        return !timed.empty() && timed.begin()->first <= std::chrono::steady_clock::now();
    }

    // Waits until there is something to do. Not analysed: the wait releases the lock.
    std::unique_lock<std::mutex> wait() CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
        std::unique_lock lock{mutex};
        while (!closed && !stopped && posted.empty() && !has_due_timer()) {
            if (timed.empty()) {
                changed.wait(lock);
            } else {
                auto const when = timed.begin()->first; // may be removed meanwhile
                changed.wait_until(lock, when);
            }
        }
        return lock;
    }

    // Returns what runs next, one of both; nothing at the end. Needs no memory. Not analysed: see
    // wait().
    bool take(due_timer& due, std::vector<work>& batch) CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
        auto const lock = wait();
        if (stopped || (closed && posted.empty())) {
            return false;
        }
        if (!closed && has_due_timer()) {
            due = timed.extract(timed.begin());
        } else {
            batch.swap(posted); // both keep their capacity
        }
        return true;
    }

    work take_last() {
        std::scoped_lock const lock{mutex};
        return std::exchange(last, nullptr);
    }

    void run(due_timer due) {
        auto const begin = std::chrono::steady_clock::now();
        due.mapped().task();
        if (due.mapped().interval == duration::zero()) {
            return;
        }
        due.key() = begin + due.mapped().interval;
        std::scoped_lock const lock{mutex};
        if (!closed) {
            timed.insert(std::move(due));
        }
    }

    // What the task holds is released before the next one runs.
    void run(work const& task) {
        {
            std::scoped_lock const lock{mutex};
            if (stopped) {
                return;
            }
        }
        task();
    }
};

work_thread::work_thread()
    : m_queue{std::make_shared<queue>()} {}

work_thread::~work_thread() {
    stop();
    join();
    std::scoped_lock const lock{m_join_mutex};
    if (m_thread.joinable()) {
        m_thread.detach(); // this is the thread; it holds what it still needs
    }
}

void work_thread::start() {
    std::scoped_lock const lock{m_join_mutex};
    if (m_thread.joinable()) {
        return;
    }
    m_thread = std::thread{[shared = m_queue] {
        run(*shared);
    }};
}

void work_thread::run(queue& shared) {
    shared.thread = std::this_thread::get_id();
    std::vector<work> batch;
    queue::due_timer due;
    while (shared.take(due, batch)) {
        if (!due.empty()) {
            shared.run(std::exchange(due, {}));
        }
        for (auto& task : batch) {
            shared.run(std::exchange(task, nullptr));
        }
        batch.clear();
    }
    if (auto const last = shared.take_last()) {
        last();
    }
}

// The work may destroy this object before this returns.
void work_thread::post(work task) {
    auto const shared = m_queue;
    {
        std::scoped_lock const lock{shared->mutex};
        if (shared->closed) {
            return;
        }
        shared->posted.push_back(std::move(task));
    }
    shared->changed.notify_one();
}

void work_thread::post_at(time_point when, work task) {
    add(when, duration::zero(), std::move(task));
}

void work_thread::repeat(duration interval, work task) {
    add(std::chrono::steady_clock::now(), interval, std::move(task));
}

void work_thread::add(time_point when, duration interval, work task) {
    auto const shared = m_queue;
    {
        std::scoped_lock const lock{shared->mutex};
        if (shared->closed) {
            return;
        }
        shared->timed.emplace(when, queue::timer{std::move(task), interval});
    }
    shared->changed.notify_one();
}

void work_thread::stop() {
    std::vector<work> dropped;
    queue::timed_work dropped_timed;
    work dropped_last;
    {
        std::scoped_lock const lock{m_queue->mutex};
        m_queue->closed = true;
        m_queue->stopped = true;
        dropped.swap(m_queue->posted);
        dropped_timed.swap(m_queue->timed);
        dropped_last.swap(m_queue->last);
    }
    m_queue->changed.notify_one();
}

void work_thread::finish(work last) {
    queue::timed_work dropped_timed;
    {
        std::scoped_lock const lock{m_queue->mutex};
        if (m_queue->closed) {
            return;
        }
        m_queue->last.swap(last);
        m_queue->closed = true;
        dropped_timed.swap(m_queue->timed);
    }
    m_queue->changed.notify_one();
}

void work_thread::join() {
    if (is_current()) {
        return;
    }
    std::scoped_lock const lock{m_join_mutex};
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

bool work_thread::is_current() const {
    return m_queue->thread.load() == std::this_thread::get_id();
}

} // namespace arvenhold::corvel::hub
