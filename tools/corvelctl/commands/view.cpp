// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/command_line.hpp"
#include "corvelctl/commands.hpp"
#include "corvelctl/dev_hub_run.hpp"
#include "corvelctl/failures.hpp"
#include "corvelctl/followed_hub.hpp"
#include "corvelctl/recording_reader.hpp"
#include "corvelctl/user_files.hpp"
#include "corvelctl/value_text.hpp"
#include "corvelctl/view/hub_model.hpp"
#include "corvelctl/view/recorded_hub.hpp"
#include "corvelctl/view/view_server.hpp"
#include "dev_hub/dev_hub_failure.hpp"
#include "dev_hub/random_token.hpp"
#include <hub/session/names.hpp>

#include <unistd.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <optional>

namespace arvenhold::corvel::hub::ctl {

namespace {

constexpr std::size_t queue_limit = 100'000; // half a second at 200,000 changes a second
constexpr std::uint16_t default_port = 4290;
constexpr std::uint64_t default_history = 64'000'000;
constexpr std::chrono::milliseconds confirmation_limit{2000};

struct view_options {
    selection_options selection;
    std::string listen = "127.0.0.1";
    std::uint16_t port = default_port;
    std::string password_file;
    std::string public_url;
    std::uint64_t history = default_history;
    bool allow_writes = false;
    bool demo = false;
};

std::string get_machine_name() {
    constexpr std::size_t longest = 256;
    std::array<char, longest> name{};
    return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

// The key outlives the program, so that a page that is open finds back after a restart. Not if others
// than programs of this machine can reach the page.
std::string find_key(bool is_local) {
    if (!is_local
        || (get_environment("XDG_STATE_HOME").empty() && get_environment("HOME").empty())) {
        return dev::make_random_token();
    }
    auto key = dev::make_random_token();
    auto const path = get_view_key_path();
    auto const kept = read_private_file(path);
    if (kept.has_value() && kept->size() == key.size()) {
        return *kept;
    }
    write_private_file(path, key);
    return key;
}

void check_public_url(std::string const& url) {
    auto const begin = url.find("://");
    auto const is_web = url.starts_with("https://") || url.starts_with("http://");
    if (!url.empty() && (!is_web || url.find('/', begin + 3) != std::string::npos)) {
        throw failure{
            exit_code::usage,
            "--public-url " + url + " is no address of a proxy",
            "write it without a path: --public-url https://hub.example.com"};
    }
}

view_settings make_settings(view_options const& given, json_object about) {
    check_public_url(given.public_url);
    auto const is_local = is_loopback(given.listen) && given.public_url.empty();
    view_settings settings;
    settings.address = {given.listen, given.port, get_machine_name(), given.public_url};
    settings.key = find_key(is_local);
    settings.link = is_local ? page_door::link_use::any_number : page_door::link_use::once;
    if (!given.password_file.empty()) {
        settings.password =
            read_secret(given.password_file, "the password of the page with --password-file");
        settings.link = page_door::link_use::none;
    }
    about["tool"] = make_version_text();
    about["writes"] = given.allow_writes;
    settings.about = std::move(about);
    return settings;
}

void announce(tool& with, view_options const& given, view_server const& server) {
    auto const link = server.make_link();
    if (with.out.is_json()) {
        with.out.print_object("view", {{"url", link}});
        return;
    }
    with.out.print(link);
    with.out.note("open this address in a browser; Ctrl-C ends it");
    if (!is_loopback(given.listen) && given.public_url.empty()) {
        with.out.warn("others on the network can read what the page shows, because it is not "
                      "encrypted; put a "
                      "proxy with TLS in front of it");
    }
    if (given.password_file.empty() && link.find('?') != std::string::npos
        && !(is_loopback(given.listen) && given.public_url.empty())) {
        with.out.note("the address works once; for more browsers give --password-file");
    }
}

// -- writing --------------------------------------------------------------------------------------

std::string describe(
    variable_value const& before, variable_value const& wanted, std::string_view outcome) {
    return make_text(before, true) + " -> " + make_text(wanted, true) + ": " + std::string{outcome};
}

json_object make_answer(std::string_view outcome, std::string const& text) {
    return {{"outcome", outcome}, {"text", text}};
}

json_object send(
    followed_hub& hub,
    hub_model& model,
    page_write const& asked,
    variable_value const& before,
    variable_value const& wanted) {
    auto const log = [&](std::string_view outcome) {
        model.add_event(
            {0,
             std::chrono::system_clock::now(),
             "write",
             asked.provider,
             asked.path + "  " + describe(before, wanted, outcome) + ", from " + asked.from});
    };
    try {
        auto const outcome = hub.get_session().write_and_confirm(
            asked.provider, asked.path, wanted, confirmation_limit);
        auto const held = model.find_value(asked.provider, asked.path).value_or(before);
        auto const holds = "the provider holds " + make_text(held, true);
        if (outcome == write_outcome::refused) {
            log("refused, " + holds);
            return make_answer("refused", holds + "; it may refuse or limit the value");
        }
        if (outcome == write_outcome::confirmed) {
            log("confirmed");
            return make_answer("confirmed", holds);
        }
        log("not seen back");
        return make_answer("not_confirmed", "the provider has published nothing in 2 s");
    } catch (write_refused const& refused) {
        log("refused");
        return make_answer("refused", refused.what());
    }
}

json_object write(followed_hub& hub, hub_model& model, page_write const& asked) {
    auto const before = model.find_value(asked.provider, asked.path);
    if (!before.has_value()) {
        return make_answer("invalid", "there is no such variable");
    }
    try {
        auto const wanted = parse_value(asked.value, *before);
        auto answer = send(hub, model, asked, *before, wanted.value);
        if (!wanted.warning.empty()) {
            answer["warning"] = wanted.warning;
        }
        return answer;
    } catch (failure const& wrong) {
        return make_answer("invalid", std::string{wrong.what()} + "; " + wrong.get_cure());
    }
}

// -- running --------------------------------------------------------------------------------------

exit_code view_recording(tool& with, view_options const& given) {
    if (given.allow_writes) {
        throw failure{exit_code::usage, "a recording takes no writes", "leave --allow-writes out"};
    }
    auto const& path = given.selection.words.front();
    with.guard.last_until_signal();
    hub_model model{given.history};
    auto const span = load_recording(path, model);
    json_object const recording{
        {"file", std::filesystem::path{path}.filename().string()},
        {"from", span.from},
        {"to", span.to}};
    view_server const server{make_settings(given, {{"recording", recording}}), model, {}};
    announce(with, given, server);
    for (;;) {
        constexpr std::chrono::hours long_time{24};
        if (with.guard.wait_for_signal(supervisor::clock::now() + long_time).has_value()) {
            return exit_code::done;
        }
    }
}

exit_code view_hub(tool& with, view_options const& given) {
    with.guard.set_time(with.options.timeout.value_or(default_timeout));
    auto const selected = find_selection(with, given.selection);
    with.guard.last_until_signal();
    hub_model model{given.history};
    auto const permissions =
        given.allow_writes ? variable_permissions::read_write : variable_permissions::read_only;
    followed_hub hub{with, selected, change_queue::every(queue_limit), model, permissions};
    page_writer writer;
    if (given.allow_writes) {
        writer = [&](page_write const& asked) {
            return write(hub, model, asked);
        };
    }
    view_server const server{make_settings(given, json_object::object()), model, std::move(writer)};
    announce(with, given, server);
    hub.run({});
    return exit_code::done; // the way to end it is no failure
}

exit_code view_demo(tool& with, view_options const& given) {
    dev_hub_wishes wishes;
    wishes.directory = get_dev_directory().string();
    wishes.demo = true;
    wishes.port = 0;
    wishes.token_port = 0;
    auto options = with.options;
    std::optional<own_dev_hub> hub;
    auto const running = find_dev_hub(wishes.directory);
    if (running.has_value()) {
        with.out.note("the development hub is already running; showing that one");
        options.connection = running->connection;
    } else {
        try {
            with.guard.last_until_signal();
            hub.emplace(with, wishes, own_dev_hub::events::logged);
        } catch (dev::dev_hub_failure const& error) {
            throw failure{
                exit_code::other, "cannot start the development hub: " + std::string{error.what()}};
        }
        options.connection = hub->get_state().connection;
    }
    tool changed{options, with.out, with.reports, with.guard};
    return view_hub(changed, given);
}

exit_code view(tool& with, view_options const& given) {
    if (given.demo) {
        return view_demo(with, given);
    }
    auto const& words = given.selection.words;
    return words.size() == 1 && is_recording(words.front()) ? view_recording(with, given)
                                                            : view_hub(with, given);
}

void add_address(CLI::App& command, view_options& options) {
    command
        .add_option(
            "--listen",
            options.listen,
            "Address to listen on; other machines need a password file, or the link, which works "
            "once")
        ->type_name("ADDRESS")
        ->capture_default_str();
    command.add_option("--port", options.port, "Port of the page; 0 for a free one")
        ->capture_default_str();
    command
        .add_option(
            "--password-file", options.password_file, "File with a password that the page asks for")
        ->type_name("FILE");
    command
        .add_option(
            "--public-url",
            options.public_url,
            "Where a proxy serves the page: https://hub.example.com")
        ->type_name("URL");
}

} // namespace

void add_view(command_line& line) {
    auto const options = std::make_shared<view_options>();
    auto& command = line.add(
        "view",
        "Show the hub, or a recording, in a browser: values, charts, events",
        options,
        &view);
    add_selection(command, options->selection);
    add_address(command, *options);
    command.add_flag("--allow-writes", options->allow_writes, "Let the page write values");
    command.add_flag(
        "--demo", options->demo, "Start the development hub with a boiler, and show it");
    add_size(
        command,
        "--history",
        [options = options.get()](auto size) { options->history = size; },
        "Memory for what the charts show; 64M");
    command.footer(
        "Prints the address to open. Outages of the hub and of providers are survived, and shown.\n"
        "A recording is shown instead of a hub if a file is named: corvelctl view boiler.jsonl\n\n"
        "Examples:\n"
        "  corvelctl view --demo --allow-writes\n"
        "  corvelctl view boiler 'zones/*/temperature'\n"
        "  corvelctl view --listen 0.0.0.0 --password-file page-password");
}

} // namespace arvenhold::corvel::hub::ctl
