// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/in_process_server.hpp"

#include "dev_hub/dev_hub_failure.hpp"
#include "dev_hub/event_log.hpp"
#include "dev_hub/file_descriptor.hpp"
#include "dev_hub/loopback_socket.hpp"
#include "dev_hub/message_exchange.hpp"
#include "dev_hub/poll_thread.hpp"
#include "dev_hub/port_candidate.hpp"
#include "dev_hub/random_token.hpp"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub::dev {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::size_t piece_size = 65'536; // bytes that are received at once

// How long a client may take to show its token; nats-server gives it the same time.
constexpr std::chrono::seconds admission_limit{2};

// How long nobody is accepted when no file descriptor is left.
constexpr milliseconds accept_pause{100};

void shorten(poll_round& round, milliseconds limit) {
    round.limit = round.limit.count() < 0 ? limit : std::min(round.limit, limit);
}

// A client and its socket.
class connection {
public:
    connection(file_descriptor socket, message_exchange& exchange)
        : m_socket{std::move(socket)}
        , m_client{exchange} {
        send_at_once(m_socket.get());
    }

    // Executes the commands that have arrived.
    void receive() {
        if (m_client.has_ended()) {
            return;
        }
        std::array<char, piece_size> piece; // NOLINT(*-member-init): filled by the kernel
        auto const count = ::recv(m_socket.get(), piece.data(), piece.size(), MSG_DONTWAIT);
        if (count > 0) {
            m_client.receive({piece.data(), static_cast<std::size_t>(count)});
        } else if (count == 0 || !would_block()) {
            m_broken = true;
        } else if (!m_client.is_admitted() && steady_clock::now() >= m_admission_deadline) {
            m_client.end("Authentication Timeout");
        }
    }

    // Sends what the client can take.
    void send() {
        auto const output = m_client.get_output();
        if (m_broken || output.empty()) {
            return;
        }
        auto const count =
            ::send(m_socket.get(), output.data(), output.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count >= 0) {
            m_client.drop_output(static_cast<std::size_t>(count));
        } else if (!would_block()) {
            m_broken = true;
        }
    }

    // Whether nothing more can or should be sent. A client that has ended is not waited for.
    [[nodiscard]] bool is_over() const {
        return m_broken || m_client.has_ended();
    }

    void watch(poll_round& round) const {
        bool const waits = !m_client.get_output().empty();
        auto const events = static_cast<short>(waits ? POLLIN | POLLOUT : POLLIN);
        round.watched.push_back({.fd = m_socket.get(), .events = events, .revents = 0});
        if (!m_client.is_admitted()) {
            auto const rest =
                std::chrono::ceil<milliseconds>(m_admission_deadline - steady_clock::now());
            shorten(round, std::max(rest, milliseconds::zero()));
        }
    }

private:
    file_descriptor const m_socket;
    exchange_client m_client;
    steady_clock::time_point const m_admission_deadline = steady_clock::now() + admission_limit;
    bool m_broken = false;
};

} // namespace

// The server between a start and its end.
class in_process_server::running_server {
public:
    running_server(file_descriptor listener, exchange_settings settings)
        : m_listener{std::move(listener)}
        , m_exchange{std::move(settings)}
        , m_thread{[this] {
            return serve();
        }} {}

    void set_frozen(bool frozen) {
        {
            std::scoped_lock const lock{m_mutex};
            m_frozen = frozen;
        }
        m_thread.wake();
    }

private:
    file_descriptor const m_listener;

    std::mutex m_mutex; // guards everything below; the thread waits for the sockets without it
    bool m_frozen = false;
    message_exchange m_exchange;
    std::vector<std::unique_ptr<connection>> m_connections; // leave the exchange

    poll_thread m_thread; // destroyed first

    poll_round serve() {
        std::scoped_lock const lock{m_mutex};
        poll_round round;
        if (m_frozen) {
            return round;
        }
        while (accept_locked()) {
        }
        bool const everybody_is_accepted = would_block();
        for (auto const& each : m_connections) {
            each->receive();
        }
        // Now, since each can have sent something to any other.
        for (auto const& each : m_connections) {
            each->send();
        }
        std::erase_if(m_connections, [](auto const& each) { return each->is_over(); });
        if (everybody_is_accepted) {
            round.watched.push_back({.fd = m_listener.get(), .events = POLLIN, .revents = 0});
        } else {
            shorten(round, accept_pause); // who waits there would end each wait at once
        }
        for (auto const& each : m_connections) {
            each->watch(round);
        }
        return round;
    }

    // Whether a client was there.
    bool accept_locked() {
        auto accepted = accept_connection(m_listener);
        if (accepted.get() < 0) {
            return false;
        }
        m_connections.push_back(std::make_unique<connection>(std::move(accepted), m_exchange));
        return true;
    }
};

in_process_server::in_process_server(event_log& log)
    : m_token{make_random_token()}
    , m_log{log} {
    std::scoped_lock const lock{m_mutex};
    auto found = find_usable_port([this](auto candidate) {
        try {
            start_locked(candidate);
        } catch (port_unavailable const&) {
            return false;
        }
        return true;
    });
    if (!found.has_value()) {
        throw dev_hub_failure{"the server in the process found no free port"};
    }
    m_claim.emplace(std::move(found->claim));
}

in_process_server::~in_process_server() {
    kill();
}

std::string in_process_server::get_url() const {
    return make_nats_url(m_port);
}

std::string in_process_server::get_token() const {
    return m_token;
}

void in_process_server::kill() {
    std::scoped_lock const lock{m_mutex};
    if (m_server != nullptr) {
        m_server.reset();
        m_log.record(event_kind::nats_server_ended, get_url(), {});
    }
}

void in_process_server::start() {
    std::scoped_lock const lock{m_mutex};
    if (m_server == nullptr) {
        start_locked(m_port);
    }
}

void in_process_server::freeze() {
    std::scoped_lock const lock{m_mutex};
    if (m_server != nullptr) {
        m_server->set_frozen(true);
        m_log.record(event_kind::nats_server_frozen, get_url(), {});
    }
}

void in_process_server::thaw() {
    std::scoped_lock const lock{m_mutex};
    if (m_server != nullptr) {
        m_server->set_frozen(false);
        m_log.record(event_kind::nats_server_thawed, get_url(), {});
    }
}

void in_process_server::start_locked(std::uint16_t port) {
    exchange_settings settings;
    settings.token = m_token;
    settings.port = port;
    m_server = std::make_unique<running_server>(listen_on_loopback(port), std::move(settings));
    m_port = port;
    m_log.record(event_kind::nats_server_started, get_url(), "in this process");
}

} // namespace arvenhold::corvel::hub::dev
