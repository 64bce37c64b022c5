// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/view/recorded_hub.hpp"

#include "corvelctl/json_rows.hpp"
#include "corvelctl/time_text.hpp"
#include "corvelctl/value_text.hpp"
#include "corvelctl/view/page_json.hpp"
#include <hub/names.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <fstream>
#include <optional>
#include <string>
#include <variant>

namespace arvenhold::corvel::hub::ctl {

namespace {

using nlohmann::json;

failure make_wrong_row(std::string const& why) {
    return {exit_code::usage, why, "write a recording: corvelctl record -o FILE"};
}

std::size_t parse_type(std::string const& name) {
    for (std::size_t index = 0; index < std::variant_size_v<variable_value>; ++index) {
        if (get_type_name(index) == name) {
            return index;
        }
    }
    throw make_wrong_row("there is no type \"" + name + '"');
}

variable_value make_initial(std::size_t type) {
    static std::array<variable_value, std::variant_size_v<variable_value>> const values{
        {false, 0.0, std::int64_t{0}, std::string{}, timestamp{}, std::chrono::nanoseconds{}}};
    return values.at(type);
}

variable_quality parse_quality(std::string const& name) {
    constexpr std::array all{
        variable_quality::bad,
        variable_quality::uncertain,
        variable_quality::uncertain_last_usable_value,
        variable_quality::uncertain_initial_value,
        variable_quality::good};
    auto const* const found = std::find_if(
        all.begin(), all.end(), [&](auto quality) { return name_of(quality) == name; });
    return found == all.end() ? variable_quality::bad : *found;
}

std::optional<provider_event> parse_event(std::string const& name) {
    for (auto const event :
         {provider_event::here,
          provider_event::lost,
          provider_event::stale,
          provider_event::back}) {
        if (name_of(event) == name) {
            return event;
        }
    }
    return std::nullopt; // a definition follows, and shows the difference
}

// Hands on the rows one after the other.
class row_reader {
public:
    explicit row_reader(hub_model& into)
        : m_model{into} {}

    void read(json const& row) {
        auto const type = row.value("type", "");
        auto const when = parse_time(row.value("time", ""));
        if (!when.has_value()) {
            throw make_wrong_row("a row of a recording has a \"time\"");
        }
        auto const is_stale = row.value("freshness", "") == "stale";
        // The time of a stale value is that of the value, not that of the loss.
        m_now = is_stale ? m_now : std::max(m_now, *when);
        m_first = std::min(m_first.value_or(*when), m_now);
        if (type == "definition") {
            read_definition(row);
        } else if (type == "value") {
            read_value(row, *when, is_stale);
        } else if (type == "provider_event") {
            read_event(row);
        } else if (type == "dropped" || type == "gap") {
            m_model.add_event({0, *when, type, "", describe(row, type)});
        }
    }

    [[nodiscard]] recorded_span get_span() const {
        return {to_microseconds(m_first.value_or(timestamp{})), to_microseconds(m_now)};
    }

private:
    static std::string describe(json const& row, std::string const& type) {
        return type == "gap" ? "nothing was recorded since " + row.value("from", "")
                             : std::to_string(row.value("count", 0)) + " changes are missing";
    }

    void read_definition(json const& row) {
        known_definition definition;
        for (auto const& one : row.at("variables")) {
            defined_variable variable;
            variable.id = one.value("id", variable_id{0});
            variable.path = one.at("path");
            variable.type = parse_type(one.at("data_type"));
            variable.permissions = one.value("access", "") == "read-write"
                                     ? variable_permissions::read_write
                                     : variable_permissions::read_only;
            definition.variables.push_back(std::move(variable));
        }
        m_model.set_definition(row.at("provider"), definition, m_now);
    }

    void read_value(json const& row, timestamp when, bool is_stale) {
        any_reading reading;
        reading.provider = row.at("provider");
        reading.path = row.at("path");
        reading.value = parse_object(row, make_initial(parse_type(row.at("data_type")))).value;
        reading.quality = parse_quality(row.at("quality"));
        reading.when = when;
        reading.freshness = is_stale ? freshness::stale : freshness::live;
        m_model.set_value(reading, is_stale ? m_now : std::min(when, m_now));
    }

    void read_event(json const& row) {
        if (auto const event = parse_event(row.at("event"))) {
            m_model.receive_notice({row.at("provider"), *event, row.value("text", ""), m_now});
        }
    }

    hub_model& m_model;
    timestamp m_now{};
    std::optional<timestamp> m_first;
};

// Reads one line; false for a last one that is still being written.
bool read_line(
    row_reader& reader, std::string const& line, std::string const& place, bool is_last) {
    try {
        reader.read(json::parse(line));
        return true;
    } catch (json::exception const&) {
        if (is_last) {
            return false;
        }
        throw make_wrong_row(place + "this is no row of a recording in JSON Lines");
    } catch (failure const& wrong) {
        throw failure{wrong.get_code(), place + wrong.what(), wrong.get_cure()};
    }
}

} // namespace

recorded_span load_recording(std::filesystem::path const& path, hub_model& into) {
    std::ifstream file{path};
    if (!file) {
        throw failure{exit_code::usage, "cannot read " + path.string()};
    }
    row_reader reader{into};
    std::size_t number = 0;
    for (std::string line; std::getline(file, line);) {
        ++number;
        auto const place = path.string() + ':' + std::to_string(number) + ": ";
        auto const is_last = number > 1 && file.peek() == std::ifstream::traits_type::eof();
        if (!read_line(reader, line, place, is_last)) {
            break;
        }
    }
    into.finish_round({});
    return reader.get_span();
}

} // namespace arvenhold::corvel::hub::ctl
