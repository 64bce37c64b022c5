// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "sent_messages.hpp"
#include "support/case_name.hpp"
#include "support/dump.hpp"

#include <gtest/gtest.h>

#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

// Creates a folder and removes it on destruction.
class scratch_folder {
public:
    scratch_folder() {
        auto pattern = (std::filesystem::temp_directory_path() / "hub_messages_XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error{"cannot create " + pattern};
        }
        m_path = pattern;
    }

    scratch_folder(scratch_folder const&) = delete;
    scratch_folder(scratch_folder&&) = delete;
    scratch_folder& operator=(scratch_folder const&) = delete;
    scratch_folder& operator=(scratch_folder&&) = delete;

    ~scratch_folder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }

    std::filesystem::path const& path() const {
        return m_path;
    }

private:
    std::filesystem::path m_path;
};

void run(std::vector<std::string> command) {
    std::vector<char*> arguments(command.size() + 1); // ended by a null pointer
    std::transform(command.begin(), command.end(), arguments.begin(), [](std::string& word) {
        return word.data();
    });
    pid_t process = 0;
    int status = 0;
    if (posix_spawn(&process, arguments[0], nullptr, nullptr, arguments.data(), environ) != 0
        || waitpid(process, &status, 0) != process || status != 0) {
        throw std::runtime_error{command[0] + " failed"};
    }
}

// Returns a message as the schema compiler decodes it.
std::string json_of(sent_message const& message) {
    scratch_folder const folder;
    auto const file = folder.path() / "message.bin";
    std::ofstream{file, std::ios::binary} << message.bytes;
    run(
        {CORVEL_HUB_FLATC,
         "--json",
         "--strict-json",
         "--raw-binary",
         "--root-type",
         message.root_table,
         "-o",
         folder.path().string(),
         CORVEL_HUB_SCHEMA,
         "--",
         file.string()});
    std::ifstream const json{folder.path() / "message.json"};
    std::ostringstream text;
    text << json.rdbuf();
    return std::move(text).str();
}

class sent : public testing::TestWithParam<sent_message> {};

TEST_P(sent, is_accepted_by_the_verifier) {
    auto const& bytes = GetParam().bytes;
    flatbuffers::Verifier verifier{
        static_cast<std::uint8_t const*>(static_cast<void const*>(bytes.data())), bytes.size()};

    EXPECT_TRUE(GetParam().is_accepted_by(verifier));
}

TEST_P(sent, reads_as_expected_with_the_schema_compiler) {
    EXPECT_EQ(json_of(GetParam()), golden_dump("wire/" + GetParam().name + ".json"));
}

INSTANTIATE_TEST_SUITE_P(messages, sent, testing::ValuesIn(sent_messages()), case_name);

} // namespace

} // namespace arvenhold::corvel::hub
