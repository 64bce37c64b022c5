// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "protocol/builder.hpp"
#include "protocol/decode_context.hpp"
#include "protocol/value_codec.hpp"
#include <hub/common.hpp>

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub {

// Lists of variables on the wire: change events, read requests and their replies, write commands.
// No shared state and no locks: the caller locks the variables that it encodes.

/// Writes one message with variables. Call one of the add functions for each item, then one of the
/// finish functions, after which the builder holds the finished message.
class variables_writer {
public:
    /// @param builder         An empty builder; used until finished.
    /// @param expected_items  About how many follow; memory for them is allocated at once.
    explicit variables_writer(message_builder& builder, std::size_t expected_items = 0);
    variables_writer(variables_writer const&) = delete;
    variables_writer& operator=(variables_writer const&) = delete;
    ~variables_writer() = default;

    /// Adds an item of a change event. Its time is the event's.
    void add_change(variable_id id, variable_value const& value, variable_quality quality);

    /// Adds an item of a read reply, with the time of the variable's last update.
    void add_reading(
        variable_id id, variable_value const& value, variable_quality quality, timestamp when);

    /// Adds an item of a write command, which has neither quality nor time.
    void add_write(variable_id id, variable_value const& value);

    void finish_change_event(definition_fingerprint fingerprint, timestamp when);
    void finish_read_reply(definition_fingerprint fingerprint, timestamp when);

    /// Intended: a write command carries the epoch, because consumers do not stamp their writes.
    void finish_write_command(definition_fingerprint fingerprint);

private:
    message_builder& m_builder;
    // The offsets of the items from the end of the message, which grows downward. A few items need
    // no memory from the heap.
    std::array<flatbuffers::uoffset_t, 16> m_few_items{};
    std::vector<flatbuffers::uoffset_t> m_many_items;
    std::span<flatbuffers::uoffset_t> m_items{m_few_items}; // either of the two
    std::size_t m_size = 0;
    // Likewise of the vtables, one for each kind of table; 0 until the first table of its kind.
    std::array<flatbuffers::uoffset_t, 9> m_vtables{};

    void add(flatbuffers::uoffset_t item);
    void use_heap(std::size_t capacity);
    flatbuffers::uoffset_t append_item_vector();
    void finish(definition_fingerprint fingerprint, timestamp when);
};

/// Writes the request for the given variables, in their order.
void serialize_read_request(message_builder& builder, std::vector<variable_id> const& ids);

/// Returns the requested ids; an empty vector requests every variable.
std::vector<variable_id> decode_read_request(std::string_view bytes);

/// One item of a received message.
struct received_variable {
    variable_id id = 0;
    variable_quality quality = variable_quality::bad;
    timestamp when;                  ///< The item's time stamp, else the list's, else the epoch.
    std::optional<value_view> value; ///< If empty, the variable keeps its own.
};

/// What the faults in a list of variables are called.
struct list_faults {
    std::string_view no_data;
    std::string_view no_list;
    std::string_view no_items;
};

/// The variables of a received message, decoded one by one. Valid as long as the message and the
/// context.
class received_variables {
public:
    /// @param list    The position of the list's table.
    /// @param faults  Must outlive all decoding.
    ///
    /// @throws serialization_fault  List or items are missing.
    received_variables(
        message_bytes message,
        std::size_t list,
        decode_context const& context,
        list_faults const& faults);

    definition_fingerprint fingerprint() const {
        return m_fingerprint;
    }

    std::size_t size() const {
        return m_items.size;
    }

    /// Returns the item at `position`, which is below size().
    ///
    /// @throws serialization_fault  The item cannot be read, or is a string value without its
    ///                              string.
    received_variable item(std::size_t position);

private:
    using item_reader = table_reader<
        field<Variable::VT_VALUE_TYPE, VariableValue>,
        field<Variable::VT_VALUE, reference>,
        field<Variable::VT_ID, variable_id>,
        field<Variable::VT_TIMESTAMP, Timestamp>,
        field<Variable::VT_QUALITY, VariableQuality>>;

    item_reader m_item_reader;
    value_reader m_value_reader;
    vector_position m_items;
    Timestamp m_when; // of the items without a time stamp
    definition_fingerprint m_fingerprint = 0;
    decode_context const* m_context;
    list_faults const* m_faults;
};

/// Decodes a change event. Returns nothing if it does not belong to the definition with the
/// fingerprint `held`, even if it is otherwise malformed.
///
/// @throws serialization_fault  Data, list or items are missing.
std::optional<received_variables> decode_change_event(
    std::string_view bytes, definition_fingerprint held, decode_context const& context);

/// Decodes the reply to a read request.
///
/// @throws serialization_fault  Data, list or items are missing.
received_variables decode_read_reply(std::string_view bytes, decode_context const& context);

/// Decodes a write command.
///
/// @throws serialization_fault  Data, list or items are missing.
received_variables decode_write_command(std::string_view bytes, decode_context const& context);

} // namespace arvenhold::corvel::hub
