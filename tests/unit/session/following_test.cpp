// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/following.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace arvenhold::corvel::hub {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

following::interest const everything{path_pattern{"**"}, path_pattern{"**"}, std::nullopt};

std::vector<std::size_t> slots_of(following::waiting const& waiting) {
    std::vector<std::size_t> slots;
    for (auto const& change : waiting.changes) {
        slots.push_back(change.slot);
    }
    return slots;
}

TEST(following, keeps_changes_in_their_order) {
    following wanted{everything, 10};
    wanted.add({{nullptr, 3, std::nullopt}, {nullptr, 1, std::nullopt}});
    wanted.add({{nullptr, 2, std::nullopt}});

    auto const waiting = wanted.take();

    EXPECT_THAT(slots_of(waiting), ElementsAre(3, 1, 2));
    EXPECT_EQ(waiting.dropped, 0);
    EXPECT_THAT(slots_of(wanted.take()), IsEmpty());
}

TEST(following, gives_the_changes_of_an_event_one_number) {
    following wanted{everything, 10};
    wanted.add({{nullptr, 0, std::nullopt}, {nullptr, 1, std::nullopt}});
    wanted.add({{nullptr, 2, std::nullopt}});

    auto const changes = wanted.take().changes;

    EXPECT_EQ(changes[0].event, changes[1].event);
    EXPECT_NE(changes[1].event, changes[2].event);
}

TEST(following, drops_the_oldest_changes_beyond_its_limit_and_counts_them) {
    following wanted{everything, 2};
    wanted.add({{nullptr, 0, std::nullopt}, {nullptr, 1, std::nullopt}});
    wanted.add({{nullptr, 2, std::nullopt}, {nullptr, 3, std::nullopt}});

    auto const waiting = wanted.take();

    EXPECT_THAT(slots_of(waiting), ElementsAre(2, 3));
    EXPECT_EQ(waiting.dropped, 2);
    EXPECT_EQ(wanted.take().dropped, 0);
}

TEST(following, has_a_handler_while_one_is_set) {
    following wanted{everything, 0};
    EXPECT_FALSE(wanted.has_handler());

    wanted.set_handlers({nullptr, [](auto const& /*now*/) {
                         }});
    EXPECT_TRUE(wanted.has_handler());

    wanted.set_handlers({});
    EXPECT_FALSE(wanted.has_handler());
}

TEST(following, has_no_handler_once_it_is_closed) {
    following wanted{everything, 10};
    wanted.set_handlers({[](auto const& /*now*/) {}, nullptr});

    wanted.close();
    wanted.set_handlers({[](auto const& /*now*/) {}, nullptr});

    EXPECT_FALSE(wanted.has_handler());
    EXPECT_FALSE(wanted.get_handlers()->single);
}

} // namespace

} // namespace arvenhold::corvel::hub
