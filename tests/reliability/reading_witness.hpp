// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Compares every reading that a consumer session shows with what the providers' processes held at
// that time.

#pragma once

#include "reliability/held_values.hpp"
#include <hub/session/reading.hpp>

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub::reliability {

/// Thread-safe.
class reading_witness {
public:
    using clock = std::chrono::steady_clock;

    /// What a provider holds at one moment.
    struct held_set {
        provider_shape shape = provider_shape::plain;
        round_number busy = 0;
        round_number calm = 0;
    };

    /// @param notes  The file in which the provider's process notes its rounds. Must outlive the
    ///               object.
    void add_provider(std::string const& identifier, shared_file const& notes);

    /// The provider's process is about to start.
    void note_start(std::string const& identifier, provider_shape shape);

    /// The provider's process is about to be killed or suspended: it holds nothing from now on.
    void note_loss(std::string const& identifier);

    /// The provider's process continues.
    void note_return(std::string const& identifier);

    /// From now on the values of these providers must always be live.
    void require_live(std::set<std::string> identifiers);

    /// Looks at readings.
    ///
    /// @param when  A time not after the one at which they were shown.
    void look_at(std::vector<any_reading> const& shown, clock::time_point when);

    /// What all providers hold now.
    [[nodiscard]] std::map<std::string, held_set> get_held();

    /// Whether the readings show everything live that was held, or later values.
    [[nodiscard]] static bool is_equal(
        std::vector<any_reading> const& shown, std::map<std::string, held_set> const& held);

    /// Throws row_failure if a reading was ever wrong, or live for longer than `limit` after its
    /// provider had replaced or lost it.
    void demand_truth(std::chrono::milliseconds limit);

    /// Returns for how long a value was live at most after its provider had replaced or lost it.
    [[nodiscard]] std::chrono::milliseconds get_longest_delay();

private:
    struct provider_notes {
        shared_file const* file = nullptr;
        round_history history;
        std::vector<std::pair<round_number, provider_shape>> starts;
        std::optional<round_number> lost_at;
    };

    std::mutex m_mutex; // guards everything below
    std::map<std::string, provider_notes> m_providers;
    std::set<std::string> m_required;
    std::string m_failure; // the first one
    round_number m_longest_delay = 0;
    std::string m_longest_story;

    void look_at_locked(any_reading const& shown, clock::time_point when);
    void look_at_live_locked(any_reading const& shown, round_number when);
    void fail_locked(any_reading const& shown, std::string const& why);
};

} // namespace arvenhold::corvel::hub::reliability
