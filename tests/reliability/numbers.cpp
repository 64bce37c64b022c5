// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "reliability/row.hpp"
#include "reliability/world.hpp"
#include "support/await.hpp"

#include <bit>
#include <cstdint>
#include <limits>
#include <variant>

namespace arvenhold::corvel::hub::reliability {

std::string run_numbers(effort how_much);

namespace {

using std::chrono::nanoseconds;

constexpr auto lowest = std::numeric_limits<std::int64_t>::min();
constexpr auto highest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t nanoseconds_per_hour = 3'600'000'000'000;
constexpr std::int64_t nanoseconds_per_microsecond = 1'000;

// What arrives when `sent` was sent: durations lose what is below a microsecond.
variable_value expected(variable_value const& sent) {
    if (auto const* const span = std::get_if<nanoseconds>(&sent)) {
        return nanoseconds{
            span->count() / nanoseconds_per_microsecond * nanoseconds_per_microsecond};
    }
    return sent;
}

// Equal to the last bit, which distinguishes -0.0 from 0.0 and one NaN from another.
bool is_same(variable_value const& left, variable_value const& right) {
    auto const* const one = std::get_if<double>(&left);
    auto const* const other = std::get_if<double>(&right);
    if (one != nullptr && other != nullptr) {
        return std::bit_cast<std::uint64_t>(*one) == std::bit_cast<std::uint64_t>(*other);
    }
    return left == right;
}

std::vector<variable_value> const& extreme_values() {
    using limits = std::numeric_limits<double>;
    static std::vector<variable_value> const values{
        lowest,
        highest,
        std::int64_t{0},
        limits::quiet_NaN(),
        -limits::quiet_NaN(),
        limits::infinity(),
        -limits::infinity(),
        -0.0,
        limits::denorm_min(),
        limits::max(),
        nanoseconds{lowest},
        nanoseconds{highest},
        nanoseconds{-1},
        nanoseconds{-1'999'999'999},
        timestamp{nanoseconds{lowest}},
        timestamp{nanoseconds{highest}}, // in the year 2262
        timestamp{nanoseconds{-1}},      // just before 1970
        timestamp{nanoseconds{-1'500'000'000}},
        std::string{},
        std::string{"zero \0 inside", 13},
        std::string(4096, '\xff'),
        true,
    };
    return values;
}

} // namespace

std::string run_numbers(effort /*how_much*/) {
    auto const& values = extreme_values();
    dev::dev_hub hub;
    provider sender{"extremes"};
    provider_definition definition{1};
    for (std::size_t position = 0; position < values.size(); ++position) {
        definition.add_variable_definition(
            "extreme-" + std::to_string(position),
            values[position],
            variable_permissions::read_write);
    }
    definition.finalize();
    auto const list = sender.register_provider_definition(definition);
    connect(sender, hub);
    consumer receiver{"monitor", false, nullptr, nullptr};
    connect(receiver, hub);
    auto const connection = receiver.attach_to_provider("extremes");

    // Once as read, and once as an event with a clock that was set back by an hour.
    auto const arrived = [&](timestamp when) {
        auto const current = connection->get_current_variables();
        std::size_t position = 0;
        for (auto const& [id, variable] : *current.variables) {
            auto const [value, time] = variable->get_value_with_timestamp();
            if (!is_same(value, expected(values[position]))
                || (when != timestamp{} && time != when)) {
                return false;
            }
            ++position;
        }
        return true;
    };
    demand(arrived({}), "a value that was read differs from the one that was set");
    timestamp const earlier = std::chrono::system_clock::now() - nanoseconds{nanoseconds_per_hour};
    std::vector<std::tuple<variable_id, variable_value>> changes;
    for (auto const& [id, variable] : list->get_variables()) {
        changes.emplace_back(id, values[changes.size()]);
    }
    list->bulk_publish(std::move(changes), earlier);
    demand(
        await([&] { return arrived(earlier); }),
        "a value or time in an event differs from the one that was set");
    return std::to_string(values.size()) + " extreme values read and received, bit by bit";
}

} // namespace arvenhold::corvel::hub::reliability
