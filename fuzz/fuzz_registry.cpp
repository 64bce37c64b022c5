// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The registry's state and lists of providers of any shape: decoding returns what was written, or
// the fault for what is missing.

#include "fuzz/support/expected.hpp"
#include "fuzz/support/inputs.hpp"
#include "fuzz/support/target.hpp"
#include "protocol/registry_codec.hpp"
#include <hub/serialization_fault.hpp>

namespace arvenhold::corvel::hub::fuzz {

namespace {

void try_state(registry_input const& input) {
    placed_bytes const placed{wire::registry_state_changed_event(input.state), input.distance};
    auto const is_ready = decode_registry_state(placed.view(), context);
    require(is_ready == (input.state == std::uint8_t{1}), "only 1 is ready");
}

// The detail of the fault in a list, and otherwise the identifiers in it.
struct expectation {
    std::string_view fault;
    std::set<std::string> identifiers;
};

expectation expected(registry_input const& input, std::string_view no_items) {
    if (!input.list || !input.list->items) {
        return {no_items, {}};
    }
    std::set<std::string> identifiers;
    for (auto const& provider : *input.list->items) {
        if (!provider.id) {
            return {"provider identifier nullptr", {}};
        }
        identifiers.insert(*provider.id);
    }
    return {"", identifiers};
}

void try_list(
    registry_input const& input,
    std::string const& bytes,
    decltype(&decode_provider_list_reply) read,
    std::string_view no_items) {
    auto const [fault_detail, identifiers] = expected(input, no_items);
    placed_bytes const placed{bytes, input.distance};
    try {
        auto const received = read(placed.view(), context);
        require(fault_detail.empty(), "what is missing is a fault");
        require(received == identifiers, "the identifiers are kept");
    } catch (serialization_fault const& fault) {
        require(fault.what() == fault_text(fault_detail), "the fault names what is missing");
    }
}

} // namespace

void try_input(std::string_view bytes) {
    auto const input = input_of<registry_input>(bytes);
    switch (static_cast<registry_kind>(input.kind % registry_kinds)) {
    case registry_kind::state:
        return try_state(input);
    case registry_kind::list_reply:
        return try_list(
            input,
            wire::read_providers_query_response(input.list),
            &decode_provider_list_reply,
            "message data (providers_query_response/providers/items) nullptr");
    case registry_kind::list_event:
        return try_list(
            input,
            wire::providers_changed_event(input.list),
            &decode_provider_list_event,
            "message data (providers_changed_event/providers/items) nullptr");
    }
}

} // namespace arvenhold::corvel::hub::fuzz
