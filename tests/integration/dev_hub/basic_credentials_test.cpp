// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/basic_credentials.hpp"
#include "support/case_name.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace arvenhold::corvel::hub::dev {
namespace {

using testing::Optional;

struct good_header {
    char const* name;
    char const* value;
    client_credentials expected;
};

class well_formed_header : public testing::TestWithParam<good_header> {};

TEST_P(well_formed_header, is_decoded) {
    EXPECT_THAT(decode_basic_credentials(GetParam().value), Optional(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(
    every_form,
    well_formed_header,
    testing::Values(
        // "id:abc", "id:ab" and "id:a"
        good_header{"no_padding", "Basic aWQ6YWJj", {"id", "abc"}},
        good_header{"one_sign_of_padding", "Basic aWQ6YWI=", {"id", "ab"}},
        good_header{"two_signs_of_padding", "Basic aWQ6YQ==", {"id", "a"}},
        // "a%20b+c:%C3%bc"
        good_header{"escapes", "Basic YSUyMGIrYzolQzMlYmM=", {"a b c", "\xc3\xbc"}},
        // "id:a:b"
        good_header{"colon_in_the_secret", "Basic aWQ6YTpi", {"id", "a:b"}},
        // ":"
        good_header{"nothing_but_a_colon", "Basic Og==", {"", ""}}),
    case_name);

struct bad_header {
    char const* name;
    char const* value;
};

class malformed_header : public testing::TestWithParam<bad_header> {};

TEST_P(malformed_header, is_refused) {
    EXPECT_EQ(decode_basic_credentials(GetParam().value), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(
    every_fault,
    malformed_header,
    testing::Values(
        bad_header{"empty", ""},
        bad_header{"other_scheme", "Bearer aWQ6YWJj"},
        bad_header{"no_text", "Basic "},
        bad_header{"incomplete_base64", "Basic aWQ6YWI"},
        bad_header{"foreign_character", "Basic aWQ6*WJj"},
        bad_header{"padding_in_the_middle", "Basic aWQ=OmFi"},
        bad_header{"three_signs_of_padding", "Basic aWQ6YWJja==="},
        // "developer"
        bad_header{"no_colon", "Basic ZGV2ZWxvcGVy"},
        // "id:%zz", "id:%4" and "%:abc"
        bad_header{"no_hexadecimal_digits", "Basic aWQ6JXp6"},
        bad_header{"cut_escape", "Basic aWQ6JTQ="},
        bad_header{"bare_percent", "Basic JTphYmM="}),
    case_name);

} // namespace
} // namespace arvenhold::corvel::hub::dev
