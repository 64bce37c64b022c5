// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ios>

namespace arvenhold::corvel::hub {

/// Restores a stream's format flags to what they were when this object was created. Every dump
/// begins with one.
class stream_format_guard {
public:
    explicit stream_format_guard(std::ios_base& stream)
        : m_stream{stream}
        , m_flags{stream.flags()} {}

    stream_format_guard(stream_format_guard const&) = delete;
    stream_format_guard& operator=(stream_format_guard const&) = delete;

    ~stream_format_guard() {
        m_stream.flags(m_flags);
    }

private:
    std::ios_base& m_stream;
    std::ios_base::fmtflags const m_flags;
};

} // namespace arvenhold::corvel::hub
