// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The ids of the first lists of a process, and dumps that show them. A program of its own, because
// the counter of ids belongs to the process.

#include "support/dump.hpp"
#include "support/lists.hpp"
#include "support/recording_provider.hpp"
#include <hub/provider_definition.hpp>
#include <hub/provider_variable.hpp>
#include <hub/variable_list.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::nanoseconds;
using testing::ElementsAre;

constexpr auto read_write = variable_permissions::read_write;
constexpr auto read_only = variable_permissions::read_only;
constexpr timestamp at_noon{nanoseconds{1'700'000'000'123'456'789}};

// The only lists of this process. They are made once, whichever of the tests run.
struct first_lists {
    recording_provider parent{"press-4"};
    std::shared_ptr<variable_list> first = make_list(
        parent.get(),
        11,
        {{"boiler/burner on", false, read_write},
         {"boiler/pressure", 1.5, read_only},
         {"boiler/starts", std::int64_t{-42}, read_write},
         {"boiler/mode", std::string{"heat up"}, read_only},
         {"boiler/last service", at_noon, read_write},
         {"boiler/cycle", nanoseconds{-250}, variable_permissions{2}}});
    std::shared_ptr<variable_list> second =
        make_list(parent.get(), 12, {{"a", 1.5, read_write}, {"b", std::string{}, read_only}});
    std::shared_ptr<variable_list> empty = make_list(parent.get(), 13, {});

    first_lists() {
        second->mark_list_as_stale();
        for (auto const& list : {first, second}) {
            set_times(*list);
        }
    }

    // Replaces the times at which the lists were made and retired.
    static void set_times(variable_list const& list) {
        for (auto const& [id, variable] : list.get_variables()) {
            variable->set_quality(variable->get_quality(), at_noon);
        }
    }
};

class first_list : public testing::Test {
protected:
    static first_lists& lists() {
        static first_lists lists;
        return lists;
    }
};

TEST_F(first_list, has_the_ids_from_zero) {
    EXPECT_THAT(ids_of(*lists().first), ElementsAre(0, 1, 2, 3, 4, 5));
}

TEST_F(first_list, is_followed_by_a_list_with_the_next_ids) {
    EXPECT_THAT(ids_of(*lists().second), ElementsAre(6, 7));
}

TEST_F(first_list, is_dumped_as_a_table) {
    EXPECT_EQ(without_addresses(dump_of(*lists().first)), golden_dump("first_list.txt"));
}

TEST_F(first_list, is_followed_by_a_stale_list_whose_dump_says_so) {
    EXPECT_EQ(without_addresses(dump_of(*lists().second)), golden_dump("stale_list.txt"));
}

TEST_F(first_list, is_followed_by_an_empty_list_whose_dump_has_no_lines) {
    EXPECT_EQ(without_addresses(dump_of(*lists().empty)), golden_dump("empty_list.txt"));
}

} // namespace

} // namespace arvenhold::corvel::hub
