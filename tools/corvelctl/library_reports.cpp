// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/library_reports.hpp"

#include "corvelctl/output.hpp"

#include <algorithm>
#include <charconv>
#include <string_view>

namespace arvenhold::corvel::hub::ctl {

namespace {

// What follows a mark in a text, up to an end; empty if the mark is not there.
std::string_view text_after(std::string_view text, std::string_view mark) {
    auto const found = text.find(mark);
    return found == std::string_view::npos ? std::string_view{} : text.substr(found + mark.size());
}

std::string describe(token_failure const& failed) {
    if (failed.curl_code != 0) {
        return "no token: libcurl returned " + std::to_string(failed.curl_code);
    }
    return "no token: the endpoint answered: " + failed.answer;
}

} // namespace

std::optional<token_failure> parse_token_failure(
    std::string_view text, secret_list const& secrets) {
    if (!text.starts_with("Failed to receive new NATS authentication token")) {
        return std::nullopt;
    }
    token_failure parsed;
    auto const code = text_after(text, "\nCURL call failed, returned ");
    if (!code.empty()) {
        std::from_chars(code.data(), code.data() + code.size(), parsed.curl_code);
        return parsed;
    }
    parsed.answer = describe_token_reply(text_after(text, "\nReply from auth endpoint: "), secrets);
    return parsed;
}

library_reports::library_reports(output& shown)
    : m_output{shown} {
    set_diagnostics_callback(&library_reports::receive, this);
}

library_reports::~library_reports() {
    set_diagnostics_callback(nullptr, nullptr);
}

bool library_reports::hide(secret_list const& secrets) {
    std::scoped_lock const lock{m_mutex};
    auto const before = m_secrets.size();
    for (auto const& secret : secrets) {
        if (std::find(m_secrets.begin(), m_secrets.end(), secret) == m_secrets.end()) {
            m_secrets.push_back(secret);
        }
    }
    return m_secrets.size() > before;
}

std::optional<token_failure> library_reports::get_token_failure() const {
    std::scoped_lock const lock{m_mutex};
    return m_token_failure;
}

void library_reports::receive(diagnostic const& report, void* user_data) {
    static_cast<library_reports*>(user_data)->handle(report);
}

// The library's text about a refused token contains the secret, so that one is composed again.
void library_reports::handle(diagnostic const& report) {
    std::string shown;
    {
        std::scoped_lock const lock{m_mutex};
        auto const failed = parse_token_failure(report.text, m_secrets);
        if (failed.has_value()) {
            m_token_failure = failed;
        }
        shown = failed.has_value() ? describe(*failed) : remove_secrets(report.text, m_secrets);
    }
    m_output.trace(shown);
}

} // namespace arvenhold::corvel::hub::ctl
