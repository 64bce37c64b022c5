// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/command_line.hpp"
#include "corvelctl/commands.hpp"
#include "corvelctl/hub_client.hpp"
#include "corvelctl/path_selection.hpp"
#include "corvelctl/session_access.hpp"
#include "corvelctl/time_text.hpp"
#include "corvelctl/value_text.hpp"
#include <hub/session/consumer_session.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <compare>
#include <mutex>
#include <optional>
#include <string_view>
#include <utility>
#include <variant>

namespace arvenhold::corvel::hub::ctl {

namespace {

constexpr std::chrono::seconds default_wait{30};

struct wait_options {
    std::string provider;
    std::string path;
    std::string comparison;
    std::string value;
};

using comparison = bool (*)(std::partial_ordering);

constexpr std::array<std::pair<std::string_view, comparison>, 12> comparisons{{
    {"==", &std::is_eq},
    {"eq", &std::is_eq},
    {"!=", &std::is_neq},
    {"ne", &std::is_neq},
    {"<", &std::is_lt},
    {"lt", &std::is_lt},
    {"<=", &std::is_lteq},
    {"le", &std::is_lteq},
    {">", &std::is_gt},
    {"gt", &std::is_gt},
    {">=", &std::is_gteq},
    {"ge", &std::is_gteq},
}};

std::partial_ordering compare(variable_value const& left, variable_value const& right) {
    return std::visit(
        [&right](auto const& value) -> std::partial_ordering {
            auto const* const other = std::get_if<std::decay_t<decltype(value)>>(&right);
            return other == nullptr ? std::partial_ordering::unordered : value <=> *other;
        },
        left);
}

// Decides with every reading; the session's thread calls it, the main thread waits.
class condition {
public:
    condition(wait_options const& given, tool& with)
        : m_given{given}
        , m_tool{with}
        , m_holds{std::find_if(comparisons.begin(), comparisons.end(), [&](auto const& one) {
                      return one.first == given.comparison;
                  })->second} {}

    void look_at(any_reading const& now) {
        {
            std::scoped_lock const lock{m_mutex};
            m_latest = now;
            try {
                decide();
            } catch (failure const& refused) {
                m_refused = refused;
            }
        }
        m_tool.guard.wake();
    }

    void fail(failure const& refused) {
        {
            std::scoped_lock const lock{m_mutex};
            m_refused = refused;
        }
        m_tool.guard.wake();
    }

    /// The reading for which the condition holds; nothing yet.
    ///
    /// @throws failure  It can never hold.
    [[nodiscard]] std::optional<any_reading> get_met() const {
        std::scoped_lock const lock{m_mutex};
        if (m_refused.has_value()) {
            throw failure{*m_refused};
        }
        return m_met ? m_latest : std::nullopt;
    }

    [[nodiscard]] std::optional<any_reading> get_latest() const {
        std::scoped_lock const lock{m_mutex};
        return m_latest;
    }

private:
    // A value that is not good, or as old as an outage, meets no condition.
    void decide() {
        if (m_met || !m_latest->is_good()) {
            return;
        }
        if (!m_wanted.has_value() || m_wanted->index() != m_latest->value.index()) {
            auto parsed = parse_value(m_given.value, m_latest->value);
            if (!parsed.warning.empty()) {
                m_tool.out.warn(parsed.warning);
            }
            m_wanted = std::move(parsed.value);
        }
        m_met = m_holds(compare(m_latest->value, *m_wanted));
    }

    wait_options const& m_given;
    tool& m_tool;
    comparison const m_holds;

    mutable std::mutex m_mutex; // guards everything below
    std::optional<any_reading> m_latest;
    std::optional<variable_value> m_wanted;
    std::optional<failure> m_refused;
    bool m_met = false;
};

json_object make_object(any_reading const& now) {
    json_object object{{"provider", now.provider}, {"path", now.path}};
    object["data_type"] = type_name_of(now.value);
    add_value(object, now.value);
    object["quality"] = name_of(now.quality);
    object["time"] = make_rfc3339(now.when);
    return object;
}

void show(tool& with, any_reading const& met) {
    if (with.out.is_json()) {
        with.out.print_object("value", make_object(met));
    } else {
        with.out.print(printable(met.path) + ' ' + make_text(met.value, with.options.utc));
    }
}

failure make_timeout(
    consumer_session const& session,
    condition const& wanted,
    wait_options const& given,
    std::string const& absence) {
    auto const what = given.path + ' ' + given.comparison + ' ' + given.value;
    auto const latest = wanted.get_latest();
    if (latest.has_value() && latest->freshness == freshness::live) {
        return {
            exit_code::timed_out,
            "timeout: " + what + " does not hold; the value is " + make_text(latest->value, true)
                + " (" + std::string{name_of(latest->quality)} + ')',
            "give it more time: --timeout 5min"};
    }
    auto const status = session.get_status();
    if (status.reason == session_reason::server_unreachable) {
        return {
            exit_code::unreachable,
            "the hub cannot be reached: " + status.text,
            "see what is wrong: corvelctl doctor"};
    }
    auto const text = session.get_provider_status(given.provider).text;
    auto const otherwise =
        "provider \"" + given.provider + "\" is not there" + (text.empty() ? "" : ": " + text);
    return {
        exit_code::timed_out,
        "timeout: " + (absence.empty() ? otherwise : absence),
        "see all providers: corvelctl providers"};
}

void follow(consumer_session& session, condition& wanted, wait_options const& given) {
    session.set_status_handler(
        [&wanted](std::string const& provider, session_status const& status) {
            if (provider.empty() && status.reason == session_reason::access_denied) {
                wanted.fail(failure{
                    exit_code::refused, status.text, "see why: corvelctl providers --verbose"});
            }
        });
    session.follow_all(given.provider, given.path, change_queue::every(10'000))
        .on_change([&wanted](any_reading const& now) { wanted.look_at(now); });
    session.start();
}

// The session waits for a path that is not there as it does for a provider, and knows no other names,
// one of which may have been meant. So look.
//
// Returns what is missing if the provider is; it may still come. Empty if something else is wrong: the
// session is trying the same, and says why if the time is up.
std::string find_absence(tool& with, wait_options const& given) {
    constexpr std::chrono::seconds limit{1}; // of each step, as the condition may hold meanwhile
    current_variables all;
    try {
        hub_client client{with, variable_permissions::read_only, limit};
        all = client.attach(given.provider)->get_current_variables();
    } catch (failure const& refused) {
        return refused.get_code() == exit_code::not_found ? refused.what() : "";
    }
    static_cast<void>(require_variable(all, given.path, given.provider));
    return {};
}

// Returns the exit code that a signal asks for, or nothing when the condition holds or the time is up.
// Leaves in `absence` what was missing at the latest look.
std::optional<exit_code> wait_until_met(
    tool& with,
    condition const& wanted,
    wait_options const& given,
    supervisor::clock::time_point deadline,
    std::string& absence) {
    constexpr std::chrono::milliseconds until_first_look{500};
    constexpr std::chrono::seconds between_looks{5};
    auto next_look = supervisor::clock::now() + until_first_look;
    while (!wanted.get_met().has_value() && supervisor::clock::now() < deadline) {
        if (auto const signal = with.guard.wait_for_signal(std::min(deadline, next_look))) {
            return signal;
        }
        if (supervisor::clock::now() < next_look) {
            continue;
        }
        next_look = supervisor::clock::now() + between_looks;
        if (!wanted.get_latest().has_value()) {
            absence = find_absence(with, given);
        }
    }
    return std::nullopt;
}

exit_code wait(tool& with, wait_options const& given) {
    auto const limit = with.options.timeout.value_or(default_wait);
    auto const deadline = supervisor::clock::now() + limit;
    with.guard.last_until_signal();
    with.guard.set_time(limit);
    condition wanted{given, with};
    consumer_session session{
        "corvelctl", make_session_access(with), {}, variable_permissions::read_only};
    follow(session, wanted, given);
    std::string absence;
    if (auto const signal = wait_until_met(with, wanted, given, deadline, absence)) {
        return *signal;
    }
    if (auto const met = wanted.get_met()) {
        show(with, *met);
        return exit_code::done;
    }
    throw make_timeout(session, wanted, given, absence);
}

std::string check_comparison(std::string const& given) {
    auto const known = std::any_of(comparisons.begin(), comparisons.end(), [&](auto const& one) {
        return one.first == given;
    });
    return known
             ? ""
             : '"' + given + "\" is no comparison; write one of == != < <= > >= eq ne lt le gt ge";
}

} // namespace

void add_wait(command_line& line) {
    auto const options = std::make_shared<wait_options>();
    auto& command = line.add("wait", "Wait until a condition holds", options, &wait);
    command.add_option("PROVIDER", options->provider, "Identifier of the provider")->required();
    command.add_option("PATH", options->path, "Path of the variable")->required();
    command.add_option("OP", options->comparison, "== != < <= > >=, or eq ne lt le gt ge")
        ->required()
        ->check(CLI::Validator{check_comparison, "", "comparison"});
    command.add_option("VALUE", options->value, "Value to compare with, by the variable's type")
        ->required();
    command.footer(
        "Waits for 30s, or for --timeout. The provider need not be there yet. Only good values "
        "that\n"
        "the provider holds now count. In a shell, write gt instead of >, or quote it.\n\n"
        "Example:\n"
        "  corvelctl wait boiler temperature_celsius ge 100 --timeout 5min && echo hot");
}

} // namespace arvenhold::corvel::hub::ctl
