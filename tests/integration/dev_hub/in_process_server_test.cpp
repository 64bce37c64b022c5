// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/in_process_server.hpp"

#include "dev_hub/event_log.hpp"
#include "dev_hub/file_descriptor.hpp"
#include "dev_hub/loopback_socket.hpp"
#include "support/raw_peer.hpp" // patience

#include <gmock/gmock.h>

#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

namespace arvenhold::corvel::hub::dev {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// Lets the process open no file but one, until this object ends.
class one_file_left {
public:
    one_file_left() {
        ::getrlimit(RLIMIT_NOFILE, &m_before);
        auto limited = m_before;
        file_descriptor const lowest{::dup(STDERR_FILENO)};
        limited.rlim_cur = static_cast<rlim_t>(lowest.get()) + 1;
        ::setrlimit(RLIMIT_NOFILE, &limited);
    }

    one_file_left(one_file_left const&) = delete;
    one_file_left& operator=(one_file_left const&) = delete;

    ~one_file_left() {
        ::setrlimit(RLIMIT_NOFILE, &m_before);
    }

private:
    rlimit m_before{};
};

std::chrono::nanoseconds get_processor_time() {
    timespec used{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return std::chrono::seconds{used.tv_sec} + std::chrono::nanoseconds{used.tv_nsec};
}

bool is_greeted_within(milliseconds limit, file_descriptor const& client) {
    pollfd watched{.fd = client.get(), .events = POLLIN, .revents = 0};
    return ::poll(&watched, 1, static_cast<int>(limit.count())) == 1;
}

TEST(in_process_server, waits_for_a_file_descriptor_without_using_the_processor) {
    event_log log{nullptr};
    in_process_server const server{log};
    auto const port = std::stoi(server.get_url().substr(server.get_url().rfind(':') + 1));
    auto limit = std::make_optional<one_file_left>();
    auto const client = connect_to_loopback(static_cast<std::uint16_t>(port)); // takes the one
    auto const begin = steady_clock::now();
    auto const used_before = get_processor_time();

    EXPECT_FALSE(is_greeted_within(milliseconds{500}, client));

    auto const used = get_processor_time() - used_before;
    EXPECT_LT(used, (steady_clock::now() - begin) / 10);

    limit.reset();
    EXPECT_TRUE(is_greeted_within(patience, client));
}

} // namespace
} // namespace arvenhold::corvel::hub::dev
