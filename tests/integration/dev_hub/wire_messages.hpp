// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The messages of providers and consumers as bytes, made and read with the generated accessors
// alone, so that the registry is not tested with its own code.

#pragma once

#include "dev_hub/definition.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub::dev {

[[nodiscard]] std::string make_definition_event(definition const& published);
[[nodiscard]] std::string make_empty_definition_event();
[[nodiscard]] std::string make_definition_query();
[[nodiscard]] std::string make_list_query();
[[nodiscard]] std::string make_read_reply(std::uint64_t fingerprint);

/// A definition as a message carries it.
struct carried_definition {
    definition content;
    int valid = 0;

    friend bool operator==(carried_definition const&, carried_definition const&) = default;
};

// Reading fails the test when the bytes are no such message. What a message may lack is optional.

[[nodiscard]] std::optional<carried_definition> read_definition_changed(std::string const& bytes);
[[nodiscard]] std::optional<carried_definition> read_definition_answer(std::string const& bytes);
[[nodiscard]] std::vector<std::string> read_changed_providers(std::string const& bytes);
[[nodiscard]] std::vector<std::string> read_answered_providers(std::string const& bytes);
[[nodiscard]] int decode_registry_state(std::string const& bytes);
[[nodiscard]] std::vector<std::uint32_t> read_requested_ids(std::string const& bytes);

} // namespace arvenhold::corvel::hub::dev
