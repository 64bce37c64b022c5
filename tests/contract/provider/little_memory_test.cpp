// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "boiler_test.hpp"
#include "support/limited_memory.hpp"
#include "support/lists.hpp"

#include <mutex>
#include <new>
#include <tuple>

namespace arvenhold::corvel::hub {

namespace {

using testing::IsEmpty;
using testing::SizeIs;

class provider_with_little_memory : public boiler_test {};

TEST_F(provider_with_little_memory, needs_none_to_disconnect) {
    auto const list = start();
    bool has_run_out = false;

    {
        limited_memory const nothing_left{0};
        boiler.disconnect();
        has_run_out = nothing_left.has_run_out();
    }

    EXPECT_FALSE(has_run_out);
    EXPECT_FALSE(boiler.is_connected());
    EXPECT_EQ(nats.open_connections(), 0U);
    EXPECT_EQ(list->resolve_variable_by_id(speed_of(*list))->get_quality(), variable_quality::bad);
}

// The fake complains about a subscription that is destroyed while its connection is open.
TEST_F(provider_with_little_memory, is_usable_only_with_all_its_subscriptions) {
    for (int allocations = 0; !boiler.is_connected(); ++allocations) {
        try {
            limited_memory const limit{allocations};
            connect();
        } catch (std::bad_alloc const&) {
            EXPECT_FALSE(boiler.is_connected());
            if (nats.open_connections() != 0) {
                boiler.disconnect();
            }
        }
    }

    EXPECT_THAT(nats.open_subjects(), SizeIs(4));
    EXPECT_EQ(nats.open_connections(), 1U);
}

TEST_F(provider_with_little_memory, needs_none_to_disconnect_when_the_set_of_changes_was_emptied) {
    auto const list = start();
    list->get_modification_tracker()->clear();

    {
        limited_memory const nothing_left{0};
        boiler.disconnect();
    }

    EXPECT_FALSE(boiler.is_connected());
    EXPECT_EQ(nats.open_connections(), 0U);
    EXPECT_THAT(errors.text(), IsEmpty());
}

TEST_F(provider_with_little_memory, leaves_a_variable_unchanged_whose_change_it_cannot_note) {
    auto const list = start();
    auto& speed = *list->get_variables().at(speed_of(*list));
    std::ignore = list->get_modification_tracker(); // noting needs memory from now on
    auto const before = states_of(*list);

    {
        std::scoped_lock const lock{*list};
        limited_memory const nothing_left{0};
        EXPECT_THROW(speed.set_value(2.5, noon), std::bad_alloc);
        EXPECT_THROW(speed.set_quality(variable_quality::bad, noon), std::bad_alloc);
    }

    EXPECT_EQ(states_of(*list), before);
    EXPECT_THAT(pending_of(*list), IsEmpty());
}

TEST_F(provider_with_little_memory, keeps_what_is_pending_if_it_cannot_create_the_set) {
    auto const list = start();
    auto const speed = speed_of(*list);
    list->set_quality(speed, variable_quality::uncertain, noon);

    {
        limited_memory const nothing_left{0};
        EXPECT_THROW(list->get_modification_tracker(), std::bad_alloc);
    }

    EXPECT_THAT(pending_of(*list), testing::UnorderedElementsAre(speed));
}

} // namespace

} // namespace arvenhold::corvel::hub
