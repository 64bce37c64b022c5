// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The other process of the end-to-end comparisons, seen from the one that receives and measures.

#pragma once

#include "dev_hub/child_process.hpp"
#include "dev_hub/dev_hub.hpp"
#include "end_to_end.hpp"
#include "support/raw_nats.hpp"
#include <hub/hub.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace arvenhold::corvel::hub::bench {

inline constexpr std::chrono::seconds patience{60};

/// Returns the value below which the given share of the values lies.
inline double percentile(std::vector<std::int64_t> values, double share) {
    auto const position =
        static_cast<std::ptrdiff_t>(static_cast<double>(values.size() - 1) * share);
    std::nth_element(values.begin(), values.begin() + position, values.end());
    return static_cast<double>(values[static_cast<std::size_t>(position)]);
}

/// Counts events, and records when the first and the last arrived and how long each was in flight.
class arrivals {
public:
    void expect(std::size_t count) {
        std::scoped_lock const lock{m_mutex};
        m_expected = count;
        m_count = 0;
        m_delays.clear();
        m_delays.reserve(std::min<std::size_t>(count, 100'000));
        m_done = false;
    }

    void take(std::int64_t sent) {
        auto const now = now_in_nanoseconds();
        std::scoped_lock const lock{m_mutex};
        m_delays.push_back(now - sent);
        if (m_count++ == 0) {
            m_first = now;
        }
        m_last = now;
        m_done = m_count >= m_expected;
    }

    void wait() const {
        auto const deadline = std::chrono::steady_clock::now() + patience;
        while (!m_done) {
            if (std::chrono::steady_clock::now() > deadline) {
                throw std::runtime_error{"messages are missing"};
            }
            std::this_thread::sleep_for(std::chrono::microseconds{200});
        }
    }

    /// Valid once waited for.
    [[nodiscard]] std::int64_t span() const {
        return m_last - m_first;
    }

    [[nodiscard]] std::vector<std::int64_t> const& delays() const {
        return m_delays;
    }

private:
    std::mutex m_mutex;
    std::size_t m_expected = 0;
    std::size_t m_count = 0;
    std::int64_t m_first = 0;
    std::int64_t m_last = 0;
    std::vector<std::int64_t> m_delays;
    std::atomic<bool> m_done{true};
};

class bench_consumer {
public:
    explicit bench_consumer(dev::dev_hub& hub, std::string const& name = "watcher")
        : m_consumer{name, false, nullptr, nullptr} {
        m_consumer.connect(
            hub.get_nats_server().get_url(),
            hub.get_token_endpoint().get_url(),
            "developer",
            "developer-secret");
    }

    /// Counts the provider's events.
    std::shared_ptr<provider_connection> follow(std::string const& provider, arrivals& counted) {
        auto connection = m_consumer.attach_to_provider(provider);
        connection->set_variables_changed_callback(
            [](definition_fingerprint /*fingerprint*/,
               std::vector<variable_id> changed,
               provider_connection& from,
               void* user_data) {
                if (changed.empty()) {
                    return; // what a provider publishes after it has reconnected
                }
                auto const current = from.get_current_variables();
                if (!current.variables) {
                    return; // disconnected a moment ago
                }
                auto const& first = current.variables->at(changed.front());
                static_cast<arrivals*>(user_data)->take(
                    first->get_last_publish_timestamp().time_since_epoch().count());
            },
            &counted);
        return connection;
    }

private:
    consumer m_consumer;
};

/// A hub, and a process with providers that send on request.
class sending_process {
public:
    sending_process() {
        if (!m_process.wait_until_output_contains("ready", patience)) {
            throw std::runtime_error{"the sender does not start: " + m_process.get_output()};
        }
    }

    [[nodiscard]] dev::dev_hub& hub() {
        return m_hub;
    }

    [[nodiscard]] dev::child_process& process() {
        return m_process;
    }

    /// Sends and waits until everything has arrived. Returns the other process's processor time in
    /// microseconds. See the sender for what it understands.
    double send(
        arrivals& counted,
        std::string const& what,
        std::string const& target,
        std::size_t events,
        int gap = 0) {
        counted.expect(events);
        auto const used = order(what, target, events, gap);
        counted.wait();
        return std::stod(used);
    }

    /// The same, but waits for nothing and returns the sender's answer.
    std::string order(
        std::string const& what, std::string const& target, std::size_t events = 0, int gap = 0) {
        return m_control.request(
            control_subject,
            what + " " + target + " " + std::to_string(events) + " " + std::to_string(gap));
    }

private:
    dev::dev_hub m_hub;
    dev::child_process m_process{
        CORVEL_HUB_BENCH_SENDER,
        {m_hub.get_nats_server().get_url(),
         m_hub.get_token_endpoint().get_url(),
         m_hub.get_nats_server().get_token()}};
    raw_nats m_control{m_hub.get_nats_server().get_url(), m_hub.get_nats_server().get_token()};
};

} // namespace arvenhold::corvel::hub::bench
