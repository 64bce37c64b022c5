// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/health.hpp"

#include "corvelctl/time_text.hpp"
#include "corvelctl/value_text.hpp"
#include <hub/names.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <functional>
#include <string_view>
#include <utility>

namespace arvenhold::corvel::hub::ctl {

namespace {

using seconds = std::chrono::duration<double>;

constexpr std::array<std::string_view, 4> state_names{"OK", "WARNING", "CRITICAL", "UNKNOWN"};

std::string_view name_of(health_state state) {
    return state_names.at(static_cast<std::size_t>(state));
}

// Without an exponent, which a plugin's number may not have.
std::string make_decimal(double number) {
    std::array<char, 400> digits{};
    auto const written = std::to_chars(
        digits.data(), digits.data() + digits.size(), number, std::chars_format::fixed);
    return {digits.data(), written.ptr};
}

seconds get_age(health const& found, checked_value const& value) {
    return get_span(value.when, found.when);
}

template <class Action>
void for_each_value(health const& found, Action action) {
    for (auto const& provider : found.providers) {
        for (auto const& value : provider.values) {
            action(provider.identifier, value);
        }
    }
}

struct totals {
    std::size_t values = 0;
    std::size_t not_good = 0;
    std::size_t too_old = 0;
    std::optional<seconds> oldest;
};

bool is_too_old(health const& found, checked_value const& value) {
    return found.most_age.has_value() && get_age(found, value) > *found.most_age;
}

totals count(health const& found) {
    totals sums;
    for_each_value(found, [&](auto const& /*provider*/, checked_value const& value) {
        auto const age = get_age(found, value);
        ++sums.values;
        sums.not_good += static_cast<std::size_t>(value.quality != variable_quality::good);
        sums.too_old += static_cast<std::size_t>(is_too_old(found, value));
        sums.oldest = std::max(sums.oldest.value_or(age), age);
    });
    return sums;
}

std::string make_age_text(seconds age) {
    auto const rounded = std::chrono::duration_cast<std::chrono::milliseconds>(age);
    return std::chrono::abs(rounded) < seconds{1} ? make_readable(rounded)
                                                  : make_decimal(seconds{rounded}.count()) + 's';
}

// A vertical bar begins the performance data.
std::string make_plugin_text(std::string_view text) {
    std::string shown;
    for (auto const character : printable(text)) {
        shown += character == '|' ? std::string{"\\x7c"} : std::string{character};
    }
    return shown;
}

// A label in quotes, in which a quote is doubled and an equals sign is forbidden.
std::string make_label(std::string_view name) {
    std::string label{"'"};
    for (auto const character : make_plugin_text(name)) {
        label += character == '=' ? '_' : character;
        if (character == '\'') {
            label += character;
        }
    }
    return label + '\'';
}

std::string describe(health_problem const& problem) {
    std::string text;
    if (!problem.path.empty()) {
        text = problem.provider + ' ' + problem.path + ": ";
    }
    return make_plugin_text(text + problem.text);
}

std::string make_performance_data(health const& found) {
    auto const sums = count(found);
    auto data = " | time=" + make_decimal(found.took.count()) + "s;;;0";
    data += " providers=" + std::to_string(found.providers.size()) + ";;;0";
    data += " values=" + std::to_string(sums.values) + ";;;0";
    data += " not_good=" + std::to_string(sums.not_good) + ";;;0";
    if (sums.oldest.has_value()) {
        data += " age=" + make_decimal(sums.oldest->count()) + "s;;";
        data += found.most_age.has_value() ? make_decimal(seconds{*found.most_age}.count()) : "";
    }
    if (!found.has_chosen_values) {
        return data;
    }
    for_each_value(found, [&](auto const& /*provider*/, checked_value const& value) {
        auto const number = find_measure(value.value).value_or(std::nan(""));
        if (std::isfinite(number)) {
            data += ' ' + make_label(value.path) + '=' + make_decimal(number);
        }
    });
    return data;
}

std::string describe_good(health const& found) {
    auto const sums = count(found);
    auto const text =
        (found.providers.size() == 1 ? found.providers.front().identifier
                                     : make_count_text(found.providers.size(), "provider"))
        + ": " + make_count_text(sums.values, "good value");
    return make_plugin_text(text)
         + (sums.oldest.has_value() ? ", the oldest " + make_age_text(*sums.oldest) + " old" : "");
}

// In quotes, and always UTF-8, because one wrong byte would spoil the whole file.
std::string make_label_value(std::string_view text) {
    return json_object(printable(text)).dump();
}

// The samples of one metric, which must stand together.
class metric {
public:
    metric(std::string name, std::string_view help)
        : m_name{"corvel_" + std::move(name)} {
        m_text = "# HELP " + m_name + ' ';
        m_text += help;
        m_text += "\n# TYPE " + m_name + " gauge\n";
    }

    void add(std::string const& labels, double value) {
        m_text += m_name + labels + ' ';
        if (std::isnan(value)) {
            m_text += "NaN";
        } else if (std::isinf(value)) {
            m_text += value > 0 ? "+Inf" : "-Inf";
        } else {
            m_text += make_decimal(value);
        }
        m_text += '\n';
        m_has_samples = true;
    }

    /// Empty without samples.
    [[nodiscard]] std::string get_text() const {
        return m_has_samples ? m_text : "";
    }

private:
    std::string m_name;
    std::string m_text;
    bool m_has_samples = false;
};

using value_reader = std::function<std::optional<double>(checked_value const&)>;

std::string make_value_metric(
    health const& found, std::string const& name, std::string_view help, value_reader const& read) {
    metric written{name, help};
    for_each_value(found, [&](std::string const& provider, checked_value const& value) {
        if (auto const number = read(value)) {
            written.add(
                "{provider=" + make_label_value(provider) + ",path=" + make_label_value(value.path)
                    + '}',
                *number);
        }
    });
    return written.get_text();
}

std::string make_single_metric(std::string const& name, std::string_view help, double value) {
    metric written{name, help};
    written.add("", value);
    return written.get_text();
}

std::string make_provider_metric(health const& found) {
    metric written{"provider_up", "1 if the provider answers, else 0."};
    for (auto const& provider : found.providers) {
        written.add(
            "{provider=" + make_label_value(provider.identifier) + '}', provider.answers ? 1 : 0);
    }
    return written.get_text();
}

json_object make_problem_object(health_problem const& problem) {
    json_object object{{"state", name_of(problem.state)}, {"text", problem.text}};
    for (auto const& [key, text] :
         {std::pair{"provider", problem.provider},
          std::pair{"path", problem.path},
          std::pair{"cure", problem.cure}}) {
        if (!text.empty()) {
            object[key] = text;
        }
    }
    return object;
}

} // namespace

health_state get_state(failure const& ended) {
    auto const code = ended.get_code();
    auto const is_local =
        code == exit_code::usage || code == exit_code::other || code == exit_code::not_found;
    return is_local ? health_state::unknown : health_state::critical;
}

health_state get_state(health const& found) {
    auto worst = health_state::ok;
    for (auto const& problem : found.problems) {
        worst = std::max(worst, problem.state);
    }
    return worst;
}

void judge_values(health& found) {
    auto& problems = found.problems;
    for_each_value(found, [&](std::string const& provider, checked_value const& value) {
        if (value.quality != variable_quality::good) {
            auto const state = value.quality == variable_quality::bad ? health_state::critical
                                                                      : health_state::warning;
            auto const text = "quality " + std::string{hub::name_of(value.quality)};
            problems.push_back({state, provider, value.path, text, {}});
        }
        if (is_too_old(found, value)) {
            auto const text = make_age_text(get_age(found, value)) + " old";
            problems.push_back({health_state::critical, provider, value.path, text, {}});
        }
    });
    std::stable_sort(problems.begin(), problems.end(), [](auto const& left, auto const& right) {
        return left.state > right.state;
    });
}

std::string make_nagios_text(health const& found) {
    auto const& problems = found.problems;
    auto text = "CORVEL " + std::string{name_of(get_state(found))} + " - ";
    if (problems.empty()) {
        text += describe_good(found);
    } else if (problems.size() == 1) {
        text += describe(problems.front());
    } else {
        text += make_count_text(problems.size(), "problem") + ", " + describe(problems.front());
    }
    text += make_performance_data(found) + '\n';
    for (auto const& problem : problems) {
        if (problems.size() > 1) {
            text += std::string{name_of(problem.state)} + ": " + describe(problem) + '\n';
        }
        if (!problem.cure.empty()) {
            text += make_plugin_text(problem.cure) + '\n';
        }
    }
    return text;
}

std::string make_prometheus_text(health const& found) {
    auto text = make_single_metric(
        "check_state",
        "0 if all is well, 1 for a warning, 2 if critical, 3 if unknown.",
        static_cast<double>(get_state(found)));
    text += make_single_metric(
        "check_duration_seconds", "How long the check has taken.", found.took.count());
    text += make_single_metric(
        "hub_up", "1 if the hub and its registry answer, else 0.", found.is_hub_up ? 1 : 0);
    text += make_provider_metric(found);
    text += make_value_metric(
        found, "variable_good", "1 if the quality is good, else 0.", [](auto const& one) {
            return one.quality == variable_quality::good ? 1.0 : 0.0;
        });
    text += make_value_metric(
        found,
        "variable_time_seconds",
        "Time stamp of the value, in seconds since 1970.",
        [](auto const& one) { return seconds{one.when.time_since_epoch()}.count(); });
    text += make_value_metric(
        found,
        "variable_value",
        "The value: a number, a bool as 0 or 1, or a duration in seconds.",
        [](auto const& one) { return find_measure(one.value); });
    return text;
}

json_object make_health_object(health const& found) {
    auto const sums = count(found);
    auto const state = get_state(found);
    auto problems = json_object::array();
    for (auto const& one : found.problems) {
        problems.push_back(make_problem_object(one));
    }
    json_object object{
        {"state", name_of(state)},
        {"exit_code", static_cast<int>(state)},
        {"hub_up", found.is_hub_up},
        {"seconds", found.took.count()},
        {"providers", found.providers.size()},
        {"values", sums.values},
        {"not_good", sums.not_good},
        {"too_old", sums.too_old}};
    if (sums.oldest.has_value()) {
        object["oldest_seconds"] = sums.oldest->count();
    }
    object["problems"] = problems;
    return object;
}

} // namespace arvenhold::corvel::hub::ctl
