// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// How much of the heap a variable takes.

#include "benchmarks.hpp"
#include "support/allocations.hpp"
#include "support/null_nats.hpp"
#include "support/roles.hpp"
#include "support/side_by_side.hpp"

namespace arvenhold::corvel::hub::bench {

namespace {

constexpr std::size_t count = 100'000;

// Counts what `make` leaves on the heap as long as what it returns lives.
template <class Make>
void measure(benchmark::State& state, Make const& make) {
    double bytes = 0;
    while (state.KeepRunning()) {
        auto const before = heap_bytes();
        auto const made = make();
        bytes += static_cast<double>(heap_bytes() - before);
        state.SetIterationTime(1e-3);
    }
    state.counters["ratio"] = bytes / static_cast<double>(state.iterations()) / count;
}

void measure_list(benchmark::State& state) {
    provider parent{"press"};
    measure(state, [&] {
        provider_definition definition{fingerprint};
        definition.bulk_add_variable_definitions(make_entries(count, content::doubles));
        definition.finalize();
        return variable_list::create(definition, parent);
    });
}

void measure_connection(benchmark::State& state) {
    connected_consumer receiver{make_definition_reply(make_entries(count, content::doubles), 1)};
    measure(state, [&] { return receiver.attach(); });
}

} // namespace

void register_memory_benchmarks() {
    compare("15", "list", measure_list);
    compare("15", "connection", measure_connection);
}

} // namespace arvenhold::corvel::hub::bench
