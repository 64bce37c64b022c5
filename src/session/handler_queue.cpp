// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/handler_queue.hpp"

#include "session/failure_report.hpp"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <exception>
#include <iterator>
#include <system_error>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

constexpr int no_descriptor = -1;

int open_descriptor() {
    auto const descriptor = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (descriptor < 0) {
        throw std::system_error{errno, std::generic_category(), "eventfd"};
    }
    return descriptor;
}

} // namespace

handler_queue::handler_queue(std::string client_name, bool waits_for_dispatch)
    : m_client_name{std::move(client_name)}
    , m_descriptor{waits_for_dispatch ? open_descriptor() : no_descriptor} {}

handler_queue::~handler_queue() {
    if (m_descriptor != no_descriptor) {
        ::close(m_descriptor);
    }
}

void handler_queue::add(handler called) {
    add(entry{{}, std::move(called)});
}

void handler_queue::add_report(std::string subject, handler called) {
    add(entry{std::move(subject), std::move(called)});
}

void handler_queue::add(entry added) {
    if (m_descriptor == no_descriptor) {
        if (!is_closed()) {
            run(added.called);
        }
        return;
    }
    handler dropped; // destroyed without the lock
    std::scoped_lock const lock{m_mutex};
    if (m_closed) {
        return;
    }
    m_waiting.push_back(std::move(added));
    std::uint64_t const one = 1;
    // Fails only when the counter is at its maximum, and the descriptor is readable then.
    [[maybe_unused]] auto const written = ::write(m_descriptor, &one, sizeof one);
    if (m_waiting.size() > many_waiting) {
        dropped = remove_outdated();
    }
}

// Returns the oldest report with the subject of the latest one, or nothing.
handler_queue::handler handler_queue::remove_outdated() {
    auto const latest = std::prev(m_waiting.end());
    auto const found = std::find_if(m_waiting.begin(), latest, [&](entry const& waiting) {
        return waiting.subject == latest->subject;
    });
    if (found == latest || latest->subject.empty()) {
        return {};
    }
    auto removed = std::move(found->called);
    m_waiting.erase(found);
    return removed;
}

int handler_queue::get_descriptor() const {
    return m_descriptor;
}

std::size_t handler_queue::dispatch() {
    if (m_dispatching == std::this_thread::get_id()) {
        return 0;
    }
    std::scoped_lock const lock{m_dispatch_mutex};
    m_dispatching = std::this_thread::get_id();
    std::size_t count = 0;
    for (auto& waiting : take_waiting()) {
        if (!is_closed()) {
            run(waiting.called);
            ++count;
        }
        waiting.called = nullptr; // what it holds is released before the next one runs
    }
    m_dispatching = std::thread::id{};
    return count;
}

void handler_queue::wait_for_dispatch() {
    if (m_dispatching != std::this_thread::get_id()) {
        std::scoped_lock const lock{m_dispatch_mutex};
    }
}

std::vector<handler_queue::entry> handler_queue::take_waiting() {
    std::scoped_lock const lock{m_mutex};
    std::uint64_t count = 0;
    // Fails only when nothing waits. Makes the descriptor unreadable until the next handler.
    [[maybe_unused]] auto const taken = ::read(m_descriptor, &count, sizeof count);
    return std::exchange(m_waiting, {});
}

void handler_queue::close() {
    std::vector<entry> dropped; // destroyed without the lock
    std::scoped_lock const lock{m_mutex};
    m_closed = true;
    dropped.swap(m_waiting);
}

bool handler_queue::is_closed() {
    std::scoped_lock const lock{m_mutex};
    return m_closed;
}

void handler_queue::run(handler const& called) const {
    try {
        called();
    } catch (std::exception const& error) {
        report_failure(m_client_name, "a handler threw an exception", error.what());
    } catch (...) { // NOLINT(bugprone-empty-catch): it is reported, not ignored
        report_failure(m_client_name, "a handler threw something that is no std::exception");
    }
}

} // namespace arvenhold::corvel::hub
