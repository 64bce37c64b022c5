// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Owner of an open file of the kernel: a pipe's end or a socket.

#pragma once

#include <unistd.h>

#include <utility>

namespace arvenhold::corvel::hub::dev {

class file_descriptor {
public:
    /// @param number  An open file, or a negative number for none.
    explicit file_descriptor(int number)
        : m_number{number} {}

    file_descriptor(file_descriptor const&) = delete;
    file_descriptor(file_descriptor&& other) noexcept
        : m_number{std::exchange(other.m_number, -1)} {}
    file_descriptor& operator=(file_descriptor const&) = delete;
    file_descriptor& operator=(file_descriptor&&) = delete;

    ~file_descriptor() {
        close();
    }

    [[nodiscard]] int get() const {
        return m_number;
    }

    void close() {
        if (m_number >= 0) {
            ::close(std::exchange(m_number, -1));
        }
    }

private:
    int m_number;
};

} // namespace arvenhold::corvel::hub::dev
