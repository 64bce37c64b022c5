// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What the engine does for subscriptions and messages.

#include "support/fake_nats/engine.hpp"

#include <algorithm>

namespace arvenhold::corvel::hub {

using namespace fakes;

natsStatus fake_nats_engine::subscribe(
    natsSubscription** subscription,
    natsConnection* connection,
    std::string const& subject,
    callback<natsMsgHandler> handler) {
    std::scoped_lock const lock{m_mutex};
    auto const status = enter("natsConnection_Subscribe", subject);
    if (!m_rules.may_use(connection, "natsConnection_Subscribe")) {
        return NATS_INVALID_ARG;
    }
    if (record_of(connection).is_closed) {
        return NATS_CONNECTION_CLOSED;
    }
    if (status == NATS_OK) {
        auto& record = m_subscriptions.emplace_back();
        record.name = subject;
        record.connection = &record_of(connection);
        record.handler = handler;
        *subscription = handle_of<natsSubscription>(record);
    }
    return status;
}

natsStatus fake_nats_engine::unsubscribe(natsSubscription* subscription) {
    std::scoped_lock const lock{m_mutex};
    auto const status = enter(
        "natsSubscription_Unsubscribe",
        subscription != nullptr ? record_of(subscription).name : "");
    if (!m_rules.may_use(subscription, "natsSubscription_Unsubscribe")) {
        return NATS_INVALID_ARG;
    }
    auto& record = record_of(subscription);
    if (status != NATS_OK || !is_open(record)) {
        return status != NATS_OK ? status : NATS_CONNECTION_CLOSED;
    }
    record.is_unsubscribed = true;
    record.thread.waiting.clear();
    return NATS_OK;
}

natsStatus fake_nats_engine::get_pending(
    natsSubscription* subscription, int* messages, int* bytes) {
    std::scoped_lock const lock{m_mutex};
    auto const status = enter(
        "natsSubscription_GetPending", subscription != nullptr ? record_of(subscription).name : "");
    if (!m_rules.may_use(subscription, "natsSubscription_GetPending")) {
        return NATS_INVALID_ARG;
    }
    auto const& record = record_of(subscription);
    if (status != NATS_OK || !is_open(record)) {
        return status != NATS_OK ? status : NATS_INVALID_SUBSCRIPTION;
    }
    *messages = static_cast<int>(record.thread.waiting.size());
    *bytes = 0;
    for (auto const& waiting : record.thread.waiting) {
        *bytes += static_cast<int>(waiting.bytes);
    }
    return NATS_OK;
}

natsStatus fake_nats_engine::get_dropped(natsSubscription* subscription, std::int64_t* messages) {
    std::scoped_lock const lock{m_mutex};
    if (!m_rules.may_use(subscription, "natsSubscription_GetDropped")) {
        return NATS_INVALID_ARG;
    }
    if (!is_open(record_of(subscription))) {
        return NATS_INVALID_SUBSCRIPTION;
    }
    *messages = record_of(subscription).dropped;
    return NATS_OK;
}

void fake_nats_engine::drop(std::string const& subject, std::int64_t messages) {
    std::scoped_lock const lock{m_mutex};
    for (auto& subscription : m_subscriptions) {
        if (subscription.name == subject && is_open(subscription)) {
            subscription.dropped += messages;
        }
    }
}

void fake_nats_engine::destroy(natsSubscription* subscription) {
    std::scoped_lock const lock{m_mutex};
    if (subscription == nullptr) {
        enter("natsSubscription_Destroy", "");
        return;
    }
    auto& record = record_of(subscription);
    enter("natsSubscription_Destroy", record.name);
    m_rules.require_flush(record);
    m_rules.mark_destroyed(record, "natsSubscription_Destroy");
    record.is_unsubscribed = true;
    record.thread.waiting.clear();
}

std::vector<subscription_record*> fake_nats_engine::open_subscriptions(std::string_view subject) {
    std::scoped_lock const lock{m_mutex};
    std::vector<subscription_record*> found;
    for (auto& subscription : m_subscriptions) {
        if (subscription.name == subject && is_open(subscription)) {
            found.push_back(&subscription);
        }
    }
    return found;
}

std::size_t fake_nats_engine::deliver(
    fake_nats::incoming_message const& message, fake_nats::run_on where) {
    auto const receivers = open_subscriptions(message.subject);
    for (auto* const receiver : receivers) {
        if (where == fake_nats::run_on::this_thread) {
            call_handler(*receiver, message);
            continue;
        }
        std::scoped_lock const lock{m_mutex};
        m_deliveries.post(
            receiver->thread,
            {[this, receiver, message] { call_handler(*receiver, message); },
             message.bytes.size()});
    }
    return receivers.size();
}

std::size_t fake_nats_engine::deliver_null(std::string const& subject) {
    auto const receivers = open_subscriptions(subject);
    for (auto* const receiver : receivers) {
        receiver->handler.function(
            handle_of<natsConnection>(*receiver->connection),
            handle_of<natsSubscription>(*receiver),
            nullptr,
            receiver->handler.closure);
    }
    return receivers.size();
}

void fake_nats_engine::call_handler(
    subscription_record& subscription, fake_nats::incoming_message const& message) {
    subscription.handler.function(
        handle_of<natsConnection>(*subscription.connection),
        handle_of<natsSubscription>(subscription),
        make_message(message),
        subscription.handler.closure);
}

bool fake_nats_engine::wait_until_delivered() {
    std::unique_lock lock{m_mutex};
    return m_changed.wait_for(lock, fake_nats::time_limit, [this] {
        return delivery_control::is_idle(m_callback_thread)
            && std::all_of(
                   m_subscriptions.begin(), m_subscriptions.end(), [](auto const& subscription) {
                       return delivery_control::is_idle(subscription.thread);
                   });
    });
}

natsMsg* fake_nats_engine::make_message(fake_nats::incoming_message const& message) {
    std::scoped_lock const lock{m_mutex};
    auto& record = m_messages.emplace_back();
    record.name = message.subject;
    record.reply = message.reply;
    record.misalignment = message.misalignment;
    record.size = message.bytes.size();
    record.block.reserve(std::max<std::size_t>(message.misalignment + record.size, 1));
    record.block.resize(message.misalignment);
    record.block.insert(record.block.end(), message.bytes.begin(), message.bytes.end());
    return handle_of<natsMsg>(record);
}

void fake_nats_engine::destroy(natsMsg* message) {
    std::scoped_lock const lock{m_mutex};
    if (message != nullptr) {
        m_rules.mark_destroyed(record_of(message), "natsMsg_Destroy");
        record_of(message).block = {}; // the address sanitizer sees a later use
    }
}

} // namespace arvenhold::corvel::hub
