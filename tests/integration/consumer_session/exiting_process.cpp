// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A program that ends while its sessions run: "static" leaves them to the destructors of static
// objects, "handler" destroys each in its own handler and returns at once from main().

#include <hub/session/consumer_session.hpp>
#include <hub/session/provider_session.hpp>

#include <exception>
#include <future>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

struct sessions {
    std::optional<provider_session> oven;
    std::optional<consumer_session> watcher;
};

// Constructed before anything of the library is used, and so destroyed late.
sessions& running() {
    static sessions instance;
    return instance;
}

void start(hub_access const& access, bool handlers_destroy) {
    auto& oven = running().oven;
    auto& watcher = running().watcher;
    std::promise<void> oven_destroyed;
    std::promise<void> watcher_destroyed;
    oven.emplace("oven", access);
    auto const temperature = oven->declare<double>("temperature", 20.0);
    watcher.emplace("watcher", access);
    auto shown = watcher->follow<double>("oven", "temperature");
    shown.on_change([&](reading<double> const& now) {
        if (handlers_destroy && now.freshness == freshness::live) {
            watcher.reset();
            watcher_destroyed.set_value();
        }
    });
    oven->set_status_handler([&, temperature](session_status const& status) {
        temperature.set(21.0);
        if (handlers_destroy && status.state == session_state::ready) {
            watcher_destroyed.get_future().wait();
            oven.reset();
            oven_destroyed.set_value();
        }
    });
    oven->start();
    watcher->start();
    if (handlers_destroy) {
        oven_destroyed.get_future().wait();
    } else {
        watcher->wait_until_ready(std::chrono::seconds{30});
        shown.on_change({});
    }
}

} // namespace

} // namespace arvenhold::corvel::hub

int main(int argc, char** argv) {
    try {
        std::vector<std::string> const arguments(argv + 1, argv + argc);
        if (arguments.size() != 3) {
            return 2;
        }
        static_cast<void>(arvenhold::corvel::hub::running());
        arvenhold::corvel::hub::start(
            {arguments[0], arguments[1], "developer", "developer-secret", {}},
            arguments[2] == "handler");
        std::cout << "main ends" << std::endl;
        return 0;
    } catch (std::exception const& error) {
        std::cerr << error.what() << std::endl;
        return 1;
    }
}
