// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The engine itself, and what it does for options, tokens and connections.

#include "support/fake_nats/engine.hpp"

#include <cstdlib>
#include <iostream>
#include <utility>

namespace arvenhold::corvel::hub {

using namespace fakes;

// NOLINTNEXTLINE(*-avoid-non-const-global-variables): one fake at a time, like the library
fake_nats_engine* fake_nats_engine::installed_ = nullptr;

fake_nats_engine::fake_nats_engine() {
    if (std::exchange(installed_, this) != nullptr) {
        std::cerr << "There is a second fake_nats\n";
        std::abort();
    }
}

fake_nats_engine::~fake_nats_engine() {
    for (auto& subscription : m_subscriptions) {
        m_deliveries.stop(subscription.thread);
    }
    m_deliveries.stop(m_callback_thread);
    installed_ = nullptr;
}

fake_nats_engine::call_into_client fake_nats_engine::installed() {
    if (installed_ == nullptr) {
        std::cerr << "The NATS client is used without a fake_nats\n";
        std::abort();
    }
    return call_into_client{*installed_};
}

natsStatus fake_nats_engine::enter(std::string const& function, std::string const& arguments) {
    m_calls.push_back(arguments.empty() ? function : function + " " + arguments);
    return m_orders.count_call(function);
}

void fake_nats_engine::run_action_in(std::string_view function) {
    std::optional<orders::call_action> action;
    {
        std::scoped_lock const lock{m_mutex};
        action = m_orders.action_in(function);
    }
    if (action) {
        (*action)();
    }
}

natsStatus fake_nats_engine::set_process_option(
    std::string const& function, std::string const& value) {
    std::scoped_lock const lock{m_mutex};
    return enter(function, value);
}

natsStatus fake_nats_engine::create(natsOptions** options) {
    std::scoped_lock const lock{m_mutex};
    auto const status = enter("natsOptions_Create", "");
    if (status == NATS_OK) {
        auto& record = m_options.emplace_back();
        record.name = "options";
        *options = handle_of<natsOptions>(record);
    }
    return status;
}

natsStatus fake_nats_engine::connect(natsConnection** connection, natsOptions* options) {
    std::unique_lock lock{m_mutex};
    auto const status = enter("natsConnection_Connect", "");
    if (!m_rules.may_use(options, "natsConnection_Connect")) {
        return NATS_INVALID_ARG;
    }
    auto const used = record_of(options);
    lock.unlock();
    if (status != NATS_NO_SERVER) {
        ask_for_token(used.token);
    }
    if (status != NATS_OK) {
        return status;
    }
    lock.lock();
    auto& record = m_connections.emplace_back();
    record.name = "connection";
    record.options = used;
    *connection = handle_of<natsConnection>(record);
    return NATS_OK;
}

void fake_nats_engine::ask_for_token() {
    callback<natsTokenHandler> handler;
    {
        std::scoped_lock const lock{m_mutex};
        handler = m_connections.back().options.token;
    }
    ask_for_token(handler);
}

void fake_nats_engine::ask_for_token(callback<natsTokenHandler> handler) {
    {
        std::scoped_lock const lock{m_mutex};
        if (!m_asks_for_token || handler.function == nullptr) {
            return;
        }
    }
    auto const* const token = handler.function(handler.closure);
    std::scoped_lock const lock{m_mutex};
    m_tokens.push_back(token != nullptr ? std::optional<std::string>{token} : std::nullopt);
}

void fake_nats_engine::lose_link() {
    std::scoped_lock const lock{m_mutex};
    m_connections.back().is_lost = true;
}

void fake_nats_engine::regain_link() {
    std::scoped_lock const lock{m_mutex};
    m_connections.back().is_lost = false;
    ++m_connections.back().reconnects;
}

void fake_nats_engine::give_up_link() {
    std::scoped_lock const lock{m_mutex};
    m_connections.back().is_closed = true;
}

void fake_nats_engine::call(
    callback<natsConnectionHandler> options_record::*chosen, fake_nats::run_on where) {
    std::unique_lock lock{m_mutex};
    auto& connection = m_connections.back();
    auto const run = [handle = handle_of<natsConnection>(connection),
                      handler = connection.options.*chosen] {
        if (handler.function != nullptr) {
            handler.function(handle, handler.closure);
        }
    };
    if (where == fake_nats::run_on::own_thread) {
        m_deliveries.post(m_callback_thread, {run});
        return;
    }
    lock.unlock();
    run();
}

natsStatus fake_nats_engine::publish(
    natsConnection* connection, fake_nats::sent_message const& message) {
    std::unique_lock lock{m_mutex};
    auto const status = enter(
        "natsConnection_Publish", message.subject + " " + std::to_string(message.bytes.size()));
    m_published.push_back(message);
    m_changed.notify_all();
    if (!m_rules.may_use(connection, "natsConnection_Publish")) {
        return NATS_INVALID_ARG;
    }
    if (record_of(connection).is_closed) {
        return NATS_CONNECTION_CLOSED;
    }
    if (status != NATS_OK) {
        return status;
    }
    auto const action = m_orders.action_after(message.subject);
    lock.unlock();
    if (action) {
        (*action)(message.bytes);
    }
    return NATS_OK;
}

natsStatus fake_nats_engine::request(
    natsMsg** reply,
    natsConnection* connection,
    fake_nats::sent_message const& message,
    std::int64_t limit) {
    std::unique_lock lock{m_mutex};
    auto const status = enter(
        "natsConnection_Request",
        message.subject + " " + std::to_string(message.bytes.size()) + " " + std::to_string(limit));
    m_requests.push_back(message);
    *reply = nullptr;
    if (!m_rules.may_use(connection, "natsConnection_Request")) {
        return NATS_INVALID_ARG;
    }
    if (record_of(connection).is_closed) {
        return NATS_CONNECTION_CLOSED;
    }
    if (status != NATS_OK) {
        return status;
    }
    auto const script = m_orders.script_for(message.subject);
    if (!script) {
        return NATS_NO_RESPONDERS;
    }
    ++record_of(connection).requests_in_flight;
    lock.unlock();
    auto const answer = (*script)(message.bytes);
    if (answer.status == NATS_OK) {
        *reply =
            make_message({"reply to " + message.subject, answer.bytes, {}, answer.misalignment});
    }
    lock.lock();
    --record_of(connection).requests_in_flight;
    return answer.status;
}

natsStatus fake_nats_engine::flush(natsConnection* connection, std::int64_t limit) {
    std::scoped_lock const lock{m_mutex};
    auto const status = enter("natsConnection_FlushTimeout", std::to_string(limit));
    if (!m_rules.may_use(connection, "natsConnection_FlushTimeout")) {
        return NATS_INVALID_ARG;
    }
    if (record_of(connection).is_closed) {
        return NATS_CONNECTION_CLOSED;
    }
    if (status != NATS_OK) {
        return status;
    }
    for (auto& subscription : m_subscriptions) {
        if (subscription.is_unsubscribed && subscription.connection == &record_of(connection)) {
            subscription.is_flushed = true;
        }
    }
    return NATS_OK;
}

natsConnStatus fake_nats_engine::link_status(natsConnection* connection) {
    std::scoped_lock const lock{m_mutex};
    if (!m_rules.may_use(connection, "natsConnection_Status") || record_of(connection).is_closed) {
        return NATS_CONN_STATUS_CLOSED;
    }
    return record_of(connection).is_lost ? NATS_CONN_STATUS_RECONNECTING
                                         : NATS_CONN_STATUS_CONNECTED;
}

std::uint64_t fake_nats_engine::count_reconnects(natsConnection* connection) {
    std::scoped_lock const lock{m_mutex};
    return m_rules.may_use(connection, "natsConnection_GetStats") ? record_of(connection).reconnects
                                                                  : 0;
}

void fake_nats_engine::close(natsConnection* connection) {
    std::scoped_lock const lock{m_mutex};
    enter("natsConnection_Close", "");
    if (m_rules.may_use(connection, "natsConnection_Close")) {
        m_rules.require_no_request(record_of(connection), "natsConnection_Close");
        record_of(connection).is_closed = true;
    }
}

void fake_nats_engine::destroy(natsOptions* options) {
    std::scoped_lock const lock{m_mutex};
    enter("natsOptions_Destroy", "");
    if (options != nullptr) {
        m_rules.mark_destroyed(record_of(options), "natsOptions_Destroy");
    }
}

void fake_nats_engine::destroy(natsConnection* connection) {
    std::scoped_lock const lock{m_mutex};
    enter("natsConnection_Destroy", "");
    if (connection == nullptr) {
        return;
    }
    auto& record = record_of(connection);
    m_rules.require_no_request(record, "natsConnection_Destroy");
    m_rules.require_no_subscription(record, m_subscriptions);
    m_rules.mark_destroyed(record, "natsConnection_Destroy");
    record.is_closed = true;
}

std::vector<std::string> fake_nats_engine::drain_live_handles() {
    std::scoped_lock const lock{m_mutex};
    std::vector<std::string> live;
    auto const drain = [&live](auto& records, std::string const& kind) {
        for (auto& record : records) {
            if (!std::exchange(record.is_destroyed, true)) {
                live.push_back(kind + record.name);
            }
        }
    };
    drain(m_messages, "message ");
    drain(m_subscriptions, "subscription ");
    drain(m_connections, "");
    drain(m_options, "");
    return live;
}

} // namespace arvenhold::corvel::hub
