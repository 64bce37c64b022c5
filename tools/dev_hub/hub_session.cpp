// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/hub_session.hpp"

#include "dev_hub/dev_hub_failure.hpp"

#include <chrono>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub::dev {
namespace {

constexpr std::chrono::milliseconds reconnect_wait{50};
constexpr std::chrono::milliseconds flush_limit{5000};
constexpr int unlimited = -1;

void on_message(natsConnection*, natsSubscription*, natsMsg* message, void* closure) noexcept {
    nats_message owned{message};
    if (auto const box = mailbox_address::find(closure)) {
        box->post(std::move(owned));
    }
}

void on_reconnect(natsConnection*, void* closure) noexcept {
    if (auto const box = mailbox_address::find(closure)) {
        box->post(reconnected{});
    }
}

void require(natsStatus status, std::string const& action) {
    if (status != NATS_OK) {
        throw dev_hub_failure{
            "the registry failed to " + action + ": " + natsStatus_GetText(status)};
    }
}

void set_servers(natsOptions* options, hub_session_settings const& settings) {
    std::vector<char const*> urls;
    for (auto const& url : settings.urls) {
        urls.push_back(url.c_str());
    }
    require(
        natsOptions_SetServers(options, urls.data(), static_cast<int>(urls.size())),
        "set the servers");
    // The NATS client takes tls:// for a wish, and would show the token to a server without TLS.
    auto const is_encrypted =
        std::any_of(settings.urls.begin(), settings.urls.end(), [](auto const& url) {
            return url.starts_with("tls://");
        });
    if (is_encrypted || !settings.ca_file.empty()) {
        require(natsOptions_SetSecure(options, true), "switch TLS on");
    }
    if (!settings.ca_file.empty()) {
        require(
            natsOptions_LoadCATrustedCertificates(options, settings.ca_file.c_str()),
            "load the authorities in " + settings.ca_file);
    }
}

nats_options make_options(hub_session_settings const& settings, void* closure) {
    natsOptions* created = nullptr;
    require(natsOptions_Create(&created), "create options");
    nats_options options{created};
    set_servers(created, settings);
    require(natsOptions_SetName(created, settings.client.c_str()), "set the name");
    require(natsOptions_SetToken(created, settings.token.c_str()), "set the token");
    // A client waits for each of the registry's replies.
    require(natsOptions_SetSendAsap(created, true), "switch immediate sending on");
    require(natsOptions_SetNoEcho(created, true), "switch the echo off");
    require(natsOptions_SetMaxReconnect(created, unlimited), "set the reconnect attempts");
    require(natsOptions_SetReconnectWait(created, reconnect_wait.count()), "set the wait");
    require(natsOptions_SetReconnectJitter(created, 0, 0), "set the jitter");
    require(natsOptions_SetReconnectedCB(created, on_reconnect, closure), "set the callback");
    // One thread delivers for all subscriptions. That keeps the order among them, and saves a
    // thread for each.
    require(natsOptions_UseGlobalMessageDelivery(created, true), "share the delivery");
    return options;
}

} // namespace

hub_session::hub_session(hub_session_settings const& settings, std::shared_ptr<mailbox> const& box)
    : m_address{box} {
    natsStatistics* statistics = nullptr;
    require(natsStatistics_Create(&statistics), "create statistics");
    m_statistics.reset(statistics);
    auto const options = make_options(settings, m_address.get_closure());
    natsConnection* connection = nullptr;
    if (auto const status = natsConnection_Connect(&connection, options.get()); status != NATS_OK) {
        throw hub_connection_failure{
            "cannot connect to " + settings.urls.front() + ": " + natsStatus_GetText(status),
            status};
    }
    m_connection.reset(connection);
}

hub_session::~hub_session() {
    // A subscription that is destroyed while its connection still receives crashes the NATS client.
    for (auto const& subscription : m_subscriptions) {
        natsSubscription_Unsubscribe(subscription.get());
    }
    natsConnection_Close(m_connection.get());
}

bool hub_session::is_connected() const {
    return get_state() == hub_session_state::connected;
}

hub_session_state hub_session::get_state() const {
    auto const status = natsConnection_Status(m_connection.get());
    if (status == NATS_CONN_STATUS_CLOSED) {
        return hub_session_state::closed;
    }
    return status == NATS_CONN_STATUS_CONNECTED ? hub_session_state::connected
                                                : hub_session_state::disconnected;
}

bool hub_session::was_forbidden() const {
    char const* text = nullptr;
    return natsConnection_GetLastError(m_connection.get(), &text) == NATS_NOT_PERMITTED;
}

std::uint64_t hub_session::get_reconnect_count() const {
    std::uint64_t count = 0;
    natsConnection_GetStats(m_connection.get(), m_statistics.get());
    natsStatistics_GetCounts(m_statistics.get(), nullptr, nullptr, nullptr, nullptr, &count);
    return count;
}

std::uint64_t hub_session::get_dropped() const {
    std::uint64_t all = 0;
    for (auto const& subscription : m_subscriptions) {
        std::int64_t dropped = 0;
        natsSubscription_GetDropped(subscription.get(), &dropped);
        all += static_cast<std::uint64_t>(dropped);
    }
    return all;
}

void hub_session::subscribe(std::string const& subject) {
    natsSubscription* subscription = nullptr;
    require(
        natsConnection_Subscribe(
            &subscription,
            m_connection.get(),
            subject.c_str(),
            on_message,
            m_address.get_closure()),
        "subscribe to " + subject);
    m_subscriptions.emplace_back(subscription);
}

void hub_session::flush() {
    require(natsConnection_FlushTimeout(m_connection.get(), flush_limit.count()), "flush");
}

natsStatus hub_session::publish(
    std::string const& subject, std::string const& reply, message_bytes const& bytes) {
    auto const size = static_cast<int>(bytes.size());
    if (reply.empty()) {
        return natsConnection_Publish(m_connection.get(), subject.c_str(), bytes.data(), size);
    }
    return natsConnection_PublishRequest(
        m_connection.get(), subject.c_str(), reply.c_str(), bytes.data(), size);
}

} // namespace arvenhold::corvel::hub::dev
