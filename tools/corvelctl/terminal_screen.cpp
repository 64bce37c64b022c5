// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/terminal_screen.hpp"

#include "corvelctl/output.hpp"
#include "corvelctl/user_files.hpp"

#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <optional>
#include <string_view>

namespace arvenhold::corvel::hub::ctl {

namespace {

constexpr std::string_view take_over = "\033[?1049h\033[?25l"; // the other screen, without cursor
constexpr std::string_view give_back = "\033[?25h\033[?1049l";

// Of the terminal before it was taken over.
struct earlier_state {
    std::atomic<bool> is_taken{false};
    std::optional<termios> keyboard;
};

earlier_state& get_earlier_state() {
    static earlier_state state;
    return state;
}

// Keys would show on the screen, and a stopped program could not give it back.
void silence_keyboard(earlier_state& state) {
    termios settings{};
    auto const is_ours = ::isatty(STDIN_FILENO) == 1 && ::tcgetpgrp(STDIN_FILENO) == ::getpgrp();
    if (!is_ours || ::tcgetattr(STDIN_FILENO, &settings) != 0) {
        return;
    }
    state.keyboard = settings;
    settings.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    settings.c_cc[VSUSP] = _POSIX_VDISABLE;
    ::tcsetattr(STDIN_FILENO, TCSANOW, &settings);
}

} // namespace

terminal_screen::terminal_screen() {
    auto& state = get_earlier_state();
    silence_keyboard(state);
    state.is_taken = true;
    static_cast<void>(write_all(STDOUT_FILENO, take_over));
}

terminal_screen::~terminal_screen() {
    restore_terminal();
}

terminal_screen::size terminal_screen::get_size() {
    winsize given{};
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): there is no other way to ask
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &given) != 0 || given.ws_col == 0 || given.ws_row == 0) {
        return {80, 24};
    }
    return {given.ws_col, given.ws_row};
}

void terminal_screen::draw(std::vector<std::string> const& lines) {
    // Each line is cleared before it is written: behind a full line, clearing would take its end.
    std::string frame = "\033[H";
    for (std::size_t index = 0; index < lines.size(); ++index) {
        frame += (index == 0 ? "\033[K" : "\r\n\033[K") + lines[index];
    }
    if (lines.size() < get_size().lines) {
        frame += "\r\n\033[J";
    }
    if (!write_all(STDOUT_FILENO, frame)) {
        throw output_closed{};
    }
}

void restore_terminal() noexcept {
    auto& state = get_earlier_state();
    if (!state.is_taken.exchange(false)) {
        return;
    }
    static_cast<void>(write_all(STDOUT_FILENO, give_back));
    if (state.keyboard.has_value()) {
        ::tcsetattr(STDIN_FILENO, TCSADRAIN, &*state.keyboard);
    }
}

bool has_unicode() {
    for (auto const* const name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        auto const locale = get_environment(name);
        if (!locale.empty()) {
            return locale.find("UTF-8") != std::string::npos
                || locale.find("utf8") != std::string::npos;
        }
    }
    return false;
}

} // namespace arvenhold::corvel::hub::ctl
