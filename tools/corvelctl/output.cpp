// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/output.hpp"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <optional>
#include <system_error>
#include <utility>

namespace arvenhold::corvel::hub::ctl {

namespace {

constexpr std::string_view start_of_line = "\r\033[K"; // of a terminal, which is empty then

bool wants_colours(colour_choice choice) {
    if (choice != colour_choice::automatic) {
        return choice == colour_choice::always;
    }
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing changes the environment
    auto const* const refused = std::getenv("NO_COLOR");
    return (refused == nullptr || *refused == '\0') && output::is_terminal();
}

std::string_view sequence_of(colour wanted) {
    switch (wanted) {
    case colour::green:
        return "\033[32m";
    case colour::yellow:
        return "\033[33m";
    case colour::red:
        return "\033[31m";
    case colour::grey:
        return "\033[90m";
    case colour::bold:
        return "\033[1m";
    case colour::none:
        break;
    }
    return "";
}

struct utf8_character {
    char32_t code = 0;
    std::size_t size = 0; // in bytes
};

// The first character of a text that is not empty; nothing if its bytes are not UTF-8.
std::optional<utf8_character> decode_character(std::string_view text) {
    auto const byte = [text](std::size_t index) {
        return static_cast<unsigned char>(text[index]);
    };
    auto const first = byte(0);
    if (first < 0x80) {
        return utf8_character{first, 1};
    }
    std::size_t const size = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    if (first < 0xC2 || first > 0xF4 || text.size() < size) {
        return std::nullopt;
    }
    char32_t code = first & (0x7FU >> size);
    for (std::size_t index = 1; index < size; ++index) {
        if ((byte(index) & 0xC0U) != 0x80U) {
            return std::nullopt;
        }
        code = code << 6U | (byte(index) & 0x3FU);
    }
    constexpr std::array<char32_t, 5> least{0, 0, 0x80, 0x800, 0x10000};
    auto const is_surrogate = code >= 0xD800 && code <= 0xDFFF;
    if (code < least.at(size) || is_surrogate || code > 0x10FFFF) {
        return std::nullopt;
    }
    return utf8_character{code, size};
}

// What a terminal obeys instead of showing it: control characters, and those that change the direction
// of the text around them.
bool is_control(char32_t code) {
    return code < ' ' || (code >= 0x7F && code < 0xA0) || code == 0x061C || code == 0x200E
        || code == 0x200F || (code >= 0x202A && code <= 0x202E)
        || (code >= 0x2066 && code <= 0x2069);
}

// "\x07" or "\u202e".
std::string make_escape(char32_t code, bool is_ascii_or_byte) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string escape = is_ascii_or_byte ? "\\x" : "\\u";
    for (auto shift = is_ascii_or_byte ? 8U : 16U; shift > 0;) {
        shift -= 4;
        escape += digits[code >> shift & 0xFU];
    }
    return escape;
}

} // namespace

output::output(output_settings settings)
    : m_settings{settings}
    , m_coloured{!settings.json && wants_colours(settings.colours)} {}

output_settings const& output::get_settings() const {
    return m_settings;
}

bool output::is_json() const {
    return m_settings.json;
}

bool output::is_terminal() {
    return ::isatty(STDOUT_FILENO) == 1;
}

void output::ignore_reader() {
    m_needs_reader = false;
}

bool output::needs_reader() const {
    return m_needs_reader;
}

void output::print(std::string_view lines) {
    if (lines.empty()) {
        return;
    }
    std::string whole{lines};
    if (whole.back() != '\n') {
        whole += '\n';
    }
    std::scoped_lock const lock{m_data_mutex};
    if (write_all(STDOUT_FILENO, whole)) {
        return;
    }
    if (errno == EPIPE) {
        throw output_closed{};
    }
    throw failure{
        exit_code::other,
        "cannot write to standard output: " + std::generic_category().message(errno)};
}

void output::print_object(std::string_view type, json_object const& body) {
    print(make_json_line(type, body));
}

void output::note(std::string_view text) {
    if (!m_settings.quiet) {
        explain("note", "", text);
    }
}

void output::warn(std::string_view text) {
    if (!m_settings.quiet) {
        explain("warning", "warning: ", text);
    }
}

void output::trace(std::string_view text) {
    if (m_settings.verbose) {
        explain("trace", "library: ", text);
    }
}

void output::show_event(std::string_view text) {
    auto line = is_json() ? make_json_line("event", {{"text", text}}) : printable(text);
    write_to_standard_error(line += '\n');
}

void output::report(failure const& ended) {
    auto const code = static_cast<int>(ended.get_code());
    std::string text;
    if (is_json()) {
        json_object body{{"exit_code", code}, {"text", ended.what()}};
        if (!ended.get_cure().empty()) {
            body["cure"] = ended.get_cure();
        }
        text = make_json_line("error", body) + '\n';
    } else {
        text = "corvelctl: " + printable(ended.what()) + '\n';
        if (!ended.get_cure().empty()) {
            text += "  " + printable(ended.get_cure()) + '\n';
        }
    }
    write_to_standard_error(text);
}

std::string output::paint(std::string_view text, colour wanted) const {
    std::string painted{text};
    if (m_coloured && wanted != colour::none) {
        painted.insert(0, sequence_of(wanted)).append("\033[0m");
    }
    return painted;
}

void output::explain(std::string_view type, std::string_view label, std::string_view text) {
    auto line = is_json() ? make_json_line(type, {{"text", text}})
                          : "corvelctl: " + std::string{label} + printable(text);
    line += '\n';
    write_to_standard_error(line);
}

void output::show_progress(std::string_view text) {
    if (m_settings.quiet || is_json() || ::isatty(STDERR_FILENO) != 1) {
        return;
    }
    std::scoped_lock const lock{m_mutex};
    m_has_progress = true;
    static_cast<void>(write_all(STDERR_FILENO, std::string{start_of_line} + printable(text)));
}

void output::write_to_standard_error(std::string_view text) {
    std::scoped_lock const lock{m_mutex};
    if (std::exchange(m_has_progress, false)) {
        static_cast<void>(write_all(STDERR_FILENO, start_of_line));
    }
    static_cast<void>(write_all(STDERR_FILENO, text));
}

bool write_all(int descriptor, std::string_view text) {
    while (!text.empty()) {
        auto const written = ::write(descriptor, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EAGAIN) {
            // A program that shares the descriptor has made it non-blocking.
            pollfd watched{descriptor, POLLOUT, 0};
            ::poll(&watched, 1, -1);
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

std::string make_json_text(json_object const& value) {
    auto const text = value.dump(-1, ' ', false, json_object::error_handler_t::replace);
    std::string escaped;
    escaped.reserve(text.size());
    std::string_view rest = text;
    while (!rest.empty()) {
        auto const [code, size] = decode_character(rest).value_or(utf8_character{0, 1});
        if (is_control(code)) {
            escaped += make_escape(code, false);
        } else {
            escaped += rest.substr(0, size);
        }
        rest.remove_prefix(size);
    }
    return escaped;
}

std::string make_json_line(std::string_view type, json_object const& body) {
    json_object whole{{"v", 1}, {"type", type}};
    whole.update(body);
    return make_json_text(whole);
}

std::string printable(std::string_view text) {
    std::string shown;
    while (!text.empty()) {
        auto const found = decode_character(text);
        auto const [code, size] =
            found.value_or(utf8_character{static_cast<unsigned char>(text.front()), 1});
        if (code == '\n') {
            shown += "\\n";
        } else if (code == '\t') {
            shown += "\\t";
        } else if (!found.has_value() || is_control(code)) {
            shown += make_escape(code, size == 1);
        } else {
            shown += text.substr(0, size);
        }
        text.remove_prefix(size);
    }
    return shown;
}

std::string make_count_text(std::uint64_t count, std::string const& thing) {
    return std::to_string(count) + ' ' + thing + (count == 1 ? "" : "s");
}

std::string make_dropped_text(std::uint64_t count, std::string const& thing) {
    return make_count_text(count, thing)
         + (count == 1 ? " was dropped, because it came too fast"
                       : " were dropped, because they came too fast");
}

} // namespace arvenhold::corvel::hub::ctl
