// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/command_line.hpp"
#include "corvelctl/commands.hpp"
#include "corvelctl/dev_hub_run.hpp"
#include "corvelctl/dev_state.hpp"
#include "corvelctl/near_names.hpp"
#include "corvelctl/table.hpp"
#include "corvelctl/time_text.hpp"
#include "corvelctl/user_files.hpp"
#include "dev_hub/control.hpp"
#include "dev_hub/dev_hub_failure.hpp"
#include "dev_hub/fault.hpp"

#include <csignal>
#include <cstdint>
#include <fstream>
#include <limits>
#include <thread>

namespace arvenhold::corvel::hub::ctl {

namespace {

constexpr std::chrono::milliseconds poll_interval{20};
constexpr auto highest_port = std::numeric_limits<std::uint16_t>::max();

struct dev_options {
    dev_hub_wishes wishes;
    bool detach = false;
    bool print_env = false;
    bool follow = false;
    dev::fault fault{};
    bool has_duration = false;
    bool has_delay = false;
};

std::filesystem::path get_directory(dev_options const& given) {
    return given.wishes.directory.empty() ? get_dev_directory()
                                          : std::filesystem::absolute(given.wishes.directory);
}

failure make_absence(dev_options const& given) {
    return {
        exit_code::not_found,
        "no development hub runs for " + get_directory(given).string(),
        "start one: corvelctl dev up --demo"};
}

dev_hub_state require_hub(dev_options const& given) {
    auto const found = find_dev_hub(get_directory(given));
    if (!found.has_value()) {
        throw make_absence(given);
    }
    return *found;
}

// In single quotes, in which nothing but the quote itself has a meaning.
std::string quote_for_shell(std::string_view text) {
    std::string quoted{"'"};
    for (auto const character : text) {
        quoted += character == '\'' ? std::string{"'\\''"} : std::string{character};
    }
    return quoted + '\'';
}

void print_environment(output& out, dev_hub_state const& hub) {
    out.print(
        "export CORVEL_HUB=" + hub.connection.server_url + "\nexport CORVEL_TOKEN_URL="
        + hub.connection.token_url + "\nexport CORVEL_CLIENT_ID=" + hub.connection.client_id
        + "\nexport CORVEL_SECRET_FILE=" + quote_for_shell(hub.connection.secret_file));
}

void show_hub(output& out, dev_options const& given, dev_hub_state const& hub) {
    if (out.is_json()) {
        out.print_object(
            "dev_hub",
            {{"running", true},
             {"pid", hub.process},
             {"hub", hub.connection.server_url},
             {"token_url", hub.connection.token_url},
             {"client_id", hub.connection.client_id},
             {"secret_file", hub.connection.secret_file},
             {"demo", hub.demo}});
        return;
    }
    if (given.print_env) {
        print_environment(out, hub);
        return;
    }
    out.print(
        "The development hub is running, process " + std::to_string(hub.process)
        + (hub.demo ? ", with the provider boiler" : "") + ".\n  NATS server     "
        + hub.connection.server_url + "\n  token endpoint  " + hub.connection.token_url
        + "\n  client id       " + hub.connection.client_id + "\n  secret file     "
        + hub.connection.secret_file);
}

exit_code up(tool& with, dev_options const& given) {
    auto wishes = given.wishes;
    wishes.directory = get_directory(given).string();
    if (auto const running = find_dev_hub(wishes.directory)) {
        with.out.note("the development hub is already running; end it: corvelctl dev down");
        show_hub(with.out, given, *running);
        return exit_code::done;
    }
    auto const announce = [&](dev_hub_state const& ready) {
        show_hub(with.out, given, ready);
        with.out.note(
            given.detach ? "it runs until: corvelctl dev down"
                         : "Ctrl-C ends it; its events follow");
        with.out.note(
            given.wishes.demo ? "now try: corvelctl read boiler" : "providers can connect now");
    };
    try {
        return given.detach ? run_detached(with, wishes, announce)
                            : run_in_foreground(with, wishes, announce);
    } catch (dev::dev_hub_failure const& error) {
        throw failure{
            exit_code::other,
            "cannot start the development hub: " + std::string{error.what()},
            "if a port is taken, choose others: --port 0 --token-port 0"};
    }
}

exit_code down(tool& with, dev_options const& given) {
    auto const directory = get_directory(given);
    auto const hub = require_hub(given);
    with.guard.set_step("waiting for the development hub to end");
    ::kill(hub.process, SIGTERM);
    while (find_dev_hub(directory).has_value()) {
        std::this_thread::sleep_for(poll_interval);
    }
    with.out.note("the development hub has ended");
    return exit_code::done;
}

exit_code status(tool& with, dev_options const& given) {
    auto const hub = find_dev_hub(get_directory(given));
    if (!hub.has_value() && with.out.is_json()) {
        with.out.print_object("dev_hub", {{"running", false}});
        return exit_code::not_found;
    }
    show_hub(with.out, given, require_hub(given));
    return exit_code::done;
}

// Shows what the file has from where it was read last, to its end.
void show_rest(output& out, std::ifstream& file) {
    for (std::string line; std::getline(file, line);) {
        if (out.is_json()) {
            out.print_object("event", {{"text", line}});
        } else {
            out.print(printable(line));
        }
    }
    file.clear(); // the end of the file is not the end of the log
}

exit_code logs(tool& with, dev_options const& given) {
    auto const path = get_dev_log_path(get_directory(given));
    std::ifstream file{path};
    if (!file) {
        throw make_absence(given);
    }
    show_rest(with.out, file);
    if (!given.follow) {
        return exit_code::done;
    }
    with.guard.last_until_signal();
    for (;;) {
        auto const next = supervisor::clock::now() + poll_interval * 5;
        if (auto const signal = with.guard.wait_for_signal(next)) {
            return *signal;
        }
        show_rest(with.out, file);
    }
}

// Refuses what the fault would ignore.
void check_fault(dev_options const& given) {
    auto const kind = given.fault.kind;
    std::string const cure = "see the faults: corvelctl dev fault --help";
    if (given.has_duration && kind == dev::fault_kind::server_restart) {
        throw failure{exit_code::usage, "server-restart has no duration", cure};
    }
    if (given.has_delay && kind != dev::fault_kind::token_slow) {
        throw failure{exit_code::usage, "--delay belongs to token-slow", cure};
    }
}

exit_code fault(tool& with, dev_options const& given) {
    check_fault(given);
    auto const hub = require_hub(given);
    try {
        auto const text = dev::request_fault(hub.server_port, given.fault);
        if (with.out.is_json()) {
            with.out.print_object(
                "fault", {{"fault", dev::get_name(given.fault.kind)}, {"text", text}});
        } else {
            with.out.print(text);
        }
    } catch (dev::dev_hub_failure const& error) {
        throw failure{exit_code::other, error.what()};
    }
    return exit_code::done;
}

void add_directory(CLI::App& command, dev_options& options) {
    command
        .add_option(
            "--state",
            options.wishes.directory,
            "Folder for state, secret and log; several hubs need several folders")
        ->type_name("DIR");
}

void add_up(command_line& line, CLI::App& group, std::shared_ptr<dev_options> const& options) {
    auto& command = line.add_below(group, "up", "Start a development hub", options, &up);
    add_directory(command, *options);
    command.add_flag("--demo", options->wishes.demo, "Also provide a boiler with eight variables");
    command.add_flag("--detach", options->detach, "Return when it is ready, and leave it running");
    command.add_flag("--print-env", options->print_env, "Print variables for a shell's eval");
    command.add_option("--port", options->wishes.port, "Port of the NATS server; 0 for a free one")
        ->type_name("PORT")
        ->check(make_number_check(0, highest_port))
        ->capture_default_str();
    command
        .add_option(
            "--token-port",
            options->wishes.token_port,
            "Port of the token endpoint; 0 for a free one")
        ->type_name("PORT")
        ->check(make_number_check(0, highest_port))
        ->capture_default_str();
    command.footer("While it runs, commands without any connection settings use it.\n\n"
                   "Examples:\n"
                   "  corvelctl dev up --demo\n"
                   "  eval \"$(corvelctl dev up --detach --print-env)\"");
}

dev::fault_kind parse_fault(std::string const& name) {
    auto const kind = dev::find_fault_kind(name);
    if (!kind.has_value()) {
        throw CLI::ValidationError{
            "no fault \"" + name + '"' + ask_did_you_mean(name, dev::get_fault_names())};
    }
    return *kind;
}

void add_fault(command_line& line, CLI::App& group, std::shared_ptr<dev_options> const& options) {
    auto& command =
        line.add_below(group, "fault", "Break the development hub for a time", options, &fault);
    add_directory(command, *options);
    command
        .add_option_function<std::string>(
            "FAULT",
            [options](std::string const& name) { options->fault.kind = parse_fault(name); },
            "The fault")
        ->required();
    add_duration(
        command,
        "DURATION",
        [options](auto limit) {
            options->fault.duration = limit;
            options->has_duration = true;
        },
        "How long; 10s");
    add_duration(
        command,
        "--delay",
        [options](auto limit) {
            options->fault.token_delay = limit;
            options->has_delay = true;
        },
        "How late tokens are with token-slow; 3s");
    command.footer(
        "Faults:\n" + dev::list_faults()
        + "\nThe command returns when the fault has its effect. The fault ends by itself.\n"
          "\nExamples:\n"
          "  corvelctl dev fault nats-down 3m\n"
          "  corvelctl dev fault token-slow 1min --delay 6s");
}

} // namespace

void add_dev(command_line& line) {
    auto& group = line.add_group("dev", "Run a hub on this machine, and break it");
    auto const options = std::make_shared<dev_options>();
    add_up(line, group, options);
    add_directory(
        line.add_below(group, "down", "End the development hub", options, &down), *options);
    auto& shown = line.add_below(
        group, "status", "Show whether it runs, and how to connect", options, &status);
    add_directory(shown, *options);
    shown.add_flag("--print-env", options->print_env, "Print variables for a shell's eval");
    auto& log = line.add_below(group, "logs", "Show its events", options, &logs);
    add_directory(log, *options);
    log.add_flag("-f,--follow", options->follow, "Wait for more");
    add_fault(line, group, options);
}

} // namespace arvenhold::corvel::hub::ctl
