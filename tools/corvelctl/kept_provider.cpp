// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/kept_provider.hpp"

#include "corvelctl/event_wait.hpp"
#include "corvelctl/hub_client.hpp"
#include "corvelctl/path_selection.hpp"
#include "corvelctl/time_text.hpp"

#include <algorithm>
#include <chrono>

namespace arvenhold::corvel::hub::ctl {

namespace {

using clock = supervisor::clock;

failure make_rejection(kept_provider& one) {
    return {
        exit_code::definition_rejected,
        "the registry rejects the definition of provider \"" + one.get_name() + '"',
        "check it: corvelctl def check FILE; the log of the registry says more"};
}

// Why a provider is not registered when the time is up.
failure explain_delay(tool& with, kept_provider& one) {
    auto const limit = with.options.timeout.value_or(default_timeout);
    auto const status = one.get_session().get_status();
    auto const beginning =
        "provider \"" + one.get_name() + "\" is not registered after " + make_readable(limit);
    if (status.reason == session_reason::server_unreachable
        || status.reason == session_reason::link_lost) {
        return {exit_code::unreachable, beginning + ": " + status.text, "run corvelctl doctor"};
    }
    if (status.reason == session_reason::access_denied) {
        return {
            exit_code::refused,
            beginning + ": " + status.text,
            "the client needs the scope of a provider; run corvelctl doctor"};
    }
    return {
        exit_code::definition_rejected,
        beginning + ": the registry gave no verdict",
        "give it more time with --timeout 30s, or run corvelctl doctor"};
}

std::vector<std::string> find_providers(tool& with) {
    try {
        return hub_client{with}.get_providers();
    } catch (registry_failure const& silent) {
        throw failure{
            exit_code::definition_rejected,
            "no verdict can be expected: " + std::string{silent.what()},
            silent.get_cure()};
    }
}

bool are_registered(tool& with, kept_providers const& all, clock::time_point deadline) {
    auto are_all = true;
    for (auto const& one : all) {
        // A request that arrives before the end of the registration is refused.
        static_cast<void>(one->dispatch());
        auto const status = one->get_session().get_status();
        if (status.reason == session_reason::definition_rejected) {
            throw make_rejection(*one);
        }
        if (status.state == session_state::ready) {
            continue;
        }
        are_all = false;
        if (clock::now() >= deadline) {
            throw explain_delay(with, *one);
        }
    }
    return are_all;
}

} // namespace

kept_provider::kept_provider(
    tool& with,
    row_style style,
    hub_access access,
    std::string const& name,
    std::vector<ctl::defined_variable> const& variables)
    : m_tool{with}
    , m_style{style}
    , m_name{name}
    , m_session{name, std::move(access), session_settings{}.set_handlers_wait_for_dispatch(true)} {
    for (auto const& one : variables) {
        auto const variable = m_session.declare_any(one.path, one.initial, one.permissions);
        m_session.keep_changes(variable, most_waiting);
        m_variables.emplace(one.path, variable);
    }
    m_session.set_write_handler(
        [this](any_write_request request) { m_requests.push_back(std::move(request)); });
    m_session.set_status_handler(
        [this](session_status const& status) { m_changes.push_back(status); });
}

void kept_provider::start() {
    m_session.start();
}

// Handlers only collect, because the session would report what they throw and go on.
std::vector<any_write_request> kept_provider::dispatch() {
    m_session.dispatch();
    for (auto const& status : std::exchange(m_changes, {})) {
        show(status);
    }
    return std::exchange(m_requests, {});
}

void kept_provider::show(session_status const& status) {
    auto const is_ready = status.state == session_state::ready;
    if (m_style == row_style::json) {
        m_tool.out.print_object(
            "provider_state",
            {{"provider", m_name},
             {"state", name_of(status.state)},
             {"reason", name_of(status.reason)},
             {"text", status.text},
             {"time", make_rfc3339(std::chrono::system_clock::now())}});
    } else if (is_ready) {
        m_tool.out.note(
            "provider " + m_name + (m_was_ready ? " is registered again" : " is registered"));
    } else {
        m_tool.out.note("provider " + m_name + ": " + status.text);
    }
    m_was_ready = m_was_ready || is_ready;
}

any_variable_handle const& kept_provider::require(std::string const& path) const {
    auto const found = m_variables.find(path);
    if (found != m_variables.end()) {
        return found->second;
    }
    std::vector<std::string> paths;
    paths.reserve(m_variables.size());
    for (auto const& [known, variable] : m_variables) {
        paths.push_back(known);
    }
    throw make_unknown_path(path, paths, m_name);
}

any_variable_handle kept_provider::find(std::string const& path) const {
    auto const found = m_variables.find(path);
    return found == m_variables.end() ? any_variable_handle{} : found->second;
}

void kept_provider::set_all_qualities(variable_quality quality, timestamp when) const {
    for (auto const& [path, variable] : m_variables) {
        variable.set_quality(quality, when);
    }
}

provider_session& kept_provider::get_session() {
    return m_session;
}

std::string const& kept_provider::get_name() const {
    return m_name;
}

std::uint64_t kept_provider::count_dropped_changes() const {
    std::uint64_t count = 0;
    for (auto const& [path, variable] : m_variables) {
        count += variable.get_dropped_changes();
    }
    return count;
}

void add_registration(CLI::App& command, registration_options& options) {
    command.add_flag("--wait", options.waits, "Start although the hub is not there yet");
}

void require_free_names(
    tool& with, std::vector<std::string> const& names, registration_options const& given) {
    if (given.waits) {
        return;
    }
    auto const present = find_providers(with);
    for (auto const& name : names) {
        if (std::find(present.begin(), present.end(), name) == present.end()) {
            continue;
        }
        if (!given.replaces) {
            throw failure{
                exit_code::refused_locally,
                "the hub has a provider \"" + name
                    + "\" already; two of one name confuse all consumers",
                "give another name with " + given.flag
                    + ", or the same one to take its place: " + given.flag + ' ' + name};
        }
        with.out.warn("the hub has a provider \"" + name + "\" already; this one takes its place");
    }
}

std::optional<exit_code> register_providers(
    tool& with, kept_providers const& all, registration_options const& given) {
    auto const deadline =
        given.waits ? clock::time_point::max() : clock::now() + with.guard.get_time_left();
    with.guard.last_until_signal();
    for (auto const& one : all) {
        one->start();
    }
    try {
        std::optional<exit_code> signalled;
        while (!signalled.has_value() && !are_registered(with, all, deadline)) {
            wait_for_events(with.out, get_descriptors(with, all), deadline);
            signalled = with.guard.wait_for_signal(clock::time_point{});
        }
        return signalled;
    } catch (failure const& failed) {
        with.guard.end_soon(failed.get_code());
        throw;
    }
}

std::vector<int> get_descriptors(tool& with, kept_providers const& all) {
    std::vector<int> descriptors{with.guard.get_signal_descriptor()};
    for (auto const& one : all) {
        descriptors.push_back(one->get_session().get_dispatch_descriptor());
    }
    return descriptors;
}

void finish_providers(tool& with, kept_providers const& all, exit_code code) {
    with.guard.end_soon(code);
    std::uint64_t dropped = 0;
    for (auto const& one : all) {
        dropped += one->count_dropped_changes();
        auto const status = one->get_session().get_status();
        if (status.state != session_state::ready) {
            with.out.warn(
                "provider " + one->get_name()
                + " ends during an outage, so its latest values are not sent: " + status.text);
        }
    }
    if (dropped > 0) {
        with.out.warn(make_dropped_text(dropped, "change"));
    }
}

} // namespace arvenhold::corvel::hub::ctl
