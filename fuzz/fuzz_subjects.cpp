// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Subjects of any identifier contain it unchanged.

#include "fuzz/support/target.hpp"
#include "protocol/subjects.hpp"
#include "support/placed_bytes.hpp"

#include <string>

namespace arvenhold::corvel::hub::fuzz {

void try_input(std::string_view bytes) {
    placed_bytes const placed{bytes};
    auto const id = placed.view();
    std::string const text{bytes};

    require(
        definition_changed_subject(id) == "v1.loc." + text + ".def.evt.changed",
        "the subject of the provider's definition");
    require(
        registry_definition_changed_subject(id)
            == "v1.loc.registry.providers." + text + ".def.evt.changed",
        "the subject of the registry's definition");
    require(
        registry_definition_query_subject(id)
            == "v1.loc.registry.providers." + text + ".def.qry.read",
        "the subject of requests for a definition");
    require(
        variables_changed_subject(id) == "v1.loc." + text + ".vars.evt.changed",
        "the subject of change events");
    require(
        variables_query_subject(id) == "v1.loc." + text + ".vars.qry.read",
        "the subject of read requests");
    require(
        variables_write_subject(id) == "v1.loc." + text + ".vars.cmd.write",
        "the subject of write commands");
    require(inbox_prefix(id) == "_INBOX." + text, "the prefix of replies");
}

} // namespace arvenhold::corvel::hub::fuzz
