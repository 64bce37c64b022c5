// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "benchmarks.hpp"

#include <benchmark/benchmark.h>

int main(int argc, char** argv) {
    namespace bench = arvenhold::corvel::hub::bench;
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    bench::register_publish_benchmarks();
    bench::register_receive_benchmarks();
    bench::register_memory_benchmarks();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
