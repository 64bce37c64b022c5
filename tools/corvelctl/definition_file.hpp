// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Definitions: read from files, taken from live providers, and compared.

#pragma once

#include "corvelctl/exit_code.hpp"
#include "corvelctl/output.hpp"
#include <hub/hub.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

struct defined_variable {
    std::string path;
    variable_value initial; ///< Also fixes the type; the type's zero if the file has no value.
    variable_permissions permissions = variable_permissions::read_only;
};

struct defined_variables {
    std::string source; ///< For error texts: the file or the provider.
    std::optional<definition_fingerprint> fingerprint; ///< Only of a live provider.
    std::vector<defined_variable> variables;           ///< In the order of the file or of the ids.
    std::string provider = {};              ///< Who has them; empty if the file does not say it.
    std::vector<std::string> warnings = {}; ///< What initial values lose, with their places.
};

/// Reads a definition file: an object with the array "variables", or JSON Lines as `browse --json` and
/// `read --json` write them, where lines of other types are left out.
///
/// @param source  For error texts.
///
/// @throws failure  The text is something else (usage), or breaks a rule that every registry has
///                  (refused_locally).
[[nodiscard]] defined_variables parse_definition(std::string_view text, std::string const& source);

/// Reads the file, or standard input if the name is "-".
///
/// @throws failure  As parse_definition(), or the file cannot be read (usage).
[[nodiscard]] defined_variables load_definition(std::string const& file);

/// Warns of what initial values lose.
void show_warnings(output& out, defined_variables const& definition);

/// Returns the definition that a connected provider has.
[[nodiscard]] defined_variables get_definition(
    current_variables const& all, std::string const& provider);

/// Returns the hash of paths, types and permissions: the upper 32 bits of the fingerprints of a
/// provider_session that declares these variables.
[[nodiscard]] std::uint32_t make_content_hash(defined_variables const& definition);

enum class definition_change {
    added,
    removed,
    data_type,
    access
};

struct definition_difference {
    definition_change change;
    defined_variable const* first;  ///< Null if the first definition does not have the variable.
    defined_variable const* second; ///< Null if the second definition does not have the variable.

    [[nodiscard]] std::string const& get_path() const {
        return (first != nullptr ? first : second)->path;
    }
};

/// Returns what differs, in the order of the paths; the pointers lead into the definitions. Initial
/// values and the order of variables do not count.
[[nodiscard]] std::vector<definition_difference> compare_definitions(
    defined_variables const& first, defined_variables const& second);

} // namespace arvenhold::corvel::hub::ctl
