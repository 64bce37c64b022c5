// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/handler_queue.hpp"

#include "support/limited_memory.hpp"
#include <hub/diagnostics.hpp>

#include <gmock/gmock.h>

#include <poll.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

bool is_readable(int descriptor) {
    pollfd polled{descriptor, POLLIN, 0};
    return ::poll(&polled, 1, 0) == 1;
}

// Collects what is reported while it lives.
class reports {
public:
    reports() {
        set_diagnostics_callback(
            [](diagnostic const& report, void* user_data) {
                static_cast<reports*>(user_data)->texts.emplace_back(report.text);
            },
            this);
    }

    reports(reports const&) = delete;
    reports& operator=(reports const&) = delete;

    ~reports() {
        set_diagnostics_callback(nullptr, nullptr);
    }

    std::vector<std::string> texts;
};

class immediate_handlers : public testing::Test {
protected:
    reports reported;
    handler_queue queue{"oven", false};
    std::vector<int> ran;
};

TEST_F(immediate_handlers, run_when_they_are_added) {
    queue.add([this] { ran.push_back(1); });

    EXPECT_THAT(ran, ElementsAre(1));
    EXPECT_EQ(queue.get_descriptor(), -1);
}

TEST_F(immediate_handlers, do_not_run_after_the_end) {
    queue.close();
    queue.add([this] { ran.push_back(1); });

    EXPECT_THAT(ran, IsEmpty());
}

TEST_F(immediate_handlers, may_throw_and_are_reported_with_the_clients_name) {
    queue.add([] { throw std::runtime_error{"too hot"}; });
    queue.add([] { throw 1; });
    queue.add([this] { ran.push_back(1); });

    EXPECT_THAT(
        reported.texts,
        ElementsAre(
            "oven: a handler threw an exception: too hot",
            "oven: a handler threw something that is no std::exception"));
    EXPECT_THAT(ran, ElementsAre(1));
}

class waiting_handlers : public testing::Test {
protected:
    handler_queue queue{"oven", true};
    std::vector<int> ran;

    void add(int number) {
        queue.add([this, number] { ran.push_back(number); });
    }
};

TEST_F(waiting_handlers, run_in_their_order_when_dispatched) {
    add(1);
    add(2);
    EXPECT_THAT(ran, IsEmpty());

    EXPECT_EQ(queue.dispatch(), 2U);

    EXPECT_THAT(ran, ElementsAre(1, 2));
    EXPECT_EQ(queue.dispatch(), 0U);
}

TEST_F(waiting_handlers, make_the_descriptor_readable) {
    EXPECT_FALSE(is_readable(queue.get_descriptor()));
    add(1);
    add(2);
    EXPECT_TRUE(is_readable(queue.get_descriptor()));

    queue.dispatch();

    EXPECT_FALSE(is_readable(queue.get_descriptor()));
}

TEST_F(waiting_handlers, find_nothing_to_dispatch_inside_a_handler) {
    std::size_t nested = 1;
    queue.add([&] {
        add(2);
        nested = queue.dispatch();
    });

    queue.dispatch();

    EXPECT_EQ(nested, 0U);
    EXPECT_TRUE(is_readable(queue.get_descriptor()));
    EXPECT_EQ(queue.dispatch(), 1U);
    EXPECT_THAT(ran, ElementsAre(2));
}

TEST_F(waiting_handlers, run_although_the_failure_of_another_one_could_not_be_reported) {
    queue.add([] { throw std::runtime_error{"a text that needs memory of its own"}; });
    {
        limited_memory const nothing_left{0};
        EXPECT_EQ(queue.dispatch(), 1U);
    }
    queue.add([this] { ran.push_back(1); });

    EXPECT_EQ(queue.dispatch(), 1U);
    EXPECT_THAT(ran, ElementsAre(1));
}

TEST_F(waiting_handlers, lose_the_oldest_report_with_the_subject_of_the_next_one_if_they_are_many) {
    auto const report = [this](std::string const& subject, int number) {
        queue.add_report(subject, [this, number] { ran.push_back(number); });
    };
    std::vector<int> expected;
    report("oven", -1);
    report("mill", -2);
    for (int number = 2; number < static_cast<int>(handler_queue::many_waiting); ++number) {
        add(number);
        expected.push_back(number);
    }
    expected.insert(expected.begin(), -2);
    expected.insert(expected.end(), {-4, -5, -6});

    report("oven", -3);
    report("oven", -4); // in place of the one before
    report("kiln", -5);
    add(-6);

    EXPECT_EQ(queue.dispatch(), expected.size());
    EXPECT_EQ(ran, expected);
}

TEST_F(waiting_handlers, are_dropped_at_the_end_even_by_a_handler) {
    auto const held = std::make_shared<int>();
    queue.add([this] { queue.close(); });
    queue.add([this, held] { ran.push_back(*held); });

    EXPECT_EQ(queue.dispatch(), 1U);
    add(3);
    queue.dispatch();

    EXPECT_THAT(ran, IsEmpty());
    EXPECT_EQ(held.use_count(), 1);
}

} // namespace

} // namespace arvenhold::corvel::hub
