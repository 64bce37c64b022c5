// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/doctor_report.hpp"

#include "corvelctl/user_files.hpp"

#include <algorithm>
#include <array>
#include <filesystem>

namespace arvenhold::corvel::hub::ctl {

namespace {

struct outcome_words {
    std::string_view word;
    colour paint;
};

outcome_words const& describe(check_outcome outcome) {
    static constexpr std::array<outcome_words, 4> words{
        {{"ok", colour::green},
         {"warning", colour::yellow},
         {"failed", colour::red},
         {"skipped", colour::grey}}};
    return words.at(static_cast<std::size_t>(outcome));
}

std::string pad(std::string_view text, std::size_t width) {
    std::string padded{text};
    padded.resize(std::max(width, text.size()), ' ');
    return padded;
}

} // namespace

doctor_report::doctor_report(tool& with)
    : m_output{with.out} {}

void doctor_report::hide(secret_list const& secrets) {
    m_secrets.insert(m_secrets.end(), secrets.begin(), secrets.end());
}

void doctor_report::add_good(std::string const& check, std::string const& text) {
    add(check, check_outcome::good, text, {});
}

void doctor_report::add_skipped(std::string const& check, std::string const& text) {
    add(check, check_outcome::skipped, text, {});
}

void doctor_report::add_warning(
    std::string const& check, std::string const& text, std::string const& cure) {
    add(check, check_outcome::warning, text, cure);
}

void doctor_report::add_failed(std::string const& check, failure const& ended) {
    if (m_code == exit_code::done) {
        m_code = ended.get_code();
    }
    add(check, check_outcome::failed, ended.what(), ended.get_cure());
}

exit_code doctor_report::get_code() const {
    return m_code;
}

void doctor_report::attach(std::string_view type, json_object const& body) {
    m_lines.push_back(make_json_line(type, body));
}

void doctor_report::save(std::string const& file) const {
    std::string text;
    for (auto const& line : m_lines) {
        text += line + '\n';
    }
    write_private_file(std::filesystem::absolute(file), text);
}

void doctor_report::add(
    std::string const& check,
    check_outcome outcome,
    std::string const& text,
    std::string const& cure) {
    constexpr std::size_t outcome_width = 9;
    constexpr std::size_t check_width = 16;
    auto const [word, paint] = describe(outcome);
    json_object body{{"check", check}, {"outcome", word}, {"text", clean(text)}};
    if (!cure.empty()) {
        body["cure"] = clean(cure);
    }
    attach("check", body);
    if (m_output.is_json()) {
        m_output.print_object("check", body);
        return;
    }
    auto line = m_output.paint(pad(word, outcome_width), paint) + pad(check, check_width)
              + printable(clean(text));
    if (!cure.empty()) {
        line += '\n' + std::string(outcome_width + check_width, ' ') + printable(clean(cure));
    }
    m_output.print(line);
}

std::string doctor_report::clean(std::string_view text) const {
    return remove_secrets(text, m_secrets);
}

} // namespace arvenhold::corvel::hub::ctl
