// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/recording_reader.hpp"

#include "corvelctl/csv_rows.hpp"
#include "corvelctl/json_rows.hpp"
#include "corvelctl/recording_file.hpp"
#include "corvelctl/time_text.hpp"
#include "corvelctl/value_text.hpp"
#include "corvelctl/variable_text.hpp"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

namespace arvenhold::corvel::hub::ctl {

namespace {

failure make_failure(std::string const& text) {
    return {exit_code::usage, text};
}

std::size_t require_type(std::string const& name) {
    for (std::size_t index = 0; index < get_zeros().size(); ++index) {
        if (get_type_name(index) == name) {
            return index;
        }
    }
    throw make_failure("there is no type \"" + name + '"');
}

variable_value make_zero(std::string const& type) {
    return get_zeros().at(require_type(type));
}

timestamp require_time(std::string const& text) {
    auto const when = parse_time(text);
    if (!when.has_value()) {
        throw make_failure('"' + text + "\" is no time in RFC 3339");
    }
    return *when;
}

// Leaves the row as it is if a later version has written an event of its own.
void read_event(recorded_row& row, std::string_view name) {
    for (auto const event :
         {provider_event::here,
          provider_event::lost,
          provider_event::stale,
          provider_event::back,
          provider_event::definition_changed}) {
        if (name_of(event) == name) {
            row.kind = row_kind::event;
            row.event = event;
        }
    }
}

known_definition read_definition(nlohmann::json const& variables) {
    known_definition definition;
    for (auto const& one : variables) {
        definition.variables.push_back(
            {one.value("id", variable_id{0}),
             one.at("path").get<std::string>(),
             require_type(one.at("data_type").get<std::string>()),
             one.at("access").get<std::string>() == "read-write"
                 ? variable_permissions::read_write
                 : variable_permissions::read_only});
    }
    return definition;
}

variable_quality require_quality(std::string const& name) {
    auto const quality = parse_quality(name);
    if (!quality.has_value()) {
        throw make_failure('"' + name + "\" is no quality");
    }
    return *quality;
}

void read_value(recorded_row& row, nlohmann::json const& object) {
    auto const zero = make_zero(object.at("data_type").get<std::string>());
    row.kind = row_kind::value;
    row.path = object.at("path").get<std::string>();
    row.value = parse_object(object, zero).value;
    row.quality = require_quality(object.value("quality", "good"));
    row.is_live = object.value("freshness", "live") == "live";
}

recorded_row read_object(nlohmann::json const& object) {
    auto const type = object.at("type").get<std::string>();
    recorded_row row;
    row.when = require_time(object.at("time").get<std::string>());
    row.provider = object.value("provider", "");
    if (type == "value") {
        read_value(row, object);
    } else if (type == "recording") {
        row.kind = row_kind::beginning;
    } else if (type == "definition") {
        row.kind = row_kind::definition;
        row.definition = read_definition(object.at("variables"));
    } else if (type == "provider_event") {
        read_event(row, object.at("event").get<std::string>());
        row.text = object.value("text", "");
    } else if (type == "dropped") {
        row.kind = row_kind::dropped;
        row.count = object.at("count").get<std::uint64_t>();
    } else if (type == "gap") {
        row.kind = row_kind::gap;
        row.from = require_time(object.at("from").get<std::string>());
    }
    return row;
}

// Whether a field that began between quotation marks goes on in the next line.
bool is_open(std::string const& text) {
    return std::count(text.begin(), text.end(), '"') % 2 != 0;
}

std::vector<std::string> split(std::string const& text) {
    std::vector<std::string> fields(1);
    auto is_quoted = false;
    for (std::size_t index = 0; index < text.size(); ++index) {
        auto const character = text[index];
        if (character == '"' && is_quoted && text.compare(index, 2, "\"\"") == 0) {
            fields.back() += '"';
            ++index;
        } else if (character == '"') {
            is_quoted = !is_quoted;
        } else if (character == ',' && !is_quoted) {
            fields.emplace_back();
        } else {
            fields.back() += character;
        }
    }
    return fields;
}

// The columns of CSV.
enum field {
    time,
    event,
    provider,
    path,
    data_type,
    value,
    quality,
    text,
    count
};

// A row of CSV about something else than a value.
void read_happening(recorded_row& row, std::vector<std::string> const& fields) {
    constexpr std::string_view of_provider = "provider_";
    constexpr std::string_view from = "from ";
    std::string_view const kind = fields[event];
    if (kind == "recording") {
        row.kind = row_kind::beginning;
    } else if (kind == "definition") {
        row.kind = row_kind::definition;
    } else if (kind.starts_with(of_provider)) {
        read_event(row, kind.substr(of_provider.size()));
        row.text = fields[text];
    } else if (kind == "dropped") {
        row.kind = row_kind::dropped;
        row.count = std::strtoull(fields[text].c_str(), nullptr, 10);
    } else if (kind == "gap" && fields[text].starts_with(from)) {
        row.kind = row_kind::gap;
        row.from = require_time(fields[text].substr(from.size()));
    }
}

// What a row says of the variables of its provider: CSV defines them by their values only.
std::vector<ctl::defined_variable> find_variables(recorded_row const& row) {
    std::vector<ctl::defined_variable> variables;
    if (row.kind == row_kind::value) {
        variables.push_back({row.path, row.value});
    }
    if (row.definition.has_value()) {
        for (auto const& one : row.definition->variables) {
            variables.push_back({one.path, get_zeros().at(one.type), one.permissions});
        }
    }
    return variables;
}

} // namespace

any_reading make_reading(recorded_row const& row) {
    any_reading reading;
    reading.provider = row.provider;
    reading.path = row.path;
    reading.value = row.value;
    reading.quality = row.quality;
    reading.when = row.when;
    reading.freshness = row.is_live ? freshness::live : freshness::stale;
    return reading;
}

recorded_row parse_json_row(std::string const& line) {
    try {
        return read_object(nlohmann::json::parse(line));
    } catch (nlohmann::json::exception const&) {
        throw make_failure("this is no row that record has written");
    }
}

recorded_row parse_csv_row(std::string const& line) {
    auto const fields = split(line);
    if (fields.size() != count) {
        throw make_failure("this is no row that record has written");
    }
    recorded_row row;
    row.when = require_time(fields[time]);
    row.provider = fields[provider];
    row.is_live = fields[event] != "stale";
    if (fields[event] != "value" && row.is_live) {
        read_happening(row, fields);
        return row;
    }
    row.kind = row_kind::value;
    row.path = fields[path];
    row.value = parse_value(fields[value], make_zero(fields[data_type])).value;
    row.quality = require_quality(fields[quality]);
    return row;
}

bool is_recording(std::string const& word) {
    return word.ends_with(".jsonl") || word.ends_with(".csv")
        || (word.find_first_of("./") != std::string::npos
            && std::filesystem::is_regular_file(word));
}

std::vector<std::filesystem::path> find_recording(std::filesystem::path const& file) {
    auto files = find_full_files(file);
    files.push_back(file);
    return files;
}

recording_reader::recording_reader(std::vector<std::filesystem::path> files)
    : m_files{std::move(files)} {
    for (auto const& file : m_files) {
        std::error_code error;
        m_size += std::filesystem::file_size(file, error);
        if (error) {
            throw failure{
                exit_code::usage,
                "cannot read " + file.string() + ": " + error.message(),
                "give a recording; make one: corvelctl record PROVIDER -o boiler.jsonl"};
        }
    }
    rewind();
}

void recording_reader::rewind() {
    m_next = 0;
    m_read = 0;
    open_next();
}

void recording_reader::open_next() {
    auto const& file = m_files.at(m_next++);
    m_input = std::ifstream{file, std::ios::binary};
    m_line = 0;
    std::string first;
    if (!std::getline(m_input, first)) {
        return; // an empty file has no rows
    }
    m_is_csv = first == csv_rows::titles;
    if (m_is_csv) {
        m_read += first.size() + 1;
        ++m_line;
        return;
    }
    auto const header = nlohmann::json::parse(first, nullptr, false);
    if (!header.is_object() || header.value("type", "") != "recording") {
        throw failure{
            exit_code::usage, file.string() + " is no recording", "write one: corvelctl record"};
    }
    m_input.seekg(0);
}

// The next line, or lines; false at the end of the file.
bool recording_reader::read_text(std::string& text) {
    text.clear();
    for (std::string line; std::getline(m_input, line) && !m_input.eof();) {
        ++m_line;
        m_read += line.size() + 1;
        text += line;
        if (!m_is_csv || !is_open(text)) {
            return true;
        }
        text += '\n';
    }
    return false;
}

std::optional<recorded_row> recording_reader::read() {
    std::string text;
    if (!read_whole(text)) {
        return std::nullopt;
    }
    return parse(text);
}

// Values of JSON Lines define nothing, and parsing them would take most of the time.
std::optional<recorded_row> recording_reader::read_definition() {
    for (std::string text; read_whole(text);) {
        if (m_is_csv || text.find("\"definition\"") != std::string::npos) {
            return parse(text);
        }
    }
    return std::nullopt;
}

// The text of the next row; false at the end of the last file.
bool recording_reader::read_whole(std::string& text) {
    while (!read_text(text)) {
        if (m_next == m_files.size()) {
            return false;
        }
        open_next();
    }
    return true;
}

recorded_row recording_reader::parse(std::string const& text) const {
    try {
        return m_is_csv ? parse_csv_row(text) : parse_json_row(text);
    } catch (failure const& refused) {
        throw make_failure(
            m_files[m_next - 1].string() + ':' + std::to_string(m_line) + ": " + refused.what());
    }
}

double recording_reader::get_progress() const {
    return m_size == 0 ? 1 : static_cast<double>(m_read) / static_cast<double>(m_size);
}

std::map<std::string, std::vector<ctl::defined_variable>> collect_definitions(
    recording_reader& recording) {
    std::map<std::string, std::vector<ctl::defined_variable>> all;
    std::map<std::string, std::set<std::string>> known;
    while (auto const row = recording.read_definition()) {
        auto const found = find_variables(*row);
        if (found.empty()) {
            continue;
        }
        std::copy_if(
            found.begin(),
            found.end(),
            std::back_inserter(all[row->provider]),
            [&paths = known[row->provider]](auto const& one) {
                return paths.insert(one.path).second;
            });
    }
    recording.rewind();
    return all;
}

} // namespace arvenhold::corvel::hub::ctl
