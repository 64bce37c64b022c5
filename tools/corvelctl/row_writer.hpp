// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Rows of what happens on a hub, in one of several formats.

#pragma once

#include "corvelctl/followed_hub.hpp"

#include <cstdint>
#include <string>

namespace arvenhold::corvel::hub::ctl {

/// Appends whole lines to a text. A format without a row for something appends nothing.
class row_writer {
public:
    row_writer() = default;
    row_writer(row_writer const&) = delete;
    row_writer& operator=(row_writer const&) = delete;
    virtual ~row_writer() = default;

    /// What a file begins with.
    virtual void append_header(
        std::string& text, followed_selection const& selected, timestamp when) = 0;

    /// To be called before values of a new definition are appended.
    virtual void append_definition(
        std::string& text,
        std::string const& provider,
        known_definition const& defined,
        timestamp when) = 0;

    virtual void append_value(std::string& text, any_reading const& shown) = 0;

    virtual void append_notice(std::string& text, provider_notice const& notice) = 0;

    virtual void append_dropped(std::string& text, std::uint64_t count, timestamp when) = 0;

    /// Nothing was recorded for a time.
    virtual void append_gap(std::string& text, timestamp from, timestamp to) = 0;
};

} // namespace arvenhold::corvel::hub::ctl
