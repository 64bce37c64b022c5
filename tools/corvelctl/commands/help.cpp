// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/command_line.hpp"
#include "corvelctl/commands.hpp"
#include "corvelctl/error_catalogue.hpp"
#include "man_page/man_page.hpp"

#include <algorithm>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

namespace {

struct help_options {
    CLI::App const* application = nullptr;
    std::vector<std::string> words;
    bool man = false;
};

// The help text of a command, as of "dev up"; empty if the words name none.
std::string find_command_help(help_options const& given) {
    auto const* command = given.application;
    auto path = command->get_name();
    for (auto const& word : given.words) {
        auto const known = command->get_subcommands([](CLI::App const*) { return true; });
        auto const found = std::find_if(
            known.begin(), known.end(), [&](auto const* one) { return one->get_name() == word; });
        if (found == known.end()) {
            return {};
        }
        path += ' ' + word;
        command = *found;
    }
    // help() would explain the command that was chosen, which is this one.
    return command->get_formatter()->make_help(command, path, CLI::AppFormatMode::Normal);
}

std::string join(std::vector<std::string> const& words) {
    std::string joined;
    for (auto const& word : words) {
        joined += (joined.empty() ? "" : " ") + word;
    }
    return joined;
}

void show(output& out, explained_error const& error) {
    if (out.is_json()) {
        out.print_object(
            "explanation",
            {{"text", error.text}, {"meaning", error.meaning}, {"cure", error.cure}});
        return;
    }
    out.print(
        error.text + "\n  means: " + error.meaning
        + (error.cure.empty() ? "" : "\n  do:    " + error.cure));
}

void show_text(output& out, std::string const& text) {
    if (out.is_json()) {
        out.print_object("help", {{"text", text}});
    } else {
        out.print(text);
    }
}

exit_code help(tool& with, help_options const& given) {
    auto const text = given.man ? make_man_page(*given.application, "corvel-dev-hub(1)")
                                : find_command_help(given);
    if (!text.empty()) {
        show_text(with.out, text);
        return exit_code::done;
    }
    auto const errors = explain_error(join(given.words));
    if (errors.empty()) {
        throw failure{
            exit_code::not_found,
            "no explanation for this text",
            "give the whole line in quotes; all texts are in docs/errors.md"};
    }
    constexpr std::size_t most = 3;
    for (std::size_t index = 0; index < std::min(errors.size(), most); ++index) {
        show(with.out, errors[index]);
    }
    return exit_code::done;
}

} // namespace

void add_help(command_line& line) {
    auto const options = std::make_shared<help_options>();
    options->application = &line.get_application();
    auto& command =
        line.add("help", "Explain an error text of the library, or a command", options, &help);
    command.add_option("ERROR", options->words, "The text, in quotes; or a command");
    command.add_flag("--man", options->man, "Show the man page")->group(""); // for the build
    command.footer("Examples:\n"
                   "  corvelctl help \"Consumer x: failed to connect to the NATS server at y, NATS "
                   "returns: 11 = z\"\n"
                   "  corvelctl help write");
}

} // namespace arvenhold::corvel::hub::ctl
