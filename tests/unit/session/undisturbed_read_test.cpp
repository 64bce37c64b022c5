// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/undisturbed_read.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

namespace arvenhold::corvel::hub {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::shared_ptr<consumer_variable> make_variable(variable_id id) {
    variable_value initial{0.0};
    return consumer_variable::create(id, "path", initial, variable_permissions::read_only);
}

class undisturbed_read : public testing::Test {
protected:
    void update(variable_id id) {
        (id == 4 ? rare : busy)->update_value(1.0, timestamp{});
    }

    // Reads both; `disturb` updates variables before each answer is applied.
    template <class Disturb>
    void read_both(Disturb const& disturb) {
        read_undisturbed({{rare.get()}, {busy.get()}}, [&](std::vector<variable_id> const& ids) {
            reads.push_back(ids);
            disturb();
            for (auto const id : ids) {
                update(id);
            }
        });
    }

    std::shared_ptr<consumer_variable> rare = make_variable(4);
    std::shared_ptr<consumer_variable> busy = make_variable(5);
    std::vector<std::vector<variable_id>> reads;
};

TEST_F(undisturbed_read, ends_with_the_first_answer_if_no_event_has_come) {
    read_both([] {});

    EXPECT_THAT(reads, ElementsAre(ElementsAre(4, 5)));
}

TEST_F(undisturbed_read, reads_again_only_what_an_event_has_updated) {
    read_both([&] {
        if (reads.size() == 1) {
            update(4);
        }
    });

    EXPECT_THAT(reads, ElementsAre(ElementsAre(4, 5), ElementsAre(4)));
}

TEST_F(undisturbed_read, leaves_the_others_alone_while_one_changes_all_the_time) {
    read_both([&] { update(5); });

    EXPECT_THAT(reads, ElementsAre(ElementsAre(4, 5), ElementsAre(5), ElementsAre(5)));
}

TEST_F(undisturbed_read, needs_no_variable) {
    read_undisturbed({}, [&](auto const& ids) { reads.push_back(ids); });

    EXPECT_THAT(reads, ElementsAre(IsEmpty()));
}

} // namespace

} // namespace arvenhold::corvel::hub
