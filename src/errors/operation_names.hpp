// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string_view>

namespace arvenhold::corvel::hub::operation_name {

// What the library was doing when something failed. These names are part of the exceptions' texts,
// and operators search for them.

inline constexpr std::string_view connect_to = "connect to";
inline constexpr std::string_view subscribe_read_request = "subscribe to the read request subject";
inline constexpr std::string_view subscribe_write_command =
    "subscribe to the write command subject";
inline constexpr std::string_view subscribe_registry_state =
    "subscribe to the registry state subject";
inline constexpr std::string_view subscribe_verdict = "subscribe to the definition changed subject";
inline constexpr std::string_view publish_definition = "publish the provider definition";
inline constexpr std::string_view publish_variables = "publish variables";
inline constexpr std::string_view publish_updated_variables = "publish updated variables";
inline constexpr std::string_view force_publish_variables = "force-publish variables";
inline constexpr std::string_view subscribe_providers_changed =
    "subscribe to the providers changed event subject";
inline constexpr std::string_view request_providers_list = "request the initial providers list";
inline constexpr std::string_view request_definition = "request a provider definition";
inline constexpr std::string_view subscribe_definition_changed =
    "subscribe to a provider definition changed event";
inline constexpr std::string_view subscribe_variables_changed =
    "subscribe to a variables changed event";
inline constexpr std::string_view read_variables = "read variables from a provider";
inline constexpr std::string_view write_variables = "write variables into a provider";

inline constexpr std::string_view decode_registry_state = "deserialize_registry_state";
inline constexpr std::string_view decode_verdict = "deserialize_provider_definition_validity";
inline constexpr std::string_view decode_write_command = "deserialize_write_command";
inline constexpr std::string_view decode_provider_list = "de-serialize provider list";
inline constexpr std::string_view decode_definition = "de-serialize provider definition";
inline constexpr std::string_view decode_variable_definition = "de-serialize variable definition";
inline constexpr std::string_view decode_variable_update = "de-serialize variable update";
inline constexpr std::string_view decode_read_reply = "de-serialize reply to a read request";

} // namespace arvenhold::corvel::hub::operation_name
