// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "model/variable_list_impl.hpp"
#include "support/await.hpp"
#include "support/dump.hpp"
#include "support/lists.hpp"
#include "support/recording_provider.hpp"
#include "support/thrown_message.hpp"
#include <hub/errors.hpp>
#include <hub/provider_definition.hpp>
#include <hub/provider_variable.hpp>
#include <hub/variable_list.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <iomanip>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <sstream>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::nanoseconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using testing::UnorderedElementsAreArray;

constexpr auto read_write = variable_permissions::read_write;
constexpr auto read_only = variable_permissions::read_only;
constexpr timestamp at_noon{nanoseconds{1'700'000'000'123'456'789}};
constexpr timestamp after_noon = at_noon + nanoseconds{1};

// What a variable is after one change at noon.
variable_state changed(variable_value value, variable_quality quality = variable_quality::good) {
    return {std::move(value), quality, at_noon, 1};
}

// A provider whose list has nothing pending.
class published_list : public testing::Test {
protected:
    recording_provider parent{"press-4"};
    std::shared_ptr<variable_list> list = make_list(
        parent.get(),
        11,
        {{"pump/speed", 1.5, read_write},
         {"pump/running", false, read_only},
         {"pump/mode", std::string{"auto"}, variable_permissions{2}}});
    variable_id const speed = ids_of(*list).at(0);
    variable_id const running = ids_of(*list).at(1);
    variable_id const mode = ids_of(*list).at(2);
    variable_id const unknown = mode + 1;
    std::vector<variable_state> const initial = states_of(*list);

    published_list() {
        forget_pending(*list);
    }

    std::vector<timestamp> publications() {
        return parent.link().publications();
    }

    // Lets every publication record what is pending then, which takes the lock of the list.
    std::shared_ptr<modification_tracker> record_pending_at_publication() {
        auto pending = std::make_shared<modification_tracker>();
        parent.link().on_publish = [this, pending] {
            *pending = pending_of(*list);
        };
        return pending;
    }

    void expect_nothing_happened() {
        EXPECT_EQ(states_of(*list), initial);
        EXPECT_THAT(pending_of(*list), IsEmpty());
        EXPECT_THAT(publications(), IsEmpty());
    }
};

// A list with many elements to change, and a thread that changes all of them again and again.
class lock_between_elements : public testing::Test {
protected:
    recording_provider parent{"press-4"};
    std::shared_ptr<variable_list> list =
        make_list(parent.get(), 11, {{"first", 0.0, read_write}, {"last", 0.0, read_write}});
    variable_id const first = ids_of(*list).at(0);
    variable_id const last = ids_of(*list).at(1);

    // Returns whether another thread that locks the list has seen the first element changed and the
    // last one not yet. Repeats `change_all`, which gets a new number each time, until then.
    template <class Change, class Difference>
    bool is_seen_between(Change change_all, Difference differs) {
        auto observer = std::async(std::launch::async, [&] {
            return await([&] {
                std::scoped_lock const lock{*list};
                return differs();
            });
        });
        auto const is_ready = [&] {
            return observer.wait_for(std::chrono::seconds{0}) == std::future_status::ready;
        };
        for (int round = 1; !is_ready(); ++round) {
            change_all(round);
        }
        return observer.get();
    }
};

// -- construction ---------------------------------------------------------------------------------

TEST(new_list, gives_consecutive_ids_in_the_order_of_the_entries) {
    recording_provider parent{"press-4"};

    auto const list = make_list(
        parent.get(),
        11,
        {{"b", 1.5, read_write}, {"a", true, read_write}, {"c", 2.5, read_write}});

    auto const lowest = ids_of(*list).front();
    EXPECT_THAT(ids_of(*list), ElementsAre(lowest, lowest + 1, lowest + 2));
    EXPECT_EQ(list->get_variables().at(lowest)->get_path(), "b");
    EXPECT_EQ(list->get_variables().at(lowest + 1)->get_path(), "a");
    EXPECT_EQ(list->get_variables().at(lowest + 2)->get_path(), "c");
}

TEST(new_list, gives_ids_above_those_of_every_earlier_list) {
    recording_provider parent{"press-4"};
    recording_provider other_parent{"press-5"};
    auto const earlier =
        make_list(parent.get(), 11, {{"a", 1.5, read_write}, {"b", 1.5, read_write}});

    auto const later = make_list(other_parent.get(), 12, {{"a", 1.5, read_write}});

    EXPECT_THAT(ids_of(*later), ElementsAre(ids_of(*earlier).back() + 1));
}

TEST(new_list, has_the_variables_of_its_definition) {
    recording_provider parent{"press-4"};
    auto const before = std::chrono::system_clock::now();

    auto const list = make_list(
        parent.get(), 11, {{"a", 1.5, read_write}, {"b", std::string{"text"}, read_only}});

    auto const after = std::chrono::system_clock::now();
    auto const& second = *list->get_variables().at(ids_of(*list).at(1));
    EXPECT_EQ(second.get_id(), ids_of(*list).at(1));
    EXPECT_EQ(second.get_path(), "b");
    EXPECT_EQ(second.get_permissions(), read_only);
    auto const [value, quality, when, updates] = states_of(*list).at(1);
    EXPECT_EQ(value, variable_value{std::string{"text"}});
    EXPECT_EQ(quality, variable_quality::good);
    EXPECT_GE(when, before);
    EXPECT_LE(when, after);
    EXPECT_EQ(updates, 0);
}

TEST(new_list, has_all_its_variables_pending) {
    recording_provider parent{"press-4"};

    auto const list = make_list(parent.get(), 11, {{"a", 1.5, read_write}, {"b", true, read_only}});

    EXPECT_THAT(pending_of(*list), UnorderedElementsAreArray(ids_of(*list)));
    EXPECT_THAT(parent.link().publications(), IsEmpty());
}

TEST(new_list, makes_two_variables_of_two_entries_with_the_same_path) {
    recording_provider parent{"press-4"};

    auto const list =
        make_list(parent.get(), 11, {{"same", 1.5, read_write}, {"same", true, read_write}});

    auto const ids = ids_of(*list);
    ASSERT_THAT(ids, testing::SizeIs(2));
    EXPECT_EQ(list->get_variables().at(ids[0])->get_value(), variable_value{1.5});
    EXPECT_EQ(list->get_variables().at(ids[1])->get_value(), variable_value{true});
}

// A definition whose variables have been moved into a list.
class used_definition : public testing::Test {
protected:
    recording_provider parent{"press-4"};
    provider_definition definition{12};
    std::shared_ptr<variable_list> first;

    used_definition() {
        definition.bulk_add_variable_definitions(
            {{"boiler/mode", std::string{"a text that is too long to be kept in place"}, read_only},
             {"boiler/pressure", 1.5, read_write},
             {"boiler/note", std::string{"short"}, read_write}});
        definition.finalize();
        first = variable_list::create(definition, parent.get());
    }
};

TEST_F(used_definition, has_given_its_texts_to_the_list) {
    EXPECT_EQ(
        std::get<0>(states_of(*first).at(0)),
        variable_value{std::string{"a text that is too long to be kept in place"}});
    EXPECT_EQ(std::get<0>(states_of(*first).at(2)), variable_value{std::string{"short"}});
}

TEST_F(used_definition, shows_empty_texts) {
    EXPECT_EQ(without_addresses(dump_of(definition)), golden_dump("used_definition.txt"));
}

TEST_F(used_definition, gives_empty_texts_and_fresh_ids_to_a_second_list) {
    auto const second = variable_list::create(definition, parent.get());

    EXPECT_EQ(ids_of(*second).front(), ids_of(*first).back() + 1);
    EXPECT_EQ(std::get<0>(states_of(*second).at(0)), variable_value{std::string{}});
    EXPECT_EQ(std::get<0>(states_of(*second).at(1)), variable_value{1.5});
    EXPECT_EQ(std::get<0>(states_of(*second).at(2)), variable_value{std::string{}});
}

TEST(list_of_an_open_definition, is_refused_and_gives_no_ids) {
    recording_provider parent{"press-4"};
    auto const earlier = make_list(parent.get(), 11, {{"a", 1.5, read_write}});
    provider_definition open{12};
    open.add_variable_definition("a", std::string{"text"}, read_write);

    auto const message = thrown_message<operational_state_invalid>(
        [&] { variable_list::create(open, parent.get()); });

    std::ostringstream address;
    address << static_cast<void*>(&open);
    EXPECT_EQ(
        message,
        "Provider definition @" + address.str()
            + ": cannot iterate a non-finalized provider definition\n");
    auto const later = make_list(parent.get(), 13, {{"a", 1.5, read_write}});
    EXPECT_EQ(ids_of(*later).front(), ids_of(*earlier).front() + 1);
}

TEST(list_without_variables, has_an_empty_map_and_gives_no_ids) {
    recording_provider parent{"press-4"};
    auto const earlier = make_list(parent.get(), 11, {{"a", 1.5, read_write}});

    auto const empty = make_list(parent.get(), 12, {});

    EXPECT_THAT(empty->get_variables(), IsEmpty());
    EXPECT_THAT(pending_of(*empty), IsEmpty());
    auto const later = make_list(parent.get(), 13, {{"a", 1.5, read_write}});
    EXPECT_EQ(ids_of(*later).front(), ids_of(*earlier).front() + 1);
}

TEST(list_without_variables, refuses_every_id) {
    recording_provider parent{"press-4"};
    auto const earlier = make_list(parent.get(), 11, {{"a", 1.5, read_write}});
    auto const empty = make_list(parent.get(), 12, {});
    auto const next_id = ids_of(*earlier).back() + 1;

    for (auto const id : {variable_id{0}, next_id - 1, next_id, variable_id{4294967295U}}) {
        EXPECT_THROW(empty->publish(id, 1.5, at_noon), variable_index_invalid);
        EXPECT_THROW(
            empty->set_quality(id, variable_quality::bad, at_noon), variable_index_invalid);
    }
}

TEST(new_list, is_made_by_create_alone) {
    EXPECT_FALSE((std::is_constructible_v<variable_list, provider_definition&, provider&>));
    EXPECT_FALSE(std::is_copy_constructible_v<variable_list>);
}

// -- publish --------------------------------------------------------------------------------------

using publish = published_list;

TEST_F(publish, records_the_value_and_publishes_once_with_its_time) {
    list->publish(speed, 2.5, at_noon);

    EXPECT_THAT(states_of(*list), ElementsAre(changed(2.5), initial[1], initial[2]));
    EXPECT_THAT(publications(), ElementsAre(at_noon));
}

TEST_F(publish, has_the_variable_pending_and_the_lock_released_when_the_provider_publishes) {
    auto const pending = record_pending_at_publication();

    list->publish(speed, 2.5, at_noon);

    EXPECT_THAT(*pending, UnorderedElementsAre(speed));
}

TEST_F(publish, counts_an_equal_value_as_a_change) {
    list->publish(speed, 1.5, at_noon);

    EXPECT_EQ(states_of(*list).front(), changed(1.5));
    EXPECT_THAT(pending_of(*list), UnorderedElementsAre(speed));
    EXPECT_THAT(publications(), ElementsAre(at_noon));
}

TEST_F(publish, changes_a_variable_that_consumers_may_only_read) {
    list->publish(running, true, at_noon);

    EXPECT_EQ(states_of(*list).at(1), changed(true));
}

TEST_F(publish, refuses_the_id_of_an_earlier_list) {
    auto const later = make_list(parent.get(), 12, {{"pump/speed", 1.5, read_write}});
    forget_pending(*later);
    auto const before = states_of(*later);

    auto const message =
        thrown_message<variable_index_invalid>([&] { later->publish(speed, 2.5, at_noon); });

    EXPECT_EQ(
        message, bracketed(speed) + "used in function publish(): this variable index is invalid");
    EXPECT_EQ(states_of(*later), before);
    EXPECT_THAT(pending_of(*later), IsEmpty());
    expect_nothing_happened();
}

TEST_F(publish, refuses_the_id_of_a_later_list) {
    auto const later = make_list(parent.get(), 12, {{"pump/speed", 1.5, read_write}});

    EXPECT_THROW(list->publish(ids_of(*later).front(), 2.5, at_noon), variable_index_invalid);

    expect_nothing_happened();
}

TEST_F(publish, refuses_the_ids_next_to_its_own) {
    EXPECT_THROW(list->publish(speed - 1, 2.5, at_noon), variable_index_invalid);
    EXPECT_THROW(list->publish(unknown, 2.5, at_noon), variable_index_invalid);

    expect_nothing_happened();
}

TEST_F(publish, refuses_a_value_of_another_type_and_publishes_nothing) {
    auto const message = thrown_message<incompatible_data_type>(
        [&] { list->publish(speed, std::int64_t{2}, at_noon); });

    EXPECT_EQ(
        message,
        bracketed(speed)
            + "set_value(): incompatible source data type (source type index: 2, dest type index: "
              "1)");
    expect_nothing_happened();
}

TEST_F(publish, keeps_the_change_pending_when_the_provider_is_not_connected) {
    parent.link().on_publish = [] {
        throw connection_failed::not_connected(
            client_kind::provider, "press-4", "publish variables");
    };

    auto const message =
        thrown_message<connection_failed>([&] { list->publish(speed, 2.5, at_noon); });

    EXPECT_EQ(
        message,
        "Provider press-4: failed to publish variables: not connected to the NATS server\n");
    EXPECT_EQ(states_of(*list).front(), changed(2.5));
    EXPECT_THAT(pending_of(*list), UnorderedElementsAre(speed));
}

TEST_F(publish, passes_on_that_no_definition_is_registered_and_keeps_the_change_pending) {
    parent.link().on_publish = [] {
        throw operational_state_invalid::for_client(
            client_kind::provider, "press-4", "nothing is registered");
    };

    EXPECT_THROW(list->publish(speed, 2.5, at_noon), operational_state_invalid);

    EXPECT_EQ(states_of(*list).front(), changed(2.5));
    EXPECT_THAT(pending_of(*list), UnorderedElementsAre(speed));
}

// -- bulk_publish ---------------------------------------------------------------------------------

using bulk_publish = published_list;

TEST_F(bulk_publish, records_all_values_with_one_time_and_publishes_once) {
    auto const pending = record_pending_at_publication();

    list->bulk_publish({{mode, std::string{"manual"}}, {speed, 2.5}}, at_noon);

    EXPECT_THAT(
        states_of(*list), ElementsAre(changed(2.5), initial[1], changed(std::string{"manual"})));
    EXPECT_THAT(publications(), ElementsAre(at_noon));
    EXPECT_THAT(*pending, UnorderedElementsAre(speed, mode));
}

TEST_F(bulk_publish, applies_the_values_of_one_variable_in_their_order) {
    list->bulk_publish({{speed, 2.5}, {speed, 3.5}}, at_noon);

    EXPECT_EQ(states_of(*list).front(), (variable_state{3.5, variable_quality::good, at_noon, 2}));
}

TEST_F(bulk_publish, of_nothing_publishes_once) {
    list->bulk_publish({}, at_noon);

    EXPECT_EQ(states_of(*list), initial);
    EXPECT_THAT(pending_of(*list), IsEmpty());
    EXPECT_THAT(publications(), ElementsAre(at_noon));
}

TEST_F(bulk_publish, stops_at_an_unknown_id_keeps_what_came_before_and_publishes_nothing) {
    auto const message = thrown_message<variable_index_invalid>([&] {
        list->bulk_publish({{speed, 2.5}, {unknown, 3.5}, {running, true}}, at_noon);
    });

    EXPECT_EQ(
        message,
        bracketed(unknown) + "used in function bulk_publish(): this variable index is invalid");
    EXPECT_THAT(states_of(*list), ElementsAre(changed(2.5), initial[1], initial[2]));
    EXPECT_THAT(pending_of(*list), UnorderedElementsAre(speed));
    EXPECT_THAT(publications(), IsEmpty());
}

TEST_F(bulk_publish, stops_at_a_value_of_another_type_and_keeps_what_came_before) {
    auto const message = thrown_message<incompatible_data_type>([&] {
        list->bulk_publish({{speed, 2.5}, {running, at_noon}, {mode, std::string{}}}, at_noon);
    });

    EXPECT_EQ(
        message,
        bracketed(running)
            + "set_value(): incompatible source data type (source type index: 4, dest type index: "
              "0)");
    EXPECT_THAT(states_of(*list), ElementsAre(changed(2.5), initial[1], initial[2]));
    EXPECT_THAT(pending_of(*list), UnorderedElementsAre(speed));
    EXPECT_THAT(publications(), IsEmpty());
}

TEST_F(bulk_publish, keeps_all_changes_pending_when_the_publication_fails) {
    parent.link().on_publish = [] {
        throw connection_failed::not_connected(
            client_kind::provider, "press-4", "publish variables");
    };

    EXPECT_THROW(list->bulk_publish({{speed, 2.5}, {running, true}}, at_noon), connection_failed);

    EXPECT_THAT(states_of(*list), ElementsAre(changed(2.5), changed(true), initial[2]));
    EXPECT_THAT(pending_of(*list), UnorderedElementsAre(speed, running));
}

TEST_F(lock_between_elements, of_bulk_publish_is_free) {
    EXPECT_TRUE(is_seen_between(
        [&](int round) {
            std::vector<std::tuple<variable_id, variable_value>> values(
                1'000, {first, static_cast<double>(round)});
            values.emplace_back(last, static_cast<double>(round));
            list->bulk_publish(std::move(values), at_noon);
        },
        [&] {
            return list->get_variables().at(first)->get_value()
                != list->get_variables().at(last)->get_value();
        }));
}

// -- set_quality ----------------------------------------------------------------------------------

using set_quality = published_list;

TEST_F(set_quality, records_the_quality_and_publishes_nothing) {
    list->set_quality(speed, variable_quality::uncertain, at_noon);

    EXPECT_THAT(
        states_of(*list),
        ElementsAre(changed(1.5, variable_quality::uncertain), initial[1], initial[2]));
    EXPECT_THAT(pending_of(*list), UnorderedElementsAre(speed));
    EXPECT_THAT(publications(), IsEmpty());
}

TEST_F(set_quality, travels_with_the_next_publication_of_any_variable) {
    auto const pending = record_pending_at_publication();
    list->set_quality(speed, variable_quality::uncertain, at_noon);

    list->publish(running, true, after_noon);

    EXPECT_THAT(*pending, UnorderedElementsAre(speed, running));
    EXPECT_THAT(publications(), ElementsAre(after_noon));
}

TEST_F(set_quality, refuses_an_id_of_another_list) {
    auto const message = thrown_message<variable_index_invalid>(
        [&] { list->set_quality(unknown, variable_quality::bad, at_noon); });

    EXPECT_EQ(
        message,
        bracketed(unknown) + "used in function set_quality(): this variable index is invalid");
    expect_nothing_happened();
}

// -- bulk_set_quality -----------------------------------------------------------------------------

using bulk_set_quality = published_list;

TEST_F(bulk_set_quality, records_all_qualities_with_one_time_and_publishes_once) {
    auto const pending = record_pending_at_publication();

    list->bulk_set_quality(
        {{mode, variable_quality::bad}, {speed, variable_quality::uncertain}}, at_noon);

    EXPECT_THAT(
        states_of(*list),
        ElementsAre(
            changed(1.5, variable_quality::uncertain),
            initial[1],
            changed(std::string{"auto"}, variable_quality::bad)));
    EXPECT_THAT(publications(), ElementsAre(at_noon));
    EXPECT_THAT(*pending, UnorderedElementsAre(speed, mode));
}

TEST_F(bulk_set_quality, of_nothing_publishes_once) {
    list->bulk_set_quality({}, at_noon);

    EXPECT_EQ(states_of(*list), initial);
    EXPECT_THAT(publications(), ElementsAre(at_noon));
}

TEST_F(bulk_set_quality, stops_at_an_unknown_id_keeps_what_came_before_and_publishes_nothing) {
    auto const message = thrown_message<variable_index_invalid>([&] {
        list->bulk_set_quality(
            {{speed, variable_quality::bad},
             {unknown, variable_quality::bad},
             {running, variable_quality::bad}},
            at_noon);
    });

    EXPECT_EQ(
        message,
        bracketed(unknown) + "used in function bulk_set_quality(): this variable index is invalid");
    EXPECT_THAT(
        states_of(*list), ElementsAre(changed(1.5, variable_quality::bad), initial[1], initial[2]));
    EXPECT_THAT(pending_of(*list), UnorderedElementsAre(speed));
    EXPECT_THAT(publications(), IsEmpty());
}

TEST_F(lock_between_elements, of_bulk_set_quality_is_free) {
    EXPECT_TRUE(is_seen_between(
        [&](int round) {
            auto const quality = static_cast<variable_quality>(round);
            std::vector<std::tuple<variable_id, variable_quality>> qualities(
                1'000, {first, quality});
            qualities.emplace_back(last, quality);
            list->bulk_set_quality(qualities, at_noon);
        },
        [&] {
            return list->get_variables().at(first)->get_quality()
                != list->get_variables().at(last)->get_quality();
        }));
}

// -- write_variable -------------------------------------------------------------------------------

using write_variable = published_list;

TEST_F(write_variable, records_the_value_and_publishes_nothing) {
    list->write_variable(speed, 2.5, at_noon);

    EXPECT_THAT(states_of(*list), ElementsAre(changed(2.5), initial[1], initial[2]));
    EXPECT_THAT(pending_of(*list), UnorderedElementsAre(speed));
    EXPECT_THAT(publications(), IsEmpty());
}

TEST_F(write_variable, copies_the_value) {
    variable_value const value{std::string{"a text that is too long to be kept in place"}};

    list->write_variable(mode, value, at_noon);

    EXPECT_EQ(states_of(*list).at(2), changed(value));
}

TEST_F(write_variable, is_allowed_by_unknown_permissions) {
    list->write_variable(mode, std::string{"manual"}, at_noon);

    EXPECT_EQ(states_of(*list).at(2), changed(std::string{"manual"}));
}

TEST_F(write_variable, refuses_an_unknown_id) {
    auto const message = thrown_message<variable_index_invalid>(
        [&] { list->write_variable(unknown, 2.5, at_noon); });

    EXPECT_EQ(
        message,
        bracketed(unknown) + "used in function write_variable(): this variable index is invalid");
    expect_nothing_happened();
}

TEST_F(write_variable, refuses_a_read_only_variable) {
    auto const message =
        thrown_message<variable_read_only>([&] { list->write_variable(running, true, at_noon); });

    EXPECT_EQ(message, bracketed(running) + "cannot write new value: this variable is read-only");
    expect_nothing_happened();
}

TEST_F(write_variable, tests_permissions_before_the_type) {
    EXPECT_THROW(list->write_variable(running, 2.5, at_noon), variable_read_only);
}

TEST_F(write_variable, refuses_a_value_of_another_type) {
    auto const message = thrown_message<incompatible_data_type>(
        [&] { list->write_variable(speed, std::string{"fast"}, at_noon); });

    EXPECT_EQ(
        message,
        bracketed(speed)
            + "set_value(): incompatible source data type (source type index: 3, dest type index: "
              "1)");
    expect_nothing_happened();
}

TEST_F(write_variable, releases_the_lock_after_every_failure) {
    EXPECT_THROW(list->write_variable(unknown, 2.5, at_noon), variable_index_invalid);
    EXPECT_THROW(list->write_variable(running, true, at_noon), variable_read_only);
    EXPECT_THROW(list->write_variable(speed, true, at_noon), incompatible_data_type);

    list->write_variable(speed, 2.5, at_noon);

    EXPECT_EQ(states_of(*list).front(), changed(2.5));
}

// -- other operations -----------------------------------------------------------------------------

using pending_marks = published_list;

TEST_F(pending_marks, are_set_for_all_variables_and_nothing_else) {
    {
        std::scoped_lock const lock{*list};
        list->get_modification_tracker()->insert({speed, unknown});
    }

    list->mark_all_variables_pending();

    EXPECT_THAT(pending_of(*list), UnorderedElementsAre(speed, running, mode));
    EXPECT_EQ(states_of(*list), initial);
    EXPECT_THAT(publications(), IsEmpty());
}

TEST_F(pending_marks, are_cleared_for_all_variables_and_nothing_else) {
    list->write_variable(speed, 2.5, at_noon);
    auto const before = states_of(*list);

    list->mark_no_variables_pending();

    EXPECT_THAT(pending_of(*list), IsEmpty());
    EXPECT_EQ(states_of(*list), before);
    EXPECT_THAT(publications(), IsEmpty());
}

TEST_F(pending_marks, are_set_by_a_change_through_a_variable_itself) {
    {
        std::scoped_lock const lock{*list};
        list->get_variables().at(speed)->set_value(2.5, at_noon);
    }

    EXPECT_THAT(pending_of(*list), UnorderedElementsAre(speed));
}

TEST_F(pending_marks, are_in_the_set_when_it_is_requested_between_lock_and_unlock) {
    list->write_variable(speed, 2.5, at_noon);

    std::scoped_lock const lock{*list};

    EXPECT_THAT(*list->get_modification_tracker(), UnorderedElementsAre(speed));
}

TEST_F(pending_marks, are_in_the_set_when_it_is_requested_without_the_lock) {
    list->write_variable(speed, 2.5, at_noon);

    auto const tracker = list->get_modification_tracker();

    EXPECT_THAT(*tracker, UnorderedElementsAre(speed));
}

TEST_F(pending_marks, get_into_the_set_that_was_requested_before) {
    auto const tracker = list->get_modification_tracker();

    list->write_variable(speed, 2.5, at_noon);

    EXPECT_THAT(*tracker, UnorderedElementsAre(speed));
    EXPECT_EQ(list->get_modification_tracker(), tracker);
}

TEST_F(pending_marks, wait_in_another_thread_until_the_list_is_unlocked) {
    std::unique_lock lock{*list};
    auto requested =
        std::async(std::launch::async, [&] { return list->get_modification_tracker(); });

    EXPECT_EQ(requested.wait_for(std::chrono::milliseconds{20}), std::future_status::timeout);
    list->get_variables().at(speed)->set_value(2.5, at_noon);
    lock.unlock();

    EXPECT_THAT(*requested.get(), UnorderedElementsAre(speed));
}

using resolve_variable_by_id = published_list;

TEST_F(resolve_variable_by_id, returns_the_stored_pointer) {
    EXPECT_EQ(&list->resolve_variable_by_id(speed), &list->get_variables().at(speed));
}

TEST_F(resolve_variable_by_id, refuses_an_unknown_id) {
    auto const message =
        thrown_message<variable_index_invalid>([&] { list->resolve_variable_by_id(unknown); });

    EXPECT_EQ(
        message,
        bracketed(unknown)
            + "used in function resolve_variable_by_id(): this variable index is invalid");
}

TEST_F(resolve_variable_by_id, waits_for_the_lock) {
    std::unique_lock lock{*list};
    auto found = std::async(std::launch::async, [&] { list->resolve_variable_by_id(speed); });

    EXPECT_EQ(found.wait_for(std::chrono::milliseconds{20}), std::future_status::timeout);
    lock.unlock();

    found.get();
}

TEST_F(resolve_variable_by_id, gives_a_variable_that_outlives_its_list) {
    auto const variable = list->resolve_variable_by_id(speed);

    list.reset();

    variable->set_value(2.5, at_noon);
    EXPECT_EQ(variable->get_value(), variable_value{2.5});
}

using find_variable = published_list;

TEST_F(find_variable, returns_the_variable_with_the_path) {
    EXPECT_EQ(list->find_variable("pump/running"), list->get_variables().at(running));
}

TEST_F(find_variable, compares_the_whole_path) {
    for (auto const* const path : {"", "pump", "pump/", "pump/speed2", "PUMP/SPEED", "speed"}) {
        EXPECT_EQ(list->find_variable(path), nullptr) << path;
    }
}

TEST_F(find_variable, returns_the_lowest_id_of_several_with_the_path) {
    auto const other = make_list(
        parent.get(),
        12,
        {{"a", 1.5, read_write}, {"same", 2.5, read_write}, {"same", 3.5, read_write}});

    EXPECT_EQ(other->find_variable("same")->get_id(), ids_of(*other).at(1));
}

TEST_F(find_variable, takes_no_lock) {
    std::unique_lock lock{*list};
    auto found = std::async(std::launch::async, [&] { return list->find_variable("pump/mode"); });

    EXPECT_EQ(found.wait_for(std::chrono::seconds{30}), std::future_status::ready);
    lock.unlock();

    EXPECT_EQ(found.get()->get_id(), mode);
}

TEST_F(find_variable, returns_a_variable_that_outlives_its_list) {
    auto const variable = list->find_variable("pump/speed");

    list.reset();

    EXPECT_EQ(variable->get_path(), "pump/speed");
}

// -- draining -------------------------------------------------------------------------------------

using pending_changes = variable_list::impl::pending_changes;
using drained_change = std::tuple<variable_id, variable_value, variable_quality>;

// Before and after the application has requested the set of pending ids, from which on they are kept
// in that set.
class drain_pending : public published_list, public testing::WithParamInterface<bool> {
protected:
    void SetUp() override {
        if (GetParam()) {
            std::ignore = list->get_modification_tracker();
        }
    }

    static std::vector<drained_change> changes_in(pending_changes const& pending) {
        std::vector<drained_change> changes;
        pending.for_each([&](variable_id id, variable_value const& value, auto quality) {
            changes.emplace_back(id, value, quality);
        });
        return changes;
    }

    std::vector<drained_change> drained() {
        std::vector<drained_change> changes;
        impl_of(*list).drain_pending(
            [&](pending_changes const& pending) { changes = changes_in(pending); });
        return changes;
    }
};

TEST_P(drain_pending, hands_over_what_has_changed_and_forgets_it) {
    list->write_variable(speed, 2.5, at_noon);
    list->set_quality(mode, variable_quality::uncertain, at_noon);

    EXPECT_THAT(
        drained(),
        UnorderedElementsAre(
            drained_change{speed, 2.5, variable_quality::good},
            drained_change{mode, std::string{"auto"}, variable_quality::uncertain}));
    EXPECT_THAT(pending_of(*list), IsEmpty());
    EXPECT_THAT(drained(), IsEmpty());
}

TEST_P(drain_pending, hands_over_each_later_change_again) {
    for (auto const value : {2.5, 3.5, 4.5}) {
        list->write_variable(speed, value, at_noon);

        EXPECT_THAT(drained(), ElementsAre(drained_change{speed, value, variable_quality::good}));
    }
}

TEST_P(drain_pending, leaves_out_ids_of_other_lists_and_forgets_them) {
    {
        std::scoped_lock const lock{*list};
        list->get_modification_tracker()->insert({speed - 1, running, unknown});
    }

    EXPECT_THAT(drained(), ElementsAre(drained_change{running, false, variable_quality::good}));
    EXPECT_THAT(pending_of(*list), IsEmpty());
}

TEST_P(drain_pending, announces_at_least_as_many_changes_as_there_are) {
    list->mark_all_variables_pending();

    impl_of(*list).drain_pending(
        [&](pending_changes const& pending) { EXPECT_EQ(pending.size(), 3); });
}

TEST_P(drain_pending, forgets_nothing_if_the_writer_throws) {
    list->write_variable(speed, 2.5, at_noon);
    {
        std::scoped_lock const lock{*list};
        list->get_modification_tracker()->insert(unknown);
    }

    EXPECT_THROW(
        impl_of(*list).drain_pending([](pending_changes const& pending) {
            changes_in(pending);
            throw std::bad_alloc{};
        }),
        std::bad_alloc);

    EXPECT_THAT(pending_of(*list), UnorderedElementsAre(speed, unknown));
    EXPECT_THAT(drained(), ElementsAre(drained_change{speed, 2.5, variable_quality::good}));
}

TEST_P(drain_pending, keeps_a_change_that_comes_meanwhile_for_the_next_time) {
    list->write_variable(speed, 2.5, at_noon);
    std::future<void> later;

    impl_of(*list).drain_pending([&](pending_changes const& pending) {
        later =
            std::async(std::launch::async, [&] { list->write_variable(speed, 3.5, after_noon); });
        EXPECT_EQ(later.wait_for(std::chrono::milliseconds{20}), std::future_status::timeout);
        EXPECT_THAT(
            changes_in(pending), ElementsAre(drained_change{speed, 2.5, variable_quality::good}));
    });
    later.get();

    EXPECT_THAT(drained(), ElementsAre(drained_change{speed, 3.5, variable_quality::good}));
}

INSTANTIATE_TEST_SUITE_P(in_both_forms, drain_pending, testing::Bool(), [](auto const& form) {
    return form.param ? "set_requested" : "set_not_requested";
});

// -- stale lists ----------------------------------------------------------------------------------

// A retired list, whose provider has a definition with fingerprint 12 by now.
class stale_list : public published_list {
protected:
    std::vector<variable_state> retired;

    // The provider takes the lock of the list when it is asked, as another of its threads may that
    // holds the provider's lock already.
    stale_list() {
        parent.link().answer_fingerprint = [this] {
            std::scoped_lock const lock{*list};
            return definition_fingerprint{12};
        };
        list->mark_list_as_stale();
        retired = states_of(*list);
    }

    // Runs an operation and expects its refusal.
    void expect_outdated(std::function<void()> const& operation) {
        EXPECT_EQ(
            thrown_message<variable_list_outdated>(operation),
            "Provider press-4: variable list is outdated:\n"
            "Associated fingerprint: 11\n"
            "Provider's current fingerprint: 12\n"
            "Replace this variable list with the new one that is now current for the associated "
            "provider\n");
        EXPECT_EQ(states_of(*list), retired);
        EXPECT_THAT(pending_of(*list), IsEmpty());
        EXPECT_THAT(publications(), IsEmpty());
    }
};

TEST_F(stale_list, refuses_to_publish) {
    expect_outdated([&] { list->publish(speed, 2.5, at_noon); });
}

TEST_F(stale_list, refuses_to_publish_many) {
    expect_outdated([&] { list->bulk_publish({{speed, 2.5}}, at_noon); });
    expect_outdated([&] { list->bulk_publish({}, at_noon); });
}

TEST_F(stale_list, refuses_a_quality_and_asks_the_provider_with_its_lock_released) {
    expect_outdated([&] { list->set_quality(speed, variable_quality::good, at_noon); });
}

TEST_F(stale_list, refuses_many_qualities) {
    expect_outdated([&] { list->bulk_set_quality({{speed, variable_quality::good}}, at_noon); });
    expect_outdated([&] { list->bulk_set_quality({}, at_noon); });
}

TEST_F(stale_list, refuses_before_it_looks_at_the_id) {
    expect_outdated([&] { list->publish(unknown, 2.5, at_noon); });
    expect_outdated([&] { list->bulk_publish({{unknown, 2.5}}, at_noon); });
    expect_outdated([&] { list->set_quality(unknown, variable_quality::good, at_noon); });
    expect_outdated([&] { list->bulk_set_quality({{unknown, variable_quality::good}}, at_noon); });
}

TEST_F(stale_list, passes_on_that_nothing_is_registered) {
    parent.link().answer_fingerprint = []() -> definition_fingerprint {
        throw operational_state_invalid::for_client(
            client_kind::provider, "press-4", "nothing is registered");
    };

    EXPECT_THROW(list->publish(speed, 2.5, at_noon), operational_state_invalid);
    EXPECT_THROW(list->bulk_publish({{speed, 2.5}}, at_noon), operational_state_invalid);
    EXPECT_THROW(
        list->set_quality(speed, variable_quality::good, at_noon), operational_state_invalid);
    EXPECT_THROW(
        list->bulk_set_quality({{speed, variable_quality::good}}, at_noon),
        operational_state_invalid);

    EXPECT_EQ(states_of(*list), retired);
    EXPECT_THAT(pending_of(*list), IsEmpty());
    EXPECT_THAT(publications(), IsEmpty());
}

TEST_F(stale_list, accepts_a_consumers_write) {
    list->write_variable(speed, 2.5, at_noon);

    EXPECT_EQ(states_of(*list).front(), (variable_state{2.5, variable_quality::bad, at_noon, 2}));
    EXPECT_THAT(pending_of(*list), UnorderedElementsAre(speed));
}

TEST_F(stale_list, can_still_be_searched_marked_and_dumped) {
    EXPECT_EQ(list->resolve_variable_by_id(speed)->get_path(), "pump/speed");

    list->mark_all_variables_pending();

    EXPECT_THAT(pending_of(*list), UnorderedElementsAre(speed, running, mode));
    EXPECT_THAT(
        without_addresses(dump_of(*list)),
        testing::StartsWith("Variable list @ <address> <STALE>\n"));
}

// A thread that publishes into a stale list must not wait for another one that holds it.
TEST_F(stale_list, refuses_changes_while_another_thread_holds_its_lock) {
    parent.link().answer_fingerprint = [] {
        return definition_fingerprint{12};
    };
    for (auto const& change : std::vector<std::function<void()>>{
             [&] { list->publish(speed, 2.5, at_noon); },
             [&] {
                 list->bulk_publish({{speed, 2.5}}, at_noon);
             },
             [&] {
                 list->bulk_set_quality({{speed, variable_quality::good}}, at_noon);
             }}) {
        std::unique_lock lock{*list};
        auto refused = std::async(std::launch::async, change);

        EXPECT_EQ(refused.wait_for(std::chrono::seconds{30}), std::future_status::ready);
        lock.unlock();

        EXPECT_THROW(refused.get(), variable_list_outdated);
    }
}

TEST_F(stale_list, refuses_a_single_quality_only_with_its_lock) {
    parent.link().answer_fingerprint = [] {
        return definition_fingerprint{12};
    };
    std::unique_lock lock{*list};
    auto refused = std::async(
        std::launch::async, [&] { list->set_quality(speed, variable_quality::good, at_noon); });

    EXPECT_EQ(refused.wait_for(std::chrono::milliseconds{20}), std::future_status::timeout);
    lock.unlock();

    EXPECT_THROW(refused.get(), variable_list_outdated);
}

using marking_as_stale = published_list;

TEST_F(marking_as_stale, makes_every_variable_bad_now_and_leaves_nothing_pending) {
    list->set_quality(speed, variable_quality::uncertain, at_noon);
    auto const before = std::chrono::system_clock::now();

    list->mark_list_as_stale();

    auto const after = std::chrono::system_clock::now();
    for (auto const& [value, quality, when, updates] : states_of(*list)) {
        EXPECT_EQ(quality, variable_quality::bad);
        EXPECT_GE(when, before);
        EXPECT_LE(when, after);
    }
    EXPECT_EQ(std::get<variable_value>(states_of(*list).front()), variable_value{1.5});
    EXPECT_EQ(std::get<3>(states_of(*list).at(0)), 2);
    EXPECT_EQ(std::get<3>(states_of(*list).at(1)), 1);
    EXPECT_THAT(pending_of(*list), IsEmpty());
    EXPECT_THAT(publications(), IsEmpty());
}

TEST_F(marking_as_stale, twice_repeats_the_changes_and_does_no_harm) {
    list->mark_list_as_stale();

    list->mark_list_as_stale();

    for (auto const& [value, quality, when, updates] : states_of(*list)) {
        EXPECT_EQ(quality, variable_quality::bad);
        EXPECT_EQ(updates, 2);
    }
    EXPECT_THAT(pending_of(*list), IsEmpty());
    EXPECT_THROW(list->publish(speed, 2.5, at_noon), variable_list_outdated);
}

// -- lists that outlive their provider ------------------------------------------------------------

class orphaned_list : public testing::Test {
protected:
    std::optional<recording_provider> parent{"press-4"};
    std::shared_ptr<variable_list> list = make_list(
        parent->get(), 11, {{"pump/speed", 1.5, read_write}, {"pump/running", false, read_only}});
    variable_id const speed = ids_of(*list).at(0);
    variable_id const running = ids_of(*list).at(1);

    orphaned_list() {
        forget_pending(*list);
        parent.reset();
    }

    void expect_refused(std::function<void()> const& operation) {
        auto const before = states_of(*list);
        EXPECT_EQ(
            thrown_message<operational_state_invalid>(operation),
            "Provider press-4: variable list cannot be changed, its provider is gone\n");
        EXPECT_EQ(states_of(*list), before);
        EXPECT_THAT(pending_of(*list), IsEmpty());
    }

    void expect_every_change_refused() {
        expect_refused([&] { list->publish(speed, 2.5, at_noon); });
        expect_refused([&] { list->bulk_publish({{speed, 2.5}}, at_noon); });
        expect_refused([&] { list->bulk_publish({}, at_noon); });
        expect_refused([&] { list->set_quality(speed, variable_quality::bad, at_noon); });
        expect_refused([&] { list->bulk_set_quality({{speed, variable_quality::bad}}, at_noon); });
        expect_refused([&] { list->bulk_set_quality({}, at_noon); });
        expect_refused([&] { list->write_variable(speed, 2.5, at_noon); });
    }
};

TEST_F(orphaned_list, refuses_every_change) {
    expect_every_change_refused();
}

TEST_F(orphaned_list, refuses_every_change_in_the_same_words_when_it_is_stale) {
    list->mark_list_as_stale();

    expect_every_change_refused();
}

TEST_F(orphaned_list, refuses_a_write_before_it_looks_at_id_permissions_and_type) {
    expect_refused([&] { list->write_variable(running + 1, 2.5, at_noon); });
    expect_refused([&] { list->write_variable(running, true, at_noon); });
    expect_refused([&] { list->write_variable(speed, true, at_noon); });
}

TEST_F(orphaned_list, does_everything_else) {
    list->mark_all_variables_pending();
    EXPECT_THAT(pending_of(*list), UnorderedElementsAre(speed, running));

    EXPECT_EQ(list->resolve_variable_by_id(speed)->get_value(), variable_value{1.5});
    EXPECT_EQ(list->find_variable("pump/speed")->get_id(), speed);
    EXPECT_THAT(dump_of(*list), testing::HasSubstr("pump/speed"));
}

TEST(provider_that_goes_while_it_publishes, stays_whole_until_the_call_is_over) {
    std::optional<recording_provider> parent{"press-4"};
    auto const list = make_list(parent->get(), 11, {{"pump/speed", 1.5, read_write}});
    auto const speed = ids_of(*list).front();
    auto identifier_after_the_end = std::string{};
    parent->link().on_publish = [&, link = &parent->link()] {
        parent.reset();
        identifier_after_the_end = link->get_identifier();
    };

    list->publish(speed, 2.5, at_noon);

    EXPECT_EQ(identifier_after_the_end, "press-4");
    EXPECT_THROW(list->publish(speed, 3.5, at_noon), operational_state_invalid);
    EXPECT_EQ(states_of(*list).front(), changed(2.5));
}

// -- dump -----------------------------------------------------------------------------------------

using list_dump = published_list;

TEST_F(list_dump, begins_with_the_addresses_of_list_provider_and_map) {
    std::ostringstream expected;
    expected << "Variable list @ " << static_cast<void const*>(list.get())
             << "\n"
                "--------------------------------------------------------------------------------"
                "------\n"
                "\n"
                "Parent provider @ "
             << static_cast<void const*>(&parent.get()) << "\nVariable map @ "
             << static_cast<void const*>(&list->get_variables()) << " has 3 entries\n";

    EXPECT_THAT(dump_of(*list), testing::StartsWith(expected.str()));
}

TEST_F(list_dump, shows_the_lowest_id_and_the_next_one_of_any_list) {
    auto const later =
        make_list(parent.get(), 12, {{"a", 1.5, read_write}, {"b", 2.5, read_write}});

    EXPECT_THAT(
        dump_of(*list),
        testing::HasSubstr(
            "\nLowest current var index " + std::to_string(speed)
            + ", next to assign: " + std::to_string(speed + 5) + "\n"));
    EXPECT_THAT(
        dump_of(*later),
        testing::HasSubstr(
            "\nLowest current var index " + std::to_string(speed + 3)
            + ", next to assign: " + std::to_string(speed + 5) + "\n"));
}

TEST_F(list_dump, shows_the_lines_of_its_variables_in_the_order_of_ids) {
    std::string lines;
    for (auto const& [id, variable] : list->get_variables()) {
        lines += dump_of(*variable) + '\n';
    }

    EXPECT_THAT(dump_of(*list), testing::EndsWith("-\n" + lines));
}

TEST_F(list_dump, is_not_marked_while_the_list_is_current) {
    EXPECT_THAT(dump_of(*list), testing::Not(testing::HasSubstr("STALE")));
}

TEST_F(list_dump, returns_the_stream) {
    std::ostringstream text;

    EXPECT_EQ(&list->to_str(text), &text);
    EXPECT_EQ(&(text << *list), &text);
    auto const once = dump_of(*list);
    EXPECT_EQ(text.str(), once + once);
}

TEST_F(list_dump, flushes_every_line) {
    flushed_pieces os;

    list->to_str(os);

    auto pieces = os.pieces();
    EXPECT_EQ(pieces.back(), "");
    pieces.pop_back();
    EXPECT_EQ(pieces.size(), 8 + 3);
    EXPECT_THAT(pieces, testing::Each(testing::EndsWith("\n")));
}

TEST_F(list_dump, leaves_the_flags_of_the_stream_as_they_were) {
    std::ostringstream text;
    text << std::right << std::showpoint << std::scientific;
    auto const before = text.flags();

    list->to_str(text);

    EXPECT_EQ(text.flags(), before);
}

TEST_F(list_dump, writes_integers_in_decimal_on_any_stream) {
    std::ostringstream text;
    text << std::oct;

    list->to_str(text);

    EXPECT_EQ(text.str(), dump_of(*list));
}

TEST_F(list_dump, aligns_its_columns_in_the_same_way_on_any_stream) {
    std::ostringstream text;
    text << std::internal;

    list->to_str(text);

    EXPECT_EQ(text.str(), dump_of(*list));
}

TEST_F(list_dump, spends_a_pending_width_before_the_columns) {
    std::ostringstream text;
    text << std::setw(10);

    list->to_str(text);

    EXPECT_EQ(text.str(), dump_of(*list));
}

// Counts the lines that it is given; may be asked while it is written to.
class line_counter : private std::stringbuf, public std::ostream {
public:
    line_counter()
        : std::ostream{static_cast<std::stringbuf*>(this)} {}

    [[nodiscard]] std::size_t lines() const {
        return m_lines;
    }

private:
    std::atomic<std::size_t> m_lines = 0;

    // Every line end flushes.
    int sync() override {
        ++m_lines;
        return 0;
    }
};

TEST_F(list_dump, writes_its_first_lines_without_the_lock_and_the_rest_under_it) {
    line_counter os;
    std::unique_lock lock{*list};
    auto dump = std::async(std::launch::async, [&] { list->to_str(os); });

    EXPECT_TRUE(await([&os] { return os.lines() == 3; }));
    EXPECT_EQ(dump.wait_for(std::chrono::milliseconds{20}), std::future_status::timeout);
    EXPECT_EQ(os.lines(), 3U);
    lock.unlock();

    dump.get();
    EXPECT_EQ(os.lines(), 8U + 3U);
}

TEST_F(list_dump, releases_the_lock) {
    dump_of(*list);

    list->publish(speed, 2.5, at_noon);

    EXPECT_THAT(publications(), ElementsAre(at_noon));
}

} // namespace

} // namespace arvenhold::corvel::hub
