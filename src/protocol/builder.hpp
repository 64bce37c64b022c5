// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <flatbuffers/flatbuffers.h>

#include <cstddef>
#include <string_view>

namespace arvenhold::corvel::hub {

// The one include of the FlatBuffers builder outside this folder. The name below is a class in some
// versions and an alias in others, so it cannot be forward-declared.
using message_builder = flatbuffers::FlatBufferBuilder;

/// What every builder begins with, in bytes; it grows as needed.
inline constexpr std::size_t initial_builder_size = 1024;

/// Returns the bytes of a finished message; valid until the builder changes.
inline std::string_view finished_bytes(message_builder const& builder) {
    return {
        static_cast<char const*>(static_cast<void const*>(builder.GetBufferPointer())),
        builder.GetSize()};
}

} // namespace arvenhold::corvel::hub
