// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/raw_peer.hpp"

#include <optional>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

constexpr std::chrono::milliseconds reconnect_wait{20};
constexpr std::chrono::milliseconds settle_attempt{100};
constexpr int without_end = -1;

void require(natsStatus status, std::string const& action) {
    if (status != NATS_OK) {
        throw peer_failure{"failed to " + action + ": " + natsStatus_GetText(status)};
    }
}

std::string text_of(char const* text) {
    return text != nullptr ? text : "";
}

std::string bytes_of(natsMsg const* message) {
    return {natsMsg_GetData(message), static_cast<std::size_t>(natsMsg_GetDataLength(message))};
}

// Returns nothing when the subscription has ended.
std::optional<peer_message> next_message(
    natsSubscription* subscription, std::chrono::milliseconds limit, natsStatus& status) {
    natsMsg* received = nullptr;
    status = natsSubscription_NextMsg(&received, subscription, limit.count());
    dev::nats_message const message{received};
    if (status != NATS_OK) {
        return std::nullopt;
    }
    return peer_message{
        text_of(natsMsg_GetSubject(received)),
        text_of(natsMsg_GetReply(received)),
        bytes_of(received)};
}

void react_until_unsubscribed(natsSubscription* subscription, raw_peer::reaction const& react) {
    natsStatus status = NATS_OK;
    while (status == NATS_OK || status == NATS_TIMEOUT) {
        auto const message = next_message(subscription, patience, status);
        if (message) {
            react(*message);
        }
    }
}

} // namespace

peer_inbox::peer_inbox(natsSubscription* subscription)
    : m_subscription{subscription} {}

peer_message peer_inbox::take(std::chrono::milliseconds limit) {
    natsStatus status = NATS_OK;
    auto const message = next_message(m_subscription, limit, status);
    require(status, "get a message");
    return *message;
}

std::uint64_t peer_inbox::waiting() const {
    std::uint64_t count = 0;
    require(natsSubscription_QueuedMsgs(m_subscription, &count), "count messages");
    return count;
}

raw_peer::raw_peer(std::string const& url, std::string const& token) {
    natsOptions* created = nullptr;
    require(natsOptions_Create(&created), "create options");
    dev::nats_options const options{created};
    require(natsOptions_SetURL(created, url.c_str()), "set the URL");
    require(natsOptions_SetToken(created, token.c_str()), "set the token");
    require(natsOptions_SetMaxReconnect(created, without_end), "set the reconnect attempts");
    require(natsOptions_SetReconnectWait(created, reconnect_wait.count()), "set the wait");
    require(natsOptions_SetReconnectJitter(created, 0, 0), "set the jitter");
    natsConnection* connection = nullptr;
    require(natsConnection_Connect(&connection, created), "connect to " + url);
    m_connection.reset(connection);
}

raw_peer::~raw_peer() {
    for (auto const& subscription : m_subscriptions) {
        natsSubscription_Unsubscribe(subscription.get());
    }
    m_reactions.clear(); // joined while they may still publish
    // A subscription that is destroyed while its connection still receives crashes the NATS client.
    natsConnection_Close(m_connection.get());
}

natsSubscription* raw_peer::subscribe(std::string const& subject) {
    natsSubscription* subscription = nullptr;
    require(
        natsConnection_SubscribeSync(&subscription, m_connection.get(), subject.c_str()),
        "subscribe to " + subject);
    {
        std::scoped_lock const lock{m_mutex};
        m_subscriptions.emplace_back(subscription);
    }
    settle();
    return subscription;
}

peer_inbox raw_peer::listen(std::string const& subject) {
    return peer_inbox{subscribe(subject)};
}

void raw_peer::on_message(std::string const& subject, reaction react) {
    auto* const subscription = subscribe(subject);
    std::scoped_lock const lock{m_mutex};
    m_reactions.emplace_back([subscription, react = std::move(react)] {
        react_until_unsubscribed(subscription, react);
    });
}

void raw_peer::answer(std::string const& subject, std::string const& bytes) {
    on_message(subject, [this, bytes](peer_message const& request) {
        publish(request.reply_subject, bytes);
    });
}

void raw_peer::publish(
    std::string const& subject, std::string const& bytes, std::string const& reply_subject) {
    natsMsg* created = nullptr;
    require(
        natsMsg_Create(
            &created,
            subject.c_str(),
            reply_subject.empty() ? nullptr : reply_subject.c_str(),
            bytes.data(),
            static_cast<int>(bytes.size())),
        "create a message");
    dev::nats_message const message{created};
    require(natsConnection_PublishMsg(m_connection.get(), created), "publish to " + subject);
    settle();
}

peer_answer raw_peer::request(
    std::string const& subject, std::string const& bytes, std::chrono::milliseconds limit) {
    natsMsg* received = nullptr;
    auto const status = natsConnection_Request(
        &received,
        m_connection.get(),
        subject.c_str(),
        bytes.data(),
        static_cast<int>(bytes.size()),
        limit.count());
    dev::nats_message const message{received};
    return {status, status == NATS_OK ? bytes_of(received) : std::string{}};
}

void raw_peer::settle() {
    auto const deadline = std::chrono::steady_clock::now() + patience;
    auto status = NATS_TIMEOUT;
    while (status != NATS_OK && std::chrono::steady_clock::now() < deadline) {
        status = natsConnection_FlushTimeout(m_connection.get(), settle_attempt.count());
    }
    require(status, "exchange a round trip with the server");
}

} // namespace arvenhold::corvel::hub
