// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/decoding_outcome.hpp"

#include "protocol/definition_codec.hpp"
#include "protocol/registry_codec.hpp"
#include "protocol/variables_codec.hpp"
#include "support/thrown_message.hpp"
#include <hub/serialization_fault.hpp>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

constexpr definition_fingerprint held = 5;

// -- text -----------------------------------------------------------------------------------------

std::string text_of(variable_value const& value) {
    std::ostringstream text;
    text << value.index() << ':';
    if (auto const* const number = std::get_if<double>(&value)) {
        text << std::bit_cast<std::uint64_t>(*number); // also of numbers that are none
    } else if (auto const* const point = std::get_if<timestamp>(&value)) {
        text << point->time_since_epoch().count();
    } else if (auto const* const span = std::get_if<std::chrono::nanoseconds>(&value)) {
        text << span->count();
    } else if (auto const* const characters = std::get_if<std::string>(&value)) {
        text << *characters;
    } else if (auto const* const integer = std::get_if<std::int64_t>(&value)) {
        text << *integer;
    } else {
        text << std::get<bool>(value);
    }
    return text.str();
}

void write_item(
    std::ostream& os,
    variable_id id,
    unsigned quality,
    std::int64_t when,
    std::optional<variable_value> const& value) {
    os << "item " << id << ' ' << quality << ' ' << when << ' '
       << (value ? text_of(*value) : "no value") << '\n';
}

void write_definition(
    std::ostream& os, variable_id id, std::string_view path, bool is_writable, std::size_t type) {
    os << "variable " << id << ' ' << path << ' ' << is_writable << ' ' << type << '\n';
}

// -- the library ----------------------------------------------------------------------------------

constexpr decode_context context{client_kind::consumer, "panel", "test"};

void write_list(std::ostream& os, received_variables variables) {
    os << "fingerprint " << variables.fingerprint() << '\n';
    for (std::size_t position = 0; position < variables.size(); ++position) {
        auto const item = variables.item(position);
        write_item(
            os,
            item.id,
            static_cast<unsigned>(item.quality),
            item.when.time_since_epoch().count(),
            item.value ? std::optional{owned(*item.value)} : std::nullopt);
    }
}

void write_whole_definition(std::ostream& os, received_definition definition) {
    os << "fingerprint " << definition.fingerprint() << '\n';
    for (std::size_t position = 0; position < definition.size(); ++position) {
        auto const variable = definition.deserialize_variable_definition(position, context);
        write_definition(
            os,
            variable.id,
            variable.path,
            variable.permissions == variable_permissions::read_write,
            variable.value.index());
    }
}

void decode(std::ostream& os, message_kind kind, std::string_view message) {
    switch (kind) {
    case message_kind::change_event:
        if (auto const variables = decode_change_event(message, held, context)) {
            write_list(os, *variables);
        }
        return;
    case message_kind::read_reply:
        return write_list(os, decode_read_reply(message, context));
    case message_kind::write_command:
        return write_list(os, decode_write_command(message, context));
    case message_kind::read_request:
        for (auto const id : decode_read_request(message)) {
            os << "id " << id << '\n';
        }
        return;
    case message_kind::verdict: {
        auto const verdict = decode_verdict(message, context);
        os << "verdict " << verdict.fingerprint << ' ' << verdict.is_valid << '\n';
        return;
    }
    case message_kind::definition_reply:
        return write_whole_definition(os, decode_definition_reply(message, context));
    case message_kind::definition_event:
        if (auto const definition = decode_definition_event(message, context)) {
            write_whole_definition(os, *definition);
        }
        return;
    case message_kind::provider_list_reply:
    case message_kind::provider_list_event:
        for (auto const& id : kind == message_kind::provider_list_reply
                                  ? decode_provider_list_reply(message, context)
                                  : decode_provider_list_event(message, context)) {
            os << "provider " << id << '\n';
        }
        return;
    case message_kind::registry_state: {
        auto const is_ready = decode_registry_state(message, context);
        os << "ready " << is_ready << '\n';
        return;
    }
    }
}

// -- the second implementation --------------------------------------------------------------------

// A fault; what() is its detail.
struct missing : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct slot_and_size {
    int slot;
    int size;
};

// The positions of a table's fields that are present, by slot.
using present_fields = std::map<int, std::int64_t>;

class slow_reader {
public:
    explicit slow_reader(std::string_view message)
        : m_message{message} {}

    std::int64_t size() const {
        return static_cast<std::int64_t>(m_message.size());
    }

    bool lies_inside(std::int64_t position, std::int64_t count) const {
        return position >= 0 && count >= 0 && position + count <= size();
    }

    std::optional<std::uint64_t> number(std::int64_t position, int width) const {
        if (!lies_inside(position, width)) {
            return std::nullopt;
        }
        std::uint64_t number = 0;
        for (int index = width - 1; index >= 0; --index) {
            number =
                number << 8U
                | static_cast<unsigned char>(m_message[static_cast<std::size_t>(position + index)]);
        }
        return number;
    }

    std::optional<present_fields> table(
        std::optional<std::int64_t> at, std::vector<slot_and_size> const& wanted) const {
        auto const back = at ? number(*at, 4) : std::nullopt;
        if (!back) {
            return std::nullopt;
        }
        auto const vtable = *at - static_cast<std::int32_t>(static_cast<std::uint32_t>(*back));
        auto const length = number(vtable, 2);
        if (!length) {
            return std::nullopt;
        }
        present_fields present;
        for (auto const& [slot, field_size] : wanted) {
            auto const place = 4 + 2 * slot;
            if (place >= static_cast<int>(*length)) {
                continue;
            }
            auto const entry = number(vtable + place, 2);
            if (!entry
                || !lies_inside(*at + static_cast<int>(*entry), *entry != 0 ? field_size : 0)) {
                return std::nullopt;
            }
            if (*entry != 0) {
                present[slot] = *at + static_cast<int>(*entry);
            }
        }
        return present;
    }

    std::optional<present_fields> root(int field_size) const {
        return size() < 12 ? std::nullopt
                           : table(static_cast<std::int64_t>(*number(0, 4)), {{0, field_size}});
    }

    // Where the offset in a field leads to.
    std::optional<std::int64_t> target(present_fields const& fields, int slot) const {
        auto const field = fields.find(slot);
        if (field == fields.end()) {
            return std::nullopt;
        }
        return target(field->second);
    }

    std::int64_t target(std::int64_t position) const {
        return position + static_cast<std::int64_t>(*number(position, 4));
    }

    // The positions of a vector's elements.
    std::optional<std::vector<std::int64_t>> elements(
        std::optional<std::int64_t> at, std::int64_t element_size) const {
        auto const count = at ? number(*at, 4) : std::nullopt;
        if (!count || !lies_inside(*at + 4, static_cast<std::int64_t>(*count) * element_size)) {
            return std::nullopt;
        }
        std::vector<std::int64_t> positions;
        for (std::uint64_t index = 0; index < *count; ++index) {
            positions.push_back(*at + 4 + static_cast<std::int64_t>(index) * element_size);
        }
        return positions;
    }

    std::optional<std::string> text(std::optional<std::int64_t> at) const {
        auto const characters = elements(at, 1);
        if (!characters) {
            return std::nullopt;
        }
        return std::string{m_message.substr(static_cast<std::size_t>(*at + 4), characters->size())};
    }

    // A number in a field, or 0.
    std::uint64_t field(present_fields const& fields, int slot, int width) const {
        auto const found = fields.find(slot);
        return found != fields.end() ? *number(found->second, width) : 0;
    }

    std::int64_t nanoseconds(present_fields const& fields, int slot) const {
        auto const found = fields.find(slot);
        if (found == fields.end()) {
            return 0;
        }
        auto const nanos = static_cast<std::int32_t>(*number(found->second + 8, 4));
        return static_cast<std::int64_t>(
            *number(found->second, 8) * 1'000'000'000U
            + static_cast<std::uint64_t>(std::int64_t{nanos}));
    }

private:
    std::string_view m_message;
};

constexpr int time_size = 16;

std::optional<variable_value> expected_value(
    slow_reader const& reader, std::uint64_t tag, std::optional<std::int64_t> at) {
    constexpr std::array sizes{0, 1, time_size, 8, 8, 4, time_size};
    if (tag == 0 || tag >= sizes.size()) {
        return std::nullopt;
    }
    auto const size = *std::next(sizes.begin(), static_cast<std::ptrdiff_t>(tag));
    auto const table = reader.table(at, {{0, size}});
    if (!table) {
        return std::nullopt;
    }
    switch (tag) {
    case 1:
        return reader.field(*table, 0, 1) != 0;
    case 2:
        return std::chrono::nanoseconds{reader.nanoseconds(*table, 0) / 1000 * 1000};
    case 3:
        return std::bit_cast<double>(reader.field(*table, 0, 8));
    case 4:
        return static_cast<std::int64_t>(reader.field(*table, 0, 8));
    case 5: {
        auto text = reader.text(reader.target(*table, 0));
        if (!text) {
            throw missing{"string value nullptr"};
        }
        return *text;
    }
    default:
        return timestamp{std::chrono::nanoseconds{reader.nanoseconds(*table, 0)}};
    }
}

unsigned expected_quality(std::uint64_t sent) {
    return sent == 0 || sent == 64 || sent == 67 || sent == 68 ? static_cast<unsigned>(sent) : 192;
}

struct list_texts {
    char const* no_data;
    char const* no_list;
    char const* no_items;
};

void expect_list(
    std::ostream& os, slow_reader const& reader, list_texts const& texts, bool is_event) {
    auto const root = reader.root(4);
    if (!root) {
        throw missing{texts.no_data};
    }
    auto const at = reader.target(*root, 0);
    auto const only_fingerprint = reader.table(at, {{0, 8}});
    if (is_event && only_fingerprint && reader.field(*only_fingerprint, 0, 8) != held) {
        return;
    }
    auto const list = reader.table(at, {{0, 8}, {1, time_size}, {2, 4}});
    if (!list) {
        throw missing{texts.no_list};
    }
    auto const items = reader.elements(reader.target(*list, 2), 4);
    if (!items) {
        throw missing{texts.no_items};
    }
    os << "fingerprint " << reader.field(*list, 0, 8) << '\n';
    for (auto const place : *items) {
        auto const item =
            reader.table(reader.target(place), {{0, 1}, {1, 4}, {2, 4}, {3, time_size}, {4, 1}});
        if (!item) {
            throw missing{texts.no_items};
        }
        auto const value =
            expected_value(reader, reader.field(*item, 0, 1), reader.target(*item, 1));
        write_item(
            os,
            static_cast<variable_id>(reader.field(*item, 2, 4)),
            expected_quality(reader.field(*item, 4, 1)),
            item->count(3) != 0 ? reader.nanoseconds(*item, 3) : reader.nanoseconds(*list, 1),
            value);
    }
}

void expect_definition(std::ostream& os, slow_reader const& reader, char const* no_definition) {
    auto const root = reader.root(4);
    if (!root) {
        throw missing{"message data nullptr"};
    }
    auto const definition = reader.table(reader.target(*root, 0), {{0, 8}, {1, 4}});
    if (!definition && no_definition == nullptr) {
        return;
    }
    if (!definition) {
        throw missing{no_definition};
    }
    auto const variables = reader.elements(reader.target(*definition, 1), 4);
    if (!variables) {
        throw missing{"message data (variable_definitions) nullptr"};
    }
    os << "fingerprint " << reader.field(*definition, 0, 8) << '\n';
    constexpr std::array<std::size_t, 7> alternatives{0, 0, 5, 1, 2, 3, 4};
    for (auto const place : *variables) {
        auto const variable = reader.table(reader.target(place), {{0, 4}, {1, 4}, {2, 1}, {3, 1}});
        auto const path = variable ? reader.text(reader.target(*variable, 0)) : std::nullopt;
        if (!path) {
            throw missing{"variable path nullptr"};
        }
        auto const id = static_cast<variable_id>(reader.field(*variable, 1, 4));
        auto const type = reader.field(*variable, 2, 1);
        if (type == 0 || type >= alternatives.size()) {
            throw missing{"variable index [" + std::to_string(id) + "] is out of bounds"};
        }
        auto const alternative =
            *std::next(alternatives.begin(), static_cast<std::ptrdiff_t>(type));
        write_definition(os, id, *path, reader.field(*variable, 3, 1) == 2, alternative);
    }
}

void expect_verdict(std::ostream& os, slow_reader const& reader) {
    auto const root = reader.root(4);
    if (!root) {
        throw missing{"definition changed event data is nullptr"};
    }
    auto const definition = reader.table(reader.target(*root, 0), {{0, 8}, {2, 1}});
    if (!definition) {
        throw missing{"definition data is nullptr"};
    }
    os << "verdict " << reader.field(*definition, 0, 8) << ' '
       << (reader.field(*definition, 2, 1) == 1) << '\n';
}

void expect_providers(std::ostream& os, slow_reader const& reader, char const* no_items) {
    auto const root = reader.root(4);
    if (!root) {
        throw missing{"message data nullptr"};
    }
    auto const list = reader.table(reader.target(*root, 0), {{0, 4}});
    auto const items = list ? reader.elements(reader.target(*list, 0), 4) : std::nullopt;
    if (!items) {
        throw missing{no_items};
    }
    std::set<std::string> identifiers;
    for (auto const place : *items) {
        auto const provider = reader.table(reader.target(place), {{0, 4}});
        auto const id = provider ? reader.text(reader.target(*provider, 0)) : std::nullopt;
        if (!id) {
            throw missing{"provider identifier nullptr"};
        }
        identifiers.insert(*id);
    }
    for (auto const& id : identifiers) {
        os << "provider " << id << '\n';
    }
}

void expect_request(std::ostream& os, slow_reader const& reader) {
    auto const root = reader.root(4);
    auto const ids = root ? reader.elements(reader.target(*root, 0), 4) : std::nullopt;
    for (auto const place : ids.value_or(std::vector<std::int64_t>{})) {
        os << "id " << *reader.number(place, 4) << '\n';
    }
}

void expect_state(std::ostream& os, slow_reader const& reader) {
    auto const root = reader.root(1);
    if (!root) {
        throw missing{"state changed event data is nullptr"};
    }
    os << "ready " << (reader.field(*root, 0, 1) == 1) << '\n';
}

void expect(std::ostream& os, message_kind kind, slow_reader const& reader) {
    constexpr list_texts for_consumer{
        "message data nullptr", "variable data nullptr", "variable data (items) nullptr"};
    constexpr list_texts for_provider{
        "variables node is missing",
        "variables node is missing",
        "items node in variables data is missing"};
    switch (kind) {
    case message_kind::change_event:
        return expect_list(os, reader, for_consumer, true);
    case message_kind::read_reply:
        return expect_list(os, reader, for_consumer, false);
    case message_kind::write_command:
        return expect_list(os, reader, for_provider, false);
    case message_kind::read_request:
        return expect_request(os, reader);
    case message_kind::verdict:
        return expect_verdict(os, reader);
    case message_kind::definition_reply:
        return expect_definition(os, reader, "message data (provider_definition_reply) nullptr");
    case message_kind::definition_event:
        return expect_definition(os, reader, nullptr);
    case message_kind::provider_list_reply:
        return expect_providers(
            os, reader, "message data (providers_query_response/providers/items) nullptr");
    case message_kind::provider_list_event:
        return expect_providers(
            os, reader, "message data (providers_changed_event/providers/items) nullptr");
    case message_kind::registry_state:
        return expect_state(os, reader);
    }
}

} // namespace

std::string decoding_outcome(message_kind kind, std::string_view message) {
    std::string const preamble =
        "Consumer panel: encountered invalid serialized data for operation: test: ";
    std::ostringstream decoded;
    auto const text = thrown_message<serialization_fault>([&] { decode(decoded, kind, message); });
    if (text.rfind(preamble, 0) != 0) {
        return decoded.str() + text;
    }
    return decoded.str() + text.substr(preamble.size(), text.size() - preamble.size() - 1);
}

std::string expected_outcome(message_kind kind, std::string_view message) {
    std::ostringstream decoded;
    auto const text = thrown_message<missing>([&] { expect(decoded, kind, slow_reader{message}); });
    return decoded.str() + text;
}

} // namespace arvenhold::corvel::hub
