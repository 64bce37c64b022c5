// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Lines for people of what happens on a hub.

#pragma once

#include "corvelctl/row_writer.hpp"
#include "corvelctl/tool.hpp"

#include <cstddef>
#include <string>

namespace arvenhold::corvel::hub::ctl {

class text_rows final : public row_writer {
public:
    text_rows(tool const& with, followed_selection const& selected)
        : m_tool{with}
        , m_shows_provider{selected.providers.size() != 1} {}

    void append_header(
        std::string& text, followed_selection const& selected, timestamp when) override;
    void append_definition(
        std::string& text,
        std::string const& provider,
        known_definition const& defined,
        timestamp when) override;
    void append_value(std::string& text, any_reading const& shown) override;
    void append_notice(std::string& text, provider_notice const& notice) override;
    void append_dropped(std::string& text, std::uint64_t count, timestamp when) override;
    void append_gap(std::string& text, timestamp from, timestamp to) override;

private:
    [[nodiscard]] std::string make_time(timestamp when) const;
    [[nodiscard]] std::string pad(std::string text);

    tool const& m_tool;
    bool const m_shows_provider;
    std::size_t m_width = 0; // of the widest name so far
};

} // namespace arvenhold::corvel::hub::ctl
