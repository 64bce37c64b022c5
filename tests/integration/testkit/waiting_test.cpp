// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "playing.hpp"

#include <stdexcept>

namespace arvenhold::corvel::hub::testkit {
namespace {

TEST(waiting, ends_as_soon_as_the_condition_is_true) {
    int calls = 0;

    wait_until(
        "three calls", [&] { return ++calls == 3; }, patience);

    EXPECT_EQ(calls, 3);
}

TEST(waiting, fails_with_what_was_awaited_and_for_how_long) {
    auto const never = [] {
        return false;
    };

    EXPECT_EQ(
        thrown_message<expectation_failed>([&] { wait_until("the alarm is on", never, no_time); }),
        "awaited for 20 ms: the alarm is on\n  seen: the condition stayed false");
}

TEST(waiting, looks_once_without_any_time) {
    EXPECT_NO_THROW(wait_until(
        "the truth", [] { return true; }, std::chrono::seconds{0}));
}

TEST(waiting, passes_on_what_the_condition_throws) {
    EXPECT_THROW(
        wait_until("anything", []() -> bool { throw std::out_of_range{"broken"}; }),
        std::out_of_range);
}

} // namespace
} // namespace arvenhold::corvel::hub::testkit
