// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/hub_message.hpp"

#include "corvelctl/time_text.hpp"
#include "corvelctl/value_text.hpp"
#include "corvelctl/variable_text.hpp"
#include "protocol/definition_codec.hpp"
#include "protocol/registry_codec.hpp"
#include "protocol/subjects.hpp"
#include "protocol/variables_codec.hpp"
#include <hub/names.hpp>

#include <algorithm>
#include <array>
#include <optional>
#include <set>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

namespace {

constexpr std::size_t most_replies = 10'000; // that are waited for
constexpr std::size_t most_shown = 20;       // items in a line for people

constexpr std::array<std::string_view, 13> kind_names{
    "change",
    "write",
    "read request",
    "read reply",
    "definition",
    "verdict",
    "definition request",
    "definition reply",
    "provider list",
    "list request",
    "list reply",
    "registry state",
    "other"};

constexpr std::string_view operation = "decode";
constexpr decode_context context{client_kind::consumer, "sniff", operation};

// What is missing, without the beginning that the texts of all faults have.
std::string get_reason(serialization_fault const& fault) {
    std::string_view text = fault.what();
    auto const beginning = std::string{operation} + ": ";
    auto const found = text.find(beginning);
    text.remove_prefix(found == std::string_view::npos ? 0 : found + beginning.size());
    return std::string{text.substr(0, text.find('\n'))};
}

struct subject_form {
    message_kind kind;
    std::string front;
    std::string back;
};

// The parts of the subject around the identifier.
subject_form make_form(message_kind kind, std::string (*compose)(std::string_view)) {
    constexpr std::string_view mark = "\n";
    auto const whole = compose(mark);
    auto const place = whole.find(mark);
    return {kind, whole.substr(0, place), whole.substr(place + 1)};
}

// The registry's subjects come first, because they have the form of a provider's as well.
std::vector<subject_form> const& get_forms() {
    static std::vector<subject_form> const forms{
        make_form(message_kind::verdict, registry_definition_changed_subject),
        make_form(message_kind::definition_request, registry_definition_query_subject),
        make_form(message_kind::definition, definition_changed_subject),
        make_form(message_kind::change, variables_changed_subject),
        make_form(message_kind::read_request, variables_query_subject),
        make_form(message_kind::write, variables_write_subject)};
    return forms;
}

std::optional<message_kind> find_reply_kind(message_kind request) {
    static std::map<message_kind, message_kind> const replies{
        {message_kind::read_request, message_kind::read_reply},
        {message_kind::definition_request, message_kind::definition_reply},
        {message_kind::list_request, message_kind::list_reply}};
    auto const found = replies.find(request);
    return found == replies.end() ? std::nullopt : std::optional{found->second};
}

// Items for people, of which only the first are shown.
class item_text {
public:
    void add(std::string const& item) {
        if (m_count < most_shown) {
            m_text += (m_count == 0 ? "" : ", ") + item;
        }
        ++m_count;
    }

    [[nodiscard]] std::string get() const {
        auto const hidden = m_count - std::min(m_count, most_shown);
        return m_text + (hidden == 0 ? "" : ", and " + std::to_string(hidden) + " more");
    }

private:
    std::string m_text;
    std::size_t m_count = 0;
};

std::string make_name(variable_id id, std::string const& path) {
    return path.empty() ? '[' + std::to_string(id) + ']' : printable(path);
}

// An item of a write command has neither quality nor time.
json_object make_item_object(
    received_variable const& item, std::string const& path, bool is_write) {
    json_object object{{"id", item.id}};
    if (!path.empty()) {
        object["path"] = path;
    }
    if (item.value.has_value()) {
        auto const value = owned(*item.value);
        object["data_type"] = type_name_of(value);
        add_value(object, value);
    }
    if (!is_write) {
        object["quality"] = hub::name_of(item.quality);
        object["time"] = make_rfc3339(item.when);
    }
    return object;
}

std::string make_item_text(
    received_variable const& item, std::string const& path, bool is_write, bool utc) {
    auto text = make_name(item.id, path);
    text += item.value.has_value() ? '=' + make_text(owned(*item.value), utc) : " no value";
    if (!is_write) {
        text += ' ';
        text += hub::name_of(item.quality);
    }
    return text;
}

void decode_list(decoded_message& into, std::string_view bytes) {
    auto const is_reply = into.kind == message_kind::list_reply;
    std::set<std::string> const providers = is_reply ? decode_provider_list_reply(bytes, context)
                                                     : decode_provider_list_event(bytes, context);
    item_text text;
    for (auto const& one : providers) {
        text.add(printable(one));
    }
    into.text = providers.empty() ? "no providers" : text.get();
    into.content["providers"] = providers;
}

void decode_state(decoded_message& into, std::string_view bytes) {
    auto const is_ready = decode_registry_state(bytes, context);
    into.text = is_ready ? "ready" : "not ready";
    into.content["ready"] = is_ready;
}

} // namespace

std::string_view name_of(message_kind kind) {
    return kind_names.at(static_cast<std::size_t>(kind));
}

decoded_message message_decoder::decode(
    std::string const& subject, std::string const& reply, std::string_view bytes) {
    auto const [kind, provider] = find_meaning(subject);
    if (!reply.empty()) {
        expect_reply(reply, {kind, provider});
    }
    decoded_message decoded;
    decoded.kind = kind;
    decoded.provider = provider;
    decoded.content = json_object::object();
    try {
        decode_content(decoded, bytes);
    } catch (serialization_fault const& fault) {
        decoded.fault = get_reason(fault);
    }
    return decoded;
}

message_decoder::meaning message_decoder::find_meaning(std::string const& subject) {
    if (auto const reply = m_replies.find(subject); reply != m_replies.end()) {
        return reply->second;
    }
    for (auto const& [whole, kind] :
         {std::pair{providers_query_subject, message_kind::list_request},
          std::pair{providers_changed_subject, message_kind::provider_list},
          std::pair{registry_state_subject, message_kind::registry_state}}) {
        if (subject == whole) {
            return {kind, {}};
        }
    }
    for (auto const& [kind, front, back] : get_forms()) {
        if (subject.size() > front.size() + back.size() && subject.starts_with(front)
            && subject.ends_with(back)) {
            auto const size = subject.size() - front.size() - back.size();
            return {kind, subject.substr(front.size(), size)};
        }
    }
    return {message_kind::other, {}};
}

// Many requests are never answered.
void message_decoder::expect_reply(std::string const& subject, meaning const& request) {
    auto const kind = find_reply_kind(request.first);
    if (!kind.has_value() || !m_replies.try_emplace(subject, *kind, request.second).second) {
        return;
    }
    m_oldest_replies.push_back(subject);
    if (m_oldest_replies.size() > most_replies) {
        m_replies.erase(m_oldest_replies.front());
        m_oldest_replies.pop_front();
    }
}

void message_decoder::decode_content(decoded_message& into, std::string_view bytes) {
    switch (into.kind) {
    case message_kind::change:
    case message_kind::read_reply:
    case message_kind::write:
        decode_variables(into, bytes);
        break;
    case message_kind::read_request:
        decode_request(into, bytes);
        break;
    case message_kind::definition:
    case message_kind::verdict:
    case message_kind::definition_reply:
        decode_definition(into, bytes);
        break;
    case message_kind::provider_list:
    case message_kind::list_reply:
        decode_list(into, bytes);
        break;
    case message_kind::registry_state:
        decode_state(into, bytes);
        break;
    case message_kind::definition_request:
    case message_kind::list_request:
        break;
    case message_kind::other:
        into.text = make_count_text(bytes.size(), "byte");
        break;
    }
}

// A change has the layout of a reply to a read request, but is decoded for a known fingerprint only.
void message_decoder::decode_variables(decoded_message& into, std::string_view bytes) {
    auto const is_write = into.kind == message_kind::write;
    auto received =
        is_write ? decode_write_command(bytes, context) : decode_read_reply(bytes, context);
    into.content["fingerprint"] = make_text(received.fingerprint());
    auto& items = into.content["items"] = json_object::array();
    item_text text;
    try {
        for (std::size_t position = 0; position < received.size(); ++position) {
            auto const item = received.item(position);
            auto const path = find_path(into.provider, received.fingerprint(), item.id);
            items.push_back(make_item_object(item, path, is_write));
            text.add(make_item_text(item, path, is_write, m_utc));
        }
    } catch (serialization_fault const& fault) {
        into.fault = "item " + std::to_string(items.size()) + ": " + get_reason(fault);
    }
    into.text = received.size() == 0 ? "no variables" : text.get();
}

void message_decoder::decode_request(decoded_message& into, std::string_view bytes) {
    auto const ids = decode_read_request(bytes);
    item_text text;
    for (auto const id : ids) {
        auto const known = m_providers.find(into.provider);
        auto const path = known == m_providers.end()
                            ? std::string{}
                            : find_path(into.provider, known->second.fingerprint, id);
        text.add(make_name(id, path));
    }
    into.text = ids.empty() ? "all variables" : text.get();
    into.content["ids"] = ids;
}

void message_decoder::decode_definition(decoded_message& into, std::string_view bytes) {
    auto received = into.kind == message_kind::definition_reply
                      ? std::optional{decode_definition_reply(bytes, context)}
                      : decode_definition_event(bytes, context);
    if (!received.has_value()) {
        into.text = "withdrawn";
        return;
    }
    into.content["fingerprint"] = make_text(received->fingerprint());
    auto& variables = into.content["variables"] = json_object::array();
    into.text = make_count_text(received->size(), "variable") + ", fingerprint "
              + make_text(received->fingerprint());
    if (into.kind == message_kind::verdict) {
        auto const is_valid = decode_verdict(bytes, context).is_valid;
        into.content["valid"] = is_valid;
        into.text += is_valid ? ", accepted" : ", rejected";
    }
    known_paths known{received->fingerprint(), {}};
    for (std::size_t position = 0; position < received->size(); ++position) {
        auto const one = received->deserialize_variable_definition(position, context);
        known.by_id.emplace(one.id, one.path);
        variables.push_back(
            {{"path", one.path},
             {"id", one.id},
             {"data_type", type_name_of(one.value)},
             {"access", make_text(one.permissions)}});
    }
    m_providers[into.provider] = std::move(known);
}

std::string message_decoder::find_path(
    std::string const& provider, definition_fingerprint fingerprint, variable_id id) const {
    auto const known = m_providers.find(provider);
    if (known == m_providers.end() || known->second.fingerprint != fingerprint) {
        return {};
    }
    auto const path = known->second.by_id.find(id);
    return path == known->second.by_id.end() ? std::string{} : path->second;
}

std::string make_hex(std::string_view bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (auto const byte : bytes) {
        auto const code = static_cast<unsigned char>(byte);
        text += {digits[code / digits.size()], digits[code % digits.size()]};
    }
    return text;
}

std::string make_hex_lines(std::string_view bytes) {
    constexpr std::size_t width = 16;
    std::string lines;
    for (std::size_t begin = 0; begin < bytes.size(); begin += width) {
        auto const part = bytes.substr(begin, width);
        std::string digits;
        std::string characters;
        for (auto const byte : part) {
            auto const is_plain = byte >= ' ' && byte <= '~';
            digits += ' ' + make_hex({&byte, 1});
            characters += is_plain ? byte : '.';
        }
        digits.resize(3 * width, ' ');
        auto const place = std::to_string(begin);
        lines.append(6 - std::min<std::size_t>(place.size(), 6), ' ').append(place).append(" ");
        lines.append(digits).append("  ").append(characters).append("\n");
    }
    return lines;
}

} // namespace arvenhold::corvel::hub::ctl
