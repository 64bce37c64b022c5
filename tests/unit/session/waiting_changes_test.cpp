// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/waiting_changes.hpp"

#include "session/followed_provider.hpp"
#include "support/limited_memory.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>

namespace arvenhold::corvel::hub {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using slots = std::vector<std::uint32_t>;

class changes_of_two_providers : public testing::Test {
protected:
    void add(
        followed_provider& provider,
        slots const& changed,
        std::uint64_t losses = 0,
        std::uint64_t section = 0) {
        std::vector<waiting_change> event(changed.size());
        for (std::size_t position = 0; position < changed.size(); ++position) {
            event[position].slot = changed[position];
        }
        waiting.add(provider, losses, section, event);
    }

    static slots slots_of(waiting_changes::stretch const& taken) {
        slots found;
        for (auto const& change : taken.changes) {
            found.push_back(change.slot);
        }
        return found;
    }

    followed_provider oven{"oven", std::chrono::hours{1}};
    followed_provider mill{"mill", std::chrono::hours{1}};
    waiting_changes waiting;
};

TEST_F(changes_of_two_providers, are_taken_over_the_borders_of_events) {
    add(oven, {3, 1});
    add(oven, {2});

    EXPECT_EQ(waiting.size(), 3);
    EXPECT_THAT(slots_of(waiting.take(2)), ElementsAre(3, 1));
    EXPECT_THAT(slots_of(waiting.take(2)), ElementsAre(2));
    EXPECT_THAT(slots_of(waiting.take(2)), IsEmpty());
    EXPECT_EQ(waiting.size(), 0);
}

TEST_F(changes_of_two_providers, are_taken_of_one_provider_at_a_time) {
    add(oven, {1});
    add(mill, {1, 2});
    add(oven, {2});

    auto const first = waiting.take(10);
    EXPECT_EQ(first.provider, &oven);
    EXPECT_THAT(slots_of(first), ElementsAre(1));
    auto const second = waiting.take(10);
    EXPECT_EQ(second.provider, &mill);
    EXPECT_THAT(slots_of(second), ElementsAre(1, 2));
    EXPECT_EQ(waiting.take(10).provider, &oven);
}

TEST_F(changes_of_two_providers, are_not_taken_together_if_something_was_lost_between_them) {
    add(oven, {1}, 4);
    add(oven, {2}, 5);

    auto const before = waiting.take(10);
    EXPECT_EQ(before.losses, 4);
    EXPECT_THAT(slots_of(before), ElementsAre(1));
    EXPECT_EQ(waiting.take(10).losses, 5);
}

TEST_F(changes_of_two_providers, are_taken_event_by_event) {
    add(oven, {3, 1});
    add(oven, {2});
    add(mill, {7});

    EXPECT_THAT(slots_of(waiting.take_event()), ElementsAre(3, 1));
    EXPECT_THAT(slots_of(waiting.take_event()), ElementsAre(2));
    EXPECT_THAT(slots_of(waiting.take_event()), ElementsAre(7));
    EXPECT_THAT(slots_of(waiting.take_event()), IsEmpty());
}

TEST_F(changes_of_two_providers, lose_the_oldest_one_alone) {
    add(oven, {3, 1});
    add(mill, {2});

    waiting.drop_oldest();
    EXPECT_THAT(slots_of(waiting.take_event()), ElementsAre(1));

    waiting.drop_oldest();
    EXPECT_EQ(waiting.size(), 0);
}

TEST_F(changes_of_two_providers, keep_their_order_while_many_are_dropped) {
    for (std::uint32_t slot = 0; slot < 1'000; ++slot) {
        add(slot % 3 == 0 ? mill : oven, {slot});
        if (waiting.size() > 5) {
            waiting.drop_oldest();
        }
    }

    for (std::uint32_t slot = 995; slot < 1'000; ++slot) {
        auto const taken = waiting.take(1);
        EXPECT_EQ(taken.provider, slot % 3 == 0 ? &mill : &oven);
        EXPECT_THAT(slots_of(taken), ElementsAre(slot));
    }
    EXPECT_EQ(waiting.size(), 0);
}

TEST_F(changes_of_two_providers, are_divided_at_the_end_of_a_section) {
    add(oven, {3, 1});
    add(oven, {2});
    add(mill, {7}, 0, 1);
    add(mill, {8}, 0, 2);
    waiting_changes taken;

    waiting.take_section(1, taken);

    EXPECT_THAT(slots_of(taken.take_event()), ElementsAre(3, 1));
    EXPECT_THAT(slots_of(taken.take_event()), ElementsAre(2));
    EXPECT_THAT(slots_of(taken.take_event()), ElementsAre(7));
    EXPECT_EQ(taken.size(), 0);
    EXPECT_EQ(waiting.size(), 1);
    add(mill, {9}, 0, 2);
    EXPECT_THAT(slots_of(waiting.take(10)), ElementsAre(8, 9));
}

TEST_F(changes_of_two_providers, stay_until_there_is_memory_to_move_them) {
    add(oven, {1});
    add(oven, {2}, 0, 1);
    waiting_changes taken;
    for (int allocations = 0; allocations < 2; ++allocations) {
        limited_memory const little{allocations};
        EXPECT_THROW(waiting.take_section(0, taken), std::bad_alloc);
    }

    waiting.take_section(0, taken);

    EXPECT_THAT(slots_of(taken.take(10)), ElementsAre(1));
    EXPECT_THAT(slots_of(waiting.take(10)), ElementsAre(2));
}

TEST_F(changes_of_two_providers, are_forgotten_when_cleared) {
    add(oven, {3, 1});
    waiting.take(1);

    waiting.clear();
    EXPECT_EQ(waiting.size(), 0);

    add(mill, {2});
    EXPECT_EQ(waiting.take(10).provider, &mill);
}

} // namespace

} // namespace arvenhold::corvel::hub
