// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <flatbuffers/flatbuffers.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace arvenhold::corvel::hub {

// The roles know FlatBuffers only by this builder.

/// The FlatBuffers builder, which can also hand out its memory to be filled in directly.
class message_builder : public flatbuffers::FlatBufferBuilder {
public:
    // Qualified, because in some versions the name is an alias of a template.
    using flatbuffers::FlatBufferBuilder::FlatBufferBuilder;

    /// Prepends `size` bytes, which the caller must fill in. Returns their address, which is valid
    /// until the builder changes.
    std::uint8_t* grow(std::size_t size) {
        return buf_.make_space(size);
    }
};

/// The size that every builder begins with, in bytes; it grows as needed.
inline constexpr std::size_t initial_builder_size = 1024;

/// Memory for one builder on the stack, so that a short message needs none from the heap: the builder
/// allocates its initial size once, and more when it grows. Must outlive the builder.
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
