// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "playing.hpp"

#include <hub/session/provider_session.hpp>

#include <future>
#include <stdexcept>

namespace arvenhold::corvel::hub::testkit {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

class scripted_consumer_on_hub : public oven_test {
protected:
    scripted_consumer_on_hub() {
        oven.start();
        panel.attach("oven", patience);
    }
};

INSTANTIATE_TEST_SUITE_P(with, scripted_consumer_on_hub, both_servers, server_name);

TEST_P(oven_test, is_waited_for_by_a_consumer_that_attaches) {
    auto const starting = std::async(std::launch::async, [this] { oven.start(); });

    EXPECT_NO_THROW(panel.attach("oven", patience));
}

TEST_P(oven_test, that_is_missing_is_explained_to_a_consumer) {
    scripted_provider pump{hub, "pump"};
    pump.offers("speed", 1.0);
    pump.start();

    auto const text =
        thrown_message<expectation_failed>([&] { panel.attach("oven", std::chrono::seconds{2}); });

    EXPECT_THAT(
        text, HasSubstr("awaited for 2 s: the values of oven\n  seen: oven is connecting ("));
    EXPECT_THAT(text, HasSubstr("the hub has the providers pump"));
}

TEST_P(oven_test, is_attached_to_later_than_the_limit) {
    EXPECT_THROW(panel.attach("oven", no_time), expectation_failed);

    oven.start();

    EXPECT_NO_THROW(panel.wait_until_live(patience));
}

TEST_P(oven_test, is_needed_before_a_consumer_does_anything) {
    std::string const text = "the scripted consumer is not attached: call attach() first";

    EXPECT_EQ(thrown_message<std::logic_error>([&] { panel.write("set_point", 1.0); }), text);
    EXPECT_EQ(
        thrown_message<std::logic_error>([&] { panel.wait_for_value("set_point", 1.0, no_time); }),
        text);
}

TEST_P(scripted_consumer_on_hub, attaches_once) {
    EXPECT_EQ(
        thrown_message<std::logic_error>([&] { panel.attach("pump"); }),
        "the scripted consumer is attached to oven; use another one for pump");
}

TEST_P(scripted_consumer_on_hub, reads_values) {
    EXPECT_EQ(panel.get_reading("temperature").value, variable_value{20.0});
    EXPECT_EQ(panel.get_reading("temperature").freshness, freshness::live);
}

TEST_P(scripted_consumer_on_hub, names_the_variables_when_another_one_is_meant) {
    EXPECT_THAT(
        thrown_message<expectation_failed>([&] { panel.get_reading("humidity"); }),
        HasSubstr("awaited for 0 s: a value of humidity\n"
                  "  seen: no value of humidity; oven has temperature, set_point, name; oven is "
                  "ready"));
    EXPECT_THAT(panel.get_readings("humidity"), IsEmpty());
}

TEST_P(scripted_consumer_on_hub, waits_for_each_value) {
    for (double value = 90.0; value < 95.0; ++value) {
        auto const sending =
            std::async(std::launch::async, [&] { oven.holds("temperature", value); });

        EXPECT_EQ(
            panel.wait_for_value("temperature", value, patience).value, variable_value{value});
    }
}

TEST_P(scripted_consumer_on_hub, names_the_latest_reading_when_the_awaited_value_is_missing) {
    EXPECT_EQ(
        thrown_message<expectation_failed>(
            [&] { panel.wait_for_value("temperature", 90.0, no_time); }),
        "awaited for 20 ms: temperature = 90.0 of oven\n  seen: temperature = 20.0, good, live");
}

TEST_P(scripted_consumer_on_hub, refuses_values_of_another_type_at_once) {
    EXPECT_EQ(
        thrown_message<std::invalid_argument>(
            [&] { panel.wait_for_value("temperature", 20, patience); }),
        "temperature has the type double, but 20 has the type int64");
}

TEST_P(scripted_consumer_on_hub, waits_for_any_condition_of_a_reading) {
    oven.holds("temperature", 20.0, variable_quality::uncertain);

    auto const shown = panel.wait_for_reading(
        "temperature",
        "uncertain",
        [](any_reading const& now) { return now.quality == variable_quality::uncertain; },
        patience);

    EXPECT_EQ(shown.quality, variable_quality::uncertain);
    EXPECT_EQ(
        thrown_message<expectation_failed>([&] {
            panel.wait_for_reading(
                "temperature", "above 100", [](any_reading const&) { return false; }, no_time);
        }),
        "awaited for 20 ms: temperature above 100 of oven\n"
        "  seen: temperature = 20.0, uncertain, live");
}

TEST_P(scripted_consumer_on_hub, counts_no_stale_value) {
    oven.vanish();
    panel.wait_until_stale(patience);

    EXPECT_EQ(
        thrown_message<expectation_failed>(
            [&] { panel.wait_for_value("temperature", 20.0, no_time); }),
        "awaited for 20 ms: temperature = 20.0 of oven\n"
        "  seen: temperature = 20.0, good, stale");
}

TEST_P(scripted_consumer_on_hub, explains_why_values_are_not_live_or_not_stale) {
    EXPECT_THAT(
        thrown_message<expectation_failed>([&] { panel.wait_until_stale(no_time); }),
        HasSubstr("awaited for 20 ms: stale values\n  seen: oven is ready"));

    oven.vanish();
    panel.wait_until_stale(patience);

    EXPECT_THAT(
        thrown_message<expectation_failed>([&] { panel.wait_until_live(no_time); }),
        HasSubstr("awaited for 20 ms: live values\n  seen: oven is "));
}

TEST_P(scripted_consumer_on_hub, shows_no_value_of_its_own) {
    oven.refuses("set_point");

    panel.write("set_point", 160.0);
    oven.wait_for_write("set_point", 160.0, patience);

    EXPECT_EQ(panel.get_reading("set_point").value, variable_value{150.0});
    EXPECT_THROW(panel.wait_for_value("set_point", 160.0, no_time), expectation_failed);
}

TEST_P(scripted_consumer_on_hub, sends_nothing_that_cannot_succeed) {
    EXPECT_THROW(panel.write("temperature", 1.0), write_refused);
    EXPECT_THROW(panel.write("set_point", 1), write_refused);
    EXPECT_THROW(panel.write_and_confirm("humidity", 1.0, patience), write_refused);
    EXPECT_THAT(oven.get_writes(), IsEmpty());
}

TEST_P(scripted_consumer_on_hub, is_confirmed_only_what_the_provider_holds) {
    EXPECT_EQ(panel.write_and_confirm("set_point", 160.0, patience), write_outcome::confirmed);
    EXPECT_EQ(oven.get_value("set_point"), variable_value{160.0});
}

TEST_P(scripted_consumer_on_hub, attaches_again_after_a_fault) {
    hub.begin_fault(fault::server_away);
    panel.wait_until_stale(patience);

    hub.end_fault(fault::server_away);

    EXPECT_NO_THROW(panel.wait_until_live(patience));
}

} // namespace
} // namespace arvenhold::corvel::hub::testkit
