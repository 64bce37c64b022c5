// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "transport.hpp"
#include <hub/hub.hpp>

#include <tuple>
#include <utility>

namespace arvenhold::corvel::hub::peers {

namespace {

using new_values = std::vector<std::tuple<variable_id, variable_value>>;

constexpr auto provider_identifier = "press";

connect_options options_for(sending kind) {
    return connect_options{}.set_send_immediately(kind == sending::immediately);
}

class hub_publisher : public publisher {
public:
    hub_publisher(settings const& chosen, sending kind) {
        provider_definition definition{1};
        for (std::size_t position = 0; position < chosen.count; ++position) {
            definition.add_variable_definition(
                "value_" + std::to_string(position), 0.0, variable_permissions::read_only);
        }
        definition.finalize();
        m_list = m_provider.register_provider_definition(definition);
        for (auto const& [id, variable] : m_list->get_variables()) {
            m_values.emplace_back(id, static_cast<double>(id));
        }
        auto const& access = chosen.access;
        m_provider.connect(
            access.at(0), access.at(1), access.at(2), access.at(3), options_for(kind));
    }

    void publish(update const& next) override {
        std::get<variable_value>(m_values.front()) = static_cast<double>(next.number);
        m_list->bulk_publish(m_values, timestamp{next.sent});
    }

private:
    provider m_provider{provider_identifier};
    std::shared_ptr<variable_list> m_list;
    new_values m_values;
};

class hub_subscriber : public subscriber {
public:
    hub_subscriber(settings const& chosen, update_handler handler, sending kind)
        : m_handler{std::move(handler)} {
        auto const& access = chosen.access;
        m_consumer.connect(
            access.at(0), access.at(1), access.at(2), access.at(3), options_for(kind));
        m_connection = m_consumer.attach_to_provider(provider_identifier);
        m_first = m_connection->get_current_variables().variables->begin()->second;
        m_connection->set_variables_changed_callback(&receive, this);
    }

private:
    update_handler m_handler;
    std::shared_ptr<provider_connection> m_connection;
    std::shared_ptr<consumer_variable> m_first;
    consumer m_consumer{"panel", true, nullptr, nullptr}; // the first to go, and its thread with it

    static void receive(
        definition_fingerprint,
        std::vector<variable_id>, // NOLINT(performance-unnecessary-value-param): as given
        provider_connection&,
        void* user_data) {
        auto const& self = *static_cast<hub_subscriber*>(user_data);
        auto const [value, when] = self.m_first->get_value_with_timestamp();
        self.m_handler(
            {static_cast<std::uint64_t>(std::get<double>(value)), when.time_since_epoch()});
    }
};

} // namespace

transport hub_transport(sending kind) {
    return {
        [kind](settings const& chosen) { return std::make_unique<hub_publisher>(chosen, kind); },
        [kind](settings const& chosen, update_handler handler) {
            return std::make_unique<hub_subscriber>(chosen, std::move(handler), kind);
        }};
}

} // namespace arvenhold::corvel::hub::peers
