// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// CSV of what happens on a hub, as RFC 4180 has it, but with plain line feeds.

#pragma once

#include "corvelctl/rfc3339_writer.hpp"
#include "corvelctl/row_writer.hpp"

#include <string>
#include <string_view>

namespace arvenhold::corvel::hub::ctl {

class csv_rows final : public row_writer {
public:
    /// The first line of a file.
    static constexpr std::string_view titles =
        "time,event,provider,path,data_type,value,quality,text";

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
    void append_row(
        std::string& text,
        timestamp when,
        std::string_view event,
        std::string_view provider,
        std::string_view why);

    rfc3339_writer m_times;
};

} // namespace arvenhold::corvel::hub::ctl
