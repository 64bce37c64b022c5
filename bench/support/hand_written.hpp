// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The floor that the library is compared with: the same messages written and read straight with
// what the schema compiler generates, by a program that keeps its values in arrays and needs
// neither locks nor ids nor types.

#pragma once

#include "protocol/hub_messages_generated.h"
#include "support/roles.hpp"

#include <cstdint>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub::bench {

struct double_sample {
    variable_id id = 0;
    double value = 0;
    VariableQuality quality = VariableQuality::Good;
    Timestamp when;
};

struct mixed_sample {
    variable_id id = 0;
    variable_value value;
    VariableQuality quality = VariableQuality::Good;
};

std::vector<double_sample> double_samples(new_values const& values);
std::vector<mixed_sample> mixed_samples(new_values const& values);

/// Writes a change event into a fresh builder of 1024 bytes and returns its size.
std::size_t encode_event(std::vector<double_sample> const& samples);
std::size_t encode_event(std::vector<mixed_sample> const& samples);

/// Writes a read reply, whose items have a time each, likewise.
std::size_t encode_reply(std::vector<double_sample> const& samples);

/// Reads every field of a change event of doubles in place. The bytes must be aligned.
double walk(std::string_view event);

/// A variable's definition, decoded.
struct plain_definition {
    variable_id id = 0;
    std::string path;
    VariableDataType type = VariableDataType::NONE;
    VariableAccess access = VariableAccess::Unspecified;
};

/// Decodes a reply to the request for a definition. The bytes must be aligned.
std::vector<plain_definition> decode_definition(std::string_view reply);

} // namespace arvenhold::corvel::hub::bench
