// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "protocol/decode_context.hpp"
#include "protocol/hub_messages_generated.h"
#include "support/placed_bytes.hpp"

#include <string>
#include <string_view>

namespace arvenhold::corvel::hub::fuzz {

inline constexpr decode_context context{client_kind::consumer, "panel", "fuzz"};

/// The text of the fault with the given detail.
inline std::string fault_text(std::string_view detail) {
    return std::string{"Consumer panel: encountered invalid serialized data for operation: fuzz: "}
        .append(detail)
        .append("\n");
}

/// Returns whether a message holds what was written. Odd tables can make an ill-formed message: a
/// string's tag beside a number's table turns the number into an offset.
template <class Root>
bool is_well_formed(std::string_view bytes) {
    placed_bytes const aligned{bytes};
    auto const* const start =
        static_cast<std::uint8_t const*>(static_cast<void const*>(aligned.view().data()));
    return flatbuffers::Verifier{start, bytes.size()}.VerifyBuffer<Root>(nullptr);
}

} // namespace arvenhold::corvel::hub::fuzz
