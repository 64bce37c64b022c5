// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/back_off.hpp"

#include <gmock/gmock.h>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::milliseconds;
using testing::AllOf;
using testing::Ge;
using testing::Le;

auto between(int shortest, int longest) {
    return AllOf(Ge(milliseconds{shortest}), Le(milliseconds{longest}));
}

TEST(back_off, doubles_up_to_the_maximum_less_up_to_a_half) {
    for (std::uint32_t seed = 1; seed <= 100; ++seed) {
        back_off waits{milliseconds{250}, milliseconds{800}, seed};

        EXPECT_THAT(waits.next(), between(125, 250));
        EXPECT_THAT(waits.next(), between(250, 500));
        EXPECT_THAT(waits.next(), between(400, 800));
        EXPECT_THAT(waits.next(), between(400, 800));
    }
}

TEST(back_off, differs_from_seed_to_seed) {
    back_off first{milliseconds{10'000}, milliseconds{10'000}, 1};
    back_off second{milliseconds{10'000}, milliseconds{10'000}, 2};

    EXPECT_NE(first.next(), second.next());
}

TEST(back_off, begins_again_after_a_success) {
    back_off waits{milliseconds{100}, milliseconds{10'000}, 1};
    waits.next();
    waits.next();

    waits.reset();

    EXPECT_THAT(waits.next(), between(50, 100));
}

TEST(back_off, waits_a_millisecond_if_that_is_all) {
    back_off waits{milliseconds{1}, milliseconds{1}, 1};

    EXPECT_EQ(waits.next(), milliseconds{1});
}

} // namespace

} // namespace arvenhold::corvel::hub
