// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A thermostat in one thread: its event loop runs the handlers of both sessions and reads the
// standard input, so what they share needs no lock. Each line of the input is a new set point.

#include <hub/session/consumer_session.hpp>
#include <hub/session/provider_session.hpp>

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace hub = arvenhold::corvel::hub;

class thermostat {
public:
    explicit thermostat(hub::hub_access const& access)
        : m_output{"thermostat", access, in_loop()}
        , m_heating{m_output.declare<bool>("heating", false)}
        , m_set_point{m_output.declare<double>(
              "set_point",
              150.0,
              hub::writable,
              [this](hub::write_request<double> wanted) { take(std::move(wanted)); })}
        , m_input{"thermostat", access, in_loop()}
        , m_temperature{m_input.follow<double>("oven", "temperature")} {
        m_temperature.on_change([this](auto const&) { decide(); });
        m_output.start();
        m_input.start();
    }

    void run() {
        std::array<pollfd, 3> awaited{
            {{STDIN_FILENO, POLLIN, 0},
             {m_output.get_dispatch_descriptor(), POLLIN, 0},
             {m_input.get_dispatch_descriptor(), POLLIN, 0}}};
        for (bool goes_on = true; goes_on;) {
            ::poll(awaited.data(), awaited.size(), -1);
            m_output.dispatch(); // runs the handlers that wait, if any
            m_input.dispatch();
            if (awaited[0].revents != 0) {
                goes_on = read_set_point();
            }
        }
    }

private:
    hub::provider_session m_output;
    hub::variable_handle<bool> m_heating;
    hub::variable_handle<double> m_set_point;
    hub::consumer_session m_input;
    hub::followed_variable<double> m_temperature;

    static hub::session_settings in_loop() {
        return hub::session_settings{}.set_handlers_wait_for_dispatch(true);
    }

    void take(hub::write_request<double> wanted) {
        wanted.accept();
        decide();
    }

    // Reads what there is, up to one line. Returns whether the input goes on.
    bool read_set_point() {
        std::array<char, 64> line{};
        auto const size = ::read(STDIN_FILENO, line.data(), line.size() - 1);
        if (size > 0) {
            m_set_point.set(std::strtod(line.data(), nullptr));
            decide();
        }
        return size > 0;
    }

    void decide() {
        auto const now = m_temperature.now();
        auto const on = now.is_good() && now.value < m_set_point.get(); // stale: rather off
        m_heating.set(on);
        std::cout << "heating: " << (on ? "on" : "off") << std::endl;
    }
};

} // namespace

int main(int argc, char** argv) try {
    std::vector<std::string> const given(argv, std::next(argv, argc));
    if (given.size() != 5) {
        std::cerr << "usage: event_loop <nats-url> <token-url> <client-id> <client-secret>\n";
        return 2;
    }
    thermostat{{given[1], given[2], given[3], given[4], {}}}.run();
} catch (std::exception const& error) {
    std::cerr << "event_loop: " << error.what() << '\n';
    return 1;
}
