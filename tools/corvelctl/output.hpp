// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Everything that the program writes: data on standard output, the rest on standard error.

#pragma once

#include "corvelctl/exit_code.hpp"

#include <nlohmann/json.hpp>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub::ctl {

/// Keeps the order of keys, so that a reader finds them in the order of the documentation.
using json_object = nlohmann::ordered_json;

enum class colour_choice {
    automatic,
    always,
    never
};

enum class colour {
    none,
    green,
    yellow,
    red,
    grey,
    bold
};

struct output_settings {
    bool json = false;
    bool quiet = false;
    bool verbose = false;
    colour_choice colours = colour_choice::automatic;
};

/// The one way to standard output and standard error.
///
/// Each call is one write: what it writes is out when it returns, also into a pipe, and lines of
/// several threads stay whole. While a reader of standard output is stuck, standard error can still
/// be written.
///
/// @par Thread safety
/// All operations may be called from any thread.
class output {
public:
    explicit output(output_settings settings = {});

    output(output const&) = delete;
    output& operator=(output const&) = delete;

    ~output() = default;

    [[nodiscard]] output_settings const& get_settings() const;

    /// Whether data leaves as JSON Lines.
    [[nodiscard]] bool is_json() const;

    /// Whether standard output is a terminal.
    [[nodiscard]] static bool is_terminal();

    /// From now on the program goes on although nobody reads standard output. For commands that do
    /// not write it. Must be called on the main thread, and so needs_reader().
    void ignore_reader();

    [[nodiscard]] bool needs_reader() const;

    /// Writes data for people.
    ///
    /// @param lines  One or more lines; a missing last line end is added.
    ///
    /// @throws output_closed  Nobody reads standard output any more.
    /// @throws failure        Standard output cannot be written.
    void print(std::string_view lines);

    /// Writes an object of JSON Lines.
    ///
    /// @param type  What kind of object it is.
    /// @param body  Its other keys.
    ///
    /// Throws as print() does.
    void print_object(std::string_view type, json_object const& body);

    /// Writes what helps a person and no program needs, unless --quiet.
    void note(std::string_view text);

    /// Writes what a person should know although the command goes on, unless --quiet.
    void warn(std::string_view text);

    /// Writes what the library reports, only with --verbose.
    ///
    /// @param text  Contains no secret.
    void trace(std::string_view text);

    /// Writes a line about what happens while a command runs.
    void show_event(std::string_view text);

    /// Shows on a terminal how far the command is, in a line that is replaced the next time, unless
    /// --quiet or --json. Does nothing if standard error is no terminal.
    void show_progress(std::string_view text);

    /// Writes why the program ends.
    void report(failure const& ended);

    /// Returns the text in a colour if standard output gets colours.
    [[nodiscard]] std::string paint(std::string_view text, colour wanted) const;

private:
    void explain(std::string_view type, std::string_view label, std::string_view text);

    output_settings const m_settings;
    bool const m_coloured;
    std::mutex m_data_mutex; // held while a call writes to standard output
    std::mutex m_mutex;      // the same for standard error; guards m_has_progress
    bool m_has_progress = false;
    bool m_needs_reader = true; // only used by the main thread

    void write_to_standard_error(std::string_view text);
};

/// Writes the whole text, and waits while a non-blocking descriptor takes none.
///
/// @return whether everything was written; `errno` otherwise says why not.
[[nodiscard]] bool write_all(int descriptor, std::string_view text);

/// Returns JSON on one line that does no harm in a terminal: what printable() escapes is escaped as
/// "\u202e", so that a parser finds it unchanged. Bytes that are not UTF-8 become replacement characters.
[[nodiscard]] std::string make_json_text(json_object const& value);

/// Makes an object that begins with the version of the format and the type, as make_json_text() writes
/// it, without the end of the line.
[[nodiscard]] std::string make_json_line(std::string_view type, json_object const& body);

/// Returns the text as UTF-8 that does no harm in a terminal: control characters as "\n" or "\x07",
/// those beyond ASCII and those that change the direction of text as "\u202e", and bytes that are not
/// UTF-8 as "\xff".
[[nodiscard]] std::string printable(std::string_view text);

/// "1 variable", "2 variables".
[[nodiscard]] std::string make_count_text(std::uint64_t count, std::string const& thing);

/// "1 change was dropped, because it came too fast", "2 changes were dropped, because they came too
/// fast".
[[nodiscard]] std::string make_dropped_text(std::uint64_t count, std::string const& thing);

} // namespace arvenhold::corvel::hub::ctl
