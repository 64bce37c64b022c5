// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "model/pending_set.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr variable_id lowest = 40;

std::vector<variable_id> ids_in(pending_set const& pending) {
    std::vector<variable_id> ids;
    pending.for_each([&](variable_id id) { ids.push_back(id); });
    return ids;
}

} // namespace

TEST(pending_set, has_each_id_once_in_the_order_of_the_changes) {
    pending_set pending{lowest, 3};

    pending.insert(lowest + 2);
    pending.insert(lowest);
    pending.insert(lowest + 2);

    EXPECT_THAT(ids_in(pending), ElementsAre(lowest + 2, lowest));
    EXPECT_EQ(pending.size(), 2U);
}

TEST(pending_set, takes_a_cleared_id_again) {
    pending_set pending{lowest, 3};
    pending.insert(lowest + 1);

    pending.clear();
    EXPECT_THAT(ids_in(pending), IsEmpty());
    pending.insert(lowest + 1);

    EXPECT_THAT(ids_in(pending), ElementsAre(lowest + 1));
}

TEST(pending_set, moves_into_the_set_when_that_is_requested) {
    pending_set pending{lowest, 3};
    pending.insert(lowest + 1);

    auto const set = pending.request_set();
    EXPECT_THAT(*set, UnorderedElementsAre(lowest + 1));
    pending.insert(lowest + 2);

    EXPECT_THAT(*set, UnorderedElementsAre(lowest + 1, lowest + 2));
    EXPECT_THAT(ids_in(pending), UnorderedElementsAre(lowest + 1, lowest + 2));
    EXPECT_EQ(pending.size(), 2U);
    EXPECT_EQ(pending.request_set(), set);
}

TEST(pending_set, has_what_the_application_puts_into_the_requested_set) {
    pending_set pending{lowest, 3};

    pending.request_set()->insert(4711);

    EXPECT_THAT(ids_in(pending), ElementsAre(4711));
    pending.clear();
    EXPECT_THAT(*pending.request_set(), IsEmpty());
}

TEST(pending_set, uses_a_given_set) {
    auto const given = std::make_shared<modification_tracker>();
    pending_set pending{given};

    pending.insert(7);

    EXPECT_THAT(*given, UnorderedElementsAre(7));
    EXPECT_EQ(pending.request_set(), given);
}

} // namespace arvenhold::corvel::hub
