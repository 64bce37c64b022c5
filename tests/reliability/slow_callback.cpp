// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "reliability/process_figures.hpp"
#include "reliability/row.hpp"
#include "reliability/world.hpp"
#include "support/await.hpp"

#include <atomic>
#include <chrono>
#include <thread>
#include <utility>

namespace arvenhold::corvel::hub::reliability {

std::string run_slow_callback(effort how_much);

namespace {

constexpr std::size_t variable_count = 6;

// The NATS client keeps at most 65,536 messages for a subscription; far below 1 KiB each here.
constexpr std::size_t memory_limit_kib = 65'536;

struct slow_listener {
    std::chrono::milliseconds delay;
    std::atomic<unsigned> calls{0};

    static void on_change(
        definition_fingerprint /*fingerprint*/,
        std::vector<variable_id> /*changed*/,
        provider_connection& /*connection*/,
        void* user_data) {
        auto& self = *static_cast<slow_listener*>(user_data);
        ++self.calls;
        std::this_thread::sleep_for(self.delay); // being slow is what is tested
    }
};

std::uint64_t provided_updates(variable_list& list) {
    return list.get_variables().begin()->second->get_update_count();
}

std::uint64_t consumed_updates(provider_connection& connection) {
    return connection.get_current_variables().variables->begin()->second->get_update_count();
}

} // namespace

std::string run_slow_callback(effort how_much) {
    auto const events = how_much == effort::full ? 300'000U : 100'000U;
    constexpr unsigned events_per_tick = 10; // 10,000 events in a second
    dev::dev_hub hub;
    slow_listener listener{std::chrono::seconds{1}};
    providing_application providing{hub, "boiler", variable_count};
    consuming_application consuming{hub, "monitor", "boiler"};
    auto& connection = consuming.get_connection();
    connection.set_variables_changed_callback(&slow_listener::on_change, &listener);

    auto const before = measure_process();
    auto tick = std::chrono::steady_clock::now();
    for (unsigned event = 0; event < events; ++event) {
        demand(providing.publish_all(), "publishing failed");
        if (event % events_per_tick == 0) {
            tick += std::chrono::milliseconds{1};
            std::this_thread::sleep_until(tick); // the rate of the load
        }
    }
    auto const loaded = measure_process();
    demand(
        !memory_is_meaningful || loaded.resident_kib < before.resident_kib + memory_limit_kib,
        "memory is not bounded: " + to_text(loaded));

    connection.set_variables_changed_callback(nullptr, nullptr);
    auto const is_drained = [&connection, last = std::uint64_t{0}]() mutable {
        std::this_thread::sleep_for(std::chrono::milliseconds{100}); // two readings, a moment apart
        return std::exchange(last, consumed_updates(connection)) == consumed_updates(connection);
    };
    demand(await(is_drained, std::chrono::minutes{2}), "the queue does not drain");
    connection.update_all_variables();
    demand(is_equal(providing.get_list(), connection), "one read did not make all values equal");
    auto const lost = provided_updates(providing.get_list()) - consumed_updates(connection);
    demand(lost > 0, "nothing was lost, the load is too small to show anything");
    return std::to_string(events) + " events; " + std::to_string(listener.calls)
         + " slow calls; memory from " + std::to_string(before.resident_kib) + " to "
         + std::to_string(loaded.resident_kib)
         + " KiB; the loss shows in the update counts of a variable: " + std::to_string(lost)
         + " fewer at the consumer";
}

} // namespace arvenhold::corvel::hub::reliability
