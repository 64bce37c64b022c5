// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/followed_provider.hpp"

#include "support/await.hpp"
#include "support/limited_memory.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <new>
#include <tuple>

namespace arvenhold::corvel::hub {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using std::chrono::seconds;

constexpr timestamp noon{std::chrono::hours{12}};

followed_provider::clock::time_point after(seconds passed) {
    return followed_provider::clock::time_point{} + passed;
}

// The variables of a connection that have been read.
class read_variables {
public:
    read_variables(
        definition_fingerprint fingerprint,
        std::vector<std::tuple<variable_id, std::string, variable_value>> const& variables) {
        all.fingerprint = fingerprint;
        all.variables = std::make_shared<consumer_variable_map>();
        for (auto [id, path, value] : variables) {
            auto const sent = value;
            auto const variable =
                consumer_variable::create(id, path, value, variable_permissions::read_write);
            variable->update_value(sent, noon);
            all.variables->emplace(id, variable);
        }
    }

    void update(variable_id id, variable_value const& value) const {
        all.variables->at(id)->update_value(value, noon);
    }

    current_variables all;
};

auto const one_section = std::make_shared<following::present_section>(0);

std::shared_ptr<following> follow_path(std::string const& path, std::size_t limit = 0) {
    auto wanted = std::make_shared<following>(
        following::interest{path_pattern{"oven"}, path_pattern{path}, std::size_t{1}},
        limit,
        one_section);
    wanted->set_handlers({[](auto const& /*now*/) {}, nullptr});
    return wanted;
}

std::shared_ptr<following> follow_pattern(std::string const& paths, std::size_t limit = 0) {
    auto wanted = std::make_shared<following>(
        following::interest{path_pattern{"oven"}, path_pattern{paths}, std::nullopt},
        limit,
        one_section);
    wanted->set_handlers({[](auto const& /*now*/) {}, nullptr});
    return wanted;
}

class oven : public testing::Test {
protected:
    definition_change adopt(read_variables const& read) {
        return provider.adopt({}, read.all, provider.count_losses());
    }

    [[nodiscard]] any_reading now(std::size_t slot) const {
        return provider.get_reading(slot, after(seconds{10}));
    }

    // The readings that wait for a handler.
    std::vector<any_reading> take(following& wanted) {
        following::waiting waiting;
        wanted.take(0, waiting);
        std::vector<any_reading> readings;
        while (waiting.changes.size() > 0) {
            auto const taken = waiting.changes.take_event();
            std::vector<any_reading> made(taken.changes.size());
            provider.make_readings(
                taken, wanted, [] { return after(seconds{10}); }, made);
            readings.insert(readings.end(), made.begin(), made.end());
        }
        return readings;
    }

    followed_provider provider{"oven", seconds{35}};
    read_variables const first{77, {{4, "temperature", 20.0}, {5, "set_point", 60.0}}};
};

TEST_F(oven, knows_the_definition_that_its_readings_belong_to) {
    EXPECT_EQ(provider.get_definition().fingerprint, 0U);
    EXPECT_THAT(provider.get_definition().variables, IsEmpty());
    adopt(first);
    provider.lose(after(seconds{1}));
    auto const known = provider.get_definition();
    EXPECT_EQ(known.fingerprint, 77U);
    ASSERT_THAT(known.variables, SizeIs(2));
    EXPECT_EQ(known.variables[0].id, 4U);
    EXPECT_EQ(known.variables[0].path, "temperature");
    EXPECT_EQ(known.variables[0].type, variable_value{0.0}.index());
    EXPECT_EQ(known.variables[0].permissions, variable_permissions::read_write);
}

TEST_F(oven, has_received_nothing_at_first) {
    auto const slot = provider.add(follow_path("temperature"));

    EXPECT_EQ(now(slot).freshness, freshness::never_received);
    EXPECT_FALSE(now(slot).is_good());
}

TEST_F(oven, is_live_with_the_values_that_were_read) {
    auto const slot = provider.add(follow_path("temperature"));

    adopt(first);
    EXPECT_TRUE(provider.is_live());

    EXPECT_EQ(now(slot).value, variable_value{20.0});
    EXPECT_EQ(now(slot).when, noon);
    EXPECT_EQ(now(slot).freshness, freshness::live);
    EXPECT_EQ(now(slot).provider, "oven");
    EXPECT_EQ(now(slot).path, "temperature");
    EXPECT_TRUE(now(slot).is_good());
}

TEST_F(oven, is_not_live_if_something_was_lost_while_it_was_read) {
    auto const slot = provider.add(follow_path("temperature"));
    auto const begun = provider.count_losses();
    provider.lose(after(seconds{1}));

    provider.adopt({}, first.all, begun);
    EXPECT_FALSE(provider.is_live());

    EXPECT_EQ(now(slot).freshness, freshness::never_received);
    EXPECT_FALSE(provider.is_live());
}

TEST_F(oven, keeps_a_stale_value_until_it_is_live_again) {
    auto const wanted = follow_path("temperature");
    auto const slot = provider.add(wanted);
    adopt(first);
    auto const begun = provider.count_losses();
    provider.lose(after(seconds{7}));
    take(*wanted);

    first.update(4, 21.0);
    EXPECT_FALSE(provider.apply(nullptr, 77, {4}).value());
    EXPECT_FALSE(provider.refresh(nullptr));
    provider.adopt({}, first.all, begun);
    EXPECT_FALSE(provider.is_live());
    EXPECT_EQ(now(slot).value, variable_value{20.0});
    EXPECT_THAT(take(*wanted), IsEmpty());

    adopt(first);
    EXPECT_TRUE(provider.is_live());
    EXPECT_EQ(now(slot).value, variable_value{21.0});
}

TEST_F(oven, makes_a_reading_stale_that_was_taken_before_a_loss) {
    auto const wanted = follow_path("temperature", 10);
    provider.add(wanted);
    adopt(first);
    following::waiting waiting;
    wanted->take(0, waiting);
    auto const taken = waiting.changes.take_event();
    auto const time = [] {
        return after(seconds{10});
    };
    std::vector<any_reading> readings(1);
    provider.make_readings(taken, *wanted, time, readings);

    provider.update_freshness(readings[0], taken.losses, time);
    EXPECT_EQ(readings[0].freshness, freshness::live);

    provider.lose(after(seconds{7}));
    provider.update_freshness(readings[0], taken.losses, time);
    EXPECT_EQ(readings[0].freshness, freshness::stale);
    EXPECT_EQ(readings[0].stale_for, seconds{3});
}

TEST_F(oven, is_stale_with_its_age_after_a_loss) {
    auto const slot = provider.add(follow_path("temperature"));
    adopt(first);

    provider.lose(after(seconds{7}));

    EXPECT_EQ(now(slot).freshness, freshness::stale);
    EXPECT_EQ(now(slot).stale_for, seconds{3});
    EXPECT_EQ(now(slot).value, variable_value{20.0});
}

TEST_F(oven, has_no_age_below_zero_if_it_is_lost_after_a_look_at_the_clock) {
    auto const slot = provider.add(follow_path("temperature"));
    adopt(first);
    auto const looked_at = after(seconds{7});

    provider.lose(after(seconds{8}));

    EXPECT_EQ(provider.get_reading(slot, looked_at).freshness, freshness::stale);
    EXPECT_EQ(provider.get_reading(slot, looked_at).stale_for, seconds{0});
}

TEST_F(oven, is_stale_since_a_definition_lacks_it_if_nothing_was_lost_before) {
    auto const slot = provider.add(follow_path("temperature"));
    adopt(first);
    auto const before = followed_provider::clock::now();

    adopt(read_variables{78, {{9, "set_point", 61.0}}});

    auto const now = followed_provider::clock::now();
    EXPECT_EQ(provider.get_reading(slot, now).freshness, freshness::stale);
    EXPECT_LE(provider.get_reading(slot, now).stale_for, now - before);
}

TEST_F(oven, takes_over_the_values_of_an_event) {
    auto const slot = provider.add(follow_path("temperature"));
    adopt(first);
    first.update(4, 21.0);

    EXPECT_TRUE(provider.apply(nullptr, 77, {4}).has_value());

    EXPECT_EQ(now(slot).value, variable_value{21.0});
}

TEST_F(oven, tells_nothing_that_is_live_already_when_it_is_bound_again) {
    auto const told = follow_path("temperature");
    provider.add(told);
    adopt(first);
    EXPECT_THAT(take(*told), SizeIs(1));
    auto const added = follow_path("set_point");
    provider.add(added);

    EXPECT_THAT(provider.bind_again().vanished, IsEmpty());

    EXPECT_THAT(take(*told), IsEmpty());
    EXPECT_THAT(take(*added), SizeIs(1));
}

TEST_F(oven, shows_no_life_when_it_is_bound_again) {
    adopt(first);
    auto const adopted_at = provider.get_active_at();
    ASSERT_TRUE(await([&] { return recent_time() > adopted_at; }));

    provider.bind_again();

    EXPECT_EQ(provider.get_active_at(), adopted_at);
}

TEST_F(oven, shows_a_new_handler_what_is_there_unless_it_waits_anyway) {
    auto const wanted = follow_pattern("**");
    provider.add(wanted);
    EXPECT_FALSE(provider.show_present(*wanted)); // nothing was received
    adopt(first);
    EXPECT_FALSE(provider.show_present(*wanted)); // both wait
    EXPECT_THAT(take(*wanted), SizeIs(2));

    EXPECT_TRUE(provider.show_present(*wanted));

    auto const readings = take(*wanted);
    EXPECT_THAT(readings, SizeIs(2));
    EXPECT_EQ(readings.front().value, variable_value{20.0});
    EXPECT_EQ(readings.front().skipped, 0U);
}

TEST_F(oven, tells_no_loss_of_what_was_never_received) {
    auto const wanted = follow_pattern("**");
    provider.add(wanted);
    read_variables read{77, {}};
    variable_value initial{20.0};
    read.all.variables->emplace(
        4, consumer_variable::create(4, "temperature", initial, variable_permissions::read_only));
    adopt(read);

    EXPECT_FALSE(provider.lose(after(seconds{1})));

    EXPECT_THAT(take(*wanted), IsEmpty());
}

TEST_F(oven, does_not_become_live_by_an_event) {
    auto const slot = provider.add(follow_path("temperature"));
    adopt(first);
    provider.lose(after(seconds{7}));
    first.update(4, 21.0);

    EXPECT_FALSE(provider.apply(nullptr, 77, {4}).value());

    EXPECT_EQ(now(slot).freshness, freshness::stale);
}

TEST_F(oven, reports_an_event_of_another_definition) {
    provider.add(follow_path("temperature"));
    adopt(first);

    EXPECT_EQ(provider.apply(nullptr, 78, {4}), std::nullopt);
}

TEST_F(oven, has_nothing_to_tell_about_empty_events_and_repeated_losses) {
    auto const wanted = follow_path("temperature");
    provider.add(wanted);
    adopt(first);
    take(*wanted);

    EXPECT_FALSE(provider.apply(nullptr, 77, {}).value());
    EXPECT_TRUE(provider.lose(after(seconds{7})));
    EXPECT_FALSE(provider.lose(after(seconds{8})));

    EXPECT_THAT(take(*wanted), SizeIs(1));
}

TEST_F(oven, does_not_count_a_value_that_the_provider_has_not_sent) {
    auto const slot = provider.add(follow_path("temperature"));
    read_variables const unread{77, {}};
    variable_value initial{0.0};
    unread.all.variables->emplace(
        4, consumer_variable::create(4, "temperature", initial, variable_permissions::read_only));

    adopt(unread);

    EXPECT_EQ(now(slot).freshness, freshness::never_received);
}

TEST_F(oven, coalesces_changes_to_the_latest_and_counts_them) {
    auto const wanted = follow_path("temperature");
    provider.add(wanted);
    adopt(first);
    take(*wanted);

    for (auto const value : {21.0, 22.0, 23.0}) {
        first.update(4, value);
        provider.apply(nullptr, 77, {4});
    }
    auto const readings = take(*wanted);

    ASSERT_THAT(readings, SizeIs(1));
    EXPECT_EQ(readings[0].value, variable_value{23.0});
    EXPECT_EQ(readings[0].skipped, 2);
}

TEST_F(oven, tells_of_changes_after_one_for_which_there_was_no_memory) {
    auto const all = follow_pattern("**");
    auto const some = follow_pattern("temp*");
    provider.add(all);
    provider.add(some);
    adopt(first);
    std::vector<variable_id> const changed{4, 5};
    auto const change_with = [&](int allocations) {
        try {
            limited_memory const limit{allocations};
            provider.apply(nullptr, 77, changed);
            return true;
        } catch (std::bad_alloc const&) {
            return false;
        }
    };

    int allocations = 0;
    for (take(*all), take(*some); !change_with(allocations); ++allocations) {
        provider.apply(nullptr, 77, changed);
        EXPECT_THAT(take(*all), SizeIs(2)) << allocations;
        EXPECT_THAT(take(*some), SizeIs(1)) << allocations;
    }

    EXPECT_GT(allocations, 0);
}

TEST_F(oven, tells_of_a_change_after_one_that_nobody_was_called_for) {
    auto const wanted = follow_path("temperature");
    provider.add(wanted);
    adopt(first);
    following::waiting dropped;
    wanted->take(0, dropped);
    provider.drop_changes(dropped.changes.take_event(), *wanted);

    first.update(4, 21.0);
    provider.apply(nullptr, 77, {4});

    EXPECT_THAT(take(*wanted), SizeIs(1));
}

TEST_F(oven, tells_of_no_change_when_it_is_read_again) {
    auto const wanted = follow_path("temperature");
    provider.add(wanted);
    adopt(first);
    first.update(4, std::nan(""));
    provider.apply(nullptr, 77, {4});
    take(*wanted);

    EXPECT_FALSE(provider.refresh(nullptr));
}

TEST_F(oven, keeps_every_change_if_that_is_wanted) {
    auto const wanted = follow_path("temperature", 10);
    provider.add(wanted);
    adopt(first);

    first.update(4, 21.0);
    provider.apply(nullptr, 77, {4});
    auto const readings = take(*wanted);

    ASSERT_THAT(readings, SizeIs(2));
    EXPECT_EQ(readings[0].value, variable_value{20.0});
    EXPECT_EQ(readings[1].value, variable_value{21.0});
    EXPECT_EQ(readings[0].freshness, freshness::live);
}

TEST_F(oven, shows_a_change_that_has_waited_during_a_loss_as_stale) {
    auto const every = follow_path("temperature", 10);
    auto const latest = follow_path("temperature");
    provider.add(every);
    provider.add(latest);
    adopt(first);
    provider.lose(after(seconds{7}));

    EXPECT_EQ(take(*latest).front().freshness, freshness::stale);
    adopt(read_variables{78, {{9, "temperature", 30.0}}});
    auto const readings = take(*every);

    ASSERT_THAT(readings, SizeIs(3));
    EXPECT_EQ(readings[0].freshness, freshness::stale); // received before the loss
    EXPECT_EQ(readings[0].value, variable_value{20.0});
    EXPECT_EQ(readings[1].freshness, freshness::stale); // the loss
    EXPECT_EQ(readings[1].value, variable_value{20.0});
    EXPECT_EQ(readings[2].freshness, freshness::live); // the return
    EXPECT_EQ(readings[2].value, variable_value{30.0});
}

TEST_F(oven, becomes_stale_when_it_is_silent_for_too_long) {
    auto const slot = provider.add(follow_path("temperature"));
    adopt(first);
    auto const active_at = provider.get_active_at();

    EXPECT_FALSE(provider.lose_if_silent(active_at + seconds{35}));
    EXPECT_TRUE(provider.is_live());

    EXPECT_TRUE(provider.lose_if_silent(active_at + seconds{40}));
    auto const now = provider.get_reading(slot, active_at + seconds{40});
    EXPECT_EQ(now.freshness, freshness::stale);
    EXPECT_EQ(now.stale_for, seconds{5});
    EXPECT_FALSE(provider.lose_if_silent(active_at + seconds{50})) << "again";
}

TEST_F(oven, shows_life_by_events_and_answers) {
    adopt(first);
    auto const adopted_at = provider.get_active_at();

    EXPECT_TRUE(await([&] {
        provider.apply(nullptr, 77, {});
        return provider.get_active_at() > adopted_at;
    }));
    auto const changed_at = provider.get_active_at();
    EXPECT_TRUE(await([&] {
        provider.refresh(nullptr);
        return provider.get_active_at() > changed_at;
    }));
    auto const probed_at = provider.get_active_at();
    EXPECT_TRUE(await([&] {
        provider.begin_write(5, nullptr);
        provider.end_write(nullptr, 5);
        return provider.get_active_at() > probed_at;
    }));
}

TEST_F(oven, finds_variables_by_pattern) {
    auto const wanted = follow_pattern("**");
    provider.add(wanted);

    adopt(first);

    auto const readings = provider.get_readings(*wanted, after(seconds{10}));
    ASSERT_THAT(readings, SizeIs(2));
    EXPECT_EQ(readings[0].path, "temperature");
    EXPECT_EQ(readings[1].path, "set_point");
}

TEST_F(oven, finds_only_what_the_pattern_names) {
    auto const wanted = follow_pattern("set_*");
    provider.add(wanted);

    adopt(first);

    auto const readings = provider.get_readings(*wanted, after(seconds{10}));
    ASSERT_THAT(readings, SizeIs(1));
    EXPECT_EQ(readings[0].path, "set_point");
}

TEST_F(oven, finds_a_variable_by_a_second_pattern) {
    provider.add(follow_pattern("set_*"));
    adopt(first);
    auto const wanted = follow_pattern("**");
    provider.add(wanted);

    adopt(first);

    EXPECT_THAT(provider.get_readings(*wanted, after(seconds{10})), SizeIs(2));
}

TEST_F(oven, shows_the_variable_with_the_lowest_id_of_several_with_one_path) {
    auto const wanted = follow_pattern("**");
    provider.add(wanted);
    read_variables const twofold{77, {{4, "temperature", 20.0}, {5, "temperature", 21.0}}};
    adopt(twofold);
    auto const found = provider.get_readings(*wanted, after(seconds{10}));
    provider.lose(after(seconds{7}));

    EXPECT_THAT(adopt(twofold).changed_types, IsEmpty());

    auto const again = provider.get_readings(*wanted, after(seconds{10}));
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].value, variable_value{20.0});
    ASSERT_THAT(again, SizeIs(1));
    EXPECT_EQ(again[0].value, variable_value{20.0});
}

TEST_F(oven, shows_of_several_variables_with_one_path_the_one_with_the_named_type) {
    auto const slot = provider.add(follow_path("temperature"));
    read_variables const twofold{77, {{4, "temperature", true}, {5, "temperature", 21.0}}};
    adopt(twofold);
    provider.lose(after(seconds{7}));

    EXPECT_THAT(adopt(twofold).changed_types, IsEmpty());

    EXPECT_EQ(now(slot).value, variable_value{21.0});
}

TEST_F(oven, follows_paths_to_other_ids) {
    auto const slot = provider.add(follow_path("temperature"));
    adopt(first);
    provider.lose(after(seconds{7}));
    read_variables const swapped{78, {{4, "set_point", 61.0}, {5, "temperature", 21.0}}};

    auto const change = adopt(swapped);
    swapped.update(5, 22.0);
    provider.apply(nullptr, 78, {5});

    EXPECT_EQ(now(slot).value, variable_value{22.0});
    EXPECT_THAT(change.vanished, IsEmpty());
}

TEST_F(oven, reports_a_variable_that_has_vanished_once_and_keeps_its_value_as_stale) {
    auto const slot = provider.add(follow_path("temperature"));
    adopt(first);
    provider.lose(after(seconds{7}));
    read_variables const without{78, {{9, "set_point", 61.0}}};

    EXPECT_THAT(adopt(without).vanished, ElementsAre("temperature"));
    EXPECT_THAT(adopt(without).vanished, IsEmpty());

    EXPECT_TRUE(provider.is_live());
    EXPECT_EQ(now(slot).freshness, freshness::stale);
    EXPECT_EQ(now(slot).stale_for, seconds{3});
    EXPECT_EQ(now(slot).value, variable_value{20.0});
}

TEST_F(oven, reports_a_named_variable_that_was_never_there) {
    provider.add(follow_path("pressure"));

    EXPECT_THAT(adopt(first).vanished, ElementsAre("pressure"));
}

TEST_F(oven, reports_a_named_variable_of_another_type_and_does_not_show_it) {
    auto const slot = provider.add(follow_path("temperature"));

    auto const change = adopt(read_variables{78, {{4, "temperature", true}}});

    ASSERT_THAT(change.changed_types, SizeIs(1));
    EXPECT_EQ(change.changed_types[0].path, "temperature");
    EXPECT_EQ(change.changed_types[0].wanted, 1);
    EXPECT_EQ(change.changed_types[0].given, 0);
    EXPECT_EQ(now(slot).freshness, freshness::never_received);
}

TEST_F(oven, reports_a_new_type_of_a_variable_that_a_pattern_has_found_and_shows_it) {
    auto const wanted = follow_pattern("**");
    provider.add(wanted);
    adopt(read_variables{77, {{4, "temperature", 20.0}}});
    provider.lose(after(seconds{7}));

    auto const change = adopt(read_variables{78, {{4, "temperature", true}}});

    ASSERT_THAT(change.changed_types, SizeIs(1));
    EXPECT_EQ(change.changed_types[0].wanted, 1);
    EXPECT_EQ(change.changed_types[0].given, 0);
    auto const readings = provider.get_readings(*wanted, after(seconds{10}));
    EXPECT_EQ(readings[0].value, variable_value{true});
    EXPECT_EQ(readings[0].freshness, freshness::live);
}

TEST_F(oven, reports_a_new_type_once_if_something_is_lost_while_it_is_read) {
    provider.add(follow_pattern("**"));
    adopt(first);
    read_variables const changed{78, {{4, "temperature", true}, {5, "set_point", 60.0}}};
    auto const begun = provider.count_losses();
    provider.lose(after(seconds{7}));

    EXPECT_THAT(provider.adopt({}, changed.all, begun).changed_types, SizeIs(1));
    EXPECT_THAT(adopt(changed).changed_types, IsEmpty());
}

TEST_F(oven, keeps_the_path_but_not_the_definition_of_a_variable_that_has_vanished) {
    auto const wanted = follow_pattern("**");
    provider.add(wanted);
    read_variables earlier{77, {{4, "temperature", 20.0}}};
    adopt(earlier);
    std::weak_ptr<consumer_variable> const gone = earlier.all.variables->at(4);
    earlier.all.variables.reset();

    adopt(read_variables{78, {}});

    EXPECT_TRUE(gone.expired());
    EXPECT_EQ(provider.get_readings(*wanted, after(seconds{10}))[0].path, "temperature");
}

TEST_F(oven, never_shows_what_is_being_written) {
    auto const slot = provider.add(follow_path("set_point"));
    adopt(first);

    provider.begin_write(5, nullptr);
    first.update(5, 99.0); // the local copy
    EXPECT_FALSE(provider.apply(nullptr, 77, {5}).value());
    provider.refresh(nullptr);
    EXPECT_EQ(now(slot).value, variable_value{60.0});

    first.update(5, 70.0); // what the provider answers
    provider.end_write(nullptr, 5);
    EXPECT_EQ(now(slot).value, variable_value{70.0});
}

TEST_F(oven, counts_the_changes_that_a_write_has_hidden) {
    auto const every = follow_path("set_point", 10);
    auto const latest = follow_path("set_point");
    provider.add(every);
    provider.add(latest);
    adopt(first);
    take(*every);
    take(*latest);
    provider.begin_write(5, nullptr);
    for (int event = 0; event < 3; ++event) {
        provider.apply(nullptr, 77, {5});
    }

    provider.end_write(nullptr, 5);

    following::waiting waiting;
    every->take(0, waiting);
    EXPECT_EQ(waiting.changes.size(), 1U);
    EXPECT_EQ(waiting.dropped, 2U);
    EXPECT_EQ(take(*latest).front().skipped, 2U);
}

TEST_F(oven, does_not_take_the_local_copy_for_a_confirmation) {
    auto const watch = std::make_shared<write_watch>("set_point", 99.0);
    adopt(first);
    provider.begin_write(5, watch);
    first.update(5, 99.0); // the local copy

    provider.apply(nullptr, 77, {5});

    EXPECT_EQ(watch->wait(seconds{0}), write_outcome::not_confirmed);
}

TEST_F(oven, refuses_a_write_after_another_value_was_published) {
    auto const watch = std::make_shared<write_watch>("set_point", 99.0);
    adopt(first);
    provider.begin_write(5, watch);
    provider.end_write(nullptr, 5); // read, but not yet published
    EXPECT_EQ(watch->wait(seconds{0}), write_outcome::not_confirmed);

    provider.apply(nullptr, 77, {5});

    EXPECT_EQ(watch->wait(seconds{0}), write_outcome::refused);
}

TEST_F(oven, confirms_a_write_whose_value_is_read_after_an_outage) {
    auto const watch = std::make_shared<write_watch>("set_point", 99.0);
    adopt(first);
    provider.begin_write(5, watch);
    provider.lose(after(seconds{7}));

    adopt(read_variables{78, {{9, "set_point", 99.0}}});

    EXPECT_EQ(watch->wait(seconds{0}), write_outcome::confirmed);
}

TEST_F(oven, forgets_a_write_for_which_nobody_waits) {
    auto const watch = std::make_shared<write_watch>("set_point", 99.0);
    adopt(first);
    provider.begin_write(5, watch);
    provider.remove_watch(watch);
    provider.end_write(nullptr, 5);
    first.update(5, 99.0);

    provider.apply(nullptr, 77, {5});

    EXPECT_EQ(watch->wait(seconds{0}), write_outcome::not_confirmed);
}

} // namespace

} // namespace arvenhold::corvel::hub
