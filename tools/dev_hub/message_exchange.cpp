// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/message_exchange.hpp"

#include "dev_hub/subject_pattern.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <utility>

namespace arvenhold::corvel::hub::dev {
namespace {

constexpr std::string_view line_end = "\r\n";

std::string make_greeting(exchange_settings const& settings) {
    nlohmann::ordered_json const info{
        {"server_id", "corvel-hub-testkit"},
        {"server_name", "corvel-hub-testkit"},
        {"version", "0.0.0"},
        {"proto", 1},
        {"host", "127.0.0.1"},
        {"port", settings.port},
        // Without them, the NATS client does not ask to hear of missing subscribers.
        {"headers", true},
        {"auth_required", true},
        {"max_payload", settings.max_payload}};
    return "INFO " + info.dump() + std::string{line_end};
}

bool get_flag(nlohmann::json const& settings, char const* name, bool absent) {
    auto const found = settings.find(name);
    return found != settings.end() && found->is_boolean() ? found->get<bool>() : absent;
}

} // namespace

message_exchange::message_exchange(exchange_settings settings)
    : m_settings{std::move(settings)} {}

exchange_settings const& message_exchange::get_settings() const {
    return m_settings;
}

std::size_t message_exchange::deliver(
    publish_command const& message, exchange_client const& sender) {
    std::size_t delivered = 0;
    for (auto* const client : m_clients) {
        if (client != &sender || client->m_echo) {
            delivered += client->take(message);
        }
    }
    return delivered;
}

bool exchange_client::subscription::is_complete() const {
    return most != 0 && delivered >= most;
}

exchange_client::exchange_client(message_exchange& exchange)
    : m_exchange{exchange}
    , m_decoder{exchange.get_settings().max_payload}
    , m_output{make_greeting(exchange.get_settings())} {
    m_exchange.m_clients.push_back(this);
}

exchange_client::~exchange_client() {
    std::erase(m_exchange.m_clients, this);
}

void exchange_client::receive(std::string_view bytes) {
    m_decoder.append(bytes);
    while (!m_ended) {
        auto const command = m_decoder.decode_next();
        if (!command.has_value()) {
            return;
        }
        execute_if_admitted(*command);
    }
}

std::string_view exchange_client::get_output() const {
    return std::string_view{m_output}.substr(m_sent);
}

void exchange_client::drop_output(std::size_t size) {
    m_sent += size;
    // Not sooner, so that no more bytes are moved than were sent.
    if (m_sent > m_output.size() / 2) {
        m_output.erase(0, m_sent);
        m_sent = 0;
    }
}

bool exchange_client::is_admitted() const {
    return m_admitted;
}

void exchange_client::end(std::string_view reason) {
    if (!reason.empty()) {
        report_error(reason);
    }
    m_ended = true;
}

bool exchange_client::has_ended() const {
    return m_ended;
}

void exchange_client::execute_if_admitted(client_command const& command) {
    if (!m_admitted && !std::holds_alternative<connect_command>(command)) {
        end("Authorization Violation");
        return;
    }
    std::visit([this](auto const& each) { execute(each); }, command);
}

void exchange_client::execute(connect_command const& command) {
    auto const settings = nlohmann::json::parse(command.settings, nullptr, false);
    if (!settings.is_object()) {
        end({});
        return;
    }
    if (settings.value("auth_token", nlohmann::json{}) != m_exchange.get_settings().token) {
        end("Authorization Violation");
        return;
    }
    m_admitted = true;
    m_verbose = get_flag(settings, "verbose", true);
    m_echo = get_flag(settings, "echo", true);
    m_hears_of_absence =
        get_flag(settings, "headers", false) && get_flag(settings, "no_responders", false);
    acknowledge();
}

void exchange_client::execute(publish_command const& command) {
    acknowledge();
    auto const delivered =
        is_valid_subject(command.subject) ? m_exchange.deliver(command, *this) : 0;
    if (delivered == 0 && m_hears_of_absence && !command.reply.empty()) {
        report_absence(command.reply);
    }
}

void exchange_client::execute(subscribe_command const& command) {
    if (!is_valid_pattern(command.pattern)) {
        report_error("Invalid Subject");
        return;
    }
    if (find(command.id) == m_subscriptions.end()) {
        m_subscriptions.push_back({std::string{command.pattern}, std::string{command.id}});
    }
    acknowledge();
}

void exchange_client::execute(unsubscribe_command const& command) {
    auto const ended = find(command.id);
    if (ended != m_subscriptions.end()) {
        ended->most = command.most;
        if (command.most == 0 || ended->is_complete()) {
            m_subscriptions.erase(ended);
        }
    }
    acknowledge();
}

void exchange_client::execute(ping_command const& /*command*/) {
    send({"PONG", line_end});
}

void exchange_client::execute(pong_command const& /*command*/) {}

void exchange_client::execute(malformed_command const& command) {
    end(command.reason);
}

// Returns how many of the client's subscriptions get the message.
std::size_t exchange_client::take(publish_command const& message) {
    auto const reply = message.reply.empty() ? std::string{} : std::string{message.reply} + " ";
    auto const size = std::to_string(message.payload.size());
    std::size_t delivered = 0;
    for (auto& each : m_subscriptions) {
        if (m_ended || !matches_subject(each.pattern, message.subject)) {
            continue;
        }
        send(
            {"MSG ",
             message.subject,
             " ",
             each.id,
             " ",
             reply,
             size,
             line_end,
             message.payload,
             line_end});
        ++each.delivered;
        ++delivered;
    }
    std::erase_if(m_subscriptions, [](auto const& each) { return each.is_complete(); });
    return delivered;
}

// Answers the client's request in place of the subscribers that do not exist.
void exchange_client::report_absence(std::string_view reply) {
    auto const listening =
        std::find_if(m_subscriptions.begin(), m_subscriptions.end(), [&](auto const& each) {
            return matches_subject(each.pattern, reply);
        });
    if (listening != m_subscriptions.end()) {
        send(
            {"HMSG ",
             reply,
             " ",
             listening->id,
             " 16 16", // bytes of the header, and of header and payload
             line_end,
             "NATS/1.0 503\r\n\r\n",
             line_end});
    }
}

void exchange_client::acknowledge() {
    if (m_verbose) {
        send({"+OK", line_end});
    }
}

void exchange_client::report_error(std::string_view reason) {
    send({"-ERR '", reason, "'", line_end});
}

void exchange_client::send(std::initializer_list<std::string_view> parts) {
    for (auto const part : parts) {
        m_output.append(part);
    }
    if (get_output().size() > m_exchange.get_settings().max_pending) {
        m_output.clear(); // nothing of it would be read soon
        m_sent = 0;
        m_ended = true;
    }
}

std::vector<exchange_client::subscription>::iterator exchange_client::find(std::string_view id) {
    return std::find_if(m_subscriptions.begin(), m_subscriptions.end(), [&](auto const& each) {
        return each.id == id;
    });
}

} // namespace arvenhold::corvel::hub::dev
