// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "man_page/man_page.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace arvenhold::corvel::hub {
namespace {

using testing::HasSubstr;
using testing::Not;

class man_page_test : public testing::Test {
protected:
    CLI::App application{"Moves things.\n\nfirst   column", "mover"};
    std::string target;

    void SetUp() override {
        application.formatter(std::make_shared<help_formatter>());
        application.fallthrough();
    }

    [[nodiscard]] std::string make() const {
        return make_man_page(application, "shaker(1)");
    }
};

TEST_F(man_page_test, begins_with_name_and_purpose) {
    EXPECT_THAT(make(), HasSubstr(".TH \"MOVER\" 1 \"\" \"mover "));
    EXPECT_THAT(make(), HasSubstr(".SH NAME\nmover \\- Moves things.\n"));
    EXPECT_THAT(make(), HasSubstr(".SH SEE ALSO\nshaker(1)\n"));
}

TEST_F(man_page_test, keeps_the_lines_of_columns_alone) {
    EXPECT_THAT(make(), HasSubstr(".PP\nMoves things.\n.PP\n.nf\nfirst   column\n.fi\n"));
}

TEST_F(man_page_test, lists_options_in_their_groups) {
    application.add_option("--to", target, "Where to")->type_name("PLACE")->group("Places");

    EXPECT_THAT(make(), HasSubstr(".SH \"PLACES\"\n.TP\n\\fB\\-\\-to\\fR PLACE\nWhere to\n"));
}

TEST_F(man_page_test, leaves_hidden_options_out) {
    application.add_option("--secretly", target, "Nobody sees it")->group("");

    EXPECT_THAT(make(), Not(HasSubstr("secretly")));
}

TEST_F(man_page_test, has_a_section_for_each_command_of_a_group) {
    auto& group = *application.add_subcommand("lift", "Lifts");
    auto& inner = *group.add_subcommand("up", "Lifts up");
    inner.add_option("WHAT", target, "What to lift")->required();

    EXPECT_THAT(
        make(),
        HasSubstr(".SH COMMANDS\n.SS \"mover lift up [OPTIONS] WHAT\"\n.PP\nLifts up\n"
                  ".TP\n\\fBWHAT\\fR\nWhat to lift\n"));
}

TEST_F(man_page_test, shows_letters_that_mean_something_to_roff) {
    application.footer(".a\\b 'c' `d` ~e ^f");

    EXPECT_THAT(make(), HasSubstr("\n\\&.a\\eb \\(aqc\\(aq \\(gad\\(ga \\(tie \\(haf\n"));
}

TEST_F(man_page_test, comes_with_a_help_that_names_where_all_options_are) {
    auto const& command = *application.add_subcommand("lift", "Lifts");

    EXPECT_THAT(command.help(), HasSubstr("\nOptions of all commands: mover --help\n"));
    EXPECT_THAT(application.help(), Not(HasSubstr("Options of all commands")));
}

} // namespace
} // namespace arvenhold::corvel::hub
