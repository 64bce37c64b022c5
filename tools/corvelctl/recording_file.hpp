// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The file that `record` writes: whole rows only, whatever happens.

#pragma once

#include <hub/common.hpp>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

/// Returns the full files of a recording, FILE.1, FILE.2 and so on, the oldest first.
[[nodiscard]] std::vector<std::filesystem::path> find_full_files(std::filesystem::path const& path);

/// Invariants:
/// 1. The file ends with a whole row after every operation, also after one that has thrown.
/// 2. Nobody else records into the file meanwhile.
class recording_file {
public:
    /// Opens a file for appending, or creates it so that only its owner may read it. A last row that an earlier program has not finished
    /// is removed.
    ///
    /// @param is_beginning  Whether the first line of a file is that of a recording in this format.
    ///
    /// @throws failure  It cannot be opened, another program records into it, or it is something else.
    recording_file(std::filesystem::path path, bool (*is_beginning)(std::string_view line));

    recording_file(recording_file const&) = delete;
    recording_file& operator=(recording_file const&) = delete;

    /// Writes what was added, as far as possible.
    ~recording_file();

    /// When the rows that the file had already were written; nothing if it had none.
    [[nodiscard]] std::optional<timestamp> get_earlier_end() const;

    /// Adds whole rows, which are written by flush(), or earlier if they are many.
    void append(std::string_view rows);

    /// Writes what was added.
    ///
    /// @throws failure  The file cannot be written; the text says what was kept.
    void flush();

    /// The size that the file will have.
    [[nodiscard]] std::uint64_t get_size() const;

    /// Renames the file to the next name with a number, and begins an empty one.
    ///
    /// @return the name of the full file.
    std::filesystem::path rotate();

private:
    void open();
    void remove_unfinished_row();
    [[nodiscard]] std::string read_first_line() const;
    [[noreturn]] void fail_to_write(int error);

    std::filesystem::path const m_path;
    int m_descriptor = -1;
    std::uint64_t m_size = 0; // on disk
    std::string m_waiting;
    std::uint64_t m_rows = 0; // written by this object
    std::optional<timestamp> m_earlier_end;
};

} // namespace arvenhold::corvel::hub::ctl
