// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/following.hpp"

#include "session/followed_provider.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

namespace arvenhold::corvel::hub {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

void add(following& wanted, std::vector<std::uint32_t> const& slots) {
    static followed_provider oven{"oven", std::chrono::hours{1}};
    std::vector<waiting_change> event(slots.size());
    for (std::size_t position = 0; position < slots.size(); ++position) {
        event[position].slot = slots[position];
    }
    wanted.add(oven, 0, event);
}

following::waiting take(following& wanted, waiting_changes::section_number last = 0) {
    following::waiting waiting;
    wanted.take(last, waiting);
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

class followed_things : public testing::Test {
protected:
    following::interest const everything{path_pattern{"**"}, path_pattern{"**"}, std::nullopt};
    std::shared_ptr<following::present_section> const section =
        std::make_shared<following::present_section>(0);
};

TEST_F(followed_things, keep_events_in_their_order) {
    following wanted{everything, 10, section};
    add(wanted, {3, 1});
    add(wanted, {2});

    auto const waiting = take(wanted);

    EXPECT_THAT(slots_of(waiting), ElementsAre(ElementsAre(3, 1), ElementsAre(2)));
    EXPECT_EQ(waiting.dropped, 0);
    EXPECT_THAT(slots_of(take(wanted)), IsEmpty());
}

TEST_F(followed_things, drop_the_oldest_changes_beyond_their_limit_and_count_them) {
    following wanted{everything, 3, section};
    add(wanted, {0});
    add(wanted, {1, 2});
    add(wanted, {3, 4});

    auto const waiting = take(wanted);

    EXPECT_THAT(slots_of(waiting), ElementsAre(ElementsAre(2), ElementsAre(3, 4)));
    EXPECT_EQ(waiting.dropped, 2);
    EXPECT_EQ(take(wanted).dropped, 0);
}

TEST_F(followed_things, count_again_from_nothing_once_they_were_taken) {
    following wanted{everything, 2, section};
    add(wanted, {0, 1});
    take(wanted);
    add(wanted, {2, 3});

    EXPECT_THAT(slots_of(take(wanted)), ElementsAre(ElementsAre(2, 3)));
}

TEST_F(followed_things, are_taken_up_to_the_end_of_a_section) {
    following wanted{everything, 10, section};
    add(wanted, {0});
    add(wanted, {1});
    ++*section;
    add(wanted, {2});

    EXPECT_THAT(slots_of(take(wanted, 0)), ElementsAre(ElementsAre(0), ElementsAre(1)));
    EXPECT_TRUE(wanted.has_waiting());
    EXPECT_THAT(slots_of(take(wanted, 0)), IsEmpty());
    EXPECT_THAT(slots_of(take(wanted, 1)), ElementsAre(ElementsAre(2)));
    EXPECT_FALSE(wanted.has_waiting());
}

TEST_F(followed_things, keep_no_more_than_their_limit_in_all_sections_together) {
    following wanted{everything, 3, section};
    for (std::uint32_t slot = 0; slot < 100; ++slot) {
        add(wanted, {slot});
        ++*section;
    }

    EXPECT_EQ(take(wanted, 96).dropped, 0);
    auto const waiting = take(wanted, 98);

    EXPECT_THAT(slots_of(waiting), ElementsAre(ElementsAre(97), ElementsAre(98)));
    EXPECT_EQ(waiting.dropped, 97);
    EXPECT_EQ(take(wanted, 99).dropped, 0);
}

TEST_F(followed_things, have_a_handler_while_one_is_set) {
    following wanted{everything, 0, section};
    EXPECT_FALSE(wanted.has_handler());

    wanted.set_handlers({nullptr, [](auto const& /*now*/) {
                         }});
    EXPECT_TRUE(wanted.has_handler());

    wanted.set_handlers({});
    EXPECT_FALSE(wanted.has_handler());
}

TEST_F(followed_things, have_no_handler_once_they_are_closed) {
    following wanted{everything, 10, section};
    wanted.set_handlers({[](auto const& /*now*/) {}, nullptr});

    wanted.close();
    wanted.set_handlers({[](auto const& /*now*/) {}, nullptr});

    EXPECT_FALSE(wanted.has_handler());
    EXPECT_FALSE(wanted.get_handlers()->single);
}

} // namespace

} // namespace arvenhold::corvel::hub
