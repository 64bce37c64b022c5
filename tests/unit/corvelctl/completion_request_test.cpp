// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/completion_request.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub::ctl {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using words = std::vector<std::string>;

TEST(split_line, follows_the_rules_of_shells) {
    for (auto const& [line, split] : std::vector<std::pair<std::string, words>>{
             {"", {""}},
             {"a", {"a"}},
             {"a ", {"a", ""}},
             {"  a \t b", {"a", "b"}},
             {"a 'b c", {"a", "b c"}},
             {"a 'b' ", {"a", "b", ""}},
             {R"(a b\ c)", {"a", "b c"}},
             {R"(a "b\"'c")", {"a", "b\"'c"}},
             {R"('a\')", {R"(a\)"}},
             {"a'b'\"c\"", {"abc"}},
             {"'' b", {"", "b"}},
             {"$(x) `y` *", {"$(x)", "`y`", "*"}},
             {"a\\", {"a\\"}}}) {
        EXPECT_EQ(split_line(line), split) << line;
    }
}

class completing : public testing::Test {
protected:
    completing() {
        m_application.fallthrough();
        m_application.add_option("--context", m_text)->type_name("NAME");
        m_application.add_flag("-j,--json", m_flag);
        auto* const read = m_application.add_subcommand("read", "reads");
        read->add_option("PROVIDER", m_text);
        read->add_option("PATH", m_texts);
        read->add_option("-o,--output", m_text)->type_name("FILE");
        read->add_option("--format", m_text)->check(CLI::IsMember({"csv", "jsonl"}));
        m_application.add_subcommand("watch", "watches")->add_option("PROVIDER", m_texts);
        m_application.add_subcommand("secret", "hidden")->group("");
        auto* const group = m_application.add_subcommand("dev", "group");
        group->add_subcommand("up", "starts");
    }

    completion_request request(words const& given) const {
        return make_completion_request(m_application, given);
    }

    words fixed(words const& given) const {
        words texts;
        for (auto const& one : request(given).fixed) {
            texts.push_back(one.text);
        }
        return texts;
    }

private:
    CLI::App m_application;
    std::string m_text;
    words m_texts;
    bool m_flag = false;
};

TEST_F(completing, offers_commands_but_hidden_ones) {
    EXPECT_THAT(fixed({""}), ElementsAre("read", "watch", "dev"));
    EXPECT_THAT(fixed({"--json", ""}), ElementsAre("read", "watch", "dev"));
    EXPECT_THAT(fixed({"dev", ""}), ElementsAre("up"));
    EXPECT_THAT(fixed({"nonsense", ""}), IsEmpty());
    EXPECT_EQ(request({""}).fixed.front().description, "reads");
}

TEST_F(completing, offers_flags_of_the_command_and_the_program) {
    EXPECT_THAT(
        fixed({"read", "-"}), ElementsAre("--help", "--output", "--format", "--context", "--json"));
    EXPECT_THAT(fixed({"--c"}), ElementsAre("--help", "--context", "--json"));
    EXPECT_THAT(fixed({"read", "--", "-"}), IsEmpty());
}

TEST_F(completing, knows_what_stands_where) {
    struct row {
        words given;
        completed_kind kind;
    };
    for (auto const& [given, kind] : std::vector<row>{
             {{"read", ""}, completed_kind::provider},
             {{"read", "boiler", ""}, completed_kind::path},
             {{"read", "boiler", "a", ""}, completed_kind::path},
             {{"read", "-j", "boiler", ""}, completed_kind::path},
             {{"read", "--context", "x", ""}, completed_kind::provider},
             {{"read", "--output=x", ""}, completed_kind::provider},
             {{"read", "--nonsense", ""}, completed_kind::provider},
             {{"read", "-o", ""}, completed_kind::file},
             {{"read", "--output="}, completed_kind::file},
             {{"read", "--nonsense="}, completed_kind::nothing},
             {{"--context", ""}, completed_kind::context},
             {{"watch", ""}, completed_kind::provider_or_path},
             {{"watch", "boiler", ""}, completed_kind::provider_or_path},
             {{"dev", "up", ""}, completed_kind::nothing}}) {
        EXPECT_EQ(request(given).kind, kind) << testing::PrintToString(given);
    }
}

TEST_F(completing, offers_the_words_that_are_checked) {
    EXPECT_THAT(fixed({"read", "--format", ""}), ElementsAre("csv", "jsonl"));
    EXPECT_THAT(fixed({"read", "--format=j"}), ElementsAre("--format=csv", "--format=jsonl"));
}

TEST_F(completing, keeps_what_is_needed_to_look_names_up) {
    auto const found = request({"--context", "plant", "read", "-j", "boiler", "pre"});
    EXPECT_EQ(found.options.at("--context"), "plant");
    EXPECT_THAT(found.arguments, ElementsAre("boiler"));
    EXPECT_EQ(found.current, "pre");
    EXPECT_EQ(request({"--context=pl"}).front, "--context=");
    EXPECT_EQ(request({"read", "--context=plant", ""}).options.at("--context"), "plant");
}

} // namespace
} // namespace arvenhold::corvel::hub::ctl
