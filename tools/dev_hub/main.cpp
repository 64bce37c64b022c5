// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The program corvel-dev-hub: a complete hub that runs until a signal ends it, and the command that
// injects faults into it from another terminal.

#include "dev_hub/control.hpp"
#include "dev_hub/dev_hub.hpp"
#include "dev_hub/dev_hub_failure.hpp"
#include "man_page/man_page.hpp"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <ctime>
#include <exception>
#include <iostream>
#include <memory>
#include <string>

namespace {

namespace dev = arvenhold::corvel::hub::dev;

constexpr int exit_success = 0;
constexpr int exit_failure = 1;
constexpr int exit_wrong_usage = 2;

constexpr std::chrono::milliseconds check_interval{250};

constexpr char const* footer =
    R"(When everything is ready, the program prints on standard output how to connect, for people and then
once more as a line of JSON. Events follow on standard error, a line each.

With fixed ports:
  corvel-dev-hub --nats-port 4222 --token-port 8080

Signals:
  SIGINT, SIGTERM  end the hub, nats-server included
  SIGUSR1          kill nats-server and start it again on the same port
  SIGUSR2          restart the registry, which forgets all providers

Exit code: 0 ended by a signal, 1 something could not be started or nats-server ended, 2 wrong usage)";

constexpr char const* fault_footer =
    R"(A duration is a number of seconds, or a number with the unit ms, s or m. The command returns when the
fault has its effect. The fault ends by itself; the hub prints a line when it begins and when it ends.
Another fault of the same service ends the earlier one, and the same fault again counts from now.

Examples:
  corvel-dev-hub fault nats-down 10s
  corvel-dev-hub fault token-slow 3m --delay 6s

Exit code: 0 the fault has begun, 1 no hub was found or it refused, 2 wrong usage)";

struct command_line {
    dev::dev_hub_options hub;
    dev::client_credentials client;
    bool man = false;
};

struct fault_command {
    dev::fault wanted{};
    std::uint16_t nats_port = 0; // 0 for the only hub that runs
};

// Blocks the signals that the program waits for; threads started later inherit that.
sigset_t block_signals() {
    sigset_t signals{};
    sigemptyset(&signals);
    for (auto const number : {SIGINT, SIGTERM, SIGUSR1, SIGUSR2}) {
        sigaddset(&signals, number);
    }
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

// The next signal; -1 if none came within the interval.
int wait_for_signal(sigset_t const& signals) {
    timespec const limit{
        0, std::chrono::duration_cast<std::chrono::nanoseconds>(check_interval).count()};
    return ::sigtimedwait(&signals, nullptr, &limit);
}

void add_options(CLI::App& app, command_line& given) {
    auto& nats_server = given.hub.nats_server;
    auto& token_endpoint = given.hub.token_endpoint;
    auto& registry = given.hub.registry;
    app.add_option("--nats-port", nats_server.port, "Port of nats-server; 0 for a free one")
        ->capture_default_str();
    app.add_option(
           "--token-port", token_endpoint.port, "Port of the token endpoint; 0 for a free one")
        ->capture_default_str();
    app.add_option("--nats-server", nats_server.executable, "The program to run as nats-server")
        ->capture_default_str();
    app.add_option("--max-payload", nats_server.max_payload, "Maximum payload in bytes")
        ->capture_default_str();
    app.add_option("--client-id", given.client.client_id, "Client id that obtains a token")
        ->capture_default_str();
    app.add_option("--client-secret", given.client.client_secret, "Secret that goes with it")
        ->capture_default_str();
    app.add_option_function<unsigned>(
           "--verdict-delay",
           [&registry](unsigned count) {
               registry.verdict_delay = std::chrono::milliseconds{count};
           },
           "Milliseconds from a definition to its verdict")
        ->default_str(std::to_string(registry.verdict_delay.count()));
    app.add_option_function<unsigned>(
           "--probe-interval",
           [&registry](unsigned count) {
               registry.probe_interval = std::chrono::milliseconds{count};
           },
           "Milliseconds between two checks for lost and returned providers")
        ->default_str(std::to_string(registry.probe_interval.count()))
        ->check(CLI::PositiveNumber);
    app.add_flag("--man", given.man, "Show the man page")->group(""); // for the build
}

// Adds an option or argument that takes a duration.
template <class Add>
CLI::Option* add_duration(Add add, std::chrono::milliseconds& target) {
    return add([&target](std::string const& text) {
        auto const duration = dev::parse_duration(text);
        if (!duration.has_value()) {
            throw CLI::ValidationError{
                text + " is no duration; write 10, 10s, 3m or 500ms, at most 24 hours"};
        }
        target = *duration;
    });
}

void add_fault_command(CLI::App& app, fault_command& given) {
    auto& command = *app.add_subcommand("fault", "Inject a fault into a hub that runs already");
    command.group("Commands")->footer("Faults:\n" + dev::list_faults() + "\n" + fault_footer);
    auto& wanted = given.wanted;
    command
        .add_option_function<std::string>(
            "NAME",
            [&wanted](std::string const& name) {
                wanted.kind = dev::find_fault_kind(name).value_or(wanted.kind);
            },
            "The fault")
        ->required()
        ->check(CLI::IsMember(dev::get_fault_names()));
    auto const* const duration = add_duration(
        [&](auto const& set) {
            return command.add_option_function<std::string>("DURATION", set, "How long; 10s");
        },
        wanted.duration);
    auto const* const delay = add_duration(
        [&](auto const& set) {
            return command.add_option_function<std::string>(
                "--delay", set, "How late tokens are with token-slow; 3s");
        },
        wanted.token_delay);
    command.add_option(
        "--nats-port",
        given.nats_port,
        "Port of the hub's nats-server; needed only if several hubs run");
    command.final_callback([&wanted, duration, delay] {
        if (wanted.kind == dev::fault_kind::server_restart && duration->count() > 0) {
            throw CLI::ValidationError{"server-restart has no duration"};
        }
        if (wanted.kind != dev::fault_kind::token_slow && delay->count() > 0) {
            throw CLI::ValidationError{"--delay belongs to token-slow"};
        }
    });
    for (auto* const option : app.get_options()) {
        if (option != app.get_help_ptr()) {
            command.excludes(option);
        }
    }
}

int inject(fault_command const& given) {
    auto const port =
        given.nats_port != 0 ? given.nats_port : dev::choose_hub(dev::find_running_hubs());
    std::cout << dev::request_fault(port, given.wanted) << std::endl;
    return exit_success;
}

void print_access(dev::dev_hub& hub, dev::client_credentials const& client) {
    auto const nats_url = hub.get_nats_server().get_url();
    auto const token_url = hub.get_token_endpoint().get_url();
    nlohmann::ordered_json const line{
        {"nats_url", nats_url},
        {"token_url", token_url},
        {"client_id", client.client_id},
        {"client_secret", client.client_secret}};
    std::cout << "The hub is ready. Ctrl-C ends it.\n"
              << "  NATS server     " << nats_url << '\n'
              << "  token endpoint  " << token_url << '\n'
              << "  client id       " << client.client_id << '\n'
              << "  client secret   " << client.client_secret << '\n'
              << line.dump() << std::endl;
}

void obey(int signal_number, dev::dev_hub& hub) {
    try {
        if (signal_number == SIGUSR1) {
            hub.get_faults().begin({dev::fault_kind::server_restart});
        } else if (signal_number == SIGUSR2) {
            hub.get_registry().restart();
        }
    } catch (dev::dev_hub_failure const& failure) {
        std::cerr << failure.what() << std::endl;
    }
}

int run(command_line const& given) {
    auto const signals = block_signals();
    dev::dev_hub hub{given.hub};
    dev::control_endpoint const control{hub.get_nats_server().get_port(), hub.get_faults()};
    print_access(hub, given.client);
    while (!hub.get_nats_server().has_crashed()) {
        auto const signal_number = wait_for_signal(signals);
        if (signal_number == SIGINT || signal_number == SIGTERM) {
            return exit_success;
        }
        obey(signal_number, hub);
    }
    std::cerr << "nats-server has ended\n";
    return exit_failure;
}

} // namespace

int main(int argc, char** argv) {
    try {
        command_line given;
        fault_command fault;
        given.client = given.hub.token_endpoint.accepted_clients.front();
        CLI::App app{
            "A complete hub for development: nats-server, token endpoint and registry on loopback "
            "ports.",
            "corvel-dev-hub"};
        app.formatter(std::make_shared<arvenhold::corvel::hub::help_formatter>());
        app.footer(footer);
        add_options(app, given);
        add_fault_command(app, fault);
        try {
            app.parse(argc, argv);
        } catch (CLI::ParseError const& error) {
            return app.exit(error) == exit_success ? exit_success : exit_wrong_usage;
        }
        if (given.man) {
            std::cout << arvenhold::corvel::hub::make_man_page(app, "corvelctl(1)");
            return exit_success;
        }
        if (app.got_subcommand("fault")) {
            return inject(fault);
        }
        given.hub.token_endpoint.accepted_clients = {given.client};
        given.hub.nats_server.behind_proxy = true;
        given.hub.lines = &std::cerr;
        return run(given);
    } catch (std::exception const& error) {
        std::cerr << "corvel-dev-hub: " << error.what() << std::endl;
        return exit_failure;
    }
}
