// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Writes everything on the hub to standard output, one line of JSON for each event: every change of
// every provider, also of those that come later, and every loss and return. Runs until SIGTERM.

#include <hub/hub.hpp>
#include <hub/session/consumer_session.hpp>

#include <nlohmann/json.hpp>
#include <poll.h>

#include <csignal>
#include <iostream>
#include <tuple>

namespace {

namespace hub = arvenhold::corvel::hub;
using json = nlohmann::ordered_json;

void write_line(json const& event) { // flushes; a string that is not UTF-8 is written, too
    std::cout << event.dump(-1, ' ', false, json::error_handler_t::replace) << std::endl;
}

json to_json(hub::timestamp when) { // nanoseconds since 1970
    return when.time_since_epoch().count();
}

json to_json(std::chrono::nanoseconds duration) {
    return duration.count();
}

template <class Value>
json to_json(Value const& value) {
    return value;
}

void write_reading(hub::any_reading const& now) {
    json line{{"provider", now.provider}, {"path", now.path}, {"when", to_json(now.when)}};
    line["value"] = std::visit([](auto const& value) { return to_json(value); }, now.value);
    line["quality"] = hub::name_of(now.quality);
    line["live"] = now.freshness == hub::freshness::live;
    line["skipped"] = now.skipped; // changes that were too many for the queue
    write_line(line);
}

} // namespace

int main(int argc, char** argv) try {
    std::vector<std::string> const access(argv, std::next(argv, argc));
    if (access.size() != 5) {
        std::cerr << "usage: json_logger <nats-url> <token-url> <client-id> <client-secret>\n";
        return 2;
    }
    static volatile std::sig_atomic_t stop_requested = 0;
    for (auto const number : {SIGINT, SIGTERM}) {
        std::ignore = std::signal(number, [](int) { stop_requested = 1; });
    }
    hub::consumer_session logger{
        "json-logger",
        {access[1], access[2], access[3], access[4], {}},
        hub::session_settings{}.set_handlers_wait_for_dispatch(true),
        hub::variable_permissions::read_only};
    logger.set_status_handler([](auto const& provider, auto const& status) {
        write_line({{"provider", provider}, {"status", status.text}}); // or of the logger: ""
    });
    auto everything = logger.follow_all("**", "**", hub::change_queue::every(100'000));
    everything.on_change(write_reading);
    logger.start();
    pollfd handlers{logger.get_dispatch_descriptor(), POLLIN, 0};
    while (stop_requested == 0 && std::cout) {
        poll(&handlers, 1, 200);
        logger.dispatch();
    }
    return std::cout ? 0 : 1;
} catch (std::exception const& error) {
    std::cerr << "json_logger: " << error.what() << '\n';
    return 1;
}
