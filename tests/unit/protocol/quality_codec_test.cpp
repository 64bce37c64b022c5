// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "protocol/quality_codec.hpp"

#include <gtest/gtest.h>

#include <map>

namespace arvenhold::corvel::hub {

namespace {

std::uint32_t sent(std::uint32_t stored) {
    return static_cast<std::uint32_t>(to_wire(static_cast<variable_quality>(stored)));
}

std::uint32_t received(unsigned wire) {
    return static_cast<std::uint32_t>(quality_from_wire(static_cast<VariableQuality>(wire)));
}

TEST(sent_quality, is_the_stored_one_if_known) {
    EXPECT_EQ(sent(0), 0U);
    EXPECT_EQ(sent(64), 64U);
    EXPECT_EQ(sent(67), 67U);
    EXPECT_EQ(sent(68), 68U);
    EXPECT_EQ(sent(192), 192U);
}

TEST(sent_quality, is_uncertain_for_any_other) {
    for (std::uint32_t const stored : {1U, 63U, 65U, 66U, 69U, 191U, 193U, 255U}) {
        EXPECT_EQ(sent(stored), 64U) << stored;
    }
}

TEST(sent_quality, is_uncertain_where_only_the_lowest_byte_is_known) {
    EXPECT_EQ(sent(0x100), 64U);
    EXPECT_EQ(sent(0x1C0), 64U);
    EXPECT_EQ(sent(0xFFFFFFFF), 64U);
}

TEST(received_quality, is_good_unless_it_is_one_of_the_other_four) {
    std::map<unsigned, std::uint32_t> const kept{{0, 0}, {64, 64}, {67, 67}, {68, 68}};

    for (unsigned wire = 0; wire <= 255; ++wire) {
        EXPECT_EQ(received(wire), kept.contains(wire) ? kept.at(wire) : 192U) << wire;
    }
}

TEST(received_quality, of_65_is_good) {
    EXPECT_EQ(received(65), 192U);
}

} // namespace

} // namespace arvenhold::corvel::hub
