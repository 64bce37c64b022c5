// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "reliability/row.hpp"
#include "reliability/world.hpp"

#include <algorithm>
#include <chrono>
#include <functional>
#include <future>
#include <iterator>
#include <memory>
#include <string>

namespace arvenhold::corvel::hub::reliability {

std::string run_calls_from_callbacks(effort how_much);

namespace {

constexpr std::size_t variable_count = 6;
constexpr std::chrono::seconds deadlock_limit{10};

timestamp now() {
    return std::chrono::system_clock::now();
}

// A provider and a consumer whose callbacks run one operation, once.
class stage {
public:
    using operation = std::function<void(stage&)>;

private:
    // Declared first: the objects below use them in their callbacks to the very end.
    dev::dev_hub& m_hub;
    std::promise<void> m_done;
    std::mutex m_mutex;
    operation m_operation;

public:
    explicit stage(dev::dev_hub& hub)
        : m_hub{hub} {
        register_and_connect();
        connect_and_attach();
    }

    // Runs `chosen` in the chosen callback. Returns false if it has not returned in time.
    bool runs(operation chosen, std::function<void(stage&)> const& provoke_callback) {
        m_operation = std::move(chosen);
        auto done = m_done.get_future();
        try {
            provoke_callback(*this);
        } catch (operational_state_invalid const&) {
            // The operation has disconnected the provider under the provoking call.
        }
        return done.wait_for(deadlock_limit) == std::future_status::ready;
    }

    void register_and_connect() {
        provider_definition definition{variable_count};
        fill(definition, variable_count);
        list = server.register_provider_definition(definition);
        server.set_variables_written_callback(&on_written, this);
        connect(server, m_hub);
    }

    void connect_and_attach() {
        connect(client, m_hub);
        connection = client.attach_to_provider("boiler");
        connection->set_event_callback(&on_event, this);
        connection->set_variables_changed_callback(&on_change, this);
    }

    void connect_again() {
        connect(server, m_hub);
        connect(client, m_hub);
    }

    void write_first_integer() {
        auto const current = connection->get_current_variables();
        auto const chosen = std::next(current.variables->begin(), 2);
        chosen->second->set_value(std::int64_t{1}, now());
        connection->write_variables(current.fingerprint, {chosen->first});
    }

    provider server{"boiler"};
    consumer client{"monitor", false, &on_providers, this};
    std::shared_ptr<variable_list> list;
    std::shared_ptr<provider_connection> connection;

private:
    // Only the first callback runs the operation; what the operation throws does not matter here.
    void act() {
        operation chosen;
        {
            std::scoped_lock const lock{m_mutex};
            chosen.swap(m_operation);
        }
        if (!chosen) {
            return;
        }
        try {
            chosen(*this);
        } catch (std::exception const&) {
        }
        m_done.set_value();
    }

    static void on_written(
        definition_fingerprint /*fingerprint*/,
        variable_write_command const& /*command*/,
        provider& /*receiver*/,
        void* user_data) {
        static_cast<stage*>(user_data)->act();
    }

    static void on_providers(
        std::shared_ptr<std::set<std::string>> /*identifiers*/,
        consumer& /*receiver*/,
        void* user_data) {
        static_cast<stage*>(user_data)->act();
    }

    static void on_event(
        provider_connection_event /*event*/, provider_connection& /*connection*/, void* user_data) {
        static_cast<stage*>(user_data)->act();
    }

    static void on_change(
        definition_fingerprint /*fingerprint*/,
        std::vector<variable_id> /*changed*/,
        provider_connection& /*connection*/,
        void* user_data) {
        static_cast<stage*>(user_data)->act();
    }
};

struct named {
    char const* name;
    std::function<void(stage&)> call;
};

std::vector<named> operations_of_connecting() {
    return {
        {"provider::disconnect",
         [](stage& s) {
             s.server.disconnect();
         }},
        {"consumer::disconnect",
         [](stage& s) {
             s.client.disconnect();
         }},
        {"provider_connection::disconnect",
         [](stage& s) {
             s.connection->disconnect();
         }},
        {"connect",
         [](stage& s) {
             s.server.disconnect();
             s.client.disconnect();
             s.connect_again();
         }},
        {"attach_to_provider",
         [](stage& s) {
             static_cast<void>(s.client.attach_to_provider("boiler"));
         }},
        {"provider_connection::create",
         [](stage& s) {
             static_cast<void>(provider_connection::create("boiler", s.client));
         }},
    };
}

std::vector<named> operations_on_data() {
    return {
        {"read_variables",
         [](stage& s) {
             s.connection->update_all_variables();
         }},
        {"request_provider_definition",
         [](stage& s) {
             s.connection->request_provider_definition();
         }},
        {"write_variables",
         [](stage& s) {
             s.write_first_integer();
         }},
        {"publish",
         [](stage& s) {
             s.server.publish(now());
         }},
        {"force_publish_all",
         [](stage& s) {
             s.server.force_publish_all(now());
         }},
        {"register_provider_definition",
         [](stage& s) {
             s.register_and_connect();
         }},
        {"get_*",
         [](stage& s) {
             static_cast<void>(s.server.is_connected());
             static_cast<void>(s.client.is_connected());
             static_cast<void>(s.client.get_provider_identifiers());
             static_cast<void>(s.connection->get_state());
             static_cast<void>(s.connection->get_current_variables());
             static_cast<void>(s.server.get_variable_list());
             static_cast<void>(s.server.get_fingerprint());
         }},
    };
}

std::vector<named> operations() {
    auto all = operations_of_connecting();
    std::ranges::copy(operations_on_data(), std::back_inserter(all));
    return all;
}

std::vector<named> callbacks() {
    return {
        {"variables written",
         [](stage& s) {
             s.write_first_integer();
         }},
        {"variables changed",
         [](stage& s) {
             s.server.force_publish_all(now());
         }},
        {"connection event",
         [](stage& s) {
             provider_definition definition{variable_count + 1};
             fill(definition, variable_count + 1);
             s.server.register_provider_definition(definition);
         }},
        {"providers changed",
         [](stage& s) {
             s.server.disconnect();
         }},
    };
}

} // namespace

std::string run_calls_from_callbacks(effort how_much) {
    auto const rounds = how_much == effort::full ? 100U : 2U;
    dev::dev_hub_options options;
    options.registry.probe_interval = std::chrono::milliseconds{20}; // losses are noticed soon
    dev::dev_hub hub{options};
    unsigned calls = 0;
    for (unsigned round = 0; round < rounds; ++round) {
        for (auto const& callback : callbacks()) {
            for (auto const& operation : operations()) {
                auto const scene = std::make_unique<stage>(hub);
                demand(
                    scene->runs(operation.call, callback.call),
                    std::string{operation.name} + " from the callback for " + callback.name
                        + " did not return");
                ++calls;
            }
        }
    }
    return std::to_string(calls) + " calls of " + std::to_string(operations().size())
         + " operations from " + std::to_string(callbacks().size())
         + " callbacks, each within 10 s";
}

} // namespace arvenhold::corvel::hub::reliability
