// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What a provider does with changed values, up to the finished message.

#include "benchmarks.hpp"
#include "support/allocations.hpp"
#include "support/hand_written.hpp"
#include "support/roles.hpp"
#include "support/side_by_side.hpp"

#include <algorithm>
#include <latch>
#include <thread>

namespace arvenhold::corvel::hub::bench {

namespace {

// Publishes all values of a provider again and again. The vectors that the library takes are made
// beforehand, a few at a time, so that they do not crowd each other out of the caches.
class publication_turn {
public:
    publication_turn(connected_provider const& publisher, new_values values)
        : m_publisher{&publisher}
        , m_values{std::move(values)} {}

    std::chrono::nanoseconds operator()(std::size_t calls) const {
        constexpr std::size_t prepared_values = 64;
        auto const portion = std::max<std::size_t>(1, prepared_values / m_values.size());
        std::chrono::nanoseconds total{};
        while (calls > 0) {
            std::vector<new_values> prepared(std::min(portion, calls), m_values);
            total += time_of([&] {
                for (auto& values : prepared) {
                    m_publisher->list().bulk_publish(std::move(values), noon);
                }
            });
            calls -= prepared.size();
        }
        return total;
    }

private:
    connected_provider const* m_publisher;
    new_values m_values;
};

template <class Samples>
auto encoding_turn(Samples const& samples) {
    return [&samples](std::size_t calls) {
        return time_of([&] {
            for (std::size_t call = 0; call < calls; ++call) {
                benchmark::DoNotOptimize(encode_event(samples));
            }
        });
    };
}

void compare_doubles(benchmark::State& state, std::size_t count) {
    connected_provider const publisher{count, content::doubles};
    auto const samples = double_samples(publisher.values());
    run_side_by_side(
        state, publication_turn{publisher, publisher.values()}, encoding_turn(samples));
}

void compare_mixed(benchmark::State& state, std::size_t count) {
    connected_provider const publisher{count, content::mixed};
    auto const samples = mixed_samples(publisher.values());
    run_side_by_side(
        state, publication_turn{publisher, publisher.values()}, encoding_turn(samples));
}

void count_allocations(benchmark::State& state, std::size_t count, content kind) {
    connected_provider const publisher{count, kind};
    publisher.list().bulk_publish(publisher.values(), noon); // everything has its size afterwards
    std::size_t allocated = 0;
    double variables = 0;
    while (state.KeepRunning()) {
        auto values = publisher.values();
        auto const before = allocations();
        state.SetIterationTime(1e-9 * static_cast<double>(time_of([&] {
                                                              publisher.list().bulk_publish(
                                                                  std::move(values), noon);
                                                          }).count()));
        allocated += allocations() - before;
        variables += static_cast<double>(count);
    }
    state.counters["ratio"] = static_cast<double>(allocated) / variables;
}

// One change in a long list against one change in a list of one. Always the same variable, or each
// time one that was not touched for long.
void compare_lengths(benchmark::State& state, std::size_t distinct) {
    connected_provider const long_one{100'000, content::doubles};
    connected_provider const short_one{1, content::doubles};
    auto const ids = long_one.values(distinct);
    std::size_t next = 0;
    auto const turn = [&](std::size_t calls) {
        return time_of([&] {
            for (std::size_t call = 0; call < calls; ++call) {
                next = (next + 1) % ids.size();
                long_one.list().publish(std::get<0>(ids[next]), 1.5, noon);
            }
        });
    };
    auto const id = short_one.first_id();
    auto const reference = [&](std::size_t calls) {
        return time_of([&] {
            for (std::size_t call = 0; call < calls; ++call) {
                short_one.list().publish(id, 1.5, noon);
            }
        });
    };
    run_side_by_side(state, turn, reference);
}

// Publishes `calls` times in all from several threads, each of which has its own variables. Returns
// the time from the first thread's begin to the last one's end.
std::chrono::nanoseconds publish_from_threads(
    connected_provider const& publisher, std::size_t threads, std::size_t calls) {
    using clock = std::chrono::steady_clock;
    auto const share = publisher.size() / threads;
    std::latch ready{static_cast<std::ptrdiff_t>(threads)};
    std::vector<clock::time_point> begins(threads);
    std::vector<clock::time_point> ends(threads);
    std::vector<std::jthread> running;
    for (std::size_t thread = 0; thread < threads; ++thread) {
        auto all = publisher.values();
        auto const first = all.begin() + static_cast<std::ptrdiff_t>(thread * share);
        new_values const own(first, first + static_cast<std::ptrdiff_t>(share));
        running.emplace_back([&, own, thread] {
            std::vector<new_values> prepared(calls / threads, own);
            ready.arrive_and_wait();
            begins[thread] = clock::now();
            for (auto& values : prepared) {
                publisher.list().bulk_publish(std::move(values), noon);
            }
            ends[thread] = clock::now();
        });
    }
    running.clear();
    return *std::max_element(ends.begin(), ends.end())
         - *std::min_element(begins.begin(), begins.end());
}

// The total rate of several threads against that of one, which is the inverse of their times.
void compare_threads(benchmark::State& state, std::size_t threads, std::size_t variables) {
    auto const calls = 20'000 / variables;
    connected_provider const many{variables * threads, content::doubles};
    connected_provider const one{variables, content::doubles};
    double time = 0;
    double reference_time = 0;
    while (state.KeepRunning()) {
        auto const turn = static_cast<double>(publish_from_threads(many, threads, calls).count());
        time += turn;
        reference_time += static_cast<double>(publish_from_threads(one, 1, calls).count());
        state.SetIterationTime(turn * 1e-9);
    }
    auto const all_calls = static_cast<double>(state.iterations()) * static_cast<double>(calls);
    state.counters["ratio"] = reference_time / time;
    state.counters["call_ns"] = time / all_calls;
    state.counters["reference_ns"] = reference_time / all_calls;
}

} // namespace

void register_publish_benchmarks() {
    compare("1", "N=1000", [](auto& state) { compare_doubles(state, 1'000); });
    for (std::size_t const count : {1U, 10U, 100U, 10'000U, 100'000U}) {
        compare("2", "N=" + std::to_string(count), [count](auto& state) {
            compare_doubles(state, count);
        });
    }
    compare("3", "N=1000", [](auto& state) { compare_mixed(state, 1'000); });
    for (std::size_t const count : {100U, 1'000U, 10'000U}) {
        compare("4", "doubles N=" + std::to_string(count), [count](auto& state) {
            count_allocations(state, count, content::doubles);
        });
        compare("4", "mixed N=" + std::to_string(count), [count](auto& state) {
            count_allocations(state, count, content::mixed);
        });
    }
    compare("5", "one variable", [](auto& state) { compare_lengths(state, 1); });
    compare("5", "taking turns", [](auto& state) { compare_lengths(state, 50'000); });
    for (std::size_t const threads : {2U, 4U}) {
        for (std::size_t const count : {1U, 100U}) {
            compare(
                "6",
                std::to_string(threads) + " threads N=" + std::to_string(count),
                [threads, count](auto& state) { compare_threads(state, threads, count); });
        }
    }
}

} // namespace arvenhold::corvel::hub::bench
