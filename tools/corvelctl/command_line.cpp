// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/command_line.hpp"

#include "corvelctl/commands.hpp"
#include "corvelctl/failures.hpp"
#include "corvelctl/near_names.hpp"
#include "corvelctl/secrets.hpp"
#include "corvelctl/time_text.hpp"
#include "man_page/man_page.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <exception>
#include <iterator>
#include <limits>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

namespace {

// One line for each command, in the order of the help text.
constexpr std::array add_commands{
    &add_providers,  &add_browse,  &add_read,    &add_write, &add_wait,    &add_watch,
    &add_record,     &add_view,    &add_provide, &add_pipe,  &add_replay,  &add_plot,
    &add_sniff,      &add_def,     &add_doctor,  &add_check, &add_context, &add_dev,
    &add_completion, &add_version, &add_help,
};

constexpr char const* introduction =
    "See, read, write and diagnose the data hub of an industrial controller.\n\n"
    "Without a hub:  corvelctl dev up --demo       starts one on this machine, with a boiler\n"
    "First steps:    corvelctl providers           who offers variables\n"
    "                corvelctl browse boiler       which ones\n"
    "                corvelctl read boiler         their values\n"
    "                corvelctl watch boiler        and how they change\n"
    "                corvelctl view                all of it in a browser, with charts\n"
    "When it fails:  corvelctl doctor              what is wrong, and what to do";

constexpr char const* rules =
    R"(Where the hub is: for each setting a flag counts before the environment (CORVEL_HUB, CORVEL_TOKEN_URL,
CORVEL_CLIENT_ID, CORVEL_SECRET_FILE, CORVEL_CA_FILE, CORVEL_CONTEXT), and that before the context. If
none gives anything, the hub of `corvelctl dev up` is used. The secret is read from a file; no flag
takes it, and it is never printed.

Data goes to standard output, everything else to standard error. --json writes JSON Lines.)";

std::string make_footer() {
    return std::string{rules} + "\n\n" + describe_exit_codes();
}

void add_connection_options(CLI::App& application, connection_fields& fields) {
    constexpr char const* group = "Connection";
    application
        .add_option("--hub", fields.server_url, "URL of the NATS server; several with commas")
        ->type_name("URL")
        ->group(group);
    application.add_option("--token-url", fields.token_url, "URL of the token endpoint")
        ->type_name("URL")
        ->group(group);
    application.add_option("--client-id", fields.client_id, "Client identifier")
        ->type_name("ID")
        ->group(group);
    application
        .add_option("--secret-file", fields.secret_file, "File that contains the client secret")
        ->type_name("FILE")
        ->group(group);
    application
        .add_option(
            "--ca-file",
            fields.ca_file,
            "PEM file with authorities that may sign the NATS server's certificate; requires TLS")
        ->type_name("FILE")
        ->group(group);
}

colour_choice parse_colours(std::string const& word) {
    if (word == "auto") {
        return colour_choice::automatic;
    }
    if (word != "always" && word != "never") {
        throw CLI::ValidationError{"--color: \"" + word + "\" is none of auto, always, never"};
    }
    return word == "always" ? colour_choice::always : colour_choice::never;
}

void add_global_options(CLI::App& application, global_options& options) {
    add_connection_options(application, options.connection);
    application.add_option("--context", options.context, "Named connection to use")
        ->type_name("NAME")
        ->group("Connection");
    add_duration(
        application,
        "--timeout",
        [&options](auto limit) { options.timeout = limit; },
        "Time limit for the whole command; 5s unless the command says otherwise")
        ->group("Connection");
    auto& shown = options.output;
    application.add_flag("-j,--json", shown.json, "Write JSON Lines");
    application
        .add_option_function<std::string>(
            "--color",
            [&shown](std::string const& word) { shown.colours = parse_colours(word); },
            "Colours: auto, always or never")
        ->type_name("{auto,always,never}");
    application.add_flag("-q,--quiet", shown.quiet, "No notes and warnings");
    application.add_flag("-v,--verbose", shown.verbose, "Also what the library reports");
    application.add_flag("--utc", options.utc, "Show times in UTC instead of local time");
}

std::vector<std::string> get_command_names(CLI::App const& application) {
    std::vector<std::string> names;
    for (auto const* const command : application.get_subcommands({})) {
        if (!command->get_group().empty()) { // else it is hidden
            names.push_back(command->get_name());
        }
    }
    return names;
}

// The first word of the command line that can only be meant as a command; empty if there is none, or an
// unknown flag is before it, whose value it may be.
std::string find_unknown_command(
    CLI::App const& application, std::vector<std::string> const& words) {
    for (std::size_t index = 0; index < words.size(); ++index) {
        auto const& word = words[index];
        if (!word.starts_with('-')) {
            auto const names = get_command_names(application);
            return std::find(names.begin(), names.end(), word) == names.end() ? word : "";
        }
        auto const equals = word.find('=');
        auto const* const option = application.get_option_no_throw(word.substr(0, equals));
        if (option == nullptr) {
            return {};
        }
        if (option->get_items_expected_max() > 0 && equals == std::string::npos) {
            ++index; // the option's value
        }
    }
    return {};
}

// A group without one of its commands; "did you mean" if another word stands in its place.
failure explain_group(CLI::App const& group, std::vector<std::string> const& words) {
    auto const names = get_command_names(group);
    auto const place = std::find(words.begin(), words.end(), group.get_name());
    auto const given = place == words.end() ? place : std::next(place);
    auto text = '"' + group.get_name() + "\" needs a command:";
    if (given != words.end() && !given->starts_with('-')) {
        auto const near = ask_did_you_mean(*given, names);
        text = "no command \"" + group.get_name() + ' ' + *given + '"' + (near.empty() ? ";" : near)
             + " there are:";
    }
    for (auto const& name : names) {
        text += ' ' + name;
    }
    return {
        exit_code::usage, text, "see how it is used: corvelctl " + group.get_name() + " --help"};
}

// An argument that nothing expects; near flags if it looks like one.
failure explain_extra(
    CLI::App const& application, CLI::App const& command, std::string const& cure) {
    auto const extra =
        command.remaining().empty() ? application.remaining(true) : command.remaining();
    auto const word = extra.empty() ? std::string{} : remove_secrets(extra.front(), {});
    if (word.find("secret") != std::string::npos) {
        return failure{
            exit_code::usage,
            "no flag takes a secret, because others could see it in the list of processes",
            "write the secret to a file that only you may read, and give --secret-file FILE"};
    }
    if (!word.starts_with('-')) {
        return failure{exit_code::usage, "nothing expects the argument \"" + word + '"', cure};
    }
    std::vector<std::string> flags;
    for (auto const* const source : {&application, &command}) {
        for (auto const* const option : source->get_options()) {
            flags.push_back(option->get_name());
        }
    }
    auto const flag = word.substr(0, word.find('=')); // its value may be a password
    return failure{
        exit_code::usage, "no flag \"" + flag + '"' + ask_did_you_mean(flag, flags), cure};
}

failure explain_usage(
    CLI::App const& application,
    std::vector<std::string> const& words,
    CLI::ParseError const& error) {
    auto const unknown = find_unknown_command(application, words);
    if (!unknown.empty()) {
        return failure{
            exit_code::usage,
            "no command \"" + unknown + '"'
                + ask_did_you_mean(unknown, get_command_names(application)),
            "see all commands: corvelctl --help"};
    }
    auto const is_extra = dynamic_cast<CLI::ExtrasError const*>(&error) != nullptr;
    if (application.get_subcommands().empty() && !is_extra) {
        return failure{
            exit_code::usage, "no command is given", "see all commands: corvelctl --help"};
    }
    std::string chosen;
    auto const* inner = &application;
    while (!inner->get_subcommands().empty()) {
        inner = inner->get_subcommands().front();
        chosen += ' ' + inner->get_name();
    }
    if (inner != &application && !get_command_names(*inner).empty()) {
        return explain_group(*inner, words);
    }
    auto const cure = "see how it is used: corvelctl" + chosen + " --help";
    return is_extra ? explain_extra(application, *inner, cure)
                    : failure{exit_code::usage, error.what(), cure};
}

// What --help and --version print.
void show_wanted(CLI::App const& application, CLI::Success const& wanted, output& out) {
    std::ostringstream text;
    application.exit(wanted, text, text);
    if (!out.is_json()) {
        out.print(text.str());
    } else if (dynamic_cast<CLI::CallForVersion const*>(&wanted) != nullptr) {
        out.print_object("version", {{"version", make_version_text()}});
    } else {
        out.print_object("help", {{"text", text.str()}});
    }
}

supervisor::clock::duration parse_rate(std::string const& text) {
    auto const slash = std::min(text.find('/'), text.size());
    auto const digits = std::string_view{text}.substr(0, slash);
    auto const unit = text.substr(slash);
    auto const* const end = digits.data() + digits.size();
    double number = 0;
    auto const [stopped, error] = std::from_chars(digits.data(), end, number);
    auto seconds = 1.0;
    if (unit == "/min" || unit == "/m") {
        seconds = 60.0;
    } else if (unit == "/h") {
        seconds = 3600.0;
    } else if (!unit.empty() && unit != "/s") {
        seconds = std::nan("");
    }
    auto const interval = seconds / number;
    constexpr double longest = 86'400.0;
    constexpr double shortest = 0.001;
    if (error != std::errc{} || stopped != end || !(interval <= longest)
        || !(interval >= shortest)) {
        throw CLI::ValidationError{
            '"' + text + "\" is no rate; write 5/s, 30/min or 12/h, at most 1000/s"};
    }
    return std::chrono::duration_cast<supervisor::clock::duration>(
        std::chrono::duration<double>{interval});
}

// "100M": bytes, with k, M or G for thousands of them.
std::uint64_t parse_size(std::string const& text) {
    constexpr std::uint64_t kilobyte = 1000;
    auto const digits = std::string_view{text}.substr(0, text.find_first_not_of("0123456789"));
    auto const unit = text.substr(digits.size());
    std::uint64_t number = 0;
    auto const error = std::from_chars(digits.data(), digits.data() + digits.size(), number).ec;
    std::uint64_t factor = 0;
    if (unit.empty()) {
        factor = 1;
    } else if (unit == "k" || unit == "K") {
        factor = kilobyte;
    } else if (unit == "M") {
        factor = kilobyte * kilobyte;
    } else if (unit == "G") {
        factor = kilobyte * kilobyte * kilobyte;
    }
    std::uint64_t size = 0;
    if (error != std::errc{} || factor == 0 || __builtin_mul_overflow(number, factor, &size)
        || size < kilobyte) {
        throw CLI::ValidationError{
            '"' + text + "\" is no size; write 100M, 500k or 2G, at least 1k"};
    }
    return size;
}

// What a command may throw becomes an exit code here and nowhere else. A guard limits the time for
// the report, whose reader may be stuck.
exit_code run_to_end(
    command_line const& line,
    output& out,
    supervisor* guard,
    std::function<exit_code()> const& run) {
    try {
        return run();
    } catch (output_closed const&) {
        return exit_code::done;
    } catch (std::exception const& error) {
        auto const ended = explain_exception(error);
        if (guard != nullptr) {
            guard->end_soon(line.get_stuck_code(ended.get_code()));
        }
        return line.report(out, ended);
    }
}

exit_code run_chosen(command_line const& line, global_options const& options, output& out) {
    library_reports reports{out};
    supervisor guard{
        [&](failure const& ended) { return line.report(out, ended); },
        line.get_stuck_code(exit_code::timed_out)};
    guard.set_time(options.timeout.value_or(default_timeout));
    tool with{options, out, reports, guard};
    return run_to_end(line, out, &guard, [&] { return line.get_chosen()(with); });
}

// The end of a command line that names no command to run.
exit_code end_parsing(
    command_line const& line,
    std::vector<std::string> const& words,
    CLI::ParseError const& ended,
    output& out) {
    auto const& application = line.get_application();
    auto const* const wanted = dynamic_cast<CLI::Success const*>(&ended);
    if (wanted == nullptr) {
        return line.report(out, explain_usage(application, words, ended));
    }
    return run_to_end(line, out, nullptr, [&] {
        show_wanted(application, *wanted, out);
        return exit_code::done;
    });
}

} // namespace

exit_code command_line::report(output& out, failure const& ended) const {
    if (auto const* const found = find_report()) {
        return found->show(out, ended);
    }
    out.report(ended);
    return ended.get_code();
}

exit_code command_line::get_stuck_code(exit_code own) const {
    auto const* const found = find_report();
    return found == nullptr ? own : found->stuck;
}

command_line::command_report const* command_line::find_report() const {
    for (auto const* const chosen : m_application.get_subcommands()) {
        if (auto const found = m_reports.find(chosen); found != m_reports.end()) {
            return &found->second;
        }
    }
    return nullptr;
}

CLI::Option* add_size(
    CLI::App& command,
    std::string const& name,
    std::function<void(std::uint64_t)> set,
    std::string const& description) {
    return command
        .add_option_function<std::string>(
            name,
            [set = std::move(set)](std::string const& text) { set(parse_size(text)); },
            description)
        ->type_name("SIZE");
}

CLI::Option* add_duration(
    CLI::App& command,
    std::string const& name,
    std::function<void(std::chrono::milliseconds)> set,
    std::string const& description) {
    auto const parse = [set = std::move(set)](std::string const& text) {
        auto const has_unit = text.find_first_not_of("0123456789.") != std::string::npos;
        auto const parsed = parse_span(has_unit ? text : text + 's');
        constexpr std::chrono::hours longest{24 * 365};
        if (!parsed || parsed->span < std::chrono::nanoseconds::zero() || parsed->span > longest) {
            throw CLI::ValidationError{
                '"' + text + "\" is no duration; write 10s, 250ms, 3min or 1h"};
        }
        set(std::chrono::ceil<std::chrono::milliseconds>(parsed->span));
    };
    return command.add_option_function<std::string>(name, parse, description)
        ->type_name("DURATION");
}

CLI::Option* add_rate(
    CLI::App& command,
    std::function<void(supervisor::clock::duration)> set,
    std::string const& description) {
    auto const parse = [set = std::move(set)](std::string const& text) {
        set(parse_rate(text));
    };
    return command.add_option_function<std::string>("--rate", parse, description)
        ->type_name("RATE");
}

std::function<std::string(std::string const&)> make_number_check(
    std::uint64_t lowest, std::uint64_t highest) {
    return [lowest, highest](std::string const& text) -> std::string {
        std::uint64_t number = 0;
        auto const* const end = std::next(text.data(), std::ssize(text));
        auto const [stopped, error] = std::from_chars(text.data(), end, number);
        if (error == std::errc{} && stopped == end && number >= lowest && number <= highest) {
            return {};
        }
        auto const limit = highest == std::numeric_limits<std::uint64_t>::max()
                             ? " on"
                             : " to " + std::to_string(highest);
        return '"' + text + "\" is no whole number from " + std::to_string(lowest) + limit;
    };
}

int run_program(int count, char** arguments) {
    supervisor::block_signals();
    CLI::App application{introduction, "corvelctl"};
    command_line line{application};
    global_options options;
    application.fallthrough();
    application.require_subcommand(1);
    application.formatter(std::make_shared<help_formatter>());
    application.footer(make_footer());
    application.set_help_flag("-h,--help", "Show this help");
    add_global_options(application, options);
    for (auto* const add : add_commands) {
        add(line);
    }
    try {
        application.parse(count, arguments);
    } catch (CLI::ParseError const& ended) {
        // What is given behind the error has not been looked at yet.
        options.output.json = application.count("--json") > 0;
        std::vector<std::string> const words(std::next(arguments), std::next(arguments, count));
        output out{options.output};
        return static_cast<int>(end_parsing(line, words, ended, out));
    }
    output out{options.output};
    return static_cast<int>(
        run_to_end(line, out, nullptr, [&] { return run_chosen(line, options, out); }));
}

} // namespace arvenhold::corvel::hub::ctl
