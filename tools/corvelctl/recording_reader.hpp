// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Reads what `record` has written, row by row.

#pragma once

#include "corvelctl/definition_file.hpp"
#include "corvelctl/followed_hub.hpp"
#include <hub/common.hpp>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

enum class row_kind {
    beginning,  ///< The first row of a file.
    definition, ///< A provider has these variables.
    value,      ///< A variable has this value.
    event,      ///< Something has happened to a provider.
    dropped,    ///< Some changes are missing.
    gap,        ///< Nothing was recorded between `from` and `when`.
    other,
};

struct recorded_row {
    row_kind kind = row_kind::other;
    timestamp when =
        {}; ///< By the provider's clock for values, else by that of the recording computer.
    timestamp from = {}; ///< Of a gap.
    std::string provider = {};
    std::string path = {};
    variable_value value = {};
    variable_quality quality = variable_quality::good; ///< Also of a stale value: the one it had.
    bool is_live = true;                               ///< Whether the value was not stale.
    provider_event event = provider_event::here;
    std::string text = {};                           ///< Why an event has happened, in plain words.
    std::uint64_t count = 0;                         ///< Of dropped changes.
    std::optional<known_definition> definition = {}; ///< Nothing in CSV, which does not contain it.
};

/// Returns the value of a row as a session reports it.
[[nodiscard]] any_reading make_reading(recorded_row const& row);

/// Reads a line of JSON.
///
/// @throws failure  It is no row of a recording.
[[nodiscard]] recorded_row parse_json_row(std::string const& line);

/// Reads a row of CSV, which has line ends only between quotation marks.
///
/// @throws failure  It is no row of a recording.
[[nodiscard]] recorded_row parse_csv_row(std::string const& line);

/// Whether a word names a recording, not a provider: it ends with .jsonl or .csv, or there is such a
/// file, and the word contains a . or a /.
[[nodiscard]] bool is_recording(std::string const& word);

/// Returns FILE.1, FILE.2 and so on, as far as they are there, and FILE: one recording.
[[nodiscard]] std::vector<std::filesystem::path> find_recording(std::filesystem::path const& file);

/// The rows of several files, one after the other.
class recording_reader {
public:
    /// @throws failure  A file cannot be read, or is no recording.
    explicit recording_reader(std::vector<std::filesystem::path> files);

    /// Returns the next row; nothing at the end, where a last row that is not whole does not count.
    ///
    /// @throws failure  A row is none; the text names file and line.
    [[nodiscard]] std::optional<recorded_row> read();

    /// Returns the next row that may define variables, as read() does.
    [[nodiscard]] std::optional<recorded_row> read_definition();

    /// Begins again with the first row.
    void rewind();

    /// Returns how much of the files was read, from 0 to 1.
    [[nodiscard]] double get_progress() const;

private:
    void open_next();
    [[nodiscard]] bool read_text(std::string& text);
    [[nodiscard]] bool read_whole(std::string& text);
    [[nodiscard]] recorded_row parse(std::string const& text) const;

    std::vector<std::filesystem::path> const m_files;
    std::size_t m_next = 0; // file to be opened
    std::ifstream m_input;
    bool m_is_csv = false;
    std::uint64_t m_line = 0; // in the file
    std::uint64_t m_size = 0; // of all files
    std::uint64_t m_read = 0;
};

/// Returns the variables that each provider has in any part of a recording. The first type of a path
/// counts. Those of CSV are read-only, because it does not say more.
[[nodiscard]] std::map<std::string, std::vector<ctl::defined_variable>> collect_definitions(
    recording_reader& recording);

} // namespace arvenhold::corvel::hub::ctl
