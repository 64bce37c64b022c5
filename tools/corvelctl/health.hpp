// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What `check` has found, and how monitoring systems read it. Pure functions.

#pragma once

#include "corvelctl/exit_code.hpp"
#include "corvelctl/output.hpp"
#include <hub/common.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

/// The numbers are the exit codes of plugins for Nagios.
enum class health_state : std::uint8_t {
    ok = 0,
    warning = 1,
    critical = 2,
    unknown = 3
};

struct health_problem {
    health_state state = health_state::critical;
    std::string provider; ///< Empty if it concerns the hub.
    std::string path;     ///< Empty if it concerns the provider as a whole.
    std::string text;
    std::string cure; ///< May be empty.
};

struct checked_value {
    std::string path;
    variable_value value;
    variable_quality quality = variable_quality::bad;
    timestamp when;
};

struct checked_provider {
    std::string identifier;
    bool answers = false;
    std::vector<checked_value> values;
};

struct health {
    bool is_hub_up = false;
    bool has_chosen_values = false; ///< Whether paths were named; their numbers are worth a graph.
    std::optional<std::chrono::milliseconds> most_age;
    timestamp when; ///< When the values were received.
    std::chrono::duration<double> took{};
    std::vector<checked_provider> providers;
    std::vector<health_problem> problems;
};

/// The state after a failure that prevents the check: what the user can cure on this machine is unknown,
/// everything else critical.
[[nodiscard]] health_state get_state(failure const& ended);

/// The worst state of all problems.
[[nodiscard]] health_state get_state(health const& found);

/// Adds a problem for each value that is not good or too old. The worst problems come first then.
void judge_values(health& found);

/// The output of a plugin for Nagios: a line with performance data, and a line for each of several
/// problems.
[[nodiscard]] std::string make_nagios_text(health const& found);

/// The text format of Prometheus.
[[nodiscard]] std::string make_prometheus_text(health const& found);

/// The keys of the JSON object.
[[nodiscard]] json_object make_health_object(health const& found);

} // namespace arvenhold::corvel::hub::ctl
