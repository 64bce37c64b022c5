// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/control.hpp"

#include "dev_hub/dev_hub_failure.hpp"
#include "dev_hub/fault_injector.hpp"
#include "dev_hub/start_thread.hpp"

#include <nlohmann/json.hpp>

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstddef>
#include <ctime>
#include <exception>
#include <fstream>
#include <string_view>
#include <system_error>

namespace arvenhold::corvel::hub::dev {
namespace {

constexpr std::string_view name_prefix = "corvel-dev-hub/";
constexpr std::chrono::seconds request_limit{1}; // a client that connects also sends, at once
constexpr std::chrono::seconds answer_limit{30};

struct socket_address {
    sockaddr_un address{};
    socklen_t size = 0;

    [[nodiscard]] sockaddr const* get() const {
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the kernel's interface
        return reinterpret_cast<sockaddr const*>(&address);
    }
};

// A name that begins with a null byte stands in no file system.
socket_address make_address(std::uint16_t nats_port) {
    auto const name = std::string{'\0'}.append(name_prefix) + std::to_string(nats_port);
    socket_address made;
    made.address.sun_family = AF_UNIX;
    std::copy(name.begin(), name.end(), std::begin(made.address.sun_path));
    made.size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    return made;
}

// Its messages keep their borders, so that one request and one answer need no framing.
file_descriptor make_socket() {
    return file_descriptor{::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0)};
}

void limit_waiting(file_descriptor const& socket, std::chrono::seconds limit) {
    timeval const time{std::chrono::duration<std::time_t>{limit}.count(), 0};
    ::setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time);
}

void send_message(file_descriptor const& socket, nlohmann::json const& message) {
    auto const text = message.dump();
    ::send(socket.get(), text.data(), text.size(), MSG_NOSIGNAL);
}

// A discarded value if nothing readable arrives in time.
nlohmann::json receive_message(file_descriptor const& socket) {
    std::array<char, 4096> buffer{};
    auto const size = ::recv(socket.get(), buffer.data(), buffer.size(), 0);
    auto const text =
        std::string_view{buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
    return nlohmann::json::parse(text, nullptr, false);
}

nlohmann::json make_request(fault const& wanted) {
    return {
        {"fault", get_name(wanted.kind)},
        {"duration_ms", wanted.duration.count()},
        {"token_delay_ms", wanted.token_delay.count()}};
}

fault read_request(nlohmann::json const& request) {
    std::string const name = request.at("fault");
    auto const kind = find_fault_kind(name);
    if (!kind.has_value()) {
        throw dev_hub_failure{"this hub has no fault " + name};
    }
    return {
        *kind,
        std::chrono::milliseconds{request.at("duration_ms")},
        std::chrono::milliseconds{request.at("token_delay_ms")}};
}

dev_hub_failure make_absence(std::uint16_t nats_port) {
    return dev_hub_failure{
        "no development hub runs with nats-server on port " + std::to_string(nats_port)};
}

} // namespace

control_endpoint::control_endpoint(std::uint16_t nats_port, fault_injector& faults)
    : m_faults{faults}
    , m_listener{make_socket()} {
    auto const address = make_address(nats_port);
    constexpr int waiting_clients = 8;
    if (::bind(m_listener.get(), address.get(), address.size) != 0
        || ::listen(m_listener.get(), waiting_clients) != 0) {
        throw dev_hub_failure{
            "cannot open the control socket: " + std::generic_category().message(errno)};
    }
    m_thread = start_thread([this] { run(); });
}

control_endpoint::~control_endpoint() {
    ::shutdown(m_listener.get(), SHUT_RDWR); // ends the wait for clients
    m_thread.join();
}

void control_endpoint::run() {
    for (;;) {
        file_descriptor const client{::accept4(m_listener.get(), nullptr, nullptr, SOCK_CLOEXEC)};
        if (client.get() >= 0) {
            answer(client);
        } else if (errno == EINVAL) {
            return; // shut down
        }
    }
}

void control_endpoint::answer(file_descriptor const& client) {
    limit_waiting(client, request_limit);
    try {
        auto const wanted = read_request(receive_message(client));
        m_faults.begin(wanted);
        send_message(client, {{"begun", describe_begin(wanted)}});
    } catch (std::exception const& failure) {
        send_message(client, {{"refused", failure.what()}});
    }
}

std::string request_fault(std::uint16_t nats_port, fault const& wanted) {
    auto const socket = make_socket();
    auto const address = make_address(nats_port);
    if (::connect(socket.get(), address.get(), address.size) != 0) {
        throw make_absence(nats_port);
    }
    limit_waiting(socket, answer_limit);
    send_message(socket, make_request(wanted));
    auto const answer = receive_message(socket);
    if (!answer.is_object()) {
        throw dev_hub_failure{
            "the development hub on port " + std::to_string(nats_port) + " does not answer"};
    }
    if (answer.contains("begun")) {
        return answer["begun"];
    }
    throw dev_hub_failure{answer.value("refused", "the development hub refuses the fault")};
}

std::optional<pid_t> find_hub_process(std::uint16_t nats_port) {
    auto const socket = make_socket();
    auto const address = make_address(nats_port);
    ucred listener{};
    socklen_t size = sizeof listener;
    if (::connect(socket.get(), address.get(), address.size) != 0
        || ::getsockopt(socket.get(), SOL_SOCKET, SO_PEERCRED, &listener, &size) != 0) {
        return std::nullopt;
    }
    return listener.pid;
}

std::set<std::uint16_t> find_running_hubs() {
    std::set<std::uint16_t> ports;
    std::ifstream sockets{"/proc/net/unix"};
    for (std::string line; std::getline(sockets, line);) {
        auto const name = "@" + std::string{name_prefix};
        auto const begin = line.find(name);
        if (begin == std::string::npos) {
            continue;
        }
        auto const digits = std::string_view{line}.substr(begin + name.size());
        std::uint16_t port = 0;
        if (std::from_chars(digits.data(), digits.data() + digits.size(), port).ec == std::errc{}) {
            ports.insert(port);
        }
    }
    return ports;
}

std::uint16_t choose_hub(std::set<std::uint16_t> const& running) {
    if (running.empty()) {
        throw dev_hub_failure{"no development hub runs on this machine"};
    }
    if (running.size() > 1) {
        std::string ports;
        for (auto const port : running) {
            ports += (ports.empty() ? "" : ", ") + std::to_string(port);
        }
        throw dev_hub_failure{
            "several development hubs run on this machine; choose one with --nats-port: " + ports};
    }
    return *running.begin();
}

} // namespace arvenhold::corvel::hub::dev
