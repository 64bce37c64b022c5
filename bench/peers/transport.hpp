// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What all peers have in common: they carry updates of a number of variables from one process to
// another. Each has a file of its own; nothing else knows which it is.

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub::peers {

/// Identifies one update of all variables. Travels with the values.
struct update {
    std::uint64_t number = 0;        ///< Counts a publisher's updates, from 1.
    std::chrono::nanoseconds sent{}; ///< When, on the steady clock, which all processes share.
};

/// Ready when constructed.
class publisher {
public:
    publisher() = default;
    publisher(publisher const&) = delete;
    publisher& operator=(publisher const&) = delete;
    virtual ~publisher() = default;

    /// Passes an update of all variables to the transport.
    virtual void publish(update const& next) = 0;
};

/// Receives until destroyed.
class subscriber {
public:
    subscriber() = default;
    subscriber(subscriber const&) = delete;
    subscriber& operator=(subscriber const&) = delete;
    virtual ~subscriber() = default;
};

/// Called for each update on one thread of the transport, in order.
using update_handler = std::function<void(update const&)>;

struct settings {
    std::size_t count = 0;           ///< Variables in an update.
    std::vector<std::string> access; ///< Where the server or the publisher is; differs by peer.
};

/// One peer, with the options that are compared.
struct transport {
    std::function<std::unique_ptr<publisher>(settings const&)> make_publisher;
    std::function<std::unique_ptr<subscriber>(settings const&, update_handler)> make_subscriber;
};

enum class sending {
    collected,   ///< Messages may wait for others.
    immediately, ///< Every message costs a system call.
};

enum class delivery {
    at_most_once, ///< Nobody asks whether a message has arrived.
    acknowledged, ///< Messages are kept until their arrival is known.
};

/// The library. Access: the four arguments of `connect`.
transport hub_transport(sending kind);

/// The NATS client alone. Access: URL of the server, token.
transport nats_transport(sending kind);

/// An MQTT broker, quality of service 0 or 1. Access: its port.
transport mosquitto_transport(delivery kind);

/// Cyclone DDS, best effort or reliable. Access: nothing; it has its configuration in the
/// environment.
transport cyclone_transport(delivery kind);

/// Publisher and subscriber sockets of ZeroMQ. Access: a free port.
transport zeromq_transport();

} // namespace arvenhold::corvel::hub::peers
