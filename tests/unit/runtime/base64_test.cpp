// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/base64.hpp"
#include "support/case_name.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>

namespace arvenhold::corvel::hub {

namespace {

using testing::SizeIs;

struct base64_case {
    char const* name;
    std::string_view bytes;
    char const* expected;
};

class base64 : public testing::TestWithParam<base64_case> {};

TEST_P(base64, encodes) {
    EXPECT_EQ(to_base64(GetParam().bytes), GetParam().expected);
}

using namespace std::string_view_literals;

INSTANTIATE_TEST_SUITE_P(
    published_vectors,
    base64,
    testing::Values(
        base64_case{"nothing", "", ""},
        base64_case{"one_byte", "f", "Zg=="},
        base64_case{"two_bytes", "fo", "Zm8="},
        base64_case{"three_bytes", "foo", "Zm9v"},
        base64_case{"four_bytes", "foob", "Zm9vYg=="},
        base64_case{"five_bytes", "fooba", "Zm9vYmE="},
        base64_case{"six_bytes", "foobar", "Zm9vYmFy"}),
    case_name);

INSTANTIATE_TEST_SUITE_P(
    odd_bytes,
    base64,
    testing::Values(
        base64_case{"zero_bytes", "\0\0\0\0"sv, "AAAAAA=="},
        base64_case{"the_two_signs", "\xfb\xff\xbf", "+/+/"},
        base64_case{"all_bits_set", "\xff\xff", "//8="},
        base64_case{
            "the_whole_alphabet",
            "\x00\x10\x83\x10\x51\x87\x20\x92\x8b\x30\xd3\x8f\x41\x14\x93\x51\x55\x97\x61\x96\x9b"
            "\x71\xd7\x9f\x82\x18\xa3\x92\x59\xa7\xa2\x9a\xab\xb2\xdb\xaf\xc3\x1c\xb3\xd3\x5d\xb7"
            "\xe3\x9e\xbb\xf3\xdf\xbf"sv,
            "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"},
        base64_case{"credentials", "hmi:p%40ss", "aG1pOnAlNDBzcw=="}),
    case_name);

// Reads base64 bit by bit, so that it shares nothing with the encoder.
std::string decoded(std::string_view text) {
    constexpr std::string_view alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes;
    std::uint32_t bits = 0;
    int count = 0;
    for (auto const character : text.substr(0, text.find('='))) {
        bits = (bits << 6U) | static_cast<std::uint32_t>(alphabet.find(character));
        count += 6;
        if (count >= 8) {
            count -= 8;
            bytes.push_back(static_cast<char>(bits >> static_cast<unsigned>(count)));
        }
    }
    return bytes;
}

TEST(base64_of_any_length, decodes_to_the_same_bytes_and_fills_whole_groups) {
    std::string bytes;
    for (int length = 0; length <= 1024; ++length) {
        auto const text = to_base64(bytes);

        EXPECT_EQ(decoded(text), bytes);
        EXPECT_THAT(text, SizeIs((bytes.size() + 2) / 3 * 4));
        EXPECT_EQ(std::count(text.begin(), text.end(), '='), (3 - length % 3) % 3);
        bytes.push_back(static_cast<char>(length * 37));
    }
}

} // namespace

} // namespace arvenhold::corvel::hub
