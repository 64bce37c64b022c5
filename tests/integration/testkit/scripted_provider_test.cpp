// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "playing.hpp"
#include "raw_writer.hpp"

#include <stdexcept>

namespace arvenhold::corvel::hub::testkit {
namespace {

using testing::HasSubstr;
using testing::SizeIs;

constexpr std::uint8_t double_tag = 3;
constexpr std::uint8_t int64_tag = 4;

/// The oven is on the hub, and the panel attached.
class scripted_provider_on_hub : public oven_test {
protected:
    scripted_provider_on_hub() {
        oven.start();
        panel.attach("oven", patience);
    }

    any_reading sees(std::string const& path, variable_value const& value) {
        return panel.wait_for_value(path, value, patience);
    }
};

INSTANTIATE_TEST_SUITE_P(with, scripted_provider_on_hub, both_servers, server_name);

TEST_P(scripted_provider_on_hub, offers_initial_values_as_good) {
    EXPECT_EQ(panel.get_reading("temperature").value, variable_value{20.0});
    EXPECT_EQ(panel.get_reading("temperature").quality, variable_quality::good);
    EXPECT_EQ(panel.get_reading("name").value, variable_value{"north"});
}

TEST_P(scripted_provider_on_hub, shows_what_it_holds_with_quality_and_time) {
    timestamp const noon{std::chrono::nanoseconds{1'700'000'000'123'456'789}};

    oven.holds("temperature", 90.0, variable_quality::uncertain, noon);

    auto const shown = sees("temperature", 90.0);
    EXPECT_EQ(shown.quality, variable_quality::uncertain);
    EXPECT_EQ(shown.when, noon);
    EXPECT_EQ(oven.get_value("temperature"), variable_value{90.0});
}

TEST_P(scripted_provider_on_hub, is_good_again_with_the_next_value) {
    oven.holds("temperature", 90.0, variable_quality::bad);
    oven.holds("temperature", 91.0);

    EXPECT_EQ(sees("temperature", 91.0).quality, variable_quality::good);
}

TEST_P(scripted_provider_on_hub, sends_each_value_in_an_event_of_its_own) {
    for (double value = 21.0; value < 30.0; ++value) {
        oven.holds("temperature", value);
    }
    sees("temperature", 29.0);

    auto const readings = panel.get_readings("temperature");
    ASSERT_THAT(readings, SizeIs(10));
    EXPECT_EQ(readings[1].value, variable_value{21.0});
    EXPECT_EQ(readings[9].value, variable_value{29.0});
}

TEST_P(scripted_provider_on_hub, accepts_writes_and_publishes_them) {
    panel.write("set_point", 160.0);

    EXPECT_TRUE(oven.wait_for_write("set_point", 160.0, patience).accepted);
    sees("set_point", 160.0);
    EXPECT_EQ(oven.get_value("set_point"), variable_value{160.0});
}

TEST_P(scripted_provider_on_hub, refuses_every_write_of_a_variable) {
    oven.refuses("set_point");

    EXPECT_EQ(panel.write_and_confirm("set_point", 160.0, patience), write_outcome::refused);

    EXPECT_FALSE(oven.wait_for_write("set_point", 160.0, patience).accepted);
    EXPECT_EQ(oven.get_value("set_point"), variable_value{150.0});
    EXPECT_EQ(panel.write_and_confirm("name", "south", patience), write_outcome::confirmed);
}

TEST_P(scripted_provider_on_hub, refuses_some_values) {
    oven.refuses(
        "set_point", [](variable_value const& wanted) { return std::get<double>(wanted) > 300.0; });

    EXPECT_EQ(panel.write_and_confirm("set_point", 301.0, patience), write_outcome::refused);
    EXPECT_EQ(panel.write_and_confirm("set_point", 300.0, patience), write_outcome::confirmed);
}

TEST_P(scripted_provider_on_hub, accepts_again) {
    oven.refuses("set_point");

    oven.accepts("set_point");

    EXPECT_EQ(panel.write_and_confirm("set_point", 160.0, patience), write_outcome::confirmed);
}

TEST_P(scripted_provider_on_hub, refuses_what_a_provider_must_refuse) {
    consumer reader{"reader", false, nullptr, nullptr};
    connect(reader, hub.get_access());
    auto const variables = reader.attach_to_provider("oven")->get_current_variables();
    raw_writer writer{hub.get_access()};
    auto const write = [&](variable_id id, std::uint8_t tag, wire::value_field const& value) {
        writer.write("oven", variables.fingerprint, id, tag, value);
    };

    write(variables.find("temperature")->get_id(), double_tag, 99.0); // read-only
    write(variables.find("set_point")->get_id(), int64_tag, std::int64_t{99});
    write(variables.find("name")->get_id() + 1, double_tag, 99.0); // unknown
    panel.write("set_point", 99.0);
    oven.wait_for_write("set_point", 99.0, patience);

    auto const writes = oven.get_writes();
    ASSERT_THAT(writes, SizeIs(4));
    EXPECT_EQ(writes[0].path, "temperature");
    EXPECT_FALSE(writes[0].accepted);
    EXPECT_EQ(writes[1].value, variable_value{99});
    EXPECT_FALSE(writes[1].accepted);
    EXPECT_EQ(writes[2].path, "");
    EXPECT_FALSE(writes[2].accepted);
    EXPECT_TRUE(writes[3].accepted);
    EXPECT_EQ(oven.get_value("temperature"), variable_value{20.0});
}

TEST_P(scripted_provider_on_hub, finds_a_write_that_has_arrived_before) {
    panel.write_and_confirm("set_point", 160.0, patience);

    EXPECT_NO_THROW(oven.wait_for_write("set_point", 160.0, no_time));
}

TEST_P(scripted_provider_on_hub, finds_each_write_once) {
    panel.write_and_confirm("set_point", 160.0, patience);
    oven.wait_for_write("set_point", 160.0, patience);

    EXPECT_THROW(oven.wait_for_write("set_point", 160.0, no_time), expectation_failed);

    panel.write("set_point", 160.0);
    EXPECT_NO_THROW(oven.wait_for_write("set_point", 160.0, patience));
}

TEST_P(scripted_provider_on_hub, looks_at_the_writes_of_each_variable_on_its_own) {
    panel.write_and_confirm("set_point", 160.0, patience);
    panel.write_and_confirm("name", "south", patience);

    EXPECT_NO_THROW(oven.wait_for_write("name", "south", patience));
    EXPECT_NO_THROW(oven.wait_for_write("set_point", 160.0, patience));
}

TEST_P(scripted_provider_on_hub, names_the_other_writes_when_the_awaited_one_is_missing) {
    oven.refuses(
        "set_point", [](variable_value const& wanted) { return wanted == variable_value{170.0}; });
    panel.write_and_confirm("set_point", 160.0, patience);
    panel.write_and_confirm("set_point", 170.0, patience);

    EXPECT_EQ(
        thrown_message<expectation_failed>(
            [&] { oven.wait_for_write("set_point", 180.0, no_time); }),
        "awaited for 20 ms: the write set_point = 180.0 by a consumer of oven\n"
        "  seen: set_point = 160.0 (accepted), set_point = 170.0 (refused)");
    EXPECT_EQ(
        thrown_message<expectation_failed>([&] { oven.wait_for_write("name", "south", no_time); }),
        "awaited for 20 ms: the write name = \"south\" by a consumer of oven\n"
        "  seen: set_point = 160.0 (accepted), set_point = 170.0 (refused)");
}

TEST_P(scripted_provider_on_hub, keeps_all_writes) {
    panel.write_and_confirm("set_point", 160.0, patience);
    panel.write_and_confirm("name", "south", patience);

    auto const writes = oven.get_writes();
    ASSERT_THAT(writes, SizeIs(2));
    EXPECT_EQ(writes[0].path, "set_point");
    EXPECT_EQ(writes[1].path, "name");
    EXPECT_EQ(writes[1].value, variable_value{"south"});
    EXPECT_TRUE(writes[1].accepted);
}

TEST_P(scripted_provider_on_hub, is_lost_and_returns_with_its_values) {
    oven.holds("temperature", 90.0);
    sees("temperature", 90.0);

    oven.vanish();
    panel.wait_until_stale(patience);
    oven.holds("temperature", 91.0);
    oven.start();

    sees("temperature", 91.0);
}

TEST_P(scripted_provider_on_hub, starts_and_vanishes_once) {
    oven.start();
    oven.vanish();
    oven.vanish();

    EXPECT_NO_THROW(panel.wait_until_stale(patience));
}

TEST_P(scripted_provider_on_hub, replaces_its_definition_without_leaving) {
    oven.replace_definition({{"pressure", 3.0}, {"set_point", 170.0, writable}});

    sees("pressure", 3.0);
    EXPECT_EQ(panel.write_and_confirm("set_point", 180.0, patience), write_outcome::confirmed);
    EXPECT_THROW(oven.holds("temperature", 20.0), std::invalid_argument);
    EXPECT_THAT(hub.get_history(), testing::Not(testing::Contains("provider gone: oven")));
}

TEST_P(scripted_provider_on_hub, keeps_its_script_when_it_replaces_its_definition) {
    oven.refuses("set_point");
    panel.write_and_confirm("set_point", 160.0, patience);

    oven.replace_definition({{"set_point", 170.0, writable}});
    sees("set_point", 170.0);

    EXPECT_EQ(panel.write_and_confirm("set_point", 180.0, patience), write_outcome::refused);
    EXPECT_THAT(oven.get_writes(), SizeIs(2));
}

TEST_P(scripted_provider_on_hub, fails_when_the_registry_rejects_the_new_definition) {
    hub.begin_fault(fault::definitions_rejected);

    EXPECT_THAT(
        thrown_message<expectation_failed>([&] {
            oven.replace_definition({{"pressure", 3.0}});
        }),
        HasSubstr("awaited for 10 s: the scripted provider oven on the hub"));
}

TEST_P(oven_test, can_replace_its_definition_before_it_starts) {
    oven.replace_definition({{"pressure", 3.0}});
    oven.start();
    panel.attach("oven", patience);

    EXPECT_EQ(panel.get_reading("pressure").value, variable_value{3.0});
}

TEST_P(oven_test, refuses_a_second_variable_of_the_same_path) {
    EXPECT_EQ(
        thrown_message<std::logic_error>([&] { oven.offers("name", 1.0); }),
        "there is a variable name already");
    EXPECT_THROW(oven.replace_definition({{"pressure", 3.0}, {"pressure", 4.0}}), std::logic_error);
    EXPECT_EQ(oven.get_value("temperature"), variable_value{20.0});
}

TEST_P(oven_test, offers_nothing_more_while_it_is_on_the_hub) {
    oven.start();

    EXPECT_EQ(
        thrown_message<std::logic_error>([&] { oven.offers("pressure", 3.0); }),
        "oven is on the hub, so offers() cannot add pressure: use replace_definition()");
}

TEST_P(oven_test, names_its_variables_when_another_one_is_meant) {
    EXPECT_EQ(
        thrown_message<std::invalid_argument>([&] { oven.holds("humidity", 1.0); }),
        "oven has no variable humidity, but temperature, set_point, name");
    EXPECT_THROW(static_cast<void>(oven.get_value("humidity")), std::invalid_argument);
    EXPECT_THROW(oven.refuses("humidity"), std::invalid_argument);
    EXPECT_THROW(oven.accepts("humidity"), std::invalid_argument);
    EXPECT_THROW(oven.wait_for_write("humidity", 1.0, no_time), std::invalid_argument);
}

TEST_P(oven_test, refuses_values_of_another_type_at_once) {
    EXPECT_EQ(
        thrown_message<std::invalid_argument>([&] { oven.holds("temperature", 20); }),
        "temperature has the type double, but 20 has the type int64");
    EXPECT_THROW(oven.wait_for_write("set_point", 20, patience), std::invalid_argument);
}

} // namespace
} // namespace arvenhold::corvel::hub::testkit
