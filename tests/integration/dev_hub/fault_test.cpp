// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/fault.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>

namespace arvenhold::corvel::hub::dev {
namespace {

using testing::ElementsAre;

using namespace std::chrono_literals;

struct fault_case {
    fault described;
    std::string name;
    hub_service service;
    std::string begin;
    std::string end;
};

class fault_description_test : public testing::TestWithParam<fault_case> {};

TEST_P(fault_description_test, names_and_announces_the_fault) {
    auto const& expected = GetParam();

    EXPECT_EQ(get_name(expected.described.kind), expected.name);
    EXPECT_EQ(find_fault_kind(expected.name), expected.described.kind);
    EXPECT_EQ(get_service(expected.described.kind), expected.service);
    EXPECT_EQ(describe_begin(expected.described), expected.begin);
    EXPECT_EQ(describe_end(expected.described.kind), expected.end);
}

INSTANTIATE_TEST_SUITE_P(
    every_fault,
    fault_description_test,
    testing::Values(
        fault_case{
            {fault_kind::nats_down},
            "nats-down",
            hub_service::nats_server,
            "nats-server is away for 10 s",
            "nats-server is back"},
        fault_case{
            {fault_kind::freeze, 3min},
            "freeze",
            hub_service::nats_server,
            "nats-server is frozen for 3 min",
            "nats-server answers again"},
        fault_case{
            {fault_kind::half_open, 1min},
            "half-open",
            hub_service::nats_server,
            "connections to nats-server look open and carry nothing for 1 min",
            "connections to nats-server are closed, and new ones carry data"},
        fault_case{
            {fault_kind::server_restart},
            "server-restart",
            hub_service::nats_server,
            "nats-server is killed and started again",
            "nats-server is back"},
        fault_case{
            {fault_kind::token_down, 1500ms},
            "token-down",
            hub_service::token_endpoint,
            "the token endpoint refuses connections for 1500 ms",
            "the token endpoint accepts connections again"},
        fault_case{
            {fault_kind::token_slow, 90s, 6s},
            "token-slow",
            hub_service::token_endpoint,
            "the token endpoint answers after 6 s, for 90 s",
            "the token endpoint answers at once again"},
        fault_case{
            {fault_kind::token_refuse},
            "token-refuse",
            hub_service::token_endpoint,
            "the token endpoint refuses tokens for 10 s",
            "the token endpoint grants tokens again"},
        fault_case{
            {fault_kind::registry_silent},
            "registry-silent",
            hub_service::registry,
            "the registry does not answer for 10 s",
            "the registry answers again"},
        fault_case{
            {fault_kind::registry_reject},
            "registry-reject",
            hub_service::registry,
            "the registry rejects definitions for 10 s",
            "the registry judges definitions again"}),
    [](auto const& given) {
        auto name = given.param.name;
        std::replace(name.begin(), name.end(), '-', '_');
        return name;
    });

TEST(fault_test, delays_tokens_by_three_seconds_by_default) {
    EXPECT_EQ(fault{fault_kind::token_slow}.token_delay, 3s);
}

TEST(fault_test, has_no_other_names) {
    EXPECT_THAT(
        get_fault_names(),
        ElementsAre(
            "nats-down",
            "freeze",
            "half-open",
            "server-restart",
            "token-down",
            "token-slow",
            "token-refuse",
            "registry-silent",
            "registry-reject"));
    EXPECT_EQ(find_fault_kind("nats"), std::nullopt);
}

struct duration_case {
    char const* name;
    std::string text;
    std::optional<std::chrono::milliseconds> duration;
};

class duration_text : public testing::TestWithParam<duration_case> {};

TEST_P(duration_text, is_read) {
    EXPECT_EQ(parse_duration(GetParam().text), GetParam().duration);
}

INSTANTIATE_TEST_SUITE_P(
    every_form,
    duration_text,
    testing::Values(
        duration_case{"without_unit", "10", 10s},
        duration_case{"seconds", "10s", 10s},
        duration_case{"milliseconds", "500ms", 500ms},
        duration_case{"minutes", "3m", 3min},
        duration_case{"longest", "1440m", 24h},
        duration_case{"too_long", "1441m", std::nullopt},
        duration_case{"out_of_range", "99999999999", std::nullopt},
        duration_case{"zero", "0s", std::nullopt},
        duration_case{"negative", "-1s", std::nullopt},
        duration_case{"unknown_unit", "10x", std::nullopt},
        duration_case{"fraction", "1.5s", std::nullopt},
        duration_case{"no_number", "s", std::nullopt},
        duration_case{"empty", "", std::nullopt}),
    [](auto const& given) { return std::string{given.param.name}; });

} // namespace
} // namespace arvenhold::corvel::hub::dev
