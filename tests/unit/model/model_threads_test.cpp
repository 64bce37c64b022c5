// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What the model's classes promise to several threads at once. The thread sanitizer looks on.

#include "support/case_name.hpp"
#include "support/dump.hpp"
#include "support/lists.hpp"
#include "support/recording_provider.hpp"
#include <hub/consumer_variable.hpp>
#include <hub/errors.hpp>
#include <hub/provider_definition.hpp>
#include <hub/provider_variable.hpp>
#include <hub/variable_list.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <latch>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::nanoseconds;
using testing::ElementsAre;
using testing::SizeIs;
using testing::UnorderedElementsAre;
using namespace std::string_literals;

constexpr auto read_write = variable_permissions::read_write;
constexpr int repetitions = 200;

timestamp at(std::int64_t count) {
    return timestamp{nanoseconds{count}};
}

// Runs the functions at once, each on a thread of its own, and waits for all of them.
void run_at_once(std::vector<std::function<void()>> const& functions) {
    std::latch all_started{static_cast<std::ptrdiff_t>(functions.size())};
    std::vector<std::jthread> threads;
    threads.reserve(functions.size());
    for (auto const& function : functions) {
        threads.emplace_back([&] {
            all_started.arrive_and_wait();
            function();
        });
    }
}

template <class Step>
auto repeated(Step step) {
    return [step] {
        for (int round = 0; round < repetitions; ++round) {
            step(round);
        }
    };
}

// Runs the changes at once, and the step again and again until all of them are done.
void run_meanwhile(
    std::vector<std::function<void()>> const& changes, std::function<void()> const& step) {
    // Relaxed, so that it orders nothing that is for the locks under test to order.
    std::atomic<std::size_t> unfinished{changes.size()};
    std::vector<std::function<void()>> functions;
    functions.reserve(changes.size() + 1);
    for (auto const& change : changes) {
        functions.emplace_back([&] {
            change();
            unfinished.fetch_sub(1, std::memory_order_relaxed);
        });
    }
    functions.emplace_back([&] {
        while (unfinished.load(std::memory_order_relaxed) != 0) {
            step();
        }
        step(); // sees the last change, even if this thread got no time before
    });
    run_at_once(functions);
}

TEST(lists_made_at_once, have_consecutive_ids_and_share_none) {
    recording_provider parent{"press-4"};
    std::mutex mutex;
    std::vector<std::vector<variable_id>> ids_of_lists;
    auto const make_lists = repeated([&](int) {
        auto const list = make_list(
            parent.get(),
            11,
            {{"a", 1.5, read_write}, {"b", true, read_write}, {"c", 2.5, read_write}});
        std::scoped_lock const lock{mutex};
        ids_of_lists.push_back(ids_of(*list));
    });

    run_at_once(std::vector<std::function<void()>>(8, make_lists));

    ASSERT_THAT(ids_of_lists, SizeIs(8 * repetitions));
    std::ranges::sort(ids_of_lists);
    auto next_id = ids_of_lists.front().front();
    for (auto const& ids : ids_of_lists) {
        EXPECT_THAT(ids, ElementsAre(next_id, next_id + 1, next_id + 2));
        next_id += 3;
    }
}

TEST(definition_used_by_two_lists_at_once, gives_every_text_to_one_of_them) {
    recording_provider parent{"press-4"};
    std::string const text{"a text that is too long to be kept in place"};
    provider_definition definition{11};
    for (int number = 0; number < repetitions; ++number) {
        definition.add_variable_definition(std::to_string(number), text, read_write);
    }
    definition.finalize();
    std::vector<std::shared_ptr<variable_list>> lists(2);

    run_at_once(
        {[&] { lists[0] = variable_list::create(definition, parent.get()); },
         [&] {
             lists[1] = variable_list::create(definition, parent.get());
         }});

    for (int number = 0; number < repetitions; ++number) {
        std::vector<variable_value> values;
        for (auto const& list : lists) {
            values.push_back(std::next(list->get_variables().begin(), number)->second->get_value());
        }
        EXPECT_THAT(values, UnorderedElementsAre(variable_value{text}, variable_value{""s}));
    }
}

TEST(definition_extended_at_once, keeps_every_variable) {
    provider_definition definition{11};
    auto const add_one = repeated([&](int round) {
        definition.add_variable_definition("one " + std::to_string(round), 1.5, read_write);
    });
    auto const add_two = repeated([&](int) {
        definition.bulk_add_variable_definitions({{"a", 1.5, read_write}, {"b", 2.5, read_write}});
    });
    auto const look = repeated([&](int) {
        EXPECT_FALSE(definition.is_finalized());
        EXPECT_THROW(definition.get_iterators(), operational_state_invalid);
    });

    run_at_once({add_one, add_one, add_two, add_two, look});

    definition.finalize();
    auto const [first, last] = definition.get_iterators();
    EXPECT_EQ(last - first, 6 * repetitions);
}

TEST(definition_finalized_while_it_is_extended, has_what_was_added_without_an_exception) {
    provider_definition definition{11};
    std::atomic<int> added{0};
    auto const add_until_refused = [&] {
        EXPECT_THROW(
            for (;; ++added) { definition.add_variable_definition("a", 1.5, read_write); },
            operational_state_invalid);
    };
    auto const finalize = [&] {
        while (added < repetitions) {
            std::this_thread::yield();
        }
        definition.finalize();
    };

    run_at_once({add_until_refused, add_until_refused, finalize});

    auto const [first, last] = definition.get_iterators();
    EXPECT_EQ(last - first, added);
}

// A list of two integers whose values always equal their time stamps.
class list_used_at_once : public testing::Test {
protected:
    recording_provider parent{"press-4"};
    std::shared_ptr<variable_list> list = make_list(
        parent.get(),
        11,
        {{"count", std::int64_t{0}, read_write}, {"other", std::int64_t{0}, read_write}});
    variable_id const count = ids_of(*list).front();
    variable_id const other = ids_of(*list).back();

    auto publishing() {
        return repeated(
            [this](int round) { list->publish(count, std::int64_t{round}, at(round)); });
    }

    auto changing_quality() {
        return repeated([this](int round) {
            std::scoped_lock const lock{*list};
            list->get_variables().at(count)->set_quality(variable_quality::good, at(round));
        });
    }
};

struct change_case {
    char const* name;
    void (*change)(variable_list& list, variable_id id, int round);
};

class change_made_at_once : public list_used_at_once,
                            public testing::WithParamInterface<change_case> {};

TEST_P(change_made_at_once, is_counted_every_time_while_the_provider_empties_the_tracker) {
    auto const change = [&](variable_id id) {
        return repeated([&, id](int round) { GetParam().change(*list, id, round); });
    };

    run_meanwhile({change(count), change(other), change(other)}, [&] { forget_pending(*list); });

    EXPECT_EQ(list->get_variables().at(count)->get_update_count(), repetitions);
    EXPECT_EQ(list->get_variables().at(other)->get_update_count(), 2 * repetitions);
}

INSTANTIATE_TEST_SUITE_P(
    every_change,
    change_made_at_once,
    testing::Values(
        change_case{
            "publish",
            [](variable_list& list, variable_id id, int round) {
                list.publish(id, std::int64_t{round}, at(round));
            }},
        change_case{
            "bulk_publish",
            [](variable_list& list, variable_id id, int round) {
                list.bulk_publish({{id, std::int64_t{round}}}, at(round));
            }},
        change_case{
            "set_quality",
            [](variable_list& list, variable_id id, int round) {
                list.set_quality(id, variable_quality::good, at(round));
            }},
        change_case{
            "bulk_set_quality",
            [](variable_list& list, variable_id id, int round) {
                list.bulk_set_quality({{id, variable_quality::good}}, at(round));
            }},
        change_case{
            "write_variable",
            [](variable_list& list, variable_id id, int round) {
                list.write_variable(id, std::int64_t{round}, at(round));
            }}),
    case_name);

TEST_F(list_used_at_once, is_dumped_and_searched_meanwhile) {
    run_meanwhile({publishing(), changing_quality()}, [&] {
        dump_of(*list);
        EXPECT_EQ(list->resolve_variable_by_id(count)->get_id(), count);
        EXPECT_THAT(list->get_variables(), SizeIs(2));
    });

    EXPECT_EQ(list->get_variables().at(count)->get_update_count(), 2 * repetitions);
}

TEST_F(list_used_at_once, lets_its_provider_empty_the_tracker_meanwhile) {
    parent.link().on_publish = [&] {
        forget_pending(*list);
    };
    auto const mark = repeated([&](int) { list->mark_all_variables_pending(); });

    run_at_once({publishing(), publishing(), mark, mark});

    forget_pending(*list);
    list->set_quality(count, variable_quality::good, at(1));
    EXPECT_THAT(pending_of(*list), ElementsAre(count));
}

TEST_F(list_used_at_once, can_be_retired_meanwhile) {
    auto const publish_until_refused = [&] {
        EXPECT_THROW(
            for (std::int64_t round = 0;; ++round) { list->publish(count, round, at(round)); },
            variable_list_outdated);
    };
    auto const change_until_refused = [&] {
        EXPECT_THROW(
            for (std::int64_t round = 0;;
                 ++round) { list->set_quality(count, variable_quality::good, at(round)); },
            variable_list_outdated);
    };
    auto const retire = [&] {
        while (parent.link().publications().size() < repetitions) {
            std::this_thread::yield();
        }
        list->mark_list_as_stale();
    };

    run_at_once({publish_until_refused, publish_until_refused, change_until_refused, retire});

    EXPECT_EQ(list->get_variables().at(count)->get_quality(), variable_quality::bad);
}

TEST_F(list_used_at_once, can_be_retired_while_everything_is_marked_pending) {
    auto const retire = repeated([&](int) { list->mark_list_as_stale(); });
    auto const mark = repeated([&](int) { list->mark_all_variables_pending(); });

    run_meanwhile({retire, mark}, [&] { forget_pending(*list); });

    EXPECT_EQ(list->get_variables().at(count)->get_update_count(), repetitions);
    EXPECT_EQ(list->get_variables().at(other)->get_quality(), variable_quality::bad);
}

TEST(list_whose_provider_goes_at_once, refuses_changes_from_then_on) {
    std::optional<recording_provider> parent{"press-4"};
    auto const list = make_list(parent->get(), 11, {{"count", std::int64_t{0}, read_write}});
    auto const count = ids_of(*list).front();
    std::atomic<int> published{0};
    auto const publish_until_refused = [&] {
        EXPECT_THROW(
            for (std::int64_t round = 0;; ++round) {
                list->publish(count, round, at(round));
                ++published;
            },
            operational_state_invalid);
    };
    auto const destroy_provider = [&] {
        while (published < repetitions) {
            std::this_thread::yield();
        }
        parent.reset();
    };

    run_at_once({publish_until_refused, publish_until_refused, destroy_provider});

    EXPECT_EQ(list->get_variables().at(count)->get_update_count(), published);
}

// -- variables that are read while they change ----------------------------------------------------

// One operation each, because an operation that locks would hide that another one does not.
template <class Variable>
struct read_case {
    char const* name;
    void (*read)(Variable& variable);
};

template <class Variable>
auto every_read() {
    using read = read_case<Variable>;
    return testing::Values(
        read{
            "get_value_with_timestamp",
            [](Variable& variable) {
                auto const [value, when] = variable.get_value_with_timestamp();
                EXPECT_EQ(at(std::get<std::int64_t>(value)), when);
            }},
        read{
            "get_quality",
            [](Variable& variable) {
                variable.get_quality();
            }},
        read{
            "get_last_publish_timestamp",
            [](Variable& variable) {
                variable.get_last_publish_timestamp();
            }},
        read{
            "get_update_count",
            [](Variable& variable) {
                variable.get_update_count();
            }},
        read{"to_str", [](Variable& variable) {
                 dump_of(variable);
             }});
}

class provider_variable_read_at_once
    : public list_used_at_once,
      public testing::WithParamInterface<read_case<provider_variable>> {};

TEST_P(provider_variable_read_at_once, is_whole) {
    list->publish(count, std::int64_t{0}, at(0));
    auto const& variable = list->resolve_variable_by_id(count);

    run_meanwhile({publishing(), publishing()}, [&] { GetParam().read(*variable); });

    EXPECT_EQ(variable->get_update_count(), 2 * repetitions + 1);
}

TEST_P(provider_variable_read_at_once, may_change_its_quality) {
    variable_value initial{std::int64_t{0}};
    auto const tracker = std::make_shared<modification_tracker>();
    auto const variable = provider_variable::create(7, "count", initial, read_write, tracker);
    variable->set_value(std::int64_t{0}, at(0));
    auto const change =
        repeated([&](int) { variable->set_quality(variable_quality::uncertain, at(0)); });

    run_meanwhile({change}, [&] { GetParam().read(*variable); });

    EXPECT_EQ(variable->get_update_count(), repetitions + 1);
}

INSTANTIATE_TEST_SUITE_P(
    every_operation, provider_variable_read_at_once, every_read<provider_variable>(), case_name);

class consumer_variable_read_at_once : public testing::TestWithParam<read_case<consumer_variable>> {
};

TEST_P(consumer_variable_read_at_once, is_whole) {
    variable_value initial{std::int64_t{0}};
    auto const variable = consumer_variable::create(7, "count", initial, read_write);
    auto const receive =
        repeated([&](int round) { variable->update_value(std::int64_t{round}, at(round)); });
    auto const set =
        repeated([&](int round) { variable->set_value(std::int64_t{round}, at(round)); });
    auto const receive_quality =
        repeated([&](int) { variable->update_quality(variable_quality::uncertain); });

    run_meanwhile({receive, set, receive_quality}, [&] { GetParam().read(*variable); });

    EXPECT_EQ(variable->get_update_count(), 2 * repetitions);
    EXPECT_EQ(variable->get_quality(), variable_quality::uncertain);
}

INSTANTIATE_TEST_SUITE_P(
    every_operation, consumer_variable_read_at_once, every_read<consumer_variable>(), case_name);

} // namespace

} // namespace arvenhold::corvel::hub
