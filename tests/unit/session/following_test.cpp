// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/following.hpp"

#include "session/followed_provider.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace arvenhold::corvel::hub {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

following::interest const everything{path_pattern{"**"}, path_pattern{"**"}, std::nullopt};

void add(following& wanted, std::vector<std::uint32_t> const& slots) {
    static followed_provider oven{"oven", std::chrono::hours{1}};
    std::vector<waiting_change> event(slots.size());
    for (std::size_t position = 0; position < slots.size(); ++position) {
        event[position].slot = slots[position];
    }
    wanted.add(oven, 0, event);
}

following::waiting take(following& wanted) {
    following::waiting waiting;
    wanted.take(waiting);
    return waiting;
}

// What waits of each event.
std::vector<std::vector<std::size_t>> slots_of(following::waiting waiting) {
    std::vector<std::vector<std::size_t>> slots;
    while (waiting.changes.size() > 0) {
        auto& event = slots.emplace_back();
        for (auto const& change : waiting.changes.take_event().changes) {
            event.push_back(change.slot);
        }
    }
    return slots;
}

TEST(following, keeps_events_in_their_order) {
    following wanted{everything, 10};
    add(wanted, {3, 1});
    add(wanted, {2});

    auto const waiting = take(wanted);

    EXPECT_THAT(slots_of(waiting), ElementsAre(ElementsAre(3, 1), ElementsAre(2)));
    EXPECT_EQ(waiting.dropped, 0);
    EXPECT_THAT(slots_of(take(wanted)), IsEmpty());
}

TEST(following, drops_the_oldest_changes_beyond_its_limit_and_counts_them) {
    following wanted{everything, 3};
    add(wanted, {0});
    add(wanted, {1, 2});
    add(wanted, {3, 4});

    auto const waiting = take(wanted);

    EXPECT_THAT(slots_of(waiting), ElementsAre(ElementsAre(2), ElementsAre(3, 4)));
    EXPECT_EQ(waiting.dropped, 2);
    EXPECT_EQ(take(wanted).dropped, 0);
}

TEST(following, counts_again_from_nothing_once_it_was_taken) {
    following wanted{everything, 2};
    add(wanted, {0, 1});
    take(wanted);
    add(wanted, {2, 3});

    EXPECT_THAT(slots_of(take(wanted)), ElementsAre(ElementsAre(2, 3)));
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
