// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "attach_bench.hpp"

#include "dev_hub/child_process.hpp"
#include "dev_hub/dev_hub.hpp"
#include "end_to_end.hpp"
#include "support/simulated_providers.hpp"
#include <hub/hub.hpp>
#include <hub/session/consumer_session.hpp>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

namespace arvenhold::corvel::hub::bench {

namespace {

constexpr std::chrono::seconds patience{60};
constexpr std::size_t provider_count = 1'000;
constexpr std::size_t variables = 100;
constexpr std::size_t thread_count = 8;
constexpr char const* session_order = "session";

dev::dev_hub_options options_of_hub() {
    dev::dev_hub_options options;
    options.registry.verdict_delay = std::chrono::milliseconds{0};
    options.registry.probe_interval =
        std::chrono::hours{1}; // probes take time from the measurement
    return options;
}

std::size_t threads() {
    using std::filesystem::directory_iterator;
    return static_cast<std::size_t>(
        std::distance(directory_iterator{"/proc/self/task"}, directory_iterator{}));
}

double resident_kib() {
    std::ifstream file{"/proc/self/statm"};
    double total_pages = 0;
    double resident_pages = 0;
    file >> total_pages >> resident_pages;
    return resident_pages * static_cast<double>(::sysconf(_SC_PAGESIZE)) / 1024;
}

template <class Work>
double milliseconds_of(Work const& work) {
    auto const begin = now_in_nanoseconds();
    work();
    return static_cast<double>(now_in_nanoseconds() - begin) / 1e6;
}

void attach_one_by_one(consumer& attaching) {
    auto const threads_before = threads();
    auto const resident_before = resident_kib();
    auto const first =
        milliseconds_of([&] { attaching.attach_to_provider(simulated_provider(0)); });
    auto const others = milliseconds_of([&] {
        for (std::size_t number = 1; number < provider_count; ++number) {
            attaching.attach_to_provider(simulated_provider(number));
        }
    });
    print("18", "N=1, ms", first);
    print("18", "N=1000, ms each", (first + others) / provider_count);
    print(
        "18",
        "threads each",
        static_cast<double>(threads() - threads_before) / static_cast<double>(provider_count));
    print("18", "KiB each", (resident_kib() - resident_before) / provider_count);
}

void attach_from_threads(consumer& attaching) {
    std::atomic<std::size_t> next{0};
    auto const attach_rest = [&] {
        for (auto number = next++; number < provider_count; number = next++) {
            attaching.attach_to_provider(simulated_provider(number));
        }
    };
    auto const all = milliseconds_of([&] {
        std::vector<std::jthread> running;
        for (std::size_t thread = 0; thread < thread_count; ++thread) {
            running.emplace_back(attach_rest);
        }
    });
    print("18", std::to_string(thread_count) + " threads, ms each", all / provider_count);
}

void follow_all(hub_access const& access) {
    auto const resident_before = resident_kib();
    consumer_session following{"panel", access};
    auto const all = following.follow_all("**", "**");
    auto const time = milliseconds_of([&] {
        following.start();
        following.wait_until_ready(patience);
    });
    print("25", "all live, ms", time);
    print("25", "threads", static_cast<double>(threads()));
    print("25", "KiB each", (resident_kib() - resident_before) / provider_count);
    auto const now = all.now();
    auto const live = std::count_if(now.begin(), now.end(), [](auto const& reading) {
        return reading.freshness == freshness::live;
    });
    if (live != provider_count * variables) {
        throw std::runtime_error{"only " + std::to_string(live) + " values are live"};
    }
}

// Starts processes that print their figures, one for each order, in turns.
void run_processes(int rounds, std::vector<std::string> const& orders) {
    dev::dev_hub hub{options_of_hub()};
    simulated_providers const providers{hub, provider_count, variables};
    for (int round = 0; round < rounds; ++round) {
        for (auto const& order : orders) {
            dev::child_process const attaching{
                "/proc/self/exe",
                {attaching_role,
                 order,
                 hub.get_nats_server().get_url(),
                 hub.get_token_endpoint().get_url()}};
            if (!attaching.wait_until_ended(patience) || attaching.get_exit_code() != 0) {
                throw std::runtime_error{"cannot attach: " + attaching.get_output()};
            }
            std::cout << attaching.get_output() << std::flush;
        }
    }
}

} // namespace

void measure_attaching(effort const& planned) {
    run_processes(planned.rounds, {"one-by-one", "from-threads"});
}

void measure_following(effort const& planned) {
    run_processes(planned.rounds, {session_order});
}

void attach_and_print(std::vector<std::string> const& arguments) {
    hub_access const access{arguments.at(1), arguments.at(2), "developer", "developer-secret", {}};
    if (arguments.at(0) == session_order) {
        follow_all(access);
        return;
    }
    consumer attaching{"panel", false, nullptr, nullptr};
    attaching.connect(
        access.server_url, access.token_endpoint, access.client_id, access.client_secret);
    if (arguments.at(0) == "one-by-one") {
        attach_one_by_one(attaching);
    } else {
        attach_from_threads(attaching);
    }
}

} // namespace arvenhold::corvel::hub::bench
