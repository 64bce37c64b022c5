// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <flatbuffers/flatbuffers.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace arvenhold::corvel::hub {

// The one include of the FlatBuffers builder outside this folder.

/// The FlatBuffers builder, which can also be given bytes in the place where they will stay.
class message_builder : public flatbuffers::FlatBufferBuilder {
public:
    // By its full name, which in some versions is an alias.
    using flatbuffers::FlatBufferBuilder::FlatBufferBuilder;

    /// Puts `size` bytes in front of what was written, to be filled in, and returns where they are
    /// until the builder changes.
    std::uint8_t* make_space(std::size_t size) {
        return buf_.make_space(size);
    }
};

/// What every builder begins with, in bytes; it grows as needed.
inline constexpr std::size_t initial_builder_size = 1024;

/// Memory for one builder on the stack, so that a short message needs none from the heap: the builder
/// asks for its initial size once, and for more when it grows. Must live as long as the builder.
// NOLINTNEXTLINE(*-member-init): clearing the block would take longer than the heap does
class short_message_memory final : public flatbuffers::Allocator {
public:
    std::uint8_t* allocate(std::size_t size) override {
        return size <= m_block.size() ? m_block.data()
                                      : flatbuffers::DefaultAllocator{}.allocate(size);
    }

    void deallocate(std::uint8_t* memory, std::size_t size) override {
        if (memory != m_block.data()) {
            flatbuffers::DefaultAllocator{}.deallocate(memory, size);
        }
    }

private:
    alignas(std::max_align_t) std::array<std::uint8_t, initial_builder_size> m_block;
};

/// Returns the bytes of a finished message; valid until the builder changes.
inline std::string_view finished_bytes(message_builder const& builder) {
    return {
        static_cast<char const*>(static_cast<void const*>(builder.GetBufferPointer())),
        builder.GetSize()};
}

} // namespace arvenhold::corvel::hub
