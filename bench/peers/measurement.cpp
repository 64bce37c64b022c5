// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "measurement.hpp"

#include <time.h> // NOLINT(modernize-deprecated-headers): the clocks of POSIX
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <thread>
#include <vector>

namespace arvenhold::corvel::hub::peers {

namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr seconds connect_limit{10};
constexpr milliseconds warm_up_pause{10};
constexpr milliseconds warm_up_rest{100};
constexpr milliseconds warm_up_duration{100};
constexpr milliseconds back_to_back_duration{700};
constexpr milliseconds slow_interval{2}; // and up to another, lest it keep step with a timer
constexpr std::size_t slow_updates = 350;
static_assert(slow_updates < progress::delays_kept);

constexpr microseconds check_interval{200};
constexpr milliseconds lost_after{1000};

// More than any of the peers needs to be as fast as it can, and less than any of them drops.
constexpr std::uint64_t most_updates_in_flight = 16'384;
constexpr std::uint64_t most_values_in_flight = 100'000;

double processor_time_of(pid_t process) {
    clockid_t clock{};
    timespec time{};
    if (::clock_getcpuclockid(process, &clock) != 0 || ::clock_gettime(clock, &time) != 0) {
        throw std::runtime_error{"cannot tell the processor time of a process"};
    }
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

} // namespace

measurement::measurement(
    publisher& source, progress& shared, std::size_t count, pid_t server_process)
    : m_publisher{source}
    , m_progress{shared}
    , m_count{count}
    , m_window{std::min<std::uint64_t>(most_updates_in_flight, most_values_in_flight / count)}
    , m_server_process{server_process} {}

void measurement::warm_up() {
    auto const end = now() + connect_limit;
    while (m_progress.received == 0) {
        if (now() > end) {
            throw std::runtime_error{"nothing arrives"};
        }
        publish_one();
        std::this_thread::sleep_for(warm_up_pause);
    }
    std::this_thread::sleep_for(warm_up_rest);
    publish_for(warm_up_duration);
}

throughput measurement::publish_back_to_back() {
    auto const numbers_before = m_number;
    auto const received_before = m_progress.received.load();
    auto const processor_before = read_processor_times();
    auto const begin = now();

    publish_for(back_to_back_duration);

    auto const processor = read_processor_times();
    auto const duration = std::chrono::nanoseconds{m_progress.arrived} - begin;
    auto const published = static_cast<double>(m_number - numbers_before);
    auto const received = static_cast<double>(m_progress.received - received_before);
    auto const values = received * static_cast<double>(m_count);
    auto const per_million = [&](std::size_t which) {
        return (processor.at(which) - processor_before.at(which)) / values * 1e6;
    };
    return {
        values / std::chrono::duration<double>{duration}.count(),
        1 - received / published,
        per_million(0),
        per_million(1),
        per_million(2)};
}

latency measurement::publish_slowly() {
    auto const first = m_number + 1;
    auto const received_before = m_progress.received.load();
    auto next = std::chrono::steady_clock::now();
    for (std::size_t sent = 0; sent < slow_updates; ++sent) {
        next += slow_interval + microseconds{sent * 617 % 1000};
        std::this_thread::sleep_until(next);
        publish_one();
    }
    wait_until_at_most_in_flight(0);
    if (m_progress.received - received_before != slow_updates) {
        throw std::runtime_error{"an update was lost at a low rate"};
    }
    std::vector<double> delays;
    for (auto number = first; number <= m_number; ++number) {
        delays.push_back(
            static_cast<double>(m_progress.delays.at(number % progress::delays_kept)) / 1000);
    }
    std::sort(delays.begin(), delays.end());
    return {delays.at(slow_updates / 2), delays.at(slow_updates * 99 / 100)};
}

void measurement::publish_one() {
    ++m_number;
    m_publisher.publish({m_number, now()});
}

// When this returns, everything has arrived or is lost.
void measurement::publish_for(milliseconds duration) {
    auto const end = now() + duration;
    while (now() < end) {
        if (m_number - m_settled >= m_window) {
            wait_until_at_most_in_flight(m_window / 2);
        }
        publish_one();
    }
    wait_until_at_most_in_flight(0);
}

void measurement::wait_until_at_most_in_flight(std::uint64_t limit) {
    m_settled = std::max(m_settled, m_progress.latest.load());
    auto last_change = now();
    while (m_number - m_settled > limit) {
        std::this_thread::sleep_for(check_interval);
        auto const latest = m_progress.latest.load();
        if (latest > m_settled) {
            m_settled = latest;
            last_change = now();
        } else if (now() - last_change > lost_after) {
            m_settled = m_number;
        }
    }
}

measurement::processor_times measurement::read_processor_times() const {
    return {
        processor_time_of(::getpid()),
        processor_time_of(m_progress.subscriber_process),
        m_server_process != 0 ? processor_time_of(m_server_process) : 0};
}

} // namespace arvenhold::corvel::hub::peers
