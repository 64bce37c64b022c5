// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What sessions cost within a process: the time and the allocations of a call of set(), and the
// memory per variable on top of the plain provider and consumer. Prints one line per figure: row,
// variant and figure, separated by tabs. The arguments are how often to measure, and the rows.

#include "dev_hub/child_process.hpp"
#include "dev_hub/dev_hub.hpp"
#include "end_to_end.hpp"
#include "support/allocations.hpp"
#include <hub/hub.hpp>
#include <hub/session/consumer_session.hpp>
#include <hub/session/provider_session.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <iterator>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub::bench {

namespace {

constexpr std::chrono::seconds patience{60};
constexpr char const* memory_role = "memory";
constexpr std::size_t variables = 5'000; // as many as have room in one message

hub_access access_at(std::string const& nats_url, std::string const& token_url) {
    return {nats_url, token_url, "developer", "developer-secret", {}};
}

hub_access access_to(dev::dev_hub& hub) {
    return access_at(hub.get_nats_server().get_url(), hub.get_token_endpoint().get_url());
}

// With 32 characters.
std::string path_at(std::size_t position) {
    return "plant/line-04/press/" + std::to_string(100'000'000'000 + position);
}

template <class Session>
void start(Session& session) {
    session.start();
    if (!session.wait_until_ready(patience)) {
        throw std::runtime_error{"the session is not ready: " + session.get_status().text};
    }
}

// -- set() ----------------------------------------------------------------------------------------

// The median of turns of well below a millisecond, most of which nothing else interrupts.
void print_cost_of_setting(std::string const& when, variable_handle<double> const& variable) {
    constexpr int turns = 200;
    constexpr int calls = 1'000;
    variable.set(0.5); // the first one wakes the thread
    auto const allocated = allocations();
    std::array<std::int64_t, turns> times{};
    for (auto& time : times) {
        auto const begin = now_in_nanoseconds();
        for (int call = 0; call < calls; ++call) {
            variable.set(1.5);
        }
        time = now_in_nanoseconds() - begin;
    }
    print("20", when + ", allocs", static_cast<double>(allocations() - allocated));
    std::nth_element(times.begin(), std::next(times.begin(), turns / 2), times.end());
    print("20", when + ", ns", static_cast<double>(times[turns / 2]) / calls);
}

void measure_setting(dev::dev_hub& hub, int rounds) {
    provider_session unconnected{"lathe", access_to(hub)};
    auto const recorded = unconnected.declare<double>("speed", 0.5);
    provider_session ready{"press", access_to(hub)};
    auto const sent = ready.declare<double>("speed", 0.5);
    start(ready);
    for (int round = 0; round < rounds; ++round) {
        print_cost_of_setting("recorded", recorded);
        print_cost_of_setting("sent", sent);
    }
}

// -- memory ---------------------------------------------------------------------------------------

// Threads of the NATS client release messages some time after the last use.
std::size_t settled_heap_bytes() {
    constexpr int equal_looks = 20;
    auto bytes = heap_bytes();
    for (int look = 0; look < equal_looks; ++look) {
        std::this_thread::sleep_for(std::chrono::milliseconds{10});
        if (auto const now = heap_bytes(); now != bytes) {
            bytes = now;
            look = 0;
        }
    }
    return bytes;
}

// Counts what `make` leaves on the heap, per variable. Returns what it has made, too.
template <class Make>
auto measure(Make const& make) {
    auto const before = settled_heap_bytes();
    auto made = make();
    auto const after = settled_heap_bytes();
    return std::pair{
        std::move(made), (static_cast<double>(after) - static_cast<double>(before)) / variables};
}

void wait_until_published(hub_access const& access, std::string const& identifier) {
    consumer reader{"reader", false, nullptr, nullptr};
    reader.connect(
        access.server_url, access.token_endpoint, access.client_id, access.client_secret);
    auto const connection = reader.attach_to_provider(identifier);
    auto const last = std::prev(connection->get_current_variables().end())->second;
    auto const deadline = std::chrono::steady_clock::now() + patience;
    while (std::get<variable_value>(last->get_value_with_timestamp()) != variable_value{1.5}) {
        if (std::chrono::steady_clock::now() > deadline) {
            throw std::runtime_error{identifier + " publishes nothing"};
        }
        connection->update_all_variables();
    }
}

// A provider whose variables have all been published once.
auto make_provider(hub_access const& access, std::string const& identifier) {
    provider_definition definition{4711};
    for (std::size_t position = 0; position < variables; ++position) {
        definition.add_variable_definition(
            path_at(position), 0.5, variable_permissions::read_write);
    }
    definition.finalize();
    auto made = std::make_unique<provider>(identifier);
    auto const list = made->register_provider_definition(definition);
    made->connect(access.server_url, access.token_endpoint, access.client_id, access.client_secret);
    std::vector<std::tuple<variable_id, variable_value>> values;
    for (auto const& [id, variable] : list->get_variables()) {
        values.emplace_back(id, 1.5);
    }
    list->bulk_publish(std::move(values), std::chrono::system_clock::now());
    wait_until_published(access, identifier);
    return made;
}

// The same through a session; the handles belong to the application.
auto make_provider_session(hub_access const& access) {
    auto made = std::make_unique<provider_session>("session", access);
    {
        std::vector<variable_handle<double>> handles;
        for (std::size_t position = 0; position < variables; ++position) {
            handles.push_back(made->declare<double>(path_at(position), 0.5, writable));
        }
        start(*made);
        made->update([&](auto& cycle) {
            for (auto const& handle : handles) {
                cycle.set(handle, 1.5);
            }
        });
    }
    wait_until_published(access, "session");
    return made;
}

auto make_consumer(hub_access const& access) {
    auto made = std::make_unique<consumer>("panel", false, nullptr, nullptr);
    made->connect(access.server_url, access.token_endpoint, access.client_id, access.client_secret);
    made->attach_to_provider("press");
    return made;
}

auto make_consumer_session(hub_access const& access) {
    auto made = std::make_unique<consumer_session>("session-panel", access);
    made->follow_all("press", "**");
    start(*made);
    return made;
}

void print_memory(hub_access const& access) {
    auto const first = make_provider(access, "first"); // the libraries allocate at their first use
    auto const [plain_provider, of_provider] =
        measure([&] { return make_provider(access, "press"); });
    auto const [session, of_session] = measure([&] { return make_provider_session(access); });
    auto const [plain_consumer, of_consumer] = measure([&] { return make_consumer(access); });
    auto const [watcher, of_watcher] = measure([&] { return make_consumer_session(access); });
    print("21", "provider", of_session - of_provider);
    print("21", "consumer", of_watcher - of_consumer);
}

// In processes of their own, because the hub's heap changes at any time. They hardly differ.
void measure_memory(dev::dev_hub& hub, int rounds) {
    for (int round = 0; round < std::min(rounds, 3); ++round) {
        auto const access = access_to(hub);
        dev::child_process const measuring{
            "/proc/self/exe", {memory_role, access.server_url, access.token_endpoint}};
        if (!measuring.wait_until_ended(patience) || measuring.get_exit_code() != 0) {
            throw std::runtime_error{"no figures: " + measuring.get_output()};
        }
        std::cout << measuring.get_output() << std::flush;
    }
}

void run(std::vector<std::string> const& arguments) {
    if (arguments.empty()) {
        throw std::invalid_argument{"usage: corvel-hub-bench-session <rounds> [<row>...]"};
    }
    if (arguments.front() == memory_role) {
        print_memory(access_at(arguments.at(1), arguments.at(2)));
        return;
    }
    auto const rounds = std::stoi(arguments.front());
    std::set<std::string> const chosen{std::next(arguments.begin()), arguments.end()};
    dev::dev_hub hub;
    if (chosen.empty() || chosen.contains("20")) {
        measure_setting(hub, rounds);
    }
    if (chosen.empty() || chosen.contains("21")) {
        measure_memory(hub, rounds);
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
