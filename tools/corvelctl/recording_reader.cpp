// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/recording_reader.hpp"

#include "corvelctl/csv_rows.hpp"
#include "corvelctl/given_change.hpp"
#include "corvelctl/recording_file.hpp"
#include "corvelctl/time_text.hpp"
#include "corvelctl/value_text.hpp"
#include "corvelctl/variable_text.hpp"
#include <hub/names.hpp>

#include <algorithm>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

namespace arvenhold::corvel::hub::ctl {

namespace {

failure make_failure(std::string const& text) {
    return {exit_code::usage, text};
}

variable_value make_zero(std::string const& type) {
    auto const& zeros = get_zeros();
    auto const* const found = std::find_if(zeros.begin(), zeros.end(), [&type](auto const& zero) {
        return type_name_of(zero) == type;
    });
    if (found == zeros.end()) {
        throw make_failure("no type \"" + type + '"');
    }
    return *found;
}

timestamp require_time(std::string const& text) {
    auto const when = parse_time(text);
    if (!when.has_value()) {
        throw make_failure('"' + text + "\" is no time in RFC 3339");
    }
    return *when;
}

row_kind kind_of_event(std::string_view event) {
    if (event == "lost" || event == "stale") {
        return row_kind::loss;
    }
    return event == "here" || event == "back" ? row_kind::recovery : row_kind::other;
}

std::vector<ctl::defined_variable> read_variables(nlohmann::json const& rows) {
    std::vector<ctl::defined_variable> variables;
    for (auto const& one : rows) {
        variables.push_back(
            {one.at("path").get<std::string>(),
             make_zero(one.at("data_type").get<std::string>()),
             one.at("access").get<std::string>() == "read-write"
                 ? variable_permissions::read_write
                 : variable_permissions::read_only});
    }
    return variables;
}

recorded_row read_value(nlohmann::json const& object) {
    auto const zero = make_zero(object.at("data_type").get<std::string>());
    auto change = parse_change(object, zero);
    recorded_row row{row_kind::value};
    row.path = object.at("path").get<std::string>();
    row.value = std::move(change.value).value_or(zero);
    row.quality = change.quality;
    row.is_live = object.value("freshness", "live") == "live";
    return row;
}

recorded_row read_object(nlohmann::json const& object) {
    auto const type = object.at("type").get<std::string>();
    recorded_row row;
    if (type == "value") {
        row = read_value(object);
    } else if (type == "definition") {
        row.kind = row_kind::definition;
        row.variables = read_variables(object.at("variables"));
    } else if (type == "provider_event") {
        row.kind = kind_of_event(object.at("event").get<std::string>());
    } else if (type == "gap") {
        row.kind = row_kind::gap;
        row.from = require_time(object.at("from").get<std::string>());
    }
    row.provider = object.value("provider", "");
    row.when = require_time(object.at("time").get<std::string>());
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

variable_quality require_quality(std::string const& name) {
    auto const quality = parse_quality(name);
    if (!quality.has_value()) {
        throw make_failure('"' + name + "\" is no quality");
    }
    return *quality;
}

} // namespace

recorded_row parse_json_row(std::string const& line) {
    try {
        return read_object(nlohmann::json::parse(line));
    } catch (nlohmann::json::exception const&) {
        throw make_failure("this is no row that record has written");
    }
}

recorded_row parse_csv_row(std::string const& text) {
    enum field {
        time,
        event,
        provider,
        path,
        data_type,
        value,
        quality,
        why,
        count
    };
    auto const fields = split(text);
    if (fields.size() != count) {
        throw make_failure("this is no row that record has written");
    }
    recorded_row row;
    row.when = require_time(fields[time]);
    row.provider = fields[provider];
    auto const& kind = fields[event];
    constexpr std::string_view of_provider = "provider_";
    constexpr std::string_view from = "from ";
    if (kind == "value" || kind == "stale") {
        row.kind = row_kind::value;
        row.path = fields[path];
        row.value = parse_value(fields[value], make_zero(fields[data_type])).value;
        row.is_live = kind == "value";
        row.quality = row.is_live ? require_quality(fields[quality]) : variable_quality::bad;
    } else if (kind.starts_with(of_provider)) {
        row.kind = kind_of_event(std::string_view{kind}.substr(of_provider.size()));
    } else if (kind == "gap" && fields[why].starts_with(from)) {
        row.kind = row_kind::gap;
        row.from = require_time(fields[why].substr(from.size()));
    }
    return row;
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
            throw make_failure("cannot read " + file.string() + ": " + error.message());
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
    auto const add = [&](std::string const& provider, ctl::defined_variable variable) {
        if (known[provider].insert(variable.path).second) {
            all[provider].push_back(std::move(variable));
        }
    };
    while (auto row = recording.read_definition()) {
        for (auto& variable : row->variables) {
            add(row->provider, std::move(variable));
        }
        if (row->kind == row_kind::value) {
            add(row->provider, {row->path, std::move(row->value)});
        }
    }
    recording.rewind();
    return all;
}

} // namespace arvenhold::corvel::hub::ctl
