// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A program of its own, because the sequence of lower halves belongs to the process.

#include <hub/fingerprint.hpp>

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <future>
#include <set>
#include <stdexcept>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

constexpr std::size_t calls_of_a_thread = 10'000;

std::uint32_t upper_half(definition_fingerprint fingerprint) {
    return static_cast<std::uint32_t>(fingerprint >> 32U);
}

std::uint32_t lower_half(definition_fingerprint fingerprint) {
    return static_cast<std::uint32_t>(fingerprint);
}

std::vector<definition_fingerprint> make_many() {
    std::vector<definition_fingerprint> made(calls_of_a_thread);
    for (auto& fingerprint : made) {
        fingerprint = make_fingerprint(0);
    }
    return made;
}

// The first fingerprint of a process that has made none before.
definition_fingerprint made_by_another_process() {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) {
        throw std::runtime_error{"no pipe"};
    }
    auto const child = fork();
    if (child == 0) {
        auto const made = make_fingerprint(7);
        _exit(write(ends[1], &made, sizeof made) == sizeof made ? 0 : 1);
    }
    definition_fingerprint received = 0;
    auto const size = read(ends[0], &received, sizeof received);
    close(ends[0]);
    close(ends[1]);
    int status = 0;
    if (waitpid(child, &status, 0) != child || status != 0 || size != sizeof received) {
        throw std::runtime_error{"the other process has failed"};
    }
    return received;
}

// First, while this process has made none: a child would go on with the numbers of its parent.
TEST(fingerprint, of_another_process_has_the_same_version_and_another_lower_half) {
    auto const first = made_by_another_process();
    auto const second = made_by_another_process();

    EXPECT_EQ(upper_half(first), 7U);
    EXPECT_EQ(upper_half(second), 7U);
    // By chance they are the same once in 2^31 runs.
    EXPECT_NE(lower_half(first), lower_half(second));
}

TEST(fingerprint, has_the_version_in_its_upper_half) {
    EXPECT_EQ(upper_half(make_fingerprint(3)), 3U);
    EXPECT_EQ(upper_half(make_fingerprint(0xFFFF'FFFF)), 0xFFFF'FFFFU);
}

TEST(fingerprint, is_another_one_with_every_call_and_never_zero) {
    auto other = std::async(std::launch::async, make_many);
    auto const one = make_many();
    auto const two = other.get();

    std::set<definition_fingerprint> all{one.begin(), one.end()};
    all.insert(two.begin(), two.end());

    EXPECT_EQ(all.size(), 2 * calls_of_a_thread);
    EXPECT_EQ(all.count(0), 0U);
}

TEST(fingerprint, has_an_odd_lower_half_so_that_it_is_never_zero) {
    EXPECT_EQ(make_fingerprint(0) % 2, 1U);
    EXPECT_EQ(make_fingerprint(0) % 2, 1U);
}

} // namespace

} // namespace arvenhold::corvel::hub
