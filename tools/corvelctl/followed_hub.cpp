// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/followed_hub.hpp"

#include "corvelctl/event_wait.hpp"
#include "corvelctl/session_access.hpp"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <iterator>
#include <utility>

namespace arvenhold::corvel::hub::ctl {

namespace {

using clock = supervisor::clock;

// Makes the shares of several queues together as large as one.
change_queue make_share(change_queue const& queue, std::size_t count) {
    auto const limit = queue.get_limit();
    return limit == 0 ? queue : change_queue::every(std::max<std::size_t>(limit / count, 1));
}

bool is_loss_of_hub(session_reason reason) {
    return reason == session_reason::server_unreachable || reason == session_reason::access_denied
        || reason == session_reason::link_lost;
}

provider_event event_of(session_reason reason) {
    return is_loss_of_hub(reason) || reason == session_reason::provider_missing
             ? provider_event::lost
             : provider_event::stale;
}

std::string count_text(std::size_t count, char const* what) {
    return count == 0 ? "" : ", " + std::to_string(count) + ' ' + what;
}

using distinction = std::pair<std::size_t, variable_permissions>; // of two variables of one path

std::map<std::string, distinction> collect(known_definition const& definition) {
    std::map<std::string, distinction> all;
    for (auto const& one : definition.variables) {
        all.emplace(one.path, distinction{one.type, one.permissions});
    }
    return all;
}

// What distinguishes two definitions for a reader; empty if only ids do.
std::string compare(known_definition const& before, known_definition const& now) {
    auto gone = collect(before);
    auto const all = collect(now);
    std::size_t added = 0;
    std::size_t altered = 0;
    for (auto const& [path, variable] : all) {
        auto const earlier = gone.extract(path);
        if (earlier.empty()) {
            ++added;
        } else if (earlier.mapped() != variable) {
            ++altered;
        }
    }
    if (added + altered + gone.size() == 0) {
        return "";
    }
    return std::to_string(all.size()) + " variables" + count_text(added, "new")
         + count_text(gone.size(), "gone") + count_text(altered, "of another type or access");
}

} // namespace

std::string_view name_of(provider_event event) {
    switch (event) {
    case provider_event::here:
        return "here";
    case provider_event::lost:
        return "lost";
    case provider_event::stale:
        return "stale";
    case provider_event::back:
        return "back";
    case provider_event::definition_changed:
        break;
    }
    return "definition_changed";
}

followed_hub::followed_hub(tool& with, variable_permissions permissions, hub_receiver& to)
    : m_tool{with}
    , m_receiver{to}
    , m_session{
          "corvelctl",
          make_session_access(with),
          session_settings{}.set_handlers_wait_for_dispatch(true),
          permissions} {
    set_handlers();
}

followed_hub::followed_hub(
    tool& with,
    followed_selection const& selected,
    change_queue queue,
    hub_receiver& to,
    variable_permissions permissions)
    : followed_hub{with, permissions, to} {
    auto const providers =
        selected.providers.empty() ? std::vector<std::string>{"**"} : selected.providers;
    auto const share = make_share(queue, providers.size());
    for (auto const& provider : providers) {
        follow(provider, selected.paths, share);
    }
}

void followed_hub::set_handlers() {
    m_session.set_status_handler([this](auto const& provider, auto const& status) {
        guard([&] { handle_status(provider, status); });
    });
    m_session.set_definition_handler([this](definition_change const& change) {
        guard([&] { m_providers[change.provider].has_new_definition = true; });
    });
}

void followed_hub::follow(
    std::string const& provider, std::string const& paths, change_queue queue) {
    auto followed = m_session.follow_all(provider, paths, queue);
    m_keeps_all = queue.get_limit() != 0;
    followed.on_batch([this](auto const& now) { guard([&] { handle_batch(now); }); });
    m_followed.push_back(std::move(followed));
}

consumer_session& followed_hub::get_session() {
    return m_session;
}

std::vector<any_reading> followed_hub::get_readings() const {
    std::vector<any_reading> all;
    for (auto const& followed : m_followed) {
        auto readings = followed.now();
        std::move(readings.begin(), readings.end(), std::back_inserter(all));
    }
    return all;
}

exit_code followed_hub::run(std::optional<clock::time_point> deadline) {
    m_session.start();
    std::optional<exit_code> signalled;
    while (!signalled.has_value() && !m_receiver.is_done()
           && (!deadline.has_value() || clock::now() < *deadline)) {
        wait(deadline);
        m_session.dispatch();
        if (m_failed) {
            m_tool.guard.end_soon(exit_code::other);
            std::rethrow_exception(m_failed);
        }
        m_receiver.finish_round(clock::now());
        signalled = m_tool.guard.wait_for_signal(clock::time_point{});
    }
    auto const code = signalled.value_or(exit_code::done);
    m_tool.guard.end_soon(code);
    return code;
}

void followed_hub::wait(std::optional<clock::time_point> deadline) const {
    auto const next = m_receiver.get_next_time();
    auto const until = deadline.value_or(clock::time_point::max());
    auto descriptors = m_receiver.get_descriptors();
    descriptors.push_back(m_session.get_dispatch_descriptor());
    descriptors.push_back(m_tool.guard.get_signal_descriptor());
    wait_for_events(m_tool.out, descriptors, std::min(until, next.value_or(until)));
}

// The session reports what leaves a handler as a diagnostic, and goes on.
void followed_hub::guard(std::function<void()> const& handler) {
    if (m_failed) {
        return;
    }
    try {
        handler();
    } catch (...) {
        m_failed = std::current_exception();
    }
}

void followed_hub::handle_batch(std::vector<any_reading> const& now) {
    std::uint64_t dropped = 0;
    followed_provider* known = nullptr;
    std::string const* name = nullptr;
    for (auto const& reading : now) {
        dropped += reading.skipped;
        if (name == nullptr || *name != reading.provider) {
            name = &reading.provider;
            known = &m_providers[*name];
        }
        if (reading.freshness != freshness::live) {
            known->has_new_definition = true;
        } else if (known->has_new_definition) {
            look_at_definition(*name, *known);
        }
    }
    if (m_keeps_all && dropped > 0) {
        m_receiver.receive_dropped(dropped);
    }
    m_receiver.receive_values(now);
}

void followed_hub::look_at_definition(std::string const& provider, followed_provider& known) {
    known.has_new_definition = false;
    auto now = m_session.get_definition(provider);
    if (now.fingerprint == known.definition.fingerprint) {
        return;
    }
    auto const is_first = known.definition.fingerprint == 0;
    auto const change = is_first ? "" : compare(known.definition, now);
    known.definition = std::move(now);
    if (!change.empty()) {
        m_receiver.receive_notice(
            {provider,
             provider_event::definition_changed,
             change,
             std::chrono::system_clock::now()});
    }
    m_receiver.receive_definition(provider, known.definition);
}

void followed_hub::handle_status(std::string const& provider, session_status const& status) {
    if (provider.empty()) {
        handle_hub_status(status);
        return;
    }
    auto& known = m_providers[provider];
    if (status.state == session_state::ready) {
        auto const event =
            std::exchange(known.was_ready, true) ? provider_event::back : provider_event::here;
        tell(provider, known, event, "");
    } else if (status.state == session_state::degraded) {
        known.has_new_definition = true;
        tell(provider, known, event_of(status.reason), status.text);
    }
}

// The same event twice has another reason, which adds nothing, and what is lost is stale anyway.
void followed_hub::tell(
    std::string const& provider,
    followed_provider& known,
    provider_event event,
    std::string const& text) {
    auto const is_known = known.told == event
                       || (known.told == provider_event::lost && event == provider_event::stale);
    if (!is_known) {
        known.told = event;
        m_receiver.receive_notice({provider, event, text, std::chrono::system_clock::now()});
    }
}

void followed_hub::handle_hub_status(session_status const& status) {
    auto const is_lost = is_loss_of_hub(status.reason);
    if (std::exchange(m_is_hub_lost, is_lost) != is_lost) {
        m_receiver.receive_hub_state(is_lost ? status.text : "");
    }
}

} // namespace arvenhold::corvel::hub::ctl
