// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/supervisor.hpp"

#include "corvelctl/terminal_screen.hpp"
#include "corvelctl/time_text.hpp"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <system_error>
#include <utility>

namespace arvenhold::corvel::hub::ctl {

namespace {

using std::chrono::milliseconds;

sigset_t get_signals() {
    sigset_t signals{};
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    return signals;
}

exit_code get_code(int signal_number) {
    return signal_number == SIGINT ? exit_code::interrupted : exit_code::terminated;
}

int open_signals() {
    auto const signals = get_signals();
    auto const descriptor = ::signalfd(-1, &signals, SFD_CLOEXEC);
    if (descriptor < 0) {
        throw std::system_error{errno, std::generic_category(), "cannot watch for signals"};
    }
    return descriptor;
}

// The next pending signal; nothing if there is none.
std::optional<int> read_signal(pollfd const& watched) {
    signalfd_siginfo received{};
    if ((watched.revents & POLLIN) == 0
        || ::read(watched.fd, &received, sizeof received) != sizeof received) {
        return std::nullopt;
    }
    return static_cast<int>(received.ssi_signo);
}

[[noreturn]] void end_at_once(exit_code code) {
    restore_terminal();
    std::_Exit(static_cast<int>(code));
}

} // namespace

void supervisor::block_signals() {
    auto const signals = get_signals();
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN)); // writing reports a closed pipe instead
}

supervisor::supervisor(std::function<exit_code(failure const&)> report, exit_code stuck)
    : m_report{std::move(report)}
    , m_stuck{stuck}
    , m_signals{open_signals()} {
    m_thread = std::thread{[this] {
        run();
    }};
}

supervisor::~supervisor() {
    wait_for_report();
    {
        std::scoped_lock const lock{m_mutex};
        m_ended = true;
    }
    wake();
    m_thread.join();
    ::close(m_signals);
}

void supervisor::set_time(milliseconds limit) {
    {
        std::scoped_lock const lock{m_mutex};
        m_limit = limit;
        m_deadline = clock::now() + limit;
    }
    wake();
}

milliseconds supervisor::get_time_left() const {
    std::scoped_lock const lock{m_mutex};
    if (!m_deadline.has_value()) {
        return std::chrono::hours{24};
    }
    auto const left = std::chrono::ceil<milliseconds>(*m_deadline - clock::now());
    return std::clamp<milliseconds>(left, milliseconds{1}, std::chrono::hours{24});
}

void supervisor::set_step(std::string doing) {
    std::scoped_lock const lock{m_mutex};
    m_step = std::move(doing);
}

void supervisor::last_until_signal() {
    std::scoped_lock const lock{m_mutex};
    m_lasts = true;
}

void supervisor::end_soon(exit_code code) {
    {
        std::unique_lock lock{m_mutex};
        m_changed.wait(lock, [this] { return !m_reports; });
        limit_end_locked(code); // under the same lock, so that no report begins in between
    }
    m_changes.raise();
}

void supervisor::limit_end(exit_code code) {
    {
        std::scoped_lock const lock{m_mutex};
        limit_end_locked(code);
    }
    m_changes.raise();
}

void supervisor::limit_end_locked(exit_code code) {
    constexpr std::chrono::seconds enough{2};
    if (!m_late.has_value()) {
        m_late = code;
        m_deadline = clock::now() + enough;
    }
}

int supervisor::get_signal_descriptor() const {
    return m_asked.get_descriptor();
}

std::optional<exit_code> supervisor::wait_for_signal(clock::time_point limit) {
    std::unique_lock lock{m_mutex};
    m_changed.wait_until(lock, limit, [this] { return m_woken || m_signal.has_value(); });
    m_woken = false;
    return m_signal;
}

void supervisor::wake() {
    {
        std::scoped_lock const lock{m_mutex};
        m_woken = true;
    }
    m_changed.notify_all();
    m_changes.raise();
}

void supervisor::run() {
    std::array<pollfd, 2> watched{
        {{m_signals, POLLIN, 0}, {m_changes.get_descriptor(), POLLIN, 0}}};
    for (;;) {
        ::poll(watched.data(), watched.size(), get_poll_time());
        if ((watched[1].revents & POLLIN) != 0) {
            m_changes.lower();
        }
        if (auto const number = read_signal(watched[0])) {
            handle_signal(*number);
        }
        std::unique_lock lock{m_mutex};
        if (m_ended) {
            return;
        }
        lock.unlock();
        end_if_late();
    }
}

void supervisor::end_if_late() {
    std::unique_lock lock{m_mutex};
    if (!m_deadline.has_value() || clock::now() < *m_deadline) {
        return;
    }
    if (m_late.has_value()) {
        end_at_once(*m_late);
    }
    if (!m_lasts) {
        m_reports = true;
        lock.unlock();
        end_for_time();
    }
}

// The command has ended while its time was up. It ends as reported, and the report needs the output.
void supervisor::wait_for_report() {
    std::unique_lock lock{m_mutex};
    m_changed.wait(lock, [this] { return !m_reports; });
}

// No destructor runs, because another thread may be waiting in the library for seconds more.
void supervisor::handle_signal(int number) {
    {
        std::scoped_lock const lock{m_mutex};
        if (!m_lasts || m_signal.has_value()) {
            end_at_once(get_code(number));
        }
        m_signal = get_code(number);
    }
    limit_end(get_code(number)); // first, so that the command may give itself more time
    m_changed.notify_all();
    m_asked.raise();
}

void supervisor::end_for_time() {
    constexpr milliseconds enough{std::chrono::seconds{30}};
    std::string step;
    milliseconds limit{};
    {
        std::scoped_lock const lock{m_mutex};
        step = m_step;
        limit = m_limit;
    }
    failure const ended{
        exit_code::timed_out,
        "timeout after " + make_readable(limit) + " while " + step,
        "give it more time with --timeout " + make_readable(std::max(enough, 2 * limit))
            + ", or see what happens with --verbose"};
    // The report may wait for a stuck reader; this thread still handles signals and ends the program.
    limit_end(m_stuck);
    std::thread{[this, ended] {
        end_at_once(m_report(ended));
    }}.detach();
}

// In milliseconds; -1 for no limit.
int supervisor::get_poll_time() const {
    {
        std::scoped_lock const lock{m_mutex};
        if (!m_deadline.has_value() || (m_lasts && !m_late.has_value())) {
            return -1;
        }
    }
    return static_cast<int>(get_time_left().count());
}

} // namespace arvenhold::corvel::hub::ctl
