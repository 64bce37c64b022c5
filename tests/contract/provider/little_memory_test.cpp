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

// Then the list needs memory to note that its variables have become bad.
TEST_F(provider_with_little_memory, can_disconnect_later_if_the_application_has_emptied_the_marks) {
    auto const list = register_boiler(7);
    with_verdict(verdict_on(7, 1), [&] { connect(); });
    auto const second = register_boiler(8);
    forget_pending(*second);

    EXPECT_THROW(
        {
            limited_memory const nothing_left{0};
            boiler.disconnect();
        },
        std::bad_alloc);

    EXPECT_TRUE(boiler.is_connected());
    EXPECT_EQ(boiler.get_variable_list(), second);
    EXPECT_EQ(nats.open_connections(), 1U);
    EXPECT_NO_THROW(boiler.publish(noon));
    boiler.disconnect();
    EXPECT_FALSE(boiler.is_connected());
    EXPECT_EQ(nats.open_connections(), 0U);
    EXPECT_THAT(errors.text(), IsEmpty());
}

} // namespace

} // namespace arvenhold::corvel::hub
