// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A provider: a boiler that publishes its measurements and accepts a set point and a mode from
// consumers. Runs until Ctrl-C.

#include "plant.hpp"
#include <hub/hub.hpp>

#include <chrono>
#include <csignal>
#include <exception>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <variant>
#include <vector>

namespace {

namespace hub = arvenhold::corvel::hub;

using std::chrono::system_clock;

constexpr std::chrono::milliseconds interval{200};
constexpr std::chrono::hours since_last_service{24 * 41};

// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): for the signal handler
volatile std::sig_atomic_t stop_requested = 0;

void request_stop(int) {
    stop_requested = 1;
}

// What the boiler offers. The initial values fix the types: each of the six types occurs.
void describe(hub::provider_definition& definition, plant_state const& state) {
    using permissions = hub::variable_permissions;
    definition.bulk_add_variable_definitions({
        {"pressure_bar", state.pressure_bar, permissions::read_only},
        {"temperature_celsius", state.temperature_celsius, permissions::read_only},
        {"level_mm", state.level_mm, permissions::read_only},
        {"pump_running", state.pump_running, permissions::read_only},
        {"cycle_duration", state.cycle_duration, permissions::read_only},
        {"last_service", system_clock::now() - since_last_service, permissions::read_only},
        {"set_point_celsius", state.set_point_celsius, permissions::read_write},
        {"mode", state.mode, permissions::read_write},
    });
    definition.finalize();
}

// The boiler on the hub, used by the main thread and by threads of the NATS client.
class boiler {
public:
    // Registers the variables and announces them; returns when the hub's registry has accepted.
    void connect(std::vector<std::string> const& arguments) {
        // The 1 is the version of this set of variables: change it with the set.
        hub::provider_definition definition{hub::make_fingerprint(1)};
        describe(definition, m_plant.get_state());
        m_list = m_provider.register_provider_definition(definition);
        // Variables are addressed by the ids that the library has assigned.
        for (auto const& [id, variable] : m_list->get_variables()) {
            m_ids[variable->get_path()] = id;
        }
        m_provider.set_variables_written_callback(handle_command, this);
        m_provider.connect(arguments.at(0), arguments.at(1), arguments.at(2), arguments.at(3));
    }

    // Advances the time and publishes all changes in one message.
    void advance() {
        m_plant.advance(interval);
        auto const state = m_plant.get_state();
        m_list->bulk_publish(
            {{m_ids.at("pressure_bar"), state.pressure_bar},
             {m_ids.at("temperature_celsius"), state.temperature_celsius},
             {m_ids.at("level_mm"), state.level_mm},
             {m_ids.at("pump_running"), state.pump_running},
             {m_ids.at("cycle_duration"), state.cycle_duration}},
            system_clock::now());
    }

private:
    plant m_plant;
    std::shared_ptr<hub::variable_list> m_list;
    std::map<std::string, hub::variable_id> m_ids;

    // The last member is destroyed first: no command arrives once the others are gone.
    hub::provider m_provider{"boiler"};

    // Called on a thread of the NATS client when a consumer has written something.
    static void handle_command(
        hub::definition_fingerprint,
        hub::variable_write_command const& command,
        hub::provider&,
        void* user_data) {
        auto& self = *static_cast<boiler*>(user_data);
        for (auto const& [id, value] : command.entries) {
            self.apply(id, value);
        }
        self.publish_settings();
    }

    void apply(hub::variable_id id, hub::variable_value const& value) {
        try {
            // Refuses unknown variables, read-only ones, and values of the wrong type.
            m_list->write_variable(id, value, system_clock::now());
        } catch (std::exception const& refusal) {
            std::cerr << "refused: " << refusal.what() << std::endl;
            return;
        }
        if (id == m_ids.at("mode")) {
            m_plant.set_mode(std::get<std::string>(value));
        } else {
            m_plant.set_set_point(std::get<double>(value));
        }
    }

    // Publishes the result of a command, which may differ from what was written.
    void publish_settings() {
        auto const state = m_plant.get_state();
        std::cout << "set point " << state.set_point_celsius << ", mode " << state.mode
                  << std::endl;
        m_list->bulk_publish(
            {{m_ids.at("set_point_celsius"), state.set_point_celsius},
             {m_ids.at("mode"), state.mode}},
            system_clock::now());
    }
};

void run(std::vector<std::string> const& arguments) {
    boiler boiler;
    boiler.connect(arguments);
    std::cout << "providing; Ctrl-C ends it" << std::endl;
    while (stop_requested == 0) {
        std::this_thread::sleep_for(interval);
        boiler.advance();
    }
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> const arguments(std::next(argv), std::next(argv, argc));
    if (arguments.size() != 4) {
        std::cerr << "usage: boiler <nats-url> <token-url> <client-id> <client-secret>\n";
        return 2;
    }
    std::ignore = std::signal(SIGINT, request_stop);
    std::ignore = std::signal(SIGTERM, request_stop);
    try {
        run(arguments);
    } catch (std::exception const& error) {
        // The library reconnects by itself; what ends here is beyond that. In production, a service
        // manager starts the program again.
        std::cerr << "boiler: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
