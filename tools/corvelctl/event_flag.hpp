// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Wakes a thread that polls descriptors.

#pragma once

namespace arvenhold::corvel::hub::ctl {

/// @par Thread safety
/// All operations may be called from any thread.
class event_flag {
public:
    /// @throws std::system_error  The system has no descriptor left.
    event_flag();

    event_flag(event_flag const&) = delete;
    event_flag& operator=(event_flag const&) = delete;

    ~event_flag();

    /// Makes the descriptor readable until lower().
    void raise() const;
    void lower() const;

    [[nodiscard]] int get_descriptor() const;

private:
    int const m_descriptor;
};

} // namespace arvenhold::corvel::hub::ctl
