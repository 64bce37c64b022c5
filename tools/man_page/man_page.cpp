// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "man_page/man_page.hpp"

#include <algorithm>
#include <cctype>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

// Text as roff shows it unchanged.
std::string escape(std::string_view text) {
    std::string escaped;
    for (auto const character : text) {
        switch (character) {
        case '\\':
            escaped += "\\e";
            break;
        case '-':
            escaped += "\\-";
            break;
        case '~':
            escaped += "\\(ti";
            break;
        case '^':
            escaped += "\\(ha";
            break;
        case '`':
            escaped += "\\(ga";
            break;
        case '\'':
            escaped += "\\(aq";
            break;
        default:
            escaped += character;
        }
    }
    return escaped.starts_with('.') ? "\\&" + escaped : escaped;
}

std::string quote(std::string_view text) {
    std::string quoted = "\"";
    for (auto const character : escape(text)) {
        quoted += character == '"' ? "\\(dq" : std::string{character};
    }
    return quoted + '"';
}

std::string in_capitals(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char character) {
        return static_cast<char>(std::toupper(character));
    });
    return text;
}

// Columns and examples keep their lines; other paragraphs are filled.
bool is_table(std::string_view paragraph) {
    return paragraph.starts_with(' ') || paragraph.find("  ") != std::string_view::npos;
}

std::string make_paragraph(std::string const& paragraph) {
    std::string lines;
    std::istringstream source{paragraph};
    for (std::string line; std::getline(source, line);) {
        lines += escape(line) + '\n';
    }
    return ".PP\n" + (is_table(paragraph) ? ".nf\n" + lines + ".fi\n" : lines);
}

// Paragraphs, with an empty line between two.
std::string make_text(std::string text) {
    std::string made;
    while (!text.empty()) {
        auto const end = std::min(text.find("\n\n"), text.size());
        if (end > 0) {
            made += make_paragraph(text.substr(0, end));
        }
        text.erase(0, end + 2);
    }
    return made;
}

std::string make_option(CLI::Option const& option, bool is_positional) {
    help_formatter const texts;
    return ".TP\n\\fB" + escape(texts.make_option_name(&option, is_positional)) + "\\fR"
         + escape(texts.make_option_opts(&option)) + '\n' + escape(texts.make_option_desc(&option))
         + '\n';
}

// Arguments, and the options of a group.
std::string make_positionals(CLI::App const& command) {
    std::string made;
    for (auto const* const option : command.get_options()) {
        if (option->get_positional() && !option->get_group().empty()) {
            made += make_option(*option, true);
        }
    }
    return made;
}

std::string make_options(CLI::App const& command, std::string const& group) {
    std::string made;
    for (auto const* const option : command.get_options()) {
        if (option->nonpositional() && option->get_group() == group
            && option != command.get_help_ptr()) {
            made += make_option(*option, false);
        }
    }
    return made;
}

std::vector<CLI::App const*> get_commands(CLI::App const& group) {
    return group.get_subcommands(
        [](CLI::App const* command) { return !command->get_group().empty(); });
}

std::string make_command(CLI::App const& command, std::string const& path) {
    auto const usage =
        help_formatter{}.make_usage(&command, path); // "Usage: corvelctl read [OPTIONS] ..."
    auto const begin = usage.find(path);
    return ".SS " + quote(usage.substr(begin, usage.find('\n', begin) - begin)) + '\n'
         + make_text(command.get_description()) + make_positionals(command)
         + make_options(command, "Options") + make_text(command.get_footer());
}

// A section for each command, also for those of a group.
std::string make_commands(CLI::App const& application) {
    std::string made;
    for (auto const* const command : get_commands(application)) {
        auto const path = application.get_name() + ' ' + command->get_name();
        auto const group = get_commands(*command);
        for (auto const* const inner : group) {
            made += make_command(*inner, path + ' ' + inner->get_name());
        }
        if (group.empty()) {
            made += make_command(*command, path);
        }
    }
    return made.empty() ? made : ".SH COMMANDS\n" + made;
}

} // namespace

help_formatter::help_formatter() {
    label("Positionals", "Arguments");
    label("SUBCOMMAND", "COMMAND");
}

std::string help_formatter::make_help(
    CLI::App const* command, std::string name, CLI::AppFormatMode mode) const {
    auto const text = Formatter::make_help(command, std::move(name), mode);
    return CLI::detail::find_and_replace(text, "\n\n\n", "\n\n");
}

std::string help_formatter::make_usage(CLI::App const* command, std::string name) const {
    return '\n' + Formatter::make_usage(command, std::move(name));
}

std::string help_formatter::make_subcommands(
    CLI::App const* command, CLI::AppFormatMode mode) const {
    auto const commands = Formatter::make_subcommands(command, mode);
    auto const* application = command;
    while (application->get_parent() != nullptr && application->get_fallthrough()) {
        application = application->get_parent();
    }
    return application == command
             ? commands
             : "\nOptions of all commands: " + application->get_name() + " --help\n" + commands;
}

std::string help_formatter::make_option_opts(CLI::Option const* option) const {
    return option->get_positional() ? "" : Formatter::make_option_opts(option);
}

std::string make_man_page(CLI::App const& application, std::string const& see_also) {
    auto const& name = application.get_name();
    auto const description = application.get_description();
    auto const first_line = description.substr(0, description.find('\n'));
    auto page = ".TH " + quote(in_capitals(name)) + " 1 \"\" "
              + quote(name + ' ' + CORVEL_HUB_VERSION)
              + " \"User Commands\"\n.ad l\n.nh\n.SH NAME\n" + escape(name) + " \\- "
              + escape(first_line) + "\n.SH SYNOPSIS\n\\fB" + escape(name) + "\\fR [OPTIONS]"
              + (get_commands(application).empty() ? "" : " [COMMAND]") + "\n.SH DESCRIPTION\n"
              + make_text(description) + make_positionals(application);
    for (auto const& group : application.get_groups()) {
        auto const options = make_options(application, group);
        if (!group.empty() && !options.empty()) {
            page += ".SH " + quote(in_capitals(group)) + '\n' + options;
        }
    }
    return page + make_commands(application) + ".SH NOTES\n" + make_text(application.get_footer())
         + ".SH SEE ALSO\n" + escape(see_also) + '\n';
}

} // namespace arvenhold::corvel::hub
