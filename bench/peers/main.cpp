// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// One process of a comparison: the publisher, which measures and prints what it found as a line of
// JSON, or the subscriber, which ends with its standard input. Started by `run`.

#include "measurement.hpp"
#include "progress.hpp"
#include "transport.hpp"

#include <nlohmann/json.hpp>

#include <unistd.h>

#include <chrono>
#include <exception>
#include <iostream>
#include <iterator>
#include <limits>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace peers = arvenhold::corvel::hub::peers;

constexpr std::chrono::milliseconds check_interval{5};

peers::transport transport_called(std::string const& name) {
    using peers::delivery;
    using peers::sending;
    std::map<std::string, peers::transport> const known{
        {"hub", peers::hub_transport(sending::collected)},
        {"hub-immediately", peers::hub_transport(sending::immediately)},
        {"nats", peers::nats_transport(sending::collected)},
        {"nats-immediately", peers::nats_transport(sending::immediately)},
        {"mosquitto-0", peers::mosquitto_transport(delivery::at_most_once)},
        {"mosquitto-1", peers::mosquitto_transport(delivery::acknowledged)},
        {"cyclone-best-effort", peers::cyclone_transport(delivery::at_most_once)},
        {"cyclone-reliable", peers::cyclone_transport(delivery::acknowledged)},
        {"zeromq", peers::zeromq_transport()}};
    return known.at(name);
}

void publish(
    peers::transport const& peer,
    peers::settings const& chosen,
    peers::progress& shared,
    pid_t server_process) {
    auto const publisher = peer.make_publisher(chosen);
    shared.publisher_ready = true;
    peers::measurement measurement{*publisher, shared, chosen.count, server_process};
    measurement.warm_up();
    auto const fast = measurement.publish_back_to_back();
    auto const slow = measurement.publish_slowly();
    nlohmann::ordered_json const results{
        {"values_per_second", fast.values_per_second},
        {"lost_share", fast.lost_share},
        {"publisher_seconds", fast.publisher_seconds},
        {"subscriber_seconds", fast.subscriber_seconds},
        {"server_seconds", fast.server_seconds},
        {"latency_median", slow.median},
        {"latency_percentile_99", slow.percentile_99}};
    std::cout << results.dump() << std::endl;
}

void subscribe(
    peers::transport const& peer, peers::settings const& chosen, peers::progress& shared) {
    shared.subscriber_process = ::getpid();
    while (!shared.publisher_ready) {
        std::this_thread::sleep_for(check_interval);
    }
    auto const subscriber = peer.make_subscriber(
        chosen, [&shared](peers::update const& arrival) { shared.note(arrival); });
    std::cin.ignore(std::numeric_limits<std::streamsize>::max());
}

void run(std::vector<std::string> const& arguments) {
    auto const peer = transport_called(arguments.at(0));
    auto const& role = arguments.at(1);
    auto& shared = peers::map_progress(std::stoi(arguments.at(2)));
    pid_t const server_process = std::stoi(arguments.at(3));
    peers::settings const chosen{
        std::stoul(arguments.at(4)), {std::next(arguments.begin(), 5), arguments.end()}};
    if (role == "publisher") {
        publish(peer, chosen, shared, server_process);
    } else {
        subscribe(peer, chosen, shared);
    }
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> const arguments(std::next(argv), std::next(argv, argc));
    if (arguments.size() < 5) {
        std::cerr << "usage: corvel-hub-bench-peer <peer> publisher|subscriber <shared file> "
                     "<process of the server> <variables> <access>...\n";
        return 2;
    }
    try {
        run(arguments);
    } catch (std::exception const& error) {
        std::cerr << "corvel-hub-bench-peer: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
