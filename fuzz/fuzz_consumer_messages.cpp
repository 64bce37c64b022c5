// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Any bytes for every handler of a consumer, and as replies to each of its requests. An input is a
// sequence of messages for one consumer, whose application reads and writes all that it has, and
// attaches again when its connection has faulted.

#include "fuzz/support/inputs.hpp"
#include "fuzz/support/target.hpp"
#include "support/consumer_messages.hpp"
#include "support/fake_nats.hpp"
#include <hub/hub.hpp>

#include <sstream>

namespace arvenhold::corvel::hub::fuzz {

namespace {

constexpr auto providers_query = "v1.loc.registry.providers.qry.read";
constexpr auto providers_changed = "v1.loc.registry.providers.evt.changed";
constexpr auto definition_query = "v1.loc.registry.providers.boiler.def.qry.read";
constexpr auto definition_changed = "v1.loc.registry.providers.boiler.def.evt.changed";
constexpr auto variables_query = "v1.loc.boiler.vars.qry.read";
constexpr auto variables_changed = "v1.loc.boiler.vars.evt.changed";

constexpr definition_fingerprint fingerprint = 77;

// Runs an operation of the application, which may fail as its contract says and not otherwise.
template <class Work>
void allow_failures(Work const& work) {
    try {
        work();
    } catch (serialization_fault const&) { // allowed by the contract
    } catch (operational_state_invalid const&) {
    } catch (provider_definition_mismatch const&) {
    } catch (variable_index_invalid const&) {
    } catch (incompatible_data_type const&) {
    }
}

void use_all_variables(provider_connection& connection) {
    auto const [variables, held] = connection.get_current_variables();
    std::vector<variable_id> ids;
    std::ostringstream dump;
    for (auto const& [id, variable] : *variables) {
        ids.push_back(id);
        dump << *variable;
    }
    connection.write_variables(held, ids);
}

void on_event(
    provider_connection_event /*event*/, provider_connection& connection, void* /*user_data*/) {
    allow_failures([&connection] { use_all_variables(connection); });
}

void on_change(
    definition_fingerprint /*fingerprint*/,
    // NOLINTNEXTLINE(performance-unnecessary-value-param): callbacks have the given signature
    std::vector<variable_id> /*changed*/,
    provider_connection& connection,
    void* /*user_data*/) {
    allow_failures([&connection] { use_all_variables(connection); });
}

std::vector<wire::variable_definition_table> definition() {
    return {
        wire::defined(1, "running", wire::bool_code),
        wire::defined(2, "cycle", wire::duration_code),
        wire::defined(3, "set_point", wire::double_code),
        wire::defined(4, "pieces", wire::int64_code, wire::read_only_code),
        wire::defined(5, "mode", wire::string_code),
        wire::defined(6, "service", wire::timestamp_code)};
}

bool is_final(provider_connection_state state) {
    return state == provider_connection_state::faulted
        || state == provider_connection_state::disconnected;
}

class attached_panel {
public:
    explicit attached_panel(fake_nats& nats)
        : m_nats{nats} {
        m_nats.skip_token_handler();
        attach();
    }

    void handle(raw_message const& message) {
        switch (static_cast<consumer_kind>(message.kind % consumer_kinds)) {
        case consumer_kind::providers_event:
            deliver(providers_changed, message);
            break;
        case consumer_kind::definition_event:
            deliver(definition_changed, message);
            break;
        case consumer_kind::variables_event:
            deliver(variables_changed, message);
            break;
        case consumer_kind::providers_reply:
            answer(providers_query, message);
            m_nats.regain_connection();
            break;
        case consumer_kind::definition_reply:
            answer(definition_query, message);
            lose_and_find_provider();
            break;
        case consumer_kind::read_reply:
            answer(variables_query, message);
            allow_failures([this] { m_connection->update_all_variables(); });
            break;
        case consumer_kind::connecting_reply:
            m_panel.disconnect();
            answer(providers_query, message);
            allow_failures([this] { connect(); });
            break;
        case consumer_kind::attaching_reply:
            answer(definition_query, message);
            allow_failures([this] { provider_connection::create("boiler", m_panel); });
            break;
        }
        if (is_final(m_connection->get_state())) {
            attach();
        }
    }

private:
    fake_nats& m_nats;
    consumer m_panel{"panel", false, nullptr, nullptr};
    std::shared_ptr<provider_connection> m_connection;

    void attach() {
        m_panel.disconnect();
        answer(providers_query, {.bytes = wire::provider_list_reply({"boiler"})});
        answer(definition_query, {.bytes = wire::definition_reply(fingerprint, definition())});
        answer(variables_query, {.bytes = wire::read_reply(fingerprint, {})});
        connect();
        m_connection = m_panel.attach_to_provider("boiler");
        m_connection->set_event_callback(&on_event, nullptr);
        m_connection->set_variables_changed_callback(&on_change, nullptr);
    }

    void connect() {
        m_panel.connect("nats://hub", "http://hub/token", "id", "secret");
    }

    void answer(std::string const& subject, raw_message const& message) {
        m_nats.answer_requests(
            subject, {NATS_OK, message.bytes, message.distance % std::size_t{8}});
    }

    void deliver(std::string const& subject, raw_message const& message) {
        m_nats.deliver(
            {.subject = subject,
             .bytes = message.bytes,
             .misalignment = message.distance % std::size_t{8}});
    }

    // A provider that returns is asked for its definition.
    void lose_and_find_provider() {
        deliver(providers_changed, {.bytes = wire::provider_list_event({})});
        deliver(providers_changed, {.bytes = wire::provider_list_event({"boiler"})});
    }
};

} // namespace

void try_input(std::string_view bytes) {
    fake_nats nats;
    {
        attached_panel panel{nats};
        for (auto const& message : messages_of(bytes)) {
            panel.handle(message);
        }
    }
    require(nats.drain_violations().empty(), "the NATS client's rules are kept");
    require(nats.drain_live_handles().empty(), "every handle is released");
}

} // namespace arvenhold::corvel::hub::fuzz
