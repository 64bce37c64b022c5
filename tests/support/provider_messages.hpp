// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What is in the messages that a provider sends, read with the generated accessors alone after the
// FlatBuffers verifier has seen them, so that the provider is not tested with its own code. Reading
// throws when the bytes are no such message.

#pragma once

#include <hub/common.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub {

/// A time as it travels.
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
    bool has_valid; ///< Whether the registry's mark is there, whatever it says.
};

[[nodiscard]] announced_definition announcement_in(std::string_view bytes);
[[nodiscard]] sent_variables change_event_in(std::string_view bytes);
[[nodiscard]] sent_variables read_reply_in(std::string_view bytes);

/// Splits a point in time as messages do.
[[nodiscard]] sent_time as_sent(timestamp when);

} // namespace arvenhold::corvel::hub
