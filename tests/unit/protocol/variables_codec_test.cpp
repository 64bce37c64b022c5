// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "protocol/variables_codec.hpp"
#include "raw_table.hpp"
#include "support/odd_messages.hpp"
#include "support/thrown_message.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::nanoseconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr timestamp before_the_epoch{nanoseconds{-1'500'000'000}};
constexpr timestamp in_this_century{nanoseconds{1'700'000'000'123'456'789}};

// -- writing --------------------------------------------------------------------------------------

class variables_message : public testing::Test {
protected:
    message_builder builder;
    variables_writer writer{builder};

    raw_table list() const {
        return raw_table::root_of(finished_bytes(builder)).table(0);
    }

    std::vector<raw_table> items() const {
        return list().tables(2);
    }

    std::vector<std::uint32_t> ids() const {
        std::vector<std::uint32_t> all;
        for (auto const& item : items()) {
            all.push_back(item.number<std::uint32_t>(2));
        }
        return all;
    }
};

using change_event = variables_message;

TEST_F(change_event, holds_fingerprint_time_and_items_in_their_slots) {
    writer.add_change(0xFEDCBA98, 1.5, variable_quality::good);
    writer.finish_change_event(0xFEDCBA9876543210, in_this_century);

    EXPECT_THAT(raw_table::root_of(finished_bytes(builder)).slots(), ElementsAre(0));
    EXPECT_THAT(list().slots(), ElementsAre(0, 1, 2));
    EXPECT_EQ(list().number<std::uint64_t>(0), 0xFEDCBA9876543210U);
    EXPECT_EQ(list().seconds(1), 1'700'000'000);
    EXPECT_EQ(list().nanos(1), 123'456'789);
    EXPECT_THAT(items(), SizeIs(1));
}

TEST_F(change_event, has_items_without_a_time_of_their_own) {
    writer.add_change(0xFEDCBA98, 1.5, variable_quality::good);
    writer.finish_change_event(5, in_this_century);

    auto const item = items().at(0);
    EXPECT_THAT(item.slots(), ElementsAre(0, 1, 2, 4));
    EXPECT_EQ(item.number<std::uint8_t>(0), 3);
    EXPECT_EQ(item.table(1).number<double>(0), 1.5);
    EXPECT_EQ(item.number<std::uint32_t>(2), 0xFEDCBA98U);
    EXPECT_EQ(item.number<std::uint8_t>(4), 192);
}

TEST_F(change_event, may_have_more_items_than_were_expected) {
    constexpr std::size_t count = 100;
    std::vector<std::uint32_t> added;
    for (std::uint32_t id = 0; id < count; ++id) {
        writer.add_change(id, 1.5, variable_quality::good);
        added.push_back(id);
    }
    writer.finish_change_event(5, in_this_century);

    EXPECT_EQ(ids(), added);
}

TEST_F(change_event, outgrows_memory_on_the_stack) {
    constexpr std::size_t count = 100;
    short_message_memory memory;
    message_builder small_builder{initial_builder_size, &memory};
    variables_writer small_writer{small_builder};
    for (std::uint32_t id = 0; id < count; ++id) {
        small_writer.add_change(id, 1.5, variable_quality::good);
    }
    small_writer.finish_change_event(5, in_this_century);
    for (std::uint32_t id = 0; id < count; ++id) {
        writer.add_change(id, 1.5, variable_quality::good);
    }
    writer.finish_change_event(5, in_this_century);

    EXPECT_EQ(finished_bytes(small_builder), finished_bytes(builder));
}

TEST_F(change_event, really_writes_what_is_zero) {
    writer.add_change(0, false, variable_quality::bad);
    writer.add_change(0, 0.0, variable_quality::bad);
    writer.add_change(0, std::int64_t{0}, variable_quality::bad);
    writer.finish_change_event(0, timestamp{});

    EXPECT_THAT(list().slots(), ElementsAre(0, 1, 2));
    EXPECT_EQ(list().number<std::uint64_t>(0), 0U);
    EXPECT_EQ(list().seconds(1), 0);
    EXPECT_EQ(list().nanos(1), 0);
    ASSERT_THAT(items(), SizeIs(3));
    for (auto const& item : items()) {
        EXPECT_THAT(item.slots(), ElementsAre(0, 1, 2, 4));
        EXPECT_EQ(item.number<std::uint32_t>(2), 0U);
        EXPECT_EQ(item.number<std::uint8_t>(4), 0);
        EXPECT_THAT(item.table(1).slots(), ElementsAre(0));
    }
}

TEST_F(change_event, has_each_type_of_value_under_its_tag) {
    writer.add_change(1, true, variable_quality::good);
    writer.add_change(2, nanoseconds{-1'500'000'001}, variable_quality::good);
    writer.add_change(3, -0.5, variable_quality::good);
    writer.add_change(4, std::numeric_limits<std::int64_t>::min(), variable_quality::good);
    writer.add_change(5, std::string{"a\0b", 3}, variable_quality::good);
    writer.add_change(6, before_the_epoch, variable_quality::good);
    writer.finish_change_event(5, in_this_century);

    auto const written = items();
    ASSERT_THAT(written, SizeIs(6));
    for (std::size_t index = 0; index < written.size(); ++index) {
        EXPECT_EQ(written[index].number<std::uint8_t>(0), index + 1);
        EXPECT_THAT(written[index].table(1).slots(), ElementsAre(0));
    }
    EXPECT_EQ(written[0].table(1).number<std::uint8_t>(0), 1);
    EXPECT_EQ(written[1].table(1).seconds(0), -1);
    EXPECT_EQ(written[1].table(1).nanos(0), -500'000'001);
    EXPECT_EQ(written[2].table(1).number<double>(0), -0.5);
    EXPECT_EQ(
        written[3].table(1).number<std::int64_t>(0), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(written[4].table(1).text(0), (std::string{"a\0b", 3}));
    EXPECT_EQ(written[5].table(1).seconds(0), -1);
    EXPECT_EQ(written[5].table(1).nanos(0), -500'000'000);
}

TEST_F(change_event, sends_an_unknown_quality_as_uncertain) {
    writer.add_change(1, true, variable_quality{65});
    writer.add_change(2, true, variable_quality{0x1C0});
    writer.add_change(3, true, variable_quality::uncertain_last_usable_value);
    writer.add_change(4, true, variable_quality::uncertain_initial_value);
    writer.finish_change_event(5, in_this_century);

    EXPECT_EQ(items()[0].number<std::uint8_t>(4), 64);
    EXPECT_EQ(items()[1].number<std::uint8_t>(4), 64);
    EXPECT_EQ(items()[2].number<std::uint8_t>(4), 67);
    EXPECT_EQ(items()[3].number<std::uint8_t>(4), 68);
}

TEST_F(change_event, before_the_epoch_has_both_parts_negative) {
    writer.finish_change_event(5, before_the_epoch);

    EXPECT_EQ(list().seconds(1), -1);
    EXPECT_EQ(list().nanos(1), -500'000'000);
}

TEST_F(change_event, keeps_order_and_duplicates) {
    writer.add_change(9, 1.0, variable_quality::good);
    writer.add_change(2, 2.0, variable_quality::good);
    writer.add_change(9, 3.0, variable_quality::good);
    writer.finish_change_event(5, in_this_century);

    EXPECT_THAT(ids(), ElementsAre(9, 2, 9));
    EXPECT_EQ(items()[2].table(1).number<double>(0), 3.0);
}

TEST_F(change_event, of_nothing_has_an_empty_vector) {
    writer.finish_change_event(5, in_this_century);

    EXPECT_THAT(list().slots(), ElementsAre(0, 1, 2));
    EXPECT_THAT(items(), IsEmpty());
}

using read_reply = variables_message;

TEST_F(read_reply, has_items_with_times_of_their_own) {
    writer.add_reading(0xFEDCBA98, true, variable_quality::uncertain, before_the_epoch);
    writer.finish_read_reply(0xFEDCBA9876543210, in_this_century);

    EXPECT_THAT(raw_table::root_of(finished_bytes(builder)).slots(), ElementsAre(0));
    EXPECT_THAT(list().slots(), ElementsAre(0, 1, 2));
    EXPECT_EQ(list().number<std::uint64_t>(0), 0xFEDCBA9876543210U);
    EXPECT_EQ(list().seconds(1), 1'700'000'000);
    EXPECT_EQ(list().nanos(1), 123'456'789);
    auto const item = items().at(0);
    EXPECT_THAT(item.slots(), ElementsAre(0, 1, 2, 3, 4));
    EXPECT_EQ(item.number<std::uint8_t>(0), 1);
    EXPECT_EQ(item.table(1).number<std::uint8_t>(0), 1);
    EXPECT_EQ(item.number<std::uint32_t>(2), 0xFEDCBA98U);
    EXPECT_EQ(item.seconds(3), -1);
    EXPECT_EQ(item.nanos(3), -500'000'000);
    EXPECT_EQ(item.number<std::uint8_t>(4), 64);
}

TEST_F(read_reply, really_writes_what_is_zero) {
    writer.add_reading(0, false, variable_quality::bad, timestamp{});
    writer.finish_read_reply(0, timestamp{});

    EXPECT_THAT(list().slots(), ElementsAre(0, 1, 2));
    ASSERT_THAT(items(), SizeIs(1));
    EXPECT_THAT(items()[0].slots(), ElementsAre(0, 1, 2, 3, 4));
    EXPECT_EQ(items()[0].seconds(3), 0);
    EXPECT_EQ(items()[0].nanos(3), 0);
}

TEST_F(read_reply, sends_an_unknown_quality_as_uncertain) {
    writer.add_reading(1, true, variable_quality{191}, timestamp{});
    writer.finish_read_reply(5, timestamp{});

    EXPECT_EQ(items()[0].number<std::uint8_t>(4), 64);
}

TEST_F(read_reply, keeps_order_and_duplicates) {
    writer.add_reading(7, 1.0, variable_quality::good, timestamp{});
    writer.add_reading(7, 1.0, variable_quality::good, timestamp{});
    writer.add_reading(1, 1.0, variable_quality::good, timestamp{});
    writer.finish_read_reply(5, timestamp{});

    EXPECT_THAT(ids(), ElementsAre(7, 7, 1));
}

TEST_F(read_reply, of_nothing_has_an_empty_vector) {
    writer.finish_read_reply(5, in_this_century);

    EXPECT_THAT(list().slots(), ElementsAre(0, 1, 2));
    EXPECT_THAT(items(), IsEmpty());
}

using write_command = variables_message;

TEST_F(write_command, has_items_with_neither_quality_nor_time) {
    writer.add_write(0xFEDCBA98, std::int64_t{-3});
    writer.finish_write_command(0xFEDCBA9876543210);

    EXPECT_THAT(raw_table::root_of(finished_bytes(builder)).slots(), ElementsAre(0));
    EXPECT_EQ(list().number<std::uint64_t>(0), 0xFEDCBA9876543210U);
    auto const item = items().at(0);
    EXPECT_THAT(item.slots(), ElementsAre(0, 1, 2));
    EXPECT_EQ(item.number<std::uint8_t>(0), 4);
    EXPECT_EQ(item.table(1).number<std::int64_t>(0), -3);
    EXPECT_EQ(item.number<std::uint32_t>(2), 0xFEDCBA98U);
}

TEST_F(write_command, has_a_time_of_zero) {
    writer.finish_write_command(5);

    EXPECT_THAT(list().slots(), ElementsAre(0, 1, 2));
    EXPECT_EQ(list().seconds(1), 0);
    EXPECT_EQ(list().nanos(1), 0);
}

TEST_F(write_command, really_writes_what_is_zero) {
    writer.add_write(0, false);
    writer.finish_write_command(0);

    EXPECT_THAT(list().slots(), ElementsAre(0, 1, 2));
    EXPECT_EQ(list().number<std::uint64_t>(0), 0U);
    EXPECT_THAT(items().at(0).slots(), ElementsAre(0, 1, 2));
    EXPECT_THAT(items().at(0).table(1).slots(), ElementsAre(0));
}

TEST_F(write_command, keeps_order_and_duplicates) {
    writer.add_write(4, 1.0);
    writer.add_write(3, 2.0);
    writer.add_write(4, 3.0);
    writer.finish_write_command(5);

    EXPECT_THAT(ids(), ElementsAre(4, 3, 4));
    EXPECT_EQ(items()[0].table(1).number<double>(0), 1.0);
    EXPECT_EQ(items()[2].table(1).number<double>(0), 3.0);
}

TEST_F(write_command, of_nothing_has_an_empty_vector) {
    writer.finish_write_command(5);

    EXPECT_THAT(items(), IsEmpty());
}

TEST(read_request, has_the_ids_in_their_order) {
    message_builder builder;

    serialize_read_request(builder, {3, 0, 0xFFFFFFFF, 3});

    auto const root = raw_table::root_of(finished_bytes(builder));
    EXPECT_THAT(root.slots(), ElementsAre(0));
    EXPECT_THAT(root.numbers(0), ElementsAre(3U, 0U, 0xFFFFFFFFU, 3U));
}

TEST(read_request, of_nothing_has_an_empty_vector) {
    message_builder builder;

    serialize_read_request(builder, {});

    auto const root = raw_table::root_of(finished_bytes(builder));
    EXPECT_THAT(root.slots(), ElementsAre(0));
    EXPECT_THAT(root.numbers(0), IsEmpty());
}

// -- reading --------------------------------------------------------------------------------------

TEST(received_read_request, yields_the_ids_in_their_order) {
    auto const message = wire::read_variables_query({{3, 0, 0xFFFFFFFF, 3}});

    EXPECT_THAT(decode_read_request(message), ElementsAre(3U, 0U, 0xFFFFFFFFU, 3U));
}

TEST(received_read_request, yields_nothing_without_ids) {
    auto const no_ids = wire::read_variables_query({{}});
    auto const no_vector = wire::read_variables_query(std::nullopt);

    EXPECT_THAT(decode_read_request(no_ids), IsEmpty());
    EXPECT_THAT(decode_read_request(no_vector), IsEmpty());
}

TEST(received_read_request, yields_nothing_without_data) {
    EXPECT_THAT(decode_read_request(""), IsEmpty());
    EXPECT_THAT(decode_read_request("elevenbytes"), IsEmpty());
}

constexpr decode_context event_reader{
    client_kind::consumer, "panel", "de-serialize variable update"};
constexpr decode_context reply_reader{
    client_kind::consumer, "panel", "de-serialize reply to a read request"};
constexpr decode_context command_reader{
    client_kind::provider, "press-4", "deserialize_write_command"};

wire::variable_list_table list_of(std::vector<wire::variable_table> const& items) {
    return {.fingerprint = 5, .timestamp = wire::time_struct{100, 1}, .items = items};
}

// The only item of an event, read by a consumer; without its value if that is a string.
received_variable received(wire::variable_table const& item) {
    auto const message = wire::variables_changed_event(list_of({item}));
    return decode_change_event(message, 5, event_reader).value().item(0);
}

std::optional<variable_value> received_value(std::uint8_t tag, wire::value_table const& value) {
    auto const message = wire::variables_changed_event(
        list_of({{.value_type = tag, .value = value, .id = 1, .quality = 192}}));
    auto const item = decode_change_event(message, 5, event_reader).value().item(0);
    return item.value ? std::optional{owned(*item.value)} : std::nullopt;
}

TEST(received_item, has_the_value_of_its_tag) {
    EXPECT_EQ(received_value(1, {true}), variable_value{true});
    EXPECT_EQ(
        received_value(2, {wire::time_struct{-1, -500'000'000}}),
        variable_value{nanoseconds{-1'500'000'000}});
    EXPECT_EQ(received_value(3, {-0.5}), variable_value{-0.5});
    EXPECT_EQ(
        received_value(4, {std::numeric_limits<std::int64_t>::min()}),
        variable_value{std::numeric_limits<std::int64_t>::min()});
    EXPECT_EQ(
        received_value(5, {std::string{"a\0b", 3}}), (variable_value{std::string{"a\0b", 3}}));
    EXPECT_EQ(
        received_value(6, {wire::time_struct{-1, -500'000'001}}),
        (variable_value{timestamp{nanoseconds{-1'500'000'001}}}));
}

TEST(received_item, has_a_duration_in_whole_microseconds) {
    EXPECT_EQ(
        received_value(2, {wire::time_struct{1, 1'999}}),
        variable_value{nanoseconds{1'000'001'000}});
}

TEST(received_item, has_a_point_in_time_to_the_nanosecond) {
    EXPECT_EQ(
        received_value(6, {wire::time_struct{1, 1'999}}),
        (variable_value{timestamp{nanoseconds{1'000'001'999}}}));
}

TEST(received_item, has_the_default_where_the_value_table_is_empty) {
    EXPECT_EQ(received_value(1, {}), variable_value{false});
    EXPECT_EQ(received_value(2, {}), variable_value{nanoseconds{0}});
    EXPECT_EQ(received_value(3, {}), variable_value{0.0});
    EXPECT_EQ(received_value(4, {}), variable_value{std::int64_t{0}});
    EXPECT_EQ(received_value(6, {}), variable_value{timestamp{}});
}

TEST(received_item, faults_where_a_text_value_has_no_text) {
    EXPECT_EQ(
        thrown_message<serialization_fault>([] { received_value(5, {}); }),
        "Consumer panel: encountered invalid serialized data for operation: "
        "de-serialize variable update: string value nullptr\n");
}

TEST(received_item, may_have_an_empty_text) {
    EXPECT_EQ(received_value(5, {std::string{}}), variable_value{std::string{}});
}

TEST(received_item, with_tag_0_has_no_value_but_quality_and_time) {
    auto const item =
        received({.value_type = 0, .id = 7, .timestamp = wire::time_struct{3, 4}, .quality = 64});

    EXPECT_EQ(item.value, std::nullopt);
    EXPECT_EQ(item.id, 7U);
    EXPECT_EQ(item.quality, variable_quality::uncertain);
    EXPECT_EQ(item.when, timestamp{nanoseconds{3'000'000'004}});
}

TEST(received_item, with_an_unknown_tag_has_no_value_but_quality_and_time) {
    for (auto const tag : std::initializer_list<std::uint8_t>{7, 9, 255}) {
        auto const item = received(
            {.value_type = tag,
             .value = wire::value_table{std::int64_t{1}},
             .id = 7,
             .timestamp = wire::time_struct{3, 4},
             .quality = 64});

        EXPECT_EQ(item.value, std::nullopt) << int{tag};
        EXPECT_EQ(item.id, 7U);
        EXPECT_EQ(item.quality, variable_quality::uncertain);
        EXPECT_EQ(item.when, timestamp{nanoseconds{3'000'000'004}});
    }
}

TEST(received_item, with_a_tag_but_no_value_table_has_no_value) {
    for (std::uint8_t tag = 1; tag <= 6; ++tag) {
        auto const item = received({.value_type = tag, .id = 7, .quality = 64});

        EXPECT_EQ(item.value, std::nullopt) << int{tag};
        EXPECT_EQ(item.quality, variable_quality::uncertain);
    }
}

TEST(received_item, with_a_value_table_but_no_tag_has_no_value) {
    EXPECT_EQ(received({.value = wire::value_table{1.5}, .id = 7}).value, std::nullopt);
    EXPECT_EQ(received_value(0, {1.5}), std::nullopt);
}

TEST(received_item, takes_the_lists_time_without_one_of_its_own) {
    EXPECT_EQ(received({.id = 7}).when, timestamp{nanoseconds{100'000'000'001}});
}

TEST(received_item, takes_its_own_time_even_if_it_is_zero) {
    EXPECT_EQ(received({.id = 7, .timestamp = wire::time_struct{0, 0}}).when, timestamp{});
}

TEST(received_item, without_an_id_has_id_0) {
    EXPECT_EQ(received({.value_type = 1, .value = wire::value_table{true}}).id, 0U);
}

TEST(received_item, without_a_quality_is_bad) {
    EXPECT_EQ(received({.id = 7}).quality, variable_quality::bad);
}

TEST(received_item, with_an_unknown_quality_is_good) {
    EXPECT_EQ(received({.id = 7, .quality = 65}).quality, variable_quality::good);
    EXPECT_EQ(received({.id = 7, .quality = 255}).quality, variable_quality::good);
}

TEST(received_item, without_any_field_is_id_0_bad_and_without_value) {
    auto const item = received({});

    EXPECT_EQ(item.id, 0U);
    EXPECT_EQ(item.quality, variable_quality::bad);
    EXPECT_EQ(item.when, timestamp{nanoseconds{100'000'000'001}});
    EXPECT_EQ(item.value, std::nullopt);
}

TEST(received_change_event, keeps_order_and_duplicates) {
    auto const message = wire::variables_changed_event(list_of({{.id = 9}, {.id = 2}, {.id = 9}}));

    auto variables = decode_change_event(message, 5, event_reader).value();

    ASSERT_EQ(variables.size(), 3U);
    EXPECT_EQ(variables.item(0).id, 9U);
    EXPECT_EQ(variables.item(1).id, 2U);
    EXPECT_EQ(variables.item(2).id, 9U);
}

TEST(received_change_event, may_have_no_items) {
    auto const message = wire::variables_changed_event(list_of({}));

    EXPECT_EQ(decode_change_event(message, 5, event_reader).value().size(), 0U);
}

TEST(received_change_event, without_a_fingerprint_has_fingerprint_0) {
    auto list = list_of({});
    list.fingerprint.reset();
    auto const message = wire::variables_changed_event(list);

    EXPECT_TRUE(decode_change_event(message, 0, event_reader));
    EXPECT_FALSE(decode_change_event(message, 5, event_reader));
}

TEST(received_change_event, of_another_definition_is_nothing_whatever_it_lacks) {
    auto const message = wire::variables_changed_event(wire::variable_list_table{.fingerprint = 5});

    EXPECT_FALSE(decode_change_event(message, 6, event_reader));
}

TEST(received_change_event, faults_without_data) {
    auto const* const fault = "Consumer panel: encountered invalid serialized data for operation: "
                              "de-serialize variable update: message data nullptr\n";

    EXPECT_EQ(
        thrown_message<serialization_fault>([] { decode_change_event("", 5, event_reader); }),
        fault);
    EXPECT_EQ(
        thrown_message<serialization_fault>(
            [] { decode_change_event("elevenbytes", 5, event_reader); }),
        fault);
}

TEST(received_change_event, faults_without_a_list) {
    auto const message = wire::variables_changed_event(std::nullopt);

    EXPECT_EQ(
        thrown_message<serialization_fault>([&] { decode_change_event(message, 5, event_reader); }),
        "Consumer panel: encountered invalid serialized data for operation: "
        "de-serialize variable update: variable data nullptr\n");
}

TEST(received_change_event, faults_without_items) {
    auto list = list_of({});
    list.items.reset();
    auto const message = wire::variables_changed_event(list);

    EXPECT_EQ(
        thrown_message<serialization_fault>([&] { decode_change_event(message, 5, event_reader); }),
        "Consumer panel: encountered invalid serialized data for operation: "
        "de-serialize variable update: variable data (items) nullptr\n");
}

TEST(received_change_event, without_a_time_takes_the_epoch_for_items_without_their_own) {
    auto list = list_of({{.id = 9}, {.id = 2, .timestamp = wire::time_struct{3, 4}}});
    list.timestamp.reset();
    auto const message = wire::variables_changed_event(list);

    auto variables = decode_change_event(message, 5, event_reader).value();

    EXPECT_EQ(variables.item(0).when, timestamp{});
    EXPECT_EQ(variables.item(1).when, timestamp{nanoseconds{3'000'000'004}});
}

TEST(received_change_event, faults_in_a_list_too_short_for_time_and_items) {
    auto const message = wire::variables_changed_event(wire::variable_list_table{.fingerprint = 5});
    ASSERT_EQ(raw_table::root_of(message).table(0).slot_count(), 1);

    EXPECT_EQ(
        thrown_message<serialization_fault>([&] { decode_change_event(message, 5, event_reader); }),
        "Consumer panel: encountered invalid serialized data for operation: "
        "de-serialize variable update: variable data (items) nullptr\n");
}

TEST(received_read_reply, has_items_with_times_of_their_own) {
    auto const message = wire::read_variables_query_response(
        list_of({{.id = 9, .timestamp = wire::time_struct{1, 2}}, {.id = 2}}));

    auto variables = decode_read_reply(message, reply_reader);

    EXPECT_EQ(variables.fingerprint(), 5U);
    ASSERT_EQ(variables.size(), 2U);
    EXPECT_EQ(variables.item(0).id, 9U);
    EXPECT_EQ(variables.item(0).when, timestamp{nanoseconds{1'000'000'002}});
    EXPECT_EQ(variables.item(1).id, 2U);
    EXPECT_EQ(variables.item(1).when, timestamp{nanoseconds{100'000'000'001}});
}

TEST(received_read_reply, without_any_time_is_of_the_epoch) {
    auto list = list_of({{.id = 9}});
    list.timestamp.reset();
    auto const message = wire::read_variables_query_response(list);

    EXPECT_EQ(decode_read_reply(message, reply_reader).item(0).when, timestamp{});
}

TEST(received_read_reply, faults_without_data) {
    EXPECT_EQ(
        thrown_message<serialization_fault>([] { decode_read_reply("", reply_reader); }),
        "Consumer panel: encountered invalid serialized data for operation: "
        "de-serialize reply to a read request: message data nullptr\n");
}

TEST(received_read_reply, faults_without_a_list) {
    auto const message = wire::read_variables_query_response(std::nullopt);

    EXPECT_EQ(
        thrown_message<serialization_fault>([&] { decode_read_reply(message, reply_reader); }),
        "Consumer panel: encountered invalid serialized data for operation: "
        "de-serialize reply to a read request: variable data nullptr\n");
}

TEST(received_read_reply, faults_without_items) {
    auto const message =
        wire::read_variables_query_response(wire::variable_list_table{.fingerprint = 5});

    EXPECT_EQ(
        thrown_message<serialization_fault>([&] { decode_read_reply(message, reply_reader); }),
        "Consumer panel: encountered invalid serialized data for operation: "
        "de-serialize reply to a read request: variable data (items) nullptr\n");
}

TEST(received_read_reply, faults_where_a_text_value_has_no_text) {
    auto const message = wire::read_variables_query_response(
        list_of({{.value_type = 5, .value = wire::value_table{}, .id = 9}}));
    auto variables = decode_read_reply(message, reply_reader);

    EXPECT_EQ(
        thrown_message<serialization_fault>([&] { variables.item(0); }),
        "Consumer panel: encountered invalid serialized data for operation: "
        "de-serialize reply to a read request: string value nullptr\n");
}

TEST(received_write_command, has_ids_and_values_in_their_order) {
    auto const message = wire::write_variables_command(list_of(
        {{.value_type = 4, .value = wire::value_table{std::int64_t{1}}, .id = 9},
         {.value_type = 1, .value = wire::value_table{true}, .id = 2},
         {.value_type = 4, .value = wire::value_table{std::int64_t{3}}, .id = 9}}));

    auto variables = decode_write_command(message, command_reader);

    EXPECT_EQ(variables.fingerprint(), 5U);
    ASSERT_EQ(variables.size(), 3U);
    EXPECT_EQ(variables.item(0).id, 9U);
    EXPECT_EQ(variables.item(0).value, value_view{std::int64_t{1}});
    EXPECT_EQ(variables.item(1).id, 2U);
    EXPECT_EQ(variables.item(1).value, value_view{true});
    EXPECT_EQ(variables.item(2).id, 9U);
    EXPECT_EQ(variables.item(2).value, value_view{std::int64_t{3}});
}

TEST(received_write_command, does_not_need_a_time) {
    auto list = list_of({{.id = 9}});
    list.timestamp.reset();
    auto const message = wire::write_variables_command(list);

    EXPECT_EQ(decode_write_command(message, command_reader).item(0).when, timestamp{});
}

TEST(received_write_command, without_a_fingerprint_has_fingerprint_0) {
    auto list = list_of({});
    list.fingerprint.reset();
    auto const message = wire::write_variables_command(list);

    EXPECT_EQ(decode_write_command(message, command_reader).fingerprint(), 0U);
}

TEST(received_write_command, faults_without_data_as_without_a_list) {
    auto const* const fault =
        "Provider press-4: encountered invalid serialized data for operation: "
        "deserialize_write_command: variables node is missing\n";
    auto const no_list = wire::write_variables_command(std::nullopt);

    EXPECT_EQ(
        thrown_message<serialization_fault>([] { decode_write_command("", command_reader); }),
        fault);
    EXPECT_EQ(
        thrown_message<serialization_fault>([&] { decode_write_command(no_list, command_reader); }),
        fault);
}

TEST(received_write_command, faults_without_items) {
    auto const message = wire::write_variables_command(wire::variable_list_table{.fingerprint = 5});

    EXPECT_EQ(
        thrown_message<serialization_fault>([&] { decode_write_command(message, command_reader); }),
        "Provider press-4: encountered invalid serialized data for operation: "
        "deserialize_write_command: items node in variables data is missing\n");
}

TEST(received_write_command, faults_where_a_text_value_has_no_text) {
    auto const message = wire::write_variables_command(
        list_of({{.value_type = 5, .value = wire::value_table{}, .id = 9}}));
    auto variables = decode_write_command(message, command_reader);

    EXPECT_EQ(
        thrown_message<serialization_fault>([&] { variables.item(0); }),
        "Provider press-4: encountered invalid serialized data for operation: "
        "deserialize_write_command: string value nullptr\n");
}

} // namespace

} // namespace arvenhold::corvel::hub
