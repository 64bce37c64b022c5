// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/command_line.hpp"
#include "corvelctl/commands.hpp"
#include "corvelctl/health.hpp"
#include "corvelctl/hub_client.hpp"
#include "corvelctl/path_selection.hpp"
#include "corvelctl/user_files.hpp"

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

namespace {

using clock = supervisor::clock;

class health_display;

struct check_options {
    std::string provider;
    std::vector<std::string> wanted;
    std::optional<std::chrono::milliseconds> most_age;
    bool prometheus = false;
    std::string file;
    std::shared_ptr<health_display> display;
};

// The numbers of the states are the exit codes that a monitoring system expects.
constexpr auto unknown = static_cast<exit_code>(health_state::unknown);

// Shows one result, whether the check or its time ends first.
class health_display {
public:
    exit_code show(output& out, check_options const& given, health& found) {
        constexpr std::chrono::seconds enough{1};
        std::unique_lock const lock{m_mutex, enough};
        if (!lock.owns_lock()) { // the reader of a result is stuck
            return unknown;
        }
        if (!m_code.has_value()) {
            found.took = clock::now() - m_begin;
            print(out, given, found);
            m_code = static_cast<exit_code>(get_state(found));
        }
        return *m_code;
    }

private:
    static void print(output& out, check_options const& given, health const& found) {
        if (out.is_json()) {
            out.print_object("health", make_health_object(found));
        } else if (given.prometheus && !given.file.empty()) {
            write_public_file(given.file, make_prometheus_text(found));
        } else if (given.prometheus) {
            out.print(make_prometheus_text(found));
        } else {
            out.print(make_nagios_text(found));
        }
    }

    std::timed_mutex m_mutex; // held while a result is shown
    clock::time_point const m_begin = clock::now();
    std::optional<exit_code> m_code;
};

health_problem make_problem(failure const& ended, std::string const& provider) {
    return {health_state::critical, provider, {}, ended.what(), ended.get_cure()};
}

void check_provider(
    hub_client& client, std::string const& name, check_options const& given, health& found) {
    auto& provider = found.providers.emplace_back();
    provider.identifier = name;
    auto const all = client.attach(name)->get_current_variables();
    provider.answers = true;
    for (auto const& variable : select_variables(all, given.wanted, name)) {
        auto const [value, when] = variable->get_value_with_timestamp();
        provider.values.push_back({variable->get_path(), value, variable->get_quality(), when});
    }
}

void require_time(tool& with, std::chrono::milliseconds limit, std::string const& provider) {
    if (with.guard.get_time_left() < limit) {
        throw failure{
            exit_code::timed_out,
            "no time left for provider \"" + provider + '"',
            "give it more time with --timeout 30s"};
    }
}

void check_providers(
    tool& with,
    hub_client& client,
    check_options const& given,
    std::chrono::milliseconds limit,
    health& found) {
    auto names = client.get_providers();
    if (!given.provider.empty()) {
        names = {given.provider};
    }
    if (names.empty()) {
        found.problems.push_back({health_state::warning, {}, {}, "the hub has no providers", {}});
    }
    for (auto const& name : names) {
        try {
            require_time(with, limit, name);
            check_provider(client, name, given, found);
        } catch (failure const& failed) {
            found.problems.push_back(make_problem(failed, name));
        }
    }
}

exit_code check(tool& with, check_options const& given) {
    if (given.prometheus && with.out.is_json()) {
        throw failure{
            exit_code::usage,
            "--prometheus and --json exclude each other",
            "leave --json out to get metrics"};
    }
    // So that providers which do not answer leave time for others.
    auto const limit = with.guard.get_time_left() / 2;
    health found;
    found.most_age = given.most_age;
    found.has_chosen_values = !given.wanted.empty();
    hub_client client{with, variable_permissions::read_only, limit};
    found.is_hub_up = true;
    check_providers(with, client, given, limit, found);
    found.when = std::chrono::system_clock::now();
    judge_values(found);
    return given.display->show(with.out, given, found);
}

// A failure in the form that a monitoring system reads.
exit_code report_failure(output& out, check_options const& given, failure const& ended) {
    health found;
    found.problems.push_back({get_state(ended), {}, {}, ended.what(), ended.get_cure()});
    try {
        return given.display->show(out, given, found);
    } catch (failure const& refused) {
        out.report(refused);
    } catch (output_closed const&) {
        // Nobody reads it.
    }
    return unknown;
}

} // namespace

void add_check(command_line& line) {
    auto const options = std::make_shared<check_options>();
    options->display = std::make_shared<health_display>();
    auto& command = line.add(
        "check", "Check a hub for a monitoring system (Nagios, Prometheus)", options, &check);
    command.add_option("PROVIDER", options->provider, "Provider to check; all if none");
    command.add_option(
        "PATH", options->wanted, "A path, a pattern with * and **, or an id as '#12'; all if none");
    add_duration(
        command,
        "--max-age",
        [options = options.get()](auto span) { options->most_age = span; },
        "Critical if the time stamp of a value is older");
    auto* const prometheus = command.add_flag(
        "--prometheus", options->prometheus, "Write the text format of Prometheus");
    command
        .add_option(
            "-o,--output", options->file, "Replace this file as a whole, instead of writing it out")
        ->needs(prometheus)
        ->type_name("FILE");
    line.set_failure_report(
        command,
        [options = options.get()](auto& out, auto const& ended) {
            return report_failure(out, *options, ended);
        },
        unknown);
    command.footer(
        "Ends within --timeout, 5s by default. Bad and old values, providers that do not answer "
        "and a "
        "hub that\ncannot be reached are critical; uncertain values are a warning.\n\n"
        "Exit codes are those of plugins for Nagios, and not the ones of other commands:\n"
        "    0  OK\n    1  WARNING\n    2  CRITICAL\n"
        "    3  UNKNOWN: wrong usage, no settings, no file, or nobody reads the output\n\n"
        "Examples:\n"
        "  corvelctl check\n"
        "  corvelctl check boiler pressure_bar --max-age 10s\n"
        "  corvelctl check --prometheus -o /var/lib/prometheus/node-exporter/corvel.prom");
}

} // namespace arvenhold::corvel::hub::ctl
