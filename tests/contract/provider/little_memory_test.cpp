// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "boiler_test.hpp"
#include "support/limited_memory.hpp"
#include "support/lists.hpp"

#include <new>

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

} // namespace

} // namespace arvenhold::corvel::hub
