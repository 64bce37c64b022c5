// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/link_watch.hpp"

#include "runtime/callback_boundary.hpp"
#include "runtime/callback_registry.hpp"
#include <hub/detail/thread_annotations.hpp>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

// A delay that nobody notices, for ten short looks a second.
constexpr std::chrono::milliseconds reading_interval{100};

void tell(link_listener const& listener, link_report const& report) {
    callback_entry const entry{listener.owner_closure};
    if (entry.target() != nullptr) {
        at_callback_boundary(listener.client_name, [&] {
            listener.callback(report.event, report.dropped_messages, listener.user_data);
        });
    }
}

} // namespace

class link_watch::progress {
public:
    void begin() CORVEL_HUB_EXCLUDES(m_mutex) {
        std::scoped_lock const lock{m_mutex};
        m_begun = true;
        m_changed.notify_all();
    }

    /// Returns whether the thread is calling the application.
    bool stop() CORVEL_HUB_EXCLUDES(m_mutex) {
        std::scoped_lock const lock{m_mutex};
        m_stopped = true;
        m_changed.notify_all();
        return m_calling;
    }

    /// Waits for begin(), then an interval; returns false at once when stopped.
    // Not analysed: the wait releases the lock and takes it again.
    bool wait_for_next_reading() CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
        std::unique_lock lock{m_mutex};
        while (!m_begun && !m_stopped) {
            m_changed.wait(lock);
        }
        auto const deadline = std::chrono::steady_clock::now() + reading_interval;
        while (!m_stopped && m_changed.wait_until(lock, deadline) != std::cv_status::timeout) {
        }
        return !m_stopped;
    }

    /// Returns whether the application may be called.
    bool begin_call() CORVEL_HUB_EXCLUDES(m_mutex) {
        std::scoped_lock const lock{m_mutex};
        m_calling = !m_stopped;
        return m_calling;
    }

    void end_call() CORVEL_HUB_EXCLUDES(m_mutex) {
        std::scoped_lock const lock{m_mutex};
        m_calling = false;
    }

    static void run(
        std::shared_ptr<progress> const& self,
        link_listener const& listener,
        std::function<link_reading()> const& read) noexcept {
        link_history history;
        while (!history.is_closed() && self->wait_for_next_reading()) {
            std::vector<link_report> reports;
            // Without memory for a reading, the next one finds what has happened.
            at_callback_boundary(listener.client_name, [&] { reports = history.update(read()); });
            self->report_to(listener, reports);
        }
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_begun CORVEL_HUB_GUARDED_BY(m_mutex) = false;
    bool m_stopped CORVEL_HUB_GUARDED_BY(m_mutex) = false;
    bool m_calling CORVEL_HUB_GUARDED_BY(m_mutex) = false;

    void report_to(link_listener const& listener, std::vector<link_report> const& reports)
        CORVEL_HUB_EXCLUDES(m_mutex) {
        for (auto const& report : reports) {
            if (!begin_call()) {
                return;
            }
            tell(listener, report);
            end_call();
        }
    }
};

link_watch::link_watch(link_listener listener, std::function<link_reading()> read)
    : m_progress{std::make_shared<progress>()}
    , m_thread{[progress = m_progress, listener = std::move(listener), read = std::move(read)] {
        progress::run(progress, listener, read);
    }} {}

link_watch::~link_watch() {
    if (m_progress->stop()) {
        m_thread.detach();
    } else {
        m_thread.join();
    }
}

void link_watch::begin() {
    m_progress->begin();
}

void link_watch::stop() {
    m_progress->stop();
}

} // namespace arvenhold::corvel::hub
