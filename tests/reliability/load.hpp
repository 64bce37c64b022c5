// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "reliability/world.hpp"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>

namespace arvenhold::corvel::hub::reliability {

/// Keeps both applications busy, publishing, reading and writing, for as long as it exists.
class load {
public:
    load(providing_application& providing, consuming_application& consuming)
        : m_publisher{[this, &providing] {
            repeat(m_published, [&providing] { return providing.publish_all(); });
        }}
        , m_reader{[this, &consuming] {
            repeat(m_read, [&consuming] { return consuming.read_and_write(); });
        }} {}

    load(load const&) = delete;
    load& operator=(load const&) = delete;

    ~load() {
        m_stopped = true;
        m_publisher.join();
        m_reader.join();
    }

    /// Whether both have succeeded again since the given counts.
    [[nodiscard]] bool has_moved_on(std::uint64_t published, std::uint64_t read) const {
        return m_published > published + 3 && m_read > read + 3;
    }

    [[nodiscard]] std::uint64_t published() const {
        return m_published;
    }

    [[nodiscard]] std::uint64_t read() const {
        return m_read;
    }

private:
    std::atomic<bool> m_stopped{false};
    std::atomic<std::uint64_t> m_published{0};
    std::atomic<std::uint64_t> m_read{0};
    std::thread m_publisher;
    std::thread m_reader;

    template <class Work>
    void repeat(std::atomic<std::uint64_t>& successes, Work work) {
        while (!m_stopped) {
            if (work()) {
                ++successes;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds{5}); // the pace of the load
        }
    }
};

} // namespace arvenhold::corvel::hub::reliability
