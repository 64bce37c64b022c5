// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// RFC 3339 for many points in time that are near each other.

#pragma once

#include <hub/common.hpp>

#include <chrono>
#include <string>

namespace arvenhold::corvel::hub::ctl {

/// Writes as make_rfc3339() does, and keeps the text of the latest second.
class rfc3339_writer {
public:
    void append(std::string& text, timestamp when);

private:
    std::chrono::time_point<std::chrono::system_clock, std::chrono::seconds> m_second{};
    std::string m_beginning; // up to the point; empty before the first time
};

} // namespace arvenhold::corvel::hub::ctl
