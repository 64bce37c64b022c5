// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/view/hub_model.hpp"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <cmath>
#include <string>

namespace {

using namespace arvenhold::corvel::hub;
using ctl::hub_model;
using nlohmann::json;
using std::chrono::system_clock;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::size_t roomy = 1'000'000;

any_reading make_reading(std::string const& path, variable_value value) {
    any_reading reading;
    reading.provider = "oven";
    reading.path = path;
    reading.value = std::move(value);
    reading.quality = variable_quality::good;
    reading.when = system_clock::now();
    reading.freshness = freshness::live;
    return reading;
}

known_definition make_definition(std::vector<std::string> const& paths) {
    known_definition definition;
    for (auto const& path : paths) {
        definition.variables.push_back({0, path, 1, variable_permissions::read_write});
    }
    return definition;
}

class the_model_of_a_hub : public testing::Test {
protected:
    hub_model m_model{roomy};
    std::uint64_t m_version = 0;

    // What has changed since the last call.
    json changes() {
        std::string text;
        m_version = m_model.append_changes(text, m_version);
        return json::parse(text);
    }
};

TEST_F(the_model_of_a_hub, sends_each_change_once) {
    m_model.receive_values({make_reading("a", 1.5), make_reading("b", 2.5)});
    EXPECT_THAT(changes()["values"], SizeIs(2));
    m_model.receive_values({make_reading("b", 3.5)});
    auto const values = changes()["values"];
    ASSERT_THAT(values, SizeIs(1));
    EXPECT_EQ(values[0][1], 3.5);
    EXPECT_THAT(changes()["values"], IsEmpty());
}

TEST_F(the_model_of_a_hub, sends_only_the_latest_value_to_a_slow_browser) {
    for (int index = 0; index <= 1'000; ++index) {
        m_model.receive_values({make_reading("a", static_cast<double>(index))});
    }
    auto const values = changes()["values"];
    ASSERT_THAT(values, SizeIs(1));
    EXPECT_EQ(values[0][1], 1000.0);
}

TEST_F(the_model_of_a_hub, marks_lost_values_and_providers) {
    m_model.receive_definition("oven", make_definition({"a"}));
    m_model.receive_values({make_reading("a", 1.5)});
    changes();
    auto stale = make_reading("a", 1.5);
    stale.freshness = freshness::stale;
    m_model.receive_values({stale});
    m_model.receive_notice({"oven", ctl::provider_event::lost, "gone", system_clock::now()});
    auto const now = changes();
    EXPECT_EQ(now["values"][0][4], 1);
    EXPECT_EQ(now["providers"][0][2], "lost");
    EXPECT_EQ(now["events"][0][2], "lost");
}

TEST_F(the_model_of_a_hub, shows_the_difference_of_a_replaced_definition) {
    m_model.receive_definition("oven", make_definition({"a", "b"}));
    m_model.receive_values({make_reading("a", 1.5)});
    changes();
    m_model.receive_definition("oven", make_definition({"b", "c"}));
    auto const now = changes();
    EXPECT_EQ(now["events"][0][4], "- a  double read-write\n+ c  double read-write");
    auto const variables = now["variables"];
    ASSERT_THAT(variables, SizeIs(2));
    EXPECT_EQ(variables[0][5], true); // a is gone
    EXPECT_EQ(variables[1][2], "c");
}

TEST_F(the_model_of_a_hub, gives_a_variable_of_another_type_another_number) {
    m_model.receive_values({make_reading("a", 1.5)});
    m_model.receive_values({make_reading("a", std::string{"text"})});
    auto const variables = changes()["variables"];
    ASSERT_THAT(variables, SizeIs(2));
    EXPECT_EQ(variables[0][5], true);
    EXPECT_EQ(variables[1][3], "string");
}

TEST_F(the_model_of_a_hub, carries_values_exactly) {
    m_model.receive_values(
        {make_reading("a", (std::int64_t{1} << 53U) + 1),
         make_reading("b", std::nan("")),
         make_reading("c", std::string{"<img onerror>\xFF\n\""}),
         make_reading("d", std::chrono::nanoseconds{1'500'000'000})});
    auto const values = changes()["values"];
    EXPECT_EQ(values[0][1], "9007199254740993");
    EXPECT_EQ(values[1][1], "nan");
    EXPECT_EQ(values[2][1], "<img onerror>\xEF\xBF\xBD\n\"");
    EXPECT_EQ(values[3][1], "1.5s");
}

TEST_F(the_model_of_a_hub, draws_an_old_value_at_its_arrival) {
    auto old = make_reading("a", 1.5);
    old.when = timestamp{};
    m_model.receive_values({old});
    std::string text;
    ctl::value_history::query wanted;
    wanted.variables = {0};
    wanted.most = 10;
    m_model.append_history(text, wanted);
    auto const now = std::chrono::duration_cast<std::chrono::microseconds>(
        system_clock::now().time_since_epoch());
    constexpr std::int64_t an_hour = 3'600'000'000;
    EXPECT_GT(json::parse(text)["series"][0][1][0].get<std::int64_t>(), now.count() - an_hour);
}

TEST_F(the_model_of_a_hub, keeps_the_latest_events) {
    for (std::size_t index = 0; index < 2 * hub_model::most_events; ++index) {
        m_model.add_event({0, system_clock::now(), "write", "", std::to_string(index)});
    }
    auto const events = changes()["events"];
    ASSERT_THAT(events, SizeIs(hub_model::most_events));
    EXPECT_EQ(events.back()[4], std::to_string(2 * hub_model::most_events - 1));
}

TEST_F(the_model_of_a_hub, ends_all_waits_when_it_is_closed) {
    m_model.close();
    EXPECT_FALSE(m_model.wait_for_changes(0, ctl::supervisor::clock::time_point::max()));
}

} // namespace
