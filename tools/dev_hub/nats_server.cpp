// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/nats_server.hpp"

#include "dev_hub/child_process.hpp"
#include "dev_hub/dev_hub_failure.hpp"
#include "dev_hub/event_log.hpp"
#include "dev_hub/port_candidate.hpp"

#include <chrono>
#include <csignal>
#include <random>
#include <string_view>
#include <utility>

namespace arvenhold::corvel::hub::dev {
namespace {

constexpr std::chrono::seconds start_limit{10};
constexpr std::chrono::seconds stop_limit{2};

std::string make_random_token() {
    constexpr std::string_view digits = "0123456789abcdef";
    constexpr std::size_t length = 32;
    std::random_device device;
    std::uniform_int_distribution<std::size_t> any{0, digits.size() - 1};
    std::string token;
    while (token.size() < length) {
        token.push_back(digits[any(device)]);
    }
    return token;
}

nats_server_options with_token(nats_server_options options) {
    if (options.token.empty()) {
        options.token = make_random_token();
    }
    return options;
}

// The part of the server's configuration that makes it one of a cluster; empty without one.
std::string make_cluster_configuration(std::vector<std::uint16_t> const& ports) {
    if (ports.empty()) {
        return {};
    }
    std::string routes;
    for (std::size_t other = 1; other < ports.size(); ++other) {
        routes += "nats-route://127.0.0.1:" + std::to_string(ports[other]) + "\n";
    }
    return "cluster { name: hub, listen: 127.0.0.1:" + std::to_string(ports.front())
         + ", routes: [\n" + routes + "] }\n";
}

std::string get_installed(std::string const& executable) {
    if (auto const found = find_executable(executable)) {
        return *found;
    }
    throw dev_hub_failure{
        executable + " was not found; the Debian package nats-server has it: "
        + "apt-get install nats-server"};
}

} // namespace

nats_server::nats_server(nats_server_options options, event_log& log)
    : m_options{with_token(std::move(options))}
    , m_executable{get_installed(m_options.executable)}
    , m_log{log}
    , m_port{m_options.port} {
    std::scoped_lock const lock{m_mutex};
    if (m_port != 0) {
        start_locked();
        return;
    }
    for (int attempt = 0; attempt < port_attempts; ++attempt) {
        m_port = make_port_candidate();
        if (try_start_locked()) {
            return;
        }
    }
    throw dev_hub_failure{"nats-server found no free port"};
}

nats_server::~nats_server() {
    stop();
}

std::string nats_server::get_url() const {
    return "nats://127.0.0.1:" + std::to_string(m_port);
}

std::uint16_t nats_server::get_port() const {
    return m_port;
}

std::string nats_server::get_token() const {
    return m_options.token;
}

bool nats_server::is_running() const {
    std::scoped_lock const lock{m_mutex};
    return m_process != nullptr && m_process->is_running();
}

bool nats_server::has_crashed() const {
    std::scoped_lock const lock{m_mutex};
    return m_process != nullptr && !m_process->is_running();
}

pid_t nats_server::get_pid() const {
    std::scoped_lock const lock{m_mutex};
    return m_process != nullptr && m_process->is_running() ? m_process->get_pid() : -1;
}

void nats_server::stop() {
    std::scoped_lock const lock{m_mutex};
    end_locked(SIGTERM);
}

void nats_server::kill() {
    std::scoped_lock const lock{m_mutex};
    end_locked(SIGKILL);
}

void nats_server::start() {
    std::scoped_lock const lock{m_mutex};
    start_locked();
}

void nats_server::restart() {
    std::scoped_lock const lock{m_mutex};
    end_locked(SIGKILL);
    start_locked();
}

void nats_server::freeze() {
    std::scoped_lock const lock{m_mutex};
    if (m_process != nullptr) {
        m_process->freeze();
        m_log.record(event_kind::nats_server_frozen, get_url(), {});
    }
}

void nats_server::thaw() {
    std::scoped_lock const lock{m_mutex};
    if (m_process != nullptr) {
        m_process->send_signal(SIGCONT);
        m_log.record(event_kind::nats_server_thawed, get_url(), {});
    }
}

void nats_server::end_locked(int signal_number) {
    if (m_process == nullptr) {
        return;
    }
    m_process->send_signal(signal_number);
    m_process->send_signal(SIGCONT); // a frozen server would not see the request to end
    [[maybe_unused]] auto const ended = m_process->wait_until_ended(stop_limit);
    m_process.reset();
    m_log.record(event_kind::nats_server_ended, get_url(), {});
}

void nats_server::start_locked() {
    if (m_process != nullptr && m_process->is_running()) {
        return;
    }
    if (!try_start_locked()) {
        throw dev_hub_failure{
            "nats-server cannot use port " + std::to_string(m_port)
            + ": another program listens there"};
    }
}

bool nats_server::try_start_locked() {
    auto const address = "127.0.0.1:" + std::to_string(m_port);
    // Over standard input, so that the token shows in no list of processes and no file is left.
    auto const configuration =
        "listen: \"" + address + "\"\n" + "max_payload: " + std::to_string(m_options.max_payload)
        + "\n" + "ping_interval: " + std::to_string(m_options.ping_interval.count()) + "\n"
        + "authorization { token: \"" + m_options.token + "\" }\n"
        + make_cluster_configuration(m_options.cluster_ports) + m_options.more_configuration;
    m_process = std::make_unique<child_process>(
        m_executable, std::vector<std::string>{"-c", "/dev/stdin"}, configuration);
    if (m_process->wait_until_output_contains(
            "Listening for client connections on " + address, start_limit)) {
        m_log.record(event_kind::nats_server_started, get_url(), {});
        return true;
    }
    auto const output = m_process->get_output();
    m_process.reset();
    if (output.find("address already in use") != std::string::npos) {
        return false;
    }
    throw dev_hub_failure{"nats-server did not start; it says:\n" + output};
}

} // namespace arvenhold::corvel::hub::dev
