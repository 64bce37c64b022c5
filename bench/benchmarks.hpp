// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The comparisons within one process. Each is registered under the number of its row in the table
// of targets, which bench/run knows, a slash, and its variant.

#pragma once

namespace arvenhold::corvel::hub::bench {

void register_publish_benchmarks();
void register_receive_benchmarks();
void register_memory_benchmarks();

} // namespace arvenhold::corvel::hub::bench
