// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session_bench.hpp"

#include "end_to_end.hpp"
#include "sending_process.hpp"
#include <hub/session/consumer_session.hpp>

#include <cstddef>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace arvenhold::corvel::hub::bench {

namespace {

constexpr std::size_t one = 1;
constexpr std::size_t many = 1'000;

// As many as the NATS client holds for a receiver that falls behind.
constexpr std::size_t events_of(std::size_t size) {
    return size == one ? 30'000 : 1'200;
}

hub_access access_to(dev::dev_hub& hub) {
    return {
        hub.get_nats_server().get_url(),
        hub.get_token_endpoint().get_url(),
        "developer",
        "developer-secret",
        {}};
}

// Counts an event for every `size` values, however they arrive.
class value_counter {
public:
    value_counter(std::size_t size, arrivals& counted)
        : m_size{size}
        , m_counted{counted} {}

    void take(variable_value const& value, variable_quality quality, timestamp when) {
        if (quality == variable_quality::good) {
            m_sum += std::get<double>(value);
        }
        if (++m_values % m_size == 0) {
            m_counted.take(when.time_since_epoch().count());
        }
    }

private:
    std::size_t const m_size;
    arrivals& m_counted;
    std::size_t m_values = 0;
    double m_sum = 0;
};

// Receives through a handler of a session, which is called with each value.
class bench_watcher {
public:
    bench_watcher(
        dev::dev_hub& hub,
        std::vector<std::string> const& providers,
        std::size_t size,
        arrivals& counted)
        : m_counter{size, counted}
        , m_session{"session-watcher", access_to(hub)} {
        for (auto const& provider : providers) {
            m_session.follow_all(provider, "**", change_queue::every(size * events_of(size)))
                .on_change([this](any_reading const& now) {
                    m_counter.take(now.value, now.quality, now.when);
                });
        }
        counted.expect(providers.size()); // all values are read at first
        m_session.start();
        counted.wait();
    }

private:
    value_counter m_counter;
    consumer_session m_session;
};

// Receives through a callback of the core, which reads each value that has changed.
class bench_reader {
public:
    bench_reader(
        dev::dev_hub& hub,
        std::vector<std::string> const& providers,
        std::size_t size,
        arrivals& counted)
        : m_counter{size, counted} {
        auto const access = access_to(hub);
        m_consumer.connect(
            access.server_url, access.token_endpoint, access.client_id, access.client_secret);
        for (auto const& provider : providers) {
            m_consumer.attach_to_provider(provider)->set_variables_changed_callback(
                [](definition_fingerprint /*fingerprint*/,
                   // NOLINTNEXTLINE(performance-unnecessary-value-param): the type of the callback
                   std::vector<variable_id> changed,
                   provider_connection& from,
                   void* user_data) { static_cast<bench_reader*>(user_data)->read(changed, from); },
                this);
        }
    }

private:
    value_counter m_counter;
    consumer m_consumer{"reader", false, nullptr, nullptr};

    void read(std::vector<variable_id> const& changed, provider_connection& from) {
        auto const current = from.get_current_variables();
        for (auto const id : changed) {
            auto const variable = current.find(id);
            auto const [value, when] = variable->get_value_with_timestamp();
            m_counter.take(value, variable->get_quality(), when);
        }
    }
};

std::string variant_of(std::size_t size) {
    return "N=" + std::to_string(size);
}

using order = std::pair<std::string, std::string>; // what sends, and which one

// Lets both send in turns of up to 0.1 s. Returns the rate of the first to that of the second.
double ratio_of_rates(
    sending_process& sender,
    arrivals& counted,
    std::size_t size,
    int turns,
    order const& measured,
    order const& reference) {
    double time = 0;
    double reference_time = 0;
    for (int turn = 0; turn < turns; ++turn) {
        sender.send(counted, reference.first, reference.second, events_of(size));
        reference_time += static_cast<double>(counted.span());
        sender.send(counted, measured.first, measured.second, events_of(size));
        time += static_cast<double>(counted.span());
    }
    return reference_time / time;
}

} // namespace

void compare_session_delays(effort const& planned) {
    sending_process sender;
    sender.order("open", "session-read", one, 1);
    sender.order("open", "session-followed", one, 1);
    arrivals counted;
    bench_reader const reader{
        sender.hub(), {provider_with(one, true), "session-read"}, one, counted};
    auto const followed_provider = followed_provider_with(one, true);
    bench_watcher const watcher{
        sender.hub(), {followed_provider, "session-followed"}, one, counted};
    auto const median_of = [&](std::string const& what, std::string const& target) {
        constexpr std::size_t events = 150;
        constexpr int gap = 2'300; // no multiple of the NATS client's millisecond
        sender.send(counted, what, target, events, gap);
        return percentile(counted.delays(), 0.5) / 1e3;
    };
    for (int round = 0; round < planned.rounds; ++round) {
        auto const plain = median_of("library", provider_with(one, true));
        auto const both = median_of("session", "session-followed");
        print("22", "p50", both / plain);
        print("22", "p50 in us", both);
        print("22", "provider, us", median_of("session", "session-read") - plain);
        print("22", "consumer, us", median_of("library", followed_provider) - plain);
    }
}

void compare_session_rates(effort const& planned) {
    sending_process sender;
    arrivals counted;
    for (auto const size : {one, many}) {
        auto const session = "session-" + std::to_string(size);
        sender.order("open", session, size);
        bench_reader const reader{sender.hub(), {provider_with(size), session}, size, counted};
        for (int round = 0; round < planned.rounds; ++round) {
            print(
                "23",
                variant_of(size),
                ratio_of_rates(
                    sender,
                    counted,
                    size,
                    planned.turns,
                    {"session", session},
                    {"measured", provider_with(size)}));
        }
    }
}

void compare_session_handlers(effort const& planned) {
    sending_process sender;
    arrivals counted;
    for (auto const size : {one, many}) {
        auto const followed = followed_provider_with(size);
        bench_reader const reader{sender.hub(), {provider_with(size)}, size, counted};
        bench_watcher const watcher{sender.hub(), {followed}, size, counted};
        for (int round = 0; round < planned.rounds; ++round) {
            print(
                "24",
                variant_of(size),
                ratio_of_rates(
                    sender,
                    counted,
                    size,
                    planned.turns,
                    {"library", followed},
                    {"library", provider_with(size)}));
        }
    }
}

} // namespace arvenhold::corvel::hub::bench
