// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/recording_file.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include <unistd.h>

namespace arvenhold::corvel::hub::ctl {
namespace {

bool is_any(std::string_view /*line*/) {
    return true;
}

TEST(recording_file, writes_what_was_added_when_it_ends) {
    auto const path = std::filesystem::temp_directory_path()
                    / ("recording_file_test." + std::to_string(::getpid()));
    {
        recording_file file{path, &is_any};
        file.append("row 1\nrow 2\n");
    }
    std::ifstream written{path};
    std::string const text{std::istreambuf_iterator<char>{written}, {}};
    std::filesystem::remove(path);
    EXPECT_EQ(text, "row 1\nrow 2\n");
}

} // namespace
} // namespace arvenhold::corvel::hub::ctl
