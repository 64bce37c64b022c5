// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Compares two ways of doing the same in turns of about a millisecond each, so that other load on
// the machine affects both alike.

#pragma once

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstddef>
#include <string>

namespace arvenhold::corvel::hub::bench {

/// Returns how long `work` takes.
template <class Work>
std::chrono::nanoseconds time_of(Work const& work) {
    auto const begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::steady_clock::now() - begin;
}

/// Returns how often `turn` must do its work to take about a millisecond. A turn is a function that
/// does its work the given number of times and returns how long that took; what it prepares for it
/// does not count.
template <class Turn>
std::size_t calls_in_a_turn(Turn const& turn) {
    constexpr std::chrono::nanoseconds wanted = std::chrono::milliseconds{1};
    turn(1); // the first call finds nothing in its caches
    std::size_t calls = 1;
    while (calls < 100'000 && turn(calls) < wanted) {
        calls *= 2;
    }
    return calls;
}

/// Lets two turns alternate. The benchmark's time is that of one call of the first; its counters
/// are "ratio", the first's time to the second's, and "reference_ns", the time of one call of the
/// second.
template <class Turn, class Reference>
void run_side_by_side(benchmark::State& state, Turn const& turn, Reference const& reference) {
    using nanoseconds = std::chrono::duration<double, std::nano>;
    auto const calls = static_cast<double>(calls_in_a_turn(turn));
    auto const reference_calls = static_cast<double>(calls_in_a_turn(reference));
    double time = 0;
    double reference_time = 0;
    double turns = 0;
    while (state.KeepRunning()) {
        auto const one = nanoseconds{turn(static_cast<std::size_t>(calls))}.count() / calls;
        reference_time += nanoseconds{reference(static_cast<std::size_t>(reference_calls))}.count()
                        / reference_calls;
        time += one;
        turns += 1;
        state.SetIterationTime(one * 1e-9 * calls);
    }
    state.counters["ratio"] = time / reference_time;
    state.counters["call_ns"] = time / turns;
    state.counters["reference_ns"] = reference_time / turns;
}

/// Registers a comparison under "row/variant".
template <class Run>
void compare(std::string const& row, std::string const& variant, Run run) {
    benchmark::RegisterBenchmark((row + "/" + variant).c_str(), run)
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
}

} // namespace arvenhold::corvel::hub::bench
