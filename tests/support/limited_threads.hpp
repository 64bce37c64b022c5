// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace arvenhold::corvel::hub {

/// Lets the process run out of threads: no thread can be started until this object ends. Has an
/// effect only in a test program with limited_threads.cpp in it. One at a time.
class limited_threads {
public:
    /// @param threads  How many threads can still be started.
    explicit limited_threads(int threads);
    limited_threads(limited_threads const&) = delete;
    limited_threads& operator=(limited_threads const&) = delete;
    ~limited_threads();

    /// Returns whether a thread could not be started.
    [[nodiscard]] bool has_run_out() const;
};

} // namespace arvenhold::corvel::hub
