// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/variable_slots.hpp"
#include "support/limited_memory.hpp"

#include <gmock/gmock.h>

#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr auto good = variable_quality::good;
constexpr auto read_only = variable_permissions::read_only;
constexpr timestamp at_noon{std::chrono::hours{12}};
constexpr timestamp at_one{std::chrono::hours{13}};

struct taken_change {
    timestamp when;
    variable_slots::position position;
    variable_quality quality;
    variable_value value;
    bool begins_event;
};

std::vector<taken_change> all_of(std::deque<change_block> blocks) {
    std::vector<taken_change> all;
    for (auto& block : blocks) {
        for (; !block.empty(); block.pop_front()) {
            auto const [when, changes] = block.front();
            for (auto const& change : changes) {
                all.push_back(
                    {when,
                     change.position,
                     static_cast<variable_quality>(change.quality),
                     change.value.get(),
                     &change == &changes.front()});
            }
        }
    }
    return all;
}

class two_slots : public testing::Test {
protected:
    variable_slots slots;
    variable_slots::position const speed = slots.add("speed", 1.5, read_only, at_noon);
    variable_slots::position const mode =
        slots.add("mode", std::string{"idle"}, variable_permissions::read_write, at_noon);

    void set_speed(double value) {
        slots.set({speed, good, packed_value{value}}, at_one);
    }

    std::vector<variable_value> take_values() {
        std::vector<variable_value> values;
        for (auto const& change : all_of(slots.take())) {
            values.push_back(change.value);
        }
        return values;
    }
};

bool is_added_with(int allocations, variable_slots& slots) {
    variable_value text = std::string(100, 't');
    std::string const path(100, 'p');
    try {
        limited_memory const limit{allocations};
        slots.add(path, std::move(text), read_only, at_noon);
        return true;
    } catch (std::bad_alloc const&) {
        return false;
    }
}

TEST(slots_with_little_memory, are_added_whole_or_not_at_all) {
    constexpr auto number_type = variable_value{1.5}.index();
    int allocations = 0;

    for (auto is_added = false; !is_added; ++allocations) {
        variable_slots slots;
        is_added = is_added_with(allocations, slots);
        auto const next = slots.add("next", 1.5, read_only, at_noon);
        EXPECT_EQ(next, is_added ? 1U : 0U);
        EXPECT_TRUE(slots.has_type(next, number_type));
        EXPECT_EQ(slots.get_path(next), "next");
    }

    EXPECT_GE(allocations, 7);
}

TEST_F(two_slots, have_positions_in_the_order_of_declaration) {
    EXPECT_EQ(speed, 0U);
    EXPECT_EQ(mode, 1U);
    EXPECT_EQ(slots.find("mode"), mode);
    EXPECT_EQ(slots.find("color"), std::nullopt);
    EXPECT_EQ(slots.get_path(mode), "mode");
    EXPECT_EQ(slots.get_permissions(mode), variable_permissions::read_write);
}

TEST_F(two_slots, refuse_a_path_that_there_is) {
    EXPECT_THROW(slots.add("speed", true, read_only, at_noon), std::invalid_argument);

    EXPECT_THAT(slots.get_states(), SizeIs(2));
}

TEST_F(two_slots, are_unchanged_and_uncertain_at_first) {
    EXPECT_THAT(slots.take(), IsEmpty());
    auto const state = slots.get_states().at(speed);
    EXPECT_EQ(state.path, "speed");
    EXPECT_EQ(state.permissions, read_only);
    EXPECT_EQ(state.value, variable_value{1.5});
    EXPECT_EQ(state.quality, variable_quality::uncertain_initial_value);
    EXPECT_EQ(state.when, at_noon);
}

TEST_F(two_slots, give_the_latest_change_once) {
    set_speed(2.0);
    set_speed(3.0);

    auto const batch = all_of(slots.take());

    ASSERT_THAT(batch, SizeIs(1));
    EXPECT_EQ(batch[0].position, speed);
    EXPECT_EQ(batch[0].value, variable_value{3.0});
    EXPECT_EQ(batch[0].quality, good);
    EXPECT_EQ(batch[0].when, at_one);
    EXPECT_THAT(slots.take(), IsEmpty());
    EXPECT_EQ(slots.get(speed), variable_value{3.0});
}

TEST_F(two_slots, give_changes_in_the_order_of_the_first) {
    slots.set({mode, good, packed_value{std::string{"run"}}}, at_one);
    set_speed(2.0);
    slots.set({mode, good, packed_value{std::string{"stop"}}}, at_one);

    EXPECT_THAT(
        take_values(), ElementsAre(variable_value{std::string{"stop"}}, variable_value{2.0}));
}

TEST_F(two_slots, record_several_changes_at_once) {
    slots.set(
        {{speed, good, packed_value{2.0}}, {mode, good, packed_value{std::string{"run"}}}}, at_one);

    EXPECT_THAT(all_of(slots.take()), SizeIs(2));
}

TEST_F(two_slots, refuse_another_type_in_words) {
    try {
        slots.set({mode, good, packed_value{2.0}}, at_one);
        FAIL() << "nothing was thrown";
    } catch (std::invalid_argument const& refused) {
        EXPECT_STREQ(refused.what(), "the variable \"mode\" cannot have a value of type double");
    }
    EXPECT_EQ(slots.get(mode), variable_value{std::string{"idle"}});
}

TEST_F(two_slots, record_nothing_of_changes_of_which_one_has_another_type) {
    std::vector<variable_change> const changes{
        {speed, good, packed_value{2.0}}, {mode, good, packed_value{3.0}}};

    EXPECT_THROW(slots.set(changes, at_one), std::invalid_argument);

    EXPECT_THAT(slots.take(), IsEmpty());
    EXPECT_EQ(slots.get(speed), variable_value{1.5});
}

TEST_F(two_slots, give_a_quality_with_the_latest_value) {
    slots.set_quality(speed, variable_quality::bad, at_one);

    auto const batch = all_of(slots.take());

    ASSERT_THAT(batch, SizeIs(1));
    EXPECT_EQ(batch[0].value, variable_value{1.5});
    EXPECT_EQ(batch[0].quality, variable_quality::bad);
    EXPECT_EQ(batch[0].when, at_one);
}

TEST_F(two_slots, give_what_is_sent_again_as_it_is) {
    slots.send_again(speed);

    auto const batch = all_of(slots.take());

    ASSERT_THAT(batch, SizeIs(1));
    EXPECT_EQ(batch[0].value, variable_value{1.5});
    EXPECT_EQ(batch[0].when, at_noon);
}

TEST_F(two_slots, take_nothing_back_without_a_queue) {
    set_speed(2.0);
    slots.put_back(slots.take());

    EXPECT_THAT(slots.take(), IsEmpty());
}

class queued_slot : public two_slots {
protected:
    queued_slot() {
        slots.keep_changes(speed, 3);
    }
};

TEST_F(queued_slot, gives_every_change) {
    set_speed(2.0);
    set_speed(3.0);

    EXPECT_THAT(take_values(), ElementsAre(variable_value{2.0}, variable_value{3.0}));
    EXPECT_THAT(slots.take(), IsEmpty());
}

TEST_F(queued_slot, drops_and_counts_the_oldest_when_full) {
    for (double const value : {1.0, 2.0, 3.0, 4.0, 5.0}) {
        set_speed(value);
    }

    EXPECT_EQ(slots.get_dropped_changes(speed), 2U);
    EXPECT_EQ(slots.get_dropped_changes(mode), 0U);
    EXPECT_THAT(
        take_values(), ElementsAre(variable_value{3.0}, variable_value{4.0}, variable_value{5.0}));
}

TEST_F(queued_slot, keeps_the_latest_changes_of_very_many) {
    for (double value = 0; value < 1'000; ++value) {
        set_speed(value);
    }

    EXPECT_EQ(slots.get_dropped_changes(speed), 997U);
    EXPECT_THAT(
        take_values(),
        ElementsAre(variable_value{997.0}, variable_value{998.0}, variable_value{999.0}));
}

TEST_F(queued_slot, is_registered_with_the_oldest_change_that_waits) {
    set_speed(2.0);
    set_speed(3.0);

    auto const state = slots.get_states().at(speed);

    EXPECT_EQ(state.value, variable_value{2.0});
    EXPECT_EQ(state.quality, good);
    EXPECT_EQ(state.when, at_one);
}

TEST_F(queued_slot, takes_back_what_was_not_sent_before_what_came_later) {
    set_speed(2.0);
    set_speed(3.0);
    auto batch = slots.take();
    set_speed(4.0);

    batch.front().pop_front();
    slots.put_back(std::move(batch));

    EXPECT_THAT(take_values(), ElementsAre(variable_value{3.0}, variable_value{4.0}));
}

TEST_F(queued_slot, takes_back_no_more_than_fits) {
    set_speed(2.0);
    set_speed(3.0);
    auto batch = slots.take();
    set_speed(4.0);
    set_speed(5.0);

    slots.put_back(std::move(batch));

    EXPECT_EQ(slots.get_dropped_changes(speed), 1U);
    EXPECT_THAT(
        take_values(), ElementsAre(variable_value{3.0}, variable_value{4.0}, variable_value{5.0}));
}

TEST_F(queued_slot, counts_what_can_never_be_sent) {
    set_speed(2.0);
    set_speed(3.0);
    slots.set({mode, good, packed_value{std::string{"off"}}}, at_one);
    auto batch = slots.take();

    EXPECT_EQ(slots.drop_first_event(batch.front()), 1U);
    EXPECT_EQ(slots.drop_first_event(batch.front()), 2U);

    EXPECT_TRUE(batch.front().empty());
    EXPECT_EQ(slots.get_dropped_changes(speed), 2U);
    EXPECT_EQ(slots.get_dropped_changes(mode), 0U);
}

// The values of each event, separated by spaces; events by semicolons.
std::string events_of(std::deque<change_block> blocks) {
    std::string text;
    for (auto const& change : all_of(std::move(blocks))) {
        text += change.begins_event && !text.empty() ? "; " : text.empty() ? "" : " ";
        text += std::to_string(std::get<std::int64_t>(change.value));
    }
    return text;
}

class two_queued_slots : public testing::Test {
protected:
    two_queued_slots() {
        slots.keep_changes(left, 3);
        slots.keep_changes(right, 3);
    }

    void set_both(std::int64_t value, timestamp when) {
        slots.set({{left, good, packed_value{value}}, {right, good, packed_value{value}}}, when);
    }

    variable_slots slots;
    variable_slots::position const left = slots.add("left", std::int64_t{0}, read_only, at_noon);
    variable_slots::position const right = slots.add("right", std::int64_t{0}, read_only, at_noon);
};

TEST_F(two_queued_slots, give_what_was_set_together_as_one_event) {
    set_both(1, at_noon);
    set_both(2, at_one);

    EXPECT_EQ(events_of(slots.take()), "1 1; 2 2");
}

TEST_F(two_queued_slots, give_no_event_with_two_changes_of_a_variable) {
    set_both(1, at_noon);
    set_both(2, at_noon);

    EXPECT_EQ(events_of(slots.take()), "1 1; 2 2");
}

TEST_F(two_queued_slots, give_events_together_also_after_the_oldest_were_dropped) {
    for (std::int64_t value = 1; value < 6; ++value) {
        set_both(value, timestamp{std::chrono::seconds{value}});
    }

    EXPECT_EQ(events_of(slots.take()), "3 3; 4 4; 5 5");
    EXPECT_EQ(slots.get_dropped_changes(left), 2U);
    EXPECT_EQ(slots.get_dropped_changes(right), 2U);
}

TEST_F(two_queued_slots, begin_an_event_with_what_is_left_of_it) {
    set_both(1, at_noon);
    set_both(2, at_one);
    for (std::int64_t value = 3; value < 5; ++value) {
        slots.set({left, good, packed_value{value}}, at_one);
    }

    EXPECT_EQ(events_of(slots.take()), "1; 2 2; 3; 4");
}

TEST_F(two_queued_slots, give_events_together_also_after_they_were_put_back) {
    set_both(1, timestamp{std::chrono::seconds{1}});
    set_both(2, timestamp{std::chrono::seconds{2}});
    auto batch = slots.take();
    set_both(3, timestamp{std::chrono::seconds{3}});

    batch.pop_front();
    slots.put_back(std::move(batch));

    EXPECT_EQ(events_of(slots.take()), "2 2; 3 3");
}

TEST_F(two_queued_slots, drop_the_oldest_of_what_was_put_back_if_it_does_not_fit) {
    for (std::int64_t value = 1; value < 4; ++value) {
        set_both(value, timestamp{std::chrono::seconds{value}});
    }
    auto batch = slots.take();
    slots.set({left, good, packed_value{std::int64_t{4}}}, at_one);

    slots.put_back(std::move(batch));

    EXPECT_EQ(slots.get_dropped_changes(left), 1U);
    EXPECT_EQ(slots.get_dropped_changes(right), 0U);
    EXPECT_EQ(events_of(slots.take()), "1; 2 2; 3 3; 4");
}

TEST_F(two_queued_slots, continue_an_event_that_was_put_back_if_the_time_is_the_same) {
    slots.set({left, good, packed_value{std::int64_t{1}}}, at_noon);
    slots.put_back(slots.take());

    slots.set({right, good, packed_value{std::int64_t{2}}}, at_noon);
    slots.set({left, good, packed_value{std::int64_t{3}}}, at_noon);

    EXPECT_EQ(events_of(slots.take()), "1 2; 3");
}

TEST_F(two_queued_slots, are_registered_with_what_is_left_of_changes_that_were_put_back) {
    set_both(1, timestamp{std::chrono::seconds{1}});
    set_both(2, timestamp{std::chrono::seconds{2}});
    auto batch = slots.take();
    batch.pop_front();
    slots.put_back(std::move(batch));

    auto const state = slots.get_states().at(right);

    EXPECT_EQ(state.value, variable_value{std::int64_t{2}});
    EXPECT_EQ(state.when, timestamp{std::chrono::seconds{2}});
}

TEST_F(two_queued_slots, lose_nothing_but_an_update_for_which_there_was_no_memory) {
    auto const set_without_memory = [this](std::int64_t value) {
        std::vector<variable_change> changes{
            {left, good, packed_value{value}}, {right, good, packed_value{value}}};
        limited_memory const limit{0};
        slots.set(std::move(changes), at_one);
    };
    set_both(1, at_one);

    EXPECT_THROW(set_without_memory(2), std::bad_alloc);
    slots.set({right, good, packed_value{std::int64_t{3}}}, at_one);

    EXPECT_EQ(events_of(slots.take()), "1 1; 3");
    EXPECT_EQ(slots.get_dropped_changes(right), 0U);
}

TEST(slots_with_little_memory, give_each_change_once_also_if_a_take_failed) {
    variable_slots slots;
    constexpr std::int64_t count = 6;
    for (std::int64_t number = 0; number < count; ++number) {
        slots.add(std::to_string(number), number, read_only, at_noon);
    }
    std::deque<change_block> taken;
    auto const take_with = [&](int allocations) {
        try {
            limited_memory const limit{allocations};
            taken = slots.take();
            return true;
        } catch (std::bad_alloc const&) {
            return false;
        }
    };
    auto const change_all = [&slots] {
        for (std::int64_t number = 0; number < count; ++number) {
            auto const position = static_cast<variable_slots::position>(number);
            slots.set(
                {position, good, packed_value{number}}, timestamp{std::chrono::seconds{number}});
        }
    };

    int allocations = 0;
    for (change_all(); !take_with(allocations); change_all()) {
        ++allocations;
    }

    EXPECT_GE(allocations, 3);
    EXPECT_EQ(all_of(std::move(taken)).size(), static_cast<std::size_t>(count));
}

TEST_F(two_queued_slots, are_put_back_without_what_has_no_queue) {
    auto const plain = slots.add("plain", std::int64_t{0}, read_only, at_noon);
    set_both(1, at_noon);
    slots.set({plain, good, packed_value{std::int64_t{2}}}, at_noon);
    slots.set({plain, good, packed_value{std::int64_t{3}}}, at_one);

    slots.put_back(slots.take());

    EXPECT_EQ(events_of(slots.take()), "1 1");
}

TEST_F(two_queued_slots, share_an_event_with_a_variable_without_a_queue) {
    auto const plain = slots.add("plain", std::int64_t{0}, read_only, at_noon);
    set_both(1, at_noon);
    slots.set({plain, good, packed_value{std::int64_t{2}}}, at_noon);

    EXPECT_EQ(events_of(slots.take()), "1 1 2");
}

TEST_F(two_queued_slots, share_the_event_of_an_update_with_a_variable_without_a_queue) {
    auto const plain = slots.add("plain", std::int64_t{0}, read_only, at_noon);
    set_both(1, at_noon);
    slots.set(
        {{left, good, packed_value{std::int64_t{2}}},
         {plain, good, packed_value{std::int64_t{4}}},
         {right, good, packed_value{std::int64_t{3}}}},
        at_one);

    EXPECT_EQ(events_of(slots.take()), "1 1; 2 3 4");
    EXPECT_EQ(slots.get(right), variable_value{std::int64_t{3}});
}

TEST_F(two_queued_slots, give_no_event_with_two_changes_of_a_variable_in_one_update) {
    slots.set(
        {{left, good, packed_value{std::int64_t{1}}},
         {left, good, packed_value{std::int64_t{2}}},
         {right, good, packed_value{std::int64_t{3}}}},
        at_one);

    EXPECT_EQ(events_of(slots.take()), "1; 2 3");
}

TEST_F(two_slots, keep_paths_and_changes_when_they_are_frozen) {
    set_speed(2.0);

    slots.freeze();

    EXPECT_EQ(slots.get_path(speed), "speed");
    EXPECT_EQ(slots.get_path(mode), "mode");
    EXPECT_THAT(take_values(), ElementsAre(variable_value{2.0}));
}

} // namespace

} // namespace arvenhold::corvel::hub
