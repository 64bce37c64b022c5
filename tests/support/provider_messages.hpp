// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Decodes the messages that a provider sends, with the FlatBuffers verifier and the generated
// accessors alone, so that the provider is not tested with its own code. Each function throws if the
// bytes are not the message that it expects.

#pragma once

#include <hub/common.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub {

/// A time stamp on the wire.
struct sent_time {
    std::int64_t seconds;
    std::int32_t nanos;

    friend bool operator==(sent_time const&, sent_time const&) = default;
};

struct sent_variable {
    variable_id id;
    variable_value value;
    int quality;
    std::optional<sent_time> when;

    friend bool operator==(sent_variable const&, sent_variable const&) = default;
};

/// A change event or the reply to a read request.
struct sent_variables {
    definition_fingerprint fingerprint;
    sent_time when;
    std::vector<sent_variable> items;

    /// The ids of the items, in their order.
    [[nodiscard]] std::vector<variable_id> ids() const;
};

struct announced_variable {
    std::string path;
    variable_id id;
    int data_type;
    int access;

    friend bool operator==(announced_variable const&, announced_variable const&) = default;
};

struct announced_definition {
    definition_fingerprint fingerprint;
    std::vector<announced_variable> variables;
    bool has_valid; ///< Whether the field `valid` is present, which only the registry writes.
};

[[nodiscard]] announced_definition announcement_in(std::string_view bytes);
[[nodiscard]] sent_variables change_event_in(std::string_view bytes);
[[nodiscard]] sent_variables read_reply_in(std::string_view bytes);

/// Splits a point in time into seconds and nanoseconds as messages do.
[[nodiscard]] sent_time as_sent(timestamp when);

} // namespace arvenhold::corvel::hub
