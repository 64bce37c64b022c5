// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "raw_client.hpp"

#include <span>
#include <stdexcept>

namespace arvenhold::corvel::hub::dev {
namespace {

void require(natsStatus status) {
    if (status != NATS_OK) {
        throw std::runtime_error{natsStatus_GetText(status)};
    }
}

wire_bytes get_bytes(natsMsg const* message) {
    auto const text = std::span{
        natsMsg_GetData(message), static_cast<std::size_t>(natsMsg_GetDataLength(message))};
    return {text.begin(), text.end()};
}

natsStatus connect(
    nats_connection& connection,
    std::string const& url,
    std::string const& token,
    std::chrono::milliseconds reconnect_wait) {
    natsOptions* created = nullptr;
    require(natsOptions_Create(&created));
    nats_options const options{created};
    require(natsOptions_SetURL(created, url.c_str()));
    require(natsOptions_SetToken(created, token.c_str()));
    require(natsOptions_SetReconnectWait(created, reconnect_wait.count()));
    require(natsOptions_SetReconnectJitter(created, 0, 0));
    require(natsOptions_SetMaxReconnect(created, -1));
    natsConnection* connected = nullptr;
    auto const status = natsConnection_Connect(&connected, created);
    connection.reset(connected);
    return status;
}

} // namespace

listener::listener(natsConnection* connection, natsSubscription* subscription)
    : m_connection{connection}
    , m_subscription{subscription} {}

std::optional<wire_bytes> listener::take(std::chrono::milliseconds limit) {
    natsMsg* taken = nullptr;
    auto const status = natsSubscription_NextMsg(&taken, m_subscription, limit.count());
    nats_message const message{taken};
    if (status != NATS_OK) {
        return {};
    }
    return get_bytes(taken);
}

bool listener::answer_next(wire_bytes const& bytes) {
    natsMsg* taken = nullptr;
    auto const status = natsSubscription_NextMsg(
        &taken, m_subscription, std::chrono::milliseconds{time_limit}.count());
    nats_message const message{taken};
    return status == NATS_OK
        && natsConnection_Publish(
               m_connection, natsMsg_GetReply(taken), bytes.data(), static_cast<int>(bytes.size()))
               == NATS_OK;
}

raw_client::raw_client(nats_server const& server, std::chrono::milliseconds reconnect_wait)
    : raw_client{server.get_url(), server.get_token(), reconnect_wait} {}

raw_client::raw_client(std::string const& url, std::string const& token)
    : raw_client{url, token, std::chrono::milliseconds{20}} {}

raw_client::raw_client(
    std::string const& url, std::string const& token, std::chrono::milliseconds reconnect_wait) {
    require(connect(m_connection, url, token, reconnect_wait));
}

raw_client::~raw_client() {
    // Before the subscriptions are destroyed: the NATS client crashes when a message comes then.
    natsConnection_Close(m_connection.get());
}

natsConnection* raw_client::get_connection() const {
    return m_connection.get();
}

listener raw_client::listen(std::string const& subject) {
    natsSubscription* subscription = nullptr;
    require(natsConnection_SubscribeSync(&subscription, m_connection.get(), subject.c_str()));
    m_subscriptions.emplace_back(subscription);
    require(natsConnection_FlushTimeout(
        m_connection.get(), std::chrono::milliseconds{time_limit}.count()));
    return {m_connection.get(), subscription};
}

void raw_client::publish(std::string const& subject, wire_bytes const& bytes) {
    require(natsConnection_Publish(
        m_connection.get(), subject.c_str(), bytes.data(), static_cast<int>(bytes.size())));
}

answer raw_client::request(
    std::string const& subject, wire_bytes const& bytes, std::chrono::milliseconds limit) {
    natsMsg* received = nullptr;
    auto const status = natsConnection_Request(
        &received,
        m_connection.get(),
        subject.c_str(),
        bytes.data(),
        static_cast<int>(bytes.size()),
        limit.count());
    nats_message const message{received};
    return {status, status == NATS_OK ? get_bytes(received) : wire_bytes{}};
}

void raw_client::close() {
    natsConnection_Close(m_connection.get());
}

natsStatus try_to_connect(std::string const& url, std::string const& token) {
    nats_connection connection;
    auto const status = connect(connection, url, token, time_limit);
    natsConnection_Close(connection.get());
    return status;
}

} // namespace arvenhold::corvel::hub::dev
