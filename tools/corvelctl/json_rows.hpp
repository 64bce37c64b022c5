// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// JSON Lines of what happens on a hub. Written without a JSON library where it counts: a row of a
// value takes less than a microsecond.

#pragma once

#include "corvelctl/rfc3339_writer.hpp"
#include "corvelctl/row_writer.hpp"

#include <string>
#include <unordered_map>

namespace arvenhold::corvel::hub::ctl {

class json_rows final : public row_writer {
public:
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

    /// Learns a definition without a row.
    void set_definition(std::string const& provider, known_definition const& defined);

private:
    // How the rows of a variable begin, up to the name of its type.
    using beginnings = std::unordered_map<std::string, std::string>;

    std::unordered_map<std::string, beginnings> m_providers;
    rfc3339_writer m_times;
};

/// Returns the name of a type by its index in variable_value.
[[nodiscard]] std::string_view get_type_name(std::size_t index);

} // namespace arvenhold::corvel::hub::ctl
