// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The NATS client without the library, for what the library is compared with.

#pragma once

#include "dev_hub/nats_handles.hpp"

#include <cstdint>
#include <functional>
#include <list>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace arvenhold::corvel::hub::bench {

/// A connection to a server that admits the holders of a token.
class raw_nats {
public:
    using handler = std::function<void(natsMsg&)>;

    raw_nats(std::string const& url, std::string const& token, bool send_immediately = false) {
        natsOptions* created = nullptr;
        require(natsOptions_Create(&created));
        dev::nats_options const options{created};
        require(natsOptions_SetURL(created, url.c_str()));
        require(natsOptions_SetToken(created, token.c_str()));
        require(natsOptions_SetSendAsap(created, send_immediately));
        natsConnection* connection = nullptr;
        require(natsConnection_Connect(&connection, created));
        m_connection.reset(connection);
    }

    raw_nats(raw_nats const&) = delete;
    raw_nats& operator=(raw_nats const&) = delete;

    ~raw_nats() {
        constexpr std::int64_t limit_in_milliseconds = 1'000;
        for (auto const& subscription : m_subscriptions) {
            natsSubscription_Drain(subscription.get());
            natsSubscription_WaitForDrainCompletion(subscription.get(), limit_in_milliseconds);
        }
        // A subscription that is destroyed while its connection still receives crashes the client.
        natsConnection_Close(m_connection.get());
    }

    void publish(std::string const& subject, std::string_view bytes) {
        require(natsConnection_Publish(
            m_connection.get(), subject.c_str(), bytes.data(), static_cast<int>(bytes.size())));
    }

    /// Calls `handle` with every message; the server knows it when this returns.
    void subscribe(std::string const& subject, handler handle) {
        auto& kept = m_handlers.emplace_back(std::move(handle));
        natsSubscription* subscription = nullptr;
        require(natsConnection_Subscribe(
            &subscription, m_connection.get(), subject.c_str(), &deliver, &kept));
        m_subscriptions.emplace_back(subscription);
        require(natsConnection_Flush(m_connection.get()));
    }

    std::string request(std::string const& subject, std::string_view bytes) {
        constexpr std::int64_t limit_in_milliseconds = 60'000;
        natsMsg* received = nullptr;
        require(natsConnection_Request(
            &received,
            m_connection.get(),
            subject.c_str(),
            bytes.data(),
            static_cast<int>(bytes.size()),
            limit_in_milliseconds));
        dev::nats_message const reply{received};
        return std::string{bytes_of(*received)};
    }

    static std::string_view bytes_of(natsMsg& message) {
        return {
            natsMsg_GetData(&message), static_cast<std::size_t>(natsMsg_GetDataLength(&message))};
    }

private:
    dev::nats_connection m_connection;
    std::list<handler> m_handlers;
    std::list<dev::nats_subscription> m_subscriptions;

    static void require(natsStatus status) {
        if (status != NATS_OK) {
            throw std::runtime_error{natsStatus_GetText(status)};
        }
    }

    static void deliver(
        natsConnection* /*connection*/,
        natsSubscription* /*subscription*/,
        natsMsg* message,
        void* closure) {
        dev::nats_message const owned{message};
        (*static_cast<handler*>(closure))(*message);
    }
};

} // namespace arvenhold::corvel::hub::bench
