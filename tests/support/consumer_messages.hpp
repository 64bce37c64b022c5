// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The messages that a consumer receives and sends. The received ones are written without the schema;
// the sent ones are decoded with the FlatBuffers verifier and the generated accessors alone, so that
// the consumer is not tested with its own code.

#pragma once

#include "support/odd_messages.hpp"
#include <hub/common.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub {

namespace wire {

inline constexpr std::uint8_t bool_code = 1;
inline constexpr std::uint8_t duration_code = 2;
inline constexpr std::uint8_t double_code = 3;
inline constexpr std::uint8_t int64_code = 4;
inline constexpr std::uint8_t string_code = 5;
inline constexpr std::uint8_t timestamp_code = 6;

inline constexpr std::uint8_t read_only_code = 1;
inline constexpr std::uint8_t read_write_code = 2;

inline constexpr std::uint8_t good_code = 192;

/// A variable as the registry describes it.
variable_definition_table defined(
    std::uint32_t id,
    std::string const& path,
    std::uint8_t type,
    std::uint8_t access = read_write_code);

/// An item with a value and without a time stamp. The tag follows from the type of the value; a time
/// is tagged as a point in time.
variable_table item(std::uint32_t id, value_field const& value, std::uint8_t quality = good_code);

/// Returns an item with a time stamp.
variable_table at(time_struct const& when, variable_table item);

std::string provider_list_reply(std::vector<std::string> const& identifiers);
std::string provider_list_event(std::vector<std::string> const& identifiers);
std::string definition_reply(
    std::uint64_t fingerprint, std::vector<variable_definition_table> const& variables);
std::string definition_event(
    std::uint64_t fingerprint, std::vector<variable_definition_table> const& variables);
std::string read_reply(std::uint64_t fingerprint, std::vector<variable_table> const& items);
std::string change_event(
    std::uint64_t fingerprint,
    std::vector<variable_table> const& items,
    time_struct const& when = {});

} // namespace wire

/// One item of a write command.
struct commanded_variable {
    variable_id id = 0;
    variable_value value;

    friend bool operator==(commanded_variable const&, commanded_variable const&) = default;
};

/// A write command as a consumer has sent it.
struct sent_command {
    definition_fingerprint fingerprint = 0;
    std::int64_t seconds = 0; ///< The time of the command.
    std::int32_t nanos = 0;
    std::vector<commanded_variable> items;
};

// These throw if the bytes are not the message that they expect.

[[nodiscard]] sent_command write_command_in(std::string_view bytes);
[[nodiscard]] std::vector<variable_id> requested_ids_in(std::string_view bytes);

} // namespace arvenhold::corvel::hub
