// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/recording_reader.hpp"

#include <gmock/gmock.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub::ctl {
namespace {

using namespace std::chrono_literals;

std::string make_csv(std::string const& rest) {
    return "1970-01-01T00:00:02.000000000Z," + rest;
}

std::string make_json(std::string const& rest) {
    return R"({"v":1,"time":"1970-01-01T00:00:02.000000000Z",)" + rest + '}';
}

struct row_case {
    std::string csv;  // behind the time
    std::string json; // likewise
    row_kind kind;
    variable_value value = false;
    variable_quality quality = variable_quality::good;
    bool is_live = true;
    provider_event event = provider_event::here;
};

TEST(recording_reader, reads_both_formats_alike) {
    std::vector<row_case> const cases{
        {"value,p,a,double,2.5,good,",
         R"("type":"value","provider":"p","path":"a","data_type":"double","value":2.5)",
         row_kind::value,
         2.5},
        {"stale,p,a,int64,9007199254740993,good,",
         R"("type":"value","provider":"p","path":"a","data_type":"int64","value":1,)"
         R"("value_text":"9007199254740993","quality":"good","freshness":"stale")",
         row_kind::value,
         std::int64_t{9007199254740993},
         variable_quality::good,
         false},
        {"value,p,a,duration,0.25s,uncertain,",
         R"("type":"value","provider":"p","path":"a","data_type":"duration","value":"0.25s",)"
         R"("quality":"uncertain")",
         row_kind::value,
         std::chrono::nanoseconds{250ms},
         variable_quality::uncertain},
        {"value,p,a,string,\"a,\n\"\"b\"\"\",good,",
         R"("type":"value","provider":"p","path":"a","data_type":"string","value":"a,\n\"b\"")",
         row_kind::value,
         std::string{"a,\n\"b\""}},
        {"provider_lost,p,,,,,why",
         R"("type":"provider_event","provider":"p","event":"lost","text":"why")",
         row_kind::event,
         false,
         variable_quality::good,
         true,
         provider_event::lost},
        {"provider_stale,p,,,,,",
         R"("type":"provider_event","provider":"p","event":"stale")",
         row_kind::event,
         false,
         variable_quality::good,
         true,
         provider_event::stale},
        {"provider_back,p,,,,,",
         R"("type":"provider_event","provider":"p","event":"back")",
         row_kind::event,
         false,
         variable_quality::good,
         true,
         provider_event::back},
        {"gap,,,,,,from 1970-01-01T00:00:01Z",
         R"("type":"gap","from":"1970-01-01T00:00:01Z")",
         row_kind::gap},
        {"dropped,,,,,,5", R"("type":"dropped","count":5)", row_kind::dropped},
        {"recording,,,,,,paths **",
         R"("type":"recording","providers":[],"paths":"**")",
         row_kind::beginning},
        {"provider_tired,p,,,,,",
         R"("type":"provider_event","provider":"p","event":"tired")",
         row_kind::other},
    };
    for (auto const& one : cases) {
        for (auto const& row :
             {parse_csv_row(make_csv(one.csv)), parse_json_row(make_json(one.json))}) {
            EXPECT_EQ(row.kind, one.kind) << one.csv;
            EXPECT_EQ(row.value, one.value) << one.csv;
            EXPECT_EQ(row.quality, one.quality) << one.csv;
            EXPECT_EQ(row.is_live, one.is_live) << one.csv;
            EXPECT_EQ(row.event, one.event) << one.csv;
            EXPECT_EQ(row.text, one.event == provider_event::lost ? "why" : "") << one.csv;
            EXPECT_EQ(row.count, one.kind == row_kind::dropped ? 5U : 0U) << one.csv;
            EXPECT_EQ(row.when, timestamp{2s}) << one.csv;
            EXPECT_EQ(row.from, one.kind == row_kind::gap ? timestamp{1s} : timestamp{}) << one.csv;
        }
    }
}

TEST(recording_reader, reads_definitions_of_json_only) {
    auto const row = parse_json_row(
        make_json(R"("type":"definition","provider":"p","fingerprint":"0x1","variables":[)"
                  R"({"path":"a","id":7,"data_type":"duration","access":"read-write"}])"));
    EXPECT_EQ(row.kind, row_kind::definition);
    ASSERT_TRUE(row.definition.has_value());
    ASSERT_THAT(row.definition->variables, testing::SizeIs(1));
    auto const& variable = row.definition->variables.front();
    EXPECT_EQ(variable.path, "a");
    EXPECT_EQ(variable.id, 7U);
    EXPECT_EQ(variable.type, variable_value{std::chrono::nanoseconds{}}.index());
    EXPECT_EQ(variable.permissions, variable_permissions::read_write);
    auto const of_csv = parse_csv_row(make_csv("definition,p,,,,,fingerprint 0x1"));
    EXPECT_EQ(of_csv.kind, row_kind::definition);
    EXPECT_FALSE(of_csv.definition.has_value());
}

TEST(recording_reader, refuses_what_is_no_row) {
    for (auto const* const text :
         {"",
          "a,b",
          "today,value,p,a,double,2.5,good,",
          "1970-01-01T00:00:02Z,value,p,a,real,2,good,"}) {
        EXPECT_THROW(static_cast<void>(parse_csv_row(text)), failure) << text;
    }
    for (auto const* const text : {"", "[]", "{}", R"({"type":"value","time":"today"})"}) {
        EXPECT_THROW(static_cast<void>(parse_json_row(text)), failure) << text;
    }
}

} // namespace
} // namespace arvenhold::corvel::hub::ctl
