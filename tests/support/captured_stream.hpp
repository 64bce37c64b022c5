// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub {

/// Captures everything that is written to std::cerr or std::cout while it exists. Construct it
/// before the threads that write, and destroy it after they have ended.
class captured_stream : private std::streambuf {
public:
    explicit captured_stream(std::ostream& stream);

    captured_stream(captured_stream const&) = delete;
    captured_stream(captured_stream&&) = delete;
    captured_stream& operator=(captured_stream const&) = delete;
    captured_stream& operator=(captured_stream&&) = delete;

    ~captured_stream() override;

    /// Returns everything written so far.
    [[nodiscard]] std::string text() const;

    /// Returns everything written and flushed so far.
    [[nodiscard]] std::string flushed_text() const;

    /// @return whether flushed_text() contains `wanted` before `limit` has passed.
    [[nodiscard]] bool wait_until_flushed(
        std::string_view wanted, std::chrono::milliseconds limit) const;

private:
    std::ostream& m_stream;
    std::streambuf* const m_original;

    mutable std::mutex m_mutex; // guards everything below
    mutable std::condition_variable m_written;
    std::string m_text;
    std::size_t m_flushed = 0;

    std::streamsize xsputn(char const* text, std::streamsize size) override;
    int_type overflow(int_type character) override;
    int sync() override;
};

} // namespace arvenhold::corvel::hub
