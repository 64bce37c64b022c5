// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <flatbuffers/flatbuffers.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <limits>
#include <optional>
#include <string_view>
#include <tuple>
#include <type_traits>

namespace arvenhold::corvel::hub {

// Reads received messages, which may consist of any bytes and begin at any address. Everything is
// checked against the end of the message before it is followed, in the pass that reads it:
//
// 1. A position counts from the beginning of the message and is at most the message's size. An
//    offset that leads beyond the end leads to the end, where nothing can be read.
// 2. A table is readable if its vtable's entries for the fields that we read, and these fields
//    themselves, lie in the message. Parts may overlap and be shared.
// 3. What cannot be read counts as missing.
// 4. Tables of one type mostly share a vtable. It is checked once, and then recognised by its
//    position.

/// The position of a vector's first element, and the number of elements.
struct vector_position {
    std::size_t first = 0;
    std::size_t size = 0;
};

/// The bytes of a received message. They must outlive all that is read from them.
class message_bytes {
public:
    explicit message_bytes(std::string_view bytes)
        : m_bytes{bytes} {}

    std::size_t size() const {
        return m_bytes.size();
    }

    /// Whether `count` bytes at `position`, which may be any number, lie in the message.
    bool contain(std::size_t position, std::size_t count) const {
        return position <= size() && count <= size() - position;
    }

    /// Returns the content of bytes that lie in the message.
    template <class Content>
    Content at(std::size_t position) const {
        Content content{};
        std::memcpy(&content, m_bytes.data() + position, sizeof(content));
        return content;
    }

    /// Follows the offset at `position`, whose bytes lie in the message.
    std::size_t follow(std::size_t position) const {
        return position
             + std::min<std::size_t>(at<flatbuffers::uoffset_t>(position), size() - position);
    }

    /// Returns the vector at `position`; nothing if it does not lie in the message.
    std::optional<vector_position> find_vector(
        std::size_t position, std::size_t element_size) const {
        if (!contain(position, sizeof(flatbuffers::uoffset_t))) {
            return std::nullopt;
        }
        auto const first = position + sizeof(flatbuffers::uoffset_t);
        std::size_t const count = at<flatbuffers::uoffset_t>(position);
        if (count > (size() - first) / element_size) {
            return std::nullopt;
        }
        return vector_position{first, count};
    }

    /// Returns the string at `position`, whose terminating zero may be missing; nothing if it does
    /// not lie in the message.
    std::optional<std::string_view> find_string(std::size_t position) const {
        auto const characters = find_vector(position, sizeof(char));
        if (!characters) {
            return std::nullopt;
        }
        return m_bytes.substr(characters->first, characters->size);
    }

private:
    std::string_view m_bytes;
};

/// A field of a table: its number in the generated code (VT_*), and its type there. A table, string
/// or vector is a `reference`.
template <flatbuffers::voffset_t field_number, class Content>
struct field {
    static constexpr auto number = field_number;
    using content = Content;
};

using reference = flatbuffers::uoffset_t;

/// Finds tables with the given fields in one message, one after the other.
template <class... Fields>
class table_reader {
    static constexpr std::array<flatbuffers::voffset_t, sizeof...(Fields)> numbers{
        Fields::number...};

    template <flatbuffers::voffset_t number>
    static constexpr std::size_t index_of = static_cast<std::size_t>(
        std::find(numbers.begin(), numbers.end(), number) - numbers.begin());

    template <flatbuffers::voffset_t number>
    using content_of =
        typename std::tuple_element_t<index_of<number>, std::tuple<Fields...>>::content;

public:
    explicit table_reader(message_bytes message)
        : m_message{message} {}

    /// A table whose fields are read without further checks. Valid until the reader finds another.
    class table {
    public:
        /// Returns the content of a field, or `absent` if the field is.
        template <flatbuffers::voffset_t number>
        auto get(content_of<number> const& absent = {}) const {
            auto const offset = offset_of<number>();
            return offset != 0 ? message().template at<content_of<number>>(m_position + offset)
                               : absent;
        }

        /// Returns the position of what a reference leads to; the end of the message if the field is
        /// absent.
        template <flatbuffers::voffset_t number>
        std::size_t follow() const {
            static_assert(std::is_same_v<content_of<number>, reference>);
            auto const offset = offset_of<number>();
            return offset != 0 ? message().follow(m_position + offset) : message().size();
        }

    private:
        friend table_reader;

        std::size_t m_position;
        table_reader const* m_reader;

        table(std::size_t position, table_reader const& reader)
            : m_position{position}
            , m_reader{&reader} {}

        message_bytes message() const {
            return m_reader->m_message;
        }

        template <flatbuffers::voffset_t number>
        std::size_t offset_of() const {
            return m_reader->m_offsets[index_of<number>];
        }
    };

    /// Returns the table at a position of the message; nothing if it cannot be read.
    std::optional<table> find(std::size_t position) {
        // No table is so short that the offset to its vtable cannot be read.
        if (m_extent <= m_message.size() - position && vtable_of(position) == m_vtable) {
            return table{position, *this};
        }
        return find_with_new_vtable(position);
    }

    /// Returns the table that an element of a vector leads to; nothing if it cannot be read.
    std::optional<table> find_element(vector_position const& tables, std::size_t index) {
        return find(m_message.follow(tables.first + index * sizeof(reference)));
    }

    /// Returns the root table; nothing if the message is too short for any or it cannot be read.
    std::optional<table> find_root() {
        // The offset of the root, an empty vtable, and the offset of that.
        constexpr std::size_t smallest_message_size = 12;
        if (m_message.size() < smallest_message_size) {
            return std::nullopt;
        }
        return find(m_message.follow(0));
    }

private:
    message_bytes m_message;

    // Of the vtable found last: its position, the fields' offsets from the beginning of a table (0
    // for an absent field), and the number of bytes that a table needs. Until there is one, no
    // message is large enough.
    std::size_t m_vtable = 0;
    std::array<flatbuffers::voffset_t, sizeof...(Fields)> m_offsets{};
    std::size_t m_extent = std::numeric_limits<std::size_t>::max();

    // May lie outside the message; before its beginning is far behind its end.
    std::size_t vtable_of(std::size_t position) const {
        return position - static_cast<std::size_t>(m_message.at<flatbuffers::soffset_t>(position));
    }

    std::optional<table> find_with_new_vtable(std::size_t position) {
        if (!m_message.contain(position, sizeof(flatbuffers::soffset_t))
            || !adopt_vtable(vtable_of(position)) || !m_message.contain(position, m_extent)) {
            return std::nullopt;
        }
        return table{position, *this};
    }

    // Returns whether all entries can be read.
    bool adopt_vtable(std::size_t position) {
        using entry = flatbuffers::voffset_t;
        m_extent = std::numeric_limits<std::size_t>::max();
        if (!m_message.contain(position, sizeof(entry))) {
            return false;
        }
        auto const length = m_message.at<entry>(position);
        for (std::size_t index = 0; index < numbers.size(); ++index) {
            auto const number = numbers[index];
            if (number < length && !m_message.contain(position, number + sizeof(entry))) {
                return false;
            }
            m_offsets[index] = number < length ? m_message.at<entry>(position + number) : entry{};
        }
        m_vtable = position;
        m_extent = extent_of_fields();
        return true;
    }

    std::size_t extent_of_fields() const {
        constexpr std::array sizes{sizeof(typename Fields::content)...};
        auto extent = sizeof(flatbuffers::soffset_t);
        for (std::size_t index = 0; index < sizes.size(); ++index) {
            if (m_offsets[index] != 0) {
                extent = std::max(extent, m_offsets[index] + sizes[index]);
            }
        }
        return extent;
    }
};

} // namespace arvenhold::corvel::hub
