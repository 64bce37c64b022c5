// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// From one process to another over a real nats-server: the library against the NATS client alone.
// Prints one line per measurement: row, variant and figure, separated by tabs. The arguments are how
// often to measure, or "quick" for once and briefly, and the rows; all by default.

#include "attach_bench.hpp"
#include "end_to_end.hpp"
#include "sending_process.hpp"
#include "session_bench.hpp"
#include <hub/hub.hpp>

#include <atomic>
#include <cstring>
#include <iostream>
#include <iterator>
#include <limits>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

namespace arvenhold::corvel::hub::bench {

namespace {

class comparison {
public:
    comparison(effort const& planned, sending_process& sender)
        : m_planned{planned}
        , m_sender{sender}
        , m_hub{sender.hub()} {
        m_raw.subscribe(raw_subject, [this](natsMsg& message) {
            std::int64_t sent = 0;
            std::memcpy(&sent, raw_nats::bytes_of(message).data(), sizeof(sent));
            m_counted.take(sent);
        });
    }

    void compare_rates() {
        for (std::size_t const size : {1U, 100U, 1000U}) {
            compare_rates_of(size);
        }
    }

    void compare_delays() {
        for (std::size_t const size : {1U, 100U, 1000U}) {
            bench_consumer watcher{m_hub};
            auto const connection = watcher.follow(provider_with(size), m_counted);
            compare_delays_of(
                "12",
                variant_of(size),
                {"library", provider_with(size)},
                {"raw", event_size(size)});
        }
    }

    void compare_delays_at_once() {
        bench_consumer watcher{m_hub};
        auto const connection = watcher.follow(provider_with(1, true), m_counted);
        compare_delays_of(
            "12b", variant_of(1), {"library", provider_with(1, true)}, {"raw-now", "120"});
    }

    void compare_reads() {
        bench_consumer watcher{m_hub};
        auto const connection = watcher.follow(provider_with(100), m_counted);
        auto const [variables, fingerprint] = connection->get_current_variables();
        std::vector<variable_id> const one{variables->begin()->first};
        auto const median_of = [](auto const& work) {
            std::vector<std::int64_t> times;
            for (int request = 0; request < 100; ++request) {
                auto const begin = now_in_nanoseconds();
                work();
                times.push_back(now_in_nanoseconds() - begin);
                std::this_thread::sleep_for(std::chrono::microseconds{2'300});
            }
            return percentile(times, 0.5);
        };
        for (int round = 0; round < m_planned.rounds; ++round) {
            auto const raw = median_of([&] { m_raw.request(echo_subject, std::string(100, 'x')); });
            auto const read =
                median_of([&, number = fingerprint] { connection->read_variables(number, one); });
            print("13", "p50", read / raw);
            print("13", "p50 in us", read / 1e3);
        }
    }

    // The provider's processor time for the same events with one consumer and with a hundred.
    void compare_audiences() {
        constexpr std::size_t events = 2'000;
        constexpr int gap = 100;
        auto const provider = provider_with(100);
        bench_consumer first{m_hub, "first"};
        auto const connection = first.follow(provider, m_counted);
        std::vector<double> alone;
        for (int round = 0; round < m_planned.rounds; ++round) {
            alone.push_back(send("library", provider, events, gap));
        }
        arrivals ignored;
        std::vector<std::unique_ptr<bench_consumer>> others;
        std::vector<std::shared_ptr<provider_connection>> connections;
        for (int other = 1; other < 100; ++other) {
            others.push_back(
                std::make_unique<bench_consumer>(m_hub, "other-" + std::to_string(other)));
            connections.push_back(others.back()->follow(provider, ignored));
        }
        for (auto const time : alone) {
            print("14", "100 / 1 consumers", send("library", provider, events, gap) / time);
        }
    }

    void time_first_value() {
        for (int round = 0; round < m_planned.rounds; ++round) {
            auto const begin = now_in_nanoseconds();
            dev::child_process const reader{
                "/proc/self/exe",
                {"first-value",
                 m_hub.get_nats_server().get_url(),
                 m_hub.get_token_endpoint().get_url(),
                 provider_with(100)}};
            if (!reader.wait_until_output_contains("value", patience)) {
                throw std::runtime_error{"no value: " + reader.get_output()};
            }
            print("16", "ms", static_cast<double>(now_in_nanoseconds() - begin) / 1e6);
        }
    }

    void time_outage() {
        bench_consumer watcher{m_hub};
        auto const connection = watcher.follow(provider_with(1), m_counted);
        constexpr std::size_t never = std::numeric_limits<std::size_t>::max();
        m_counted.expect(never);
        m_raw.publish(control_subject, "outage " + provider_with(1) + " 6000 0");
        std::this_thread::sleep_for(std::chrono::seconds{1});
        m_hub.get_nats_server().kill();
        std::this_thread::sleep_for(std::chrono::milliseconds{500});
        m_counted.expect(1);
        m_hub.get_nats_server().start();
        auto const begin = now_in_nanoseconds();
        m_counted.wait();
        print("17", "fresh values, ms", static_cast<double>(now_in_nanoseconds() - begin) / 1e6);
        auto& process = m_sender.process();
        if (process.wait_until_output_contains("longest ", patience)) {
            auto const output = process.get_output();
            auto const longest = std::stod(output.substr(output.rfind("longest ") + 8));
            print("17", "longest publish, ms", longest / 1e6);
        }
    }

private:
    effort m_planned;
    sending_process& m_sender;
    dev::dev_hub& m_hub;
    arrivals m_counted;
    raw_nats m_raw{m_hub.get_nats_server().get_url(), m_hub.get_nats_server().get_token()};

    double send(
        std::string const& what, std::string const& target, std::size_t events, int gap = 0) {
        return m_sender.send(m_counted, what, target, events, gap);
    }

    // The size of an event of the provider.
    std::string event_size(std::size_t variables) {
        std::atomic<std::size_t> size{0};
        raw_nats listener{m_hub.get_nats_server().get_url(), m_hub.get_nats_server().get_token()};
        listener.subscribe(
            "v1.loc." + provider_with(variables) + ".vars.evt.changed",
            [&](natsMsg& message) { size = raw_nats::bytes_of(message).size(); });
        while (size == 0) {
            send("library", provider_with(variables), 1);
        }
        return std::to_string(size);
    }

    static std::string variant_of(std::size_t size) {
        return "N=" + std::to_string(size);
    }

    void compare_rates_of(std::size_t size) {
        bench_consumer watcher{m_hub};
        auto const connection = watcher.follow(provider_with(size), m_counted);
        auto const bytes = event_size(size);
        // As many as the NATS client holds for a receiver that falls behind.
        auto const events = size == 1 ? 30'000U : size == 100 ? 8'000U : 1'200U;
        for (int round = 0; round < m_planned.rounds; ++round) {
            double raw = 0;
            double library = 0;
            for (int turn = 0; turn < m_planned.turns; ++turn) {
                send("raw", bytes, events);
                raw += static_cast<double>(m_counted.span());
                send("library", provider_with(size), events);
                library += static_cast<double>(m_counted.span());
            }
            print("11", variant_of(size), raw / library);
        }
    }

    void compare_delays_of(
        std::string const& row,
        std::string const& variant,
        std::pair<std::string, std::string> const& library,
        std::pair<std::string, std::string> const& raw) {
        constexpr std::size_t events = 200;
        constexpr int gap = 2'300; // no multiple of the NATS client's millisecond
        for (int round = 0; round < m_planned.rounds; ++round) {
            send(raw.first, raw.second, events, gap);
            auto const reference = m_counted.delays();
            send(library.first, library.second, events, gap);
            for (auto const& [name, share] : {std::pair{"p50", 0.5}, std::pair{"p99", 0.99}}) {
                print(
                    row,
                    variant + " " + name,
                    percentile(m_counted.delays(), share) / percentile(reference, share));
            }
            print(row, variant + " p50 in us", percentile(m_counted.delays(), 0.5) / 1e3);
        }
    }
};

// What a process does that wants one value.
void read_first_value(
    std::string const& nats_url, std::string const& token_url, std::string const& id) {
    consumer reader{"reader", true, nullptr, nullptr};
    reader.connect(nats_url, token_url, "developer", "developer-secret");
    auto const connection = reader.attach_to_provider(id);
    auto const variables = connection->get_current_variables().variables;
    std::cout << "value " << *variables->begin()->second << std::endl;
}

// Measures the chosen rows, or all.
void measure(effort const& planned, std::set<std::string> const& chosen) {
    using measurement = void (comparison::*)();
    std::vector<std::pair<std::string, measurement>> const rows{
        {"11", &comparison::compare_rates},
        {"12", &comparison::compare_delays},
        {"12b", &comparison::compare_delays_at_once},
        {"13", &comparison::compare_reads},
        {"14", &comparison::compare_audiences},
        {"16", &comparison::time_first_value},
        {"17", &comparison::time_outage}};
    auto const is_chosen = [&](std::string const& row) {
        return chosen.empty() || chosen.contains(row);
    };
    {
        sending_process sender;
        comparison running{planned, sender};
        for (auto const& [row, measure_row] : rows) {
            if (is_chosen(row)) {
                (running.*measure_row)();
            }
        }
    }
    for (auto const& [row, measure_row] :
         {std::pair{"18", &measure_attaching},
          std::pair{"22", &compare_session_delays},
          std::pair{"23", &compare_session_rates},
          std::pair{"24", &compare_session_handlers},
          std::pair{"25", &measure_following}}) {
        if (is_chosen(row)) {
            measure_row(planned);
        }
    }
}

void run(std::vector<std::string> const& arguments) {
    if (arguments.empty()) {
        throw std::invalid_argument{"usage: corvel-hub-bench-end-to-end <rounds>|quick [<row>...]"};
    }
    auto const& role = arguments.front();
    std::vector<std::string> const others{std::next(arguments.begin()), arguments.end()};
    if (role == "first-value") {
        read_first_value(others.at(0), others.at(1), others.at(2));
    } else if (role == attaching_role) {
        attach_and_print(others);
    } else if (role == "quick") {
        measure({}, {others.begin(), others.end()});
    } else {
        constexpr int turns = 16; // of up to 0.1 s
        measure({std::stoi(role), turns}, {others.begin(), others.end()});
    }
}

} // namespace

} // namespace arvenhold::corvel::hub::bench

int main(int argc, char** argv) {
    try {
        arvenhold::corvel::hub::bench::run({argv + 1, argv + argc});
    } catch (std::exception const& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
