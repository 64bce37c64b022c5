// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What `doctor` finds: one line for each check on standard output, and all of it in a file for others.

#pragma once

#include "corvelctl/secrets.hpp"
#include "corvelctl/tool.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

enum class check_outcome {
    good,
    warning,
    failed,
    skipped
};

class doctor_report {
public:
    explicit doctor_report(tool& with);

    /// Adds secrets that no line must contain.
    void hide(secret_list const& secrets);

    void add_good(std::string const& check, std::string const& text);
    void add_skipped(std::string const& check, std::string const& text);

    /// @param cure  What to do next.
    void add_warning(std::string const& check, std::string const& text, std::string const& cure);

    /// @param ended  What is wrong; its code is that of the program if no earlier check has failed.
    void add_failed(std::string const& check, failure const& ended);

    /// The code of the first check that has failed; `done` if none has.
    [[nodiscard]] exit_code get_code() const;

    /// Keeps an object for the file, and does not show it.
    ///
    /// @param body  Contains no secret.
    void attach(std::string_view type, json_object const& body);

    /// Writes everything so far to a private file, as JSON Lines.
    ///
    /// @throws failure  The file cannot be written.
    void save(std::string const& file) const;

private:
    void add(
        std::string const& check,
        check_outcome outcome,
        std::string const& text,
        std::string const& cure);
    [[nodiscard]] std::string clean(std::string_view text) const;

    output& m_output;
    secret_list m_secrets;
    std::vector<std::string> m_lines;
    exit_code m_code = exit_code::done;
};

} // namespace arvenhold::corvel::hub::ctl
