// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "support/captured_stream.hpp"
#include "support/consumer_messages.hpp"
#include "support/fake_nats.hpp"
#include "support/recorded.hpp"
#include <hub/consumer.hpp>
#include <hub/consumer_variable.hpp>
#include <hub/provider_connection.hpp>

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace arvenhold::corvel::hub {

using state = provider_connection_state;
using event = provider_connection_event;

inline constexpr auto providers_query = "v1.loc.registry.providers.qry.read";
inline constexpr auto providers_changed = "v1.loc.registry.providers.evt.changed";
inline constexpr auto definition_query = "v1.loc.registry.providers.boiler.def.qry.read";
inline constexpr auto definition_changed = "v1.loc.registry.providers.boiler.def.evt.changed";
inline constexpr auto variables_query = "v1.loc.boiler.vars.qry.read";
inline constexpr auto variables_write = "v1.loc.boiler.vars.cmd.write";
inline constexpr auto variables_changed = "v1.loc.boiler.vars.evt.changed";

/// What a consumer's variable holds.
using held = std::tuple<variable_value, variable_quality, timestamp, std::uint64_t>;

/// A consumer "panel" over a NATS client that is a fake. The registry knows two providers, "boiler"
/// and "pump". Boiler's definition has the fingerprint 77 and three variables: 1 "temperature",
/// read-only, 2 "set_point" and 3 "mode"; a read is answered with 20.5, 60.0 and "auto".
class panel_test : public testing::Test {
protected:
    explicit panel_test(bool read_only = false);

    /// Connects the consumer.
    void connect();

    /// Connects the consumer unless it is, attaches it to the boiler and listens to everything.
    std::shared_ptr<provider_connection> attach();

    /// Lets `connection` write into the journal: "<event> <provider>" and "changed <provider>
    /// <fingerprint>: <ids>".
    void listen_to(provider_connection& connection);

    /// Answers the requests on `subject`.
    void answer(std::string const& subject, std::string const& bytes);

    /// Lets the requests on `subject` fail.
    void refuse(std::string const& subject, natsStatus status);

    /// The subjects of all requests so far, in their order.
    std::vector<std::string> requested_subjects() const;

    void announce_providers(std::vector<std::string> const& identifiers);

    captured_stream error_output;
    captured_stream output;
    fake_nats nats;
    recorded<std::string> journal;
    consumer panel;

private:
    static void record_list(
        std::shared_ptr<std::set<std::string>> identifiers, consumer& receiver, void* user_data);
    static void record_event(event what, provider_connection& connection, void* user_data);
    static void record_change(
        definition_fingerprint fingerprint,
        std::vector<variable_id> changed,
        provider_connection& connection,
        void* user_data);
};

/// Boiler's variables, as the registry describes them.
std::vector<wire::variable_definition_table> boiler_variables();

/// Boiler's values, each read a second after the one before.
std::vector<wire::variable_table> boiler_values();

/// A point in time as messages carry it and as variables hold it.
inline constexpr wire::time_struct wire_noon{1'700'000'000, 123'456'789};
inline constexpr timestamp at_noon{std::chrono::nanoseconds{1'700'000'000'123'456'789}};

/// A connection's variable.
consumer_variable& variable(provider_connection& connection, variable_id id);

/// What a connection's variable holds.
held content(provider_connection& connection, variable_id id);

/// The qualities of all variables of a connection, in the order of their ids.
std::vector<variable_quality> qualities(provider_connection& connection);

} // namespace arvenhold::corvel::hub
