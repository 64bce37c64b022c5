// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "progress.hpp"
#include "transport.hpp"

#include <sys/types.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace arvenhold::corvel::hub::peers {

/// The result of publishing as fast as possible.
struct throughput {
    double values_per_second = 0;
    double lost_share = 0;
    /// Seconds of processor time per million values; the server's is 0 for a peer without one.
    double publisher_seconds = 0;
    double subscriber_seconds = 0;
    double server_seconds = 0;
};

/// How long single updates took to reach the subscriber, in microseconds.
struct latency {
    double median = 0;
    double percentile_99 = 0;
};

/// The publisher's part of a measurement. The steps below follow one another.
class measurement {
public:
    /// @param count           Variables in an update.
    /// @param server_process  0 for a peer without a server.
    measurement(publisher& source, progress& shared, std::size_t count, pid_t server_process);

    /// Publishes until something arrives, and then for a while longer.
    void warm_up();

    throughput publish_back_to_back();

    latency publish_slowly();

private:
    /// Processor time of publisher, subscriber and server.
    using processor_times = std::array<double, 3>;

    publisher& m_publisher;
    progress& m_progress;
    std::size_t const m_count;
    std::uint64_t const m_window; // how many updates may be in flight
    pid_t const m_server_process;
    std::uint64_t m_number = 0;  // of the last update that was published
    std::uint64_t m_settled = 0; // up to this number all have arrived or are lost

    void publish_one();
    void publish_for(std::chrono::milliseconds duration);
    void wait_until_at_most_in_flight(std::uint64_t limit);
    processor_times read_processor_times() const;
};

} // namespace arvenhold::corvel::hub::peers
