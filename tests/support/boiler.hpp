// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The provider "boiler" of the tests, what it registers, and what others send to it.

#pragma once

#include "support/finalized_definition.hpp"
#include <hub/variable_list.hpp>

#include <cstdint>
#include <string>

namespace arvenhold::corvel::hub {

namespace subjects {

inline constexpr char const* definition = "v1.loc.boiler.def.evt.changed";
inline constexpr char const* change_event = "v1.loc.boiler.vars.evt.changed";
inline constexpr char const* read_request = "v1.loc.boiler.vars.qry.read";
inline constexpr char const* write_command = "v1.loc.boiler.vars.cmd.write";
inline constexpr char const* registry_state = "v1.loc.registry.state.evt.changed";
inline constexpr char const* verdict = "v1.loc.registry.providers.boiler.def.evt.changed";

} // namespace subjects

inline constexpr timestamp noon{std::chrono::hours{12}};

/// Two variables: "pump/speed", 0.5, which consumers may write, and "pump/running", false, which
/// they may not.
class boiler_definition : public finalized_definition {
public:
    explicit boiler_definition(definition_fingerprint fingerprint);
};

// The ids in a list of the boiler's.
variable_id speed_of(variable_list const& list);
variable_id running_of(variable_list const& list);

/// The registry's verdict on a definition; only the mark 1 means valid.
std::string verdict_on(definition_fingerprint fingerprint, std::uint8_t valid);

/// The registry's announcement that it is ready.
std::string ready_registry();

/// A request for the values of all variables.
std::string request_for_all();

/// A command to write one number.
std::string command_to_write(definition_fingerprint fingerprint, variable_id id, double value);

} // namespace arvenhold::corvel::hub
