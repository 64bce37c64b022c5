// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/variable_slots.hpp"

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
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

class two_slots : public testing::Test {
protected:
    variable_slots slots;
    variable_slots::position const speed = slots.add("speed", 1.5, read_only, at_noon);
    variable_slots::position const mode =
        slots.add("mode", std::string{"idle"}, variable_permissions::read_write, at_noon);

    void set_speed(double value) {
        slots.set({speed, value, good, at_one});
    }

    std::vector<variable_change> take() {
        std::vector<variable_change> batch;
        slots.take(batch);
        return batch;
    }

    std::vector<variable_value> take_values() {
        std::vector<variable_value> values;
        for (auto const& change : take()) {
            values.push_back(change.value);
        }
        return values;
    }
};

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
    EXPECT_THAT(take(), IsEmpty());
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

    auto const batch = take();

    ASSERT_THAT(batch, SizeIs(1));
    EXPECT_EQ(batch[0].position, speed);
    EXPECT_EQ(batch[0].value, variable_value{3.0});
    EXPECT_EQ(batch[0].quality, good);
    EXPECT_EQ(batch[0].when, at_one);
    EXPECT_THAT(take(), IsEmpty());
    EXPECT_EQ(slots.get(speed), variable_value{3.0});
}

TEST_F(two_slots, give_changes_in_the_order_of_the_first) {
    slots.set({mode, std::string{"run"}, good, at_one});
    set_speed(2.0);
    slots.set({mode, std::string{"stop"}, good, at_one});

    EXPECT_THAT(
        take_values(), ElementsAre(variable_value{std::string{"stop"}}, variable_value{2.0}));
}

TEST_F(two_slots, record_all_of_several_changes_or_none) {
    EXPECT_THROW(
        slots.set({{speed, 2.0, good, at_one}, {mode, 2.0, good, at_one}}), std::invalid_argument);
    EXPECT_THAT(take(), IsEmpty());
    EXPECT_EQ(slots.get(speed), variable_value{1.5});

    slots.set({{speed, 2.0, good, at_one}, {mode, std::string{"run"}, good, at_one}});

    EXPECT_THAT(take(), SizeIs(2));
}

TEST_F(two_slots, refuse_another_type_in_words) {
    try {
        slots.set({mode, 2.0, good, at_one});
        FAIL() << "nothing was thrown";
    } catch (std::invalid_argument const& refused) {
        EXPECT_STREQ(refused.what(), "the variable \"mode\" cannot have a value of type double");
    }
    EXPECT_EQ(slots.get(mode), variable_value{std::string{"idle"}});
}

TEST_F(two_slots, give_a_quality_with_the_latest_value) {
    slots.set_quality(speed, variable_quality::bad, at_one);

    auto const batch = take();

    ASSERT_THAT(batch, SizeIs(1));
    EXPECT_EQ(batch[0].value, variable_value{1.5});
    EXPECT_EQ(batch[0].quality, variable_quality::bad);
    EXPECT_EQ(batch[0].when, at_one);
}

TEST_F(two_slots, give_what_is_sent_again_as_it_is) {
    slots.send_again(speed);

    auto const batch = take();

    ASSERT_THAT(batch, SizeIs(1));
    EXPECT_EQ(batch[0].value, variable_value{1.5});
    EXPECT_EQ(batch[0].when, at_noon);
}

TEST_F(two_slots, take_nothing_back_without_a_queue) {
    set_speed(2.0);
    auto const batch = take();

    slots.put_back(batch, 0);

    EXPECT_THAT(take(), IsEmpty());
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
    EXPECT_THAT(take(), IsEmpty());
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
    auto const batch = take();
    set_speed(4.0);

    slots.put_back(batch, 1);

    EXPECT_THAT(take_values(), ElementsAre(variable_value{3.0}, variable_value{4.0}));
}

TEST_F(queued_slot, takes_back_no_more_than_fits) {
    set_speed(2.0);
    set_speed(3.0);
    auto const batch = take();
    set_speed(4.0);
    set_speed(5.0);

    slots.put_back(batch, 0);

    EXPECT_EQ(slots.get_dropped_changes(speed), 1U);
    EXPECT_THAT(
        take_values(), ElementsAre(variable_value{3.0}, variable_value{4.0}, variable_value{5.0}));
}

} // namespace

} // namespace arvenhold::corvel::hub
