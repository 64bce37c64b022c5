// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/given_change.hpp"

#include <gmock/gmock.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub::ctl {
namespace {

using namespace std::chrono_literals;

using nlohmann::json;

struct change_case {
    std::string object;
    variable_value like;
    std::optional<variable_value> value;
    variable_quality quality = variable_quality::good;
    std::optional<timestamp> when = {};
};

TEST(parse_change, reads_value_quality_and_time) {
    std::vector<change_case> const cases{
        {R"({"value":2.5})", 0.0, 2.5},
        {R"({"value_text":"9007199254740993"})", std::int64_t{0}, std::int64_t{9007199254740993}},
        {R"({"value_base64":"/w=="})", std::string{}, std::string{"\xFF"}},
        {R"({"value":true,"quality":"uncertain"})", false, true, variable_quality::uncertain},
        {R"({"quality":"bad"})", 0.0, std::nullopt, variable_quality::bad},
        {R"({"value":1,"freshness":"stale"})", 0.0, 1.0, variable_quality::bad},
        {R"({"value":1,"freshness":"live"})", 0.0, 1.0},
        {R"({"value":1,"time":"1970-01-01T00:00:02.5Z"})",
         0.0,
         1.0,
         variable_quality::good,
         timestamp{2500ms}},
    };
    for (auto const& one : cases) {
        auto const change = parse_change(json::parse(one.object), one.like);
        EXPECT_EQ(change.value, one.value) << one.object;
        EXPECT_EQ(change.quality, one.quality) << one.object;
        EXPECT_EQ(change.when, one.when) << one.object;
    }
}

struct refused_case {
    std::string object;
    std::string text;
};

TEST(parse_change, says_what_is_wrong) {
    std::vector<refused_case> const cases{
        {R"({})", R"(there is neither "value" nor "quality")"},
        {R"({"value":true})", "true is no double"},
        {R"({"value":"2,5"})",
         R"("2,5" is no double: it has a decimal comma where a point is needed)"},
        {R"({"value":1,"quality":"goood"})", R"("goood" is no quality; did you mean "good"?)"},
        {R"({"value":1,"time":"today"})", R"("today" is no time in RFC 3339)"},
    };
    for (auto const& one : cases) {
        try {
            static_cast<void>(parse_change(json::parse(one.object), 0.0));
            ADD_FAILURE() << one.object;
        } catch (failure const& refused) {
            EXPECT_EQ(refused.what(), one.text);
        }
    }
    EXPECT_THROW(
        static_cast<void>(parse_change(json::parse(R"({"value":1,"time":5})"), 0.0)),
        json::exception);
}

} // namespace
} // namespace arvenhold::corvel::hub::ctl
