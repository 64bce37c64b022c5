// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/nats_server.hpp"

#include "dev_hub/child_process.hpp"
#include "dev_hub/cutting_proxy.hpp"
#include "dev_hub/dev_hub_failure.hpp"
#include "dev_hub/event_log.hpp"
#include "dev_hub/loopback_socket.hpp"
#include "dev_hub/port_candidate.hpp"
#include "dev_hub/random_token.hpp"

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <utility>

namespace arvenhold::corvel::hub::dev {
namespace {

constexpr std::chrono::seconds start_limit{10};
constexpr std::chrono::seconds stop_limit{2};

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
    if (auto const missing = explain_missing_server(executable)) {
        throw dev_hub_failure{*missing};
    }
    return *find_executable(executable);
}

// Tries the port; if it is 0, tries others until one can be used, which becomes the port.
template <class Try>
void find_port(std::uint16_t& port, std::optional<port_claim>& claim, Try try_port) {
    if (port != 0) {
        if (!try_port(port)) {
            throw dev_hub_failure{
                "nats-server cannot use port " + std::to_string(port)
                + ": another program listens there"};
        }
        return;
    }
    auto found = find_usable_port(try_port);
    if (!found.has_value()) {
        throw dev_hub_failure{"nats-server found no free port"};
    }
    port = found->number;
    claim.emplace(std::move(found->claim));
}

} // namespace

std::optional<std::string> explain_missing_server(std::string const& executable) {
    auto const found = find_executable(executable);
    if (found && ::access(found->c_str(), X_OK) == 0) {
        return {};
    }
    return executable + " was not found; the Debian package nats-server has it: "
         + "apt-get install nats-server";
}

nats_server::nats_server(nats_server_options options, event_log& log)
    : m_options{with_token(std::move(options))}
    , m_executable{get_installed(m_options.executable)}
    , m_log{log}
    , m_port{m_options.port}
    , m_direct_port{m_options.behind_proxy ? std::uint16_t{0} : m_options.port} {
    std::scoped_lock const lock{m_mutex};
    start_locked();
}

nats_server::~nats_server() {
    stop();
}

std::string nats_server::get_url() const {
    return make_nats_url(m_port);
}

std::string nats_server::get_direct_url() const {
    return make_nats_url(m_direct_port);
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

void nats_server::cut() {
    std::scoped_lock const lock{m_mutex};
    if (!m_options.behind_proxy) {
        throw dev_hub_failure{"connections can only be cut off if nats-server is behind a proxy"};
    }
    if (m_proxy != nullptr) {
        m_proxy->cut();
    }
}

void nats_server::repair() {
    std::scoped_lock const lock{m_mutex};
    if (m_proxy != nullptr) {
        m_proxy->repair();
    }
}

void nats_server::end_locked(int signal_number) {
    m_proxy.reset();
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
    auto const runs = m_process != nullptr && m_process->is_running();
    auto const needs_proxy = m_options.behind_proxy && m_proxy == nullptr;
    if (runs && !needs_proxy) {
        return;
    }
    if (!runs) {
        find_port(
            m_direct_port, m_direct_claim, [this](auto port) { return try_port_locked(port); });
    }
    if (needs_proxy) {
        find_port(m_port, m_claim, [this](auto port) { return try_proxy_locked(port); });
    } else if (!m_options.behind_proxy) {
        m_port = m_direct_port;
    }
    m_log.record(event_kind::nats_server_started, get_url(), {});
}

bool nats_server::try_proxy_locked(std::uint16_t port) {
    try {
        m_proxy = std::make_unique<cutting_proxy>(m_direct_port, port);
    } catch (port_unavailable const&) {
        return false;
    }
    return true;
}

bool nats_server::try_port_locked(std::uint16_t port) {
    auto const address = "127.0.0.1:" + std::to_string(port);
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
