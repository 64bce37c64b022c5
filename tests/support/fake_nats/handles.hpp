// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "support/fake_nats/delivery.hpp"

#include <nats/nats.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub::fakes {

// The records behind the NATS client's handles. The record of a destroyed handle is kept, so that a
// later use of the handle is recognised. The engine's mutex guards all of them.

struct handle_record {
    std::string name;
    bool is_destroyed = false;
};

template <class Handler>
struct callback {
    Handler function = nullptr;
    void* closure = nullptr;
};

struct message_record : handle_record {
    std::optional<std::string> reply;
    std::vector<char> block; // of exactly the size needed, for the address sanitizer
    std::size_t misalignment = 0;
    std::size_t size = 0;
};

struct options_record : handle_record {
    callback<natsTokenHandler> token;
    callback<natsConnectionHandler> reconnected;
    callback<natsConnectionHandler> disconnected;
};

struct connection_record : handle_record {
    options_record options;
    bool is_closed = false;
    bool is_lost = false; // until the test lets it regain its link
    std::uint64_t reconnects = 0;
    int requests_in_flight = 0;
};

struct subscription_record : handle_record {
    connection_record* connection = nullptr;
    callback<natsMsgHandler> handler;
    bool is_unsubscribed = false;
    bool is_flushed = false; // since it was unsubscribed
    std::int64_t dropped = 0;
    delivery_thread thread;
};

inline bool is_open(subscription_record const& subscription) {
    return !subscription.is_unsubscribed && !subscription.connection->is_closed;
}

// The client declares its types without defining them, so a handle is the address of our record.
template <class Handle, class Record>
Handle* handle_of(Record& record) {
    return static_cast<Handle*>(static_cast<void*>(&record));
}

inline message_record& record_of(natsMsg* handle) {
    return *static_cast<message_record*>(static_cast<void*>(handle));
}

inline message_record const& record_of(natsMsg const* handle) {
    return *static_cast<message_record const*>(static_cast<void const*>(handle));
}

inline options_record& record_of(natsOptions* handle) {
    return *static_cast<options_record*>(static_cast<void*>(handle));
}

inline connection_record& record_of(natsConnection* handle) {
    return *static_cast<connection_record*>(static_cast<void*>(handle));
}

inline subscription_record& record_of(natsSubscription* handle) {
    return *static_cast<subscription_record*>(static_cast<void*>(handle));
}

} // namespace arvenhold::corvel::hub::fakes
