// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/event_log.hpp"

#include <algorithm>
#include <ctime>
#include <iomanip>
#include <ostream>
#include <utility>

namespace arvenhold::corvel::hub::dev {
namespace {

constexpr std::size_t kept_events = 10'000;

char const* get_label(event_kind kind) {
    switch (kind) {
    case event_kind::nats_server_started:
        return "nats-server started";
    case event_kind::nats_server_ended:
        return "nats-server ended";
    case event_kind::nats_server_frozen:
        return "nats-server frozen";
    case event_kind::nats_server_thawed:
        return "nats-server thawed";
    case event_kind::token_granted:
        return "token granted";
    case event_kind::token_refused:
        return "token refused";
    case event_kind::token_fault_answered:
        return "token request answered with a fault";
    case event_kind::registry_ready:
        return "registry ready";
    case event_kind::registry_silent:
        return "registry silent";
    case event_kind::definition_received:
        return "definition received";
    case event_kind::definition_accepted:
        return "definition accepted";
    case event_kind::definition_rejected:
        return "definition rejected";
    case event_kind::definition_requested:
        return "definition requested";
    case event_kind::definition_withdrawn:
        return "definition withdrawn";
    case event_kind::provider_listed:
        return "provider listed";
    case event_kind::provider_gone:
        return "provider gone";
    case event_kind::providers_requested:
        return "provider list requested";
    case event_kind::providers_published:
        return "provider list published";
    case event_kind::message_ignored:
        return "message ignored";
    case event_kind::publication_failed:
        return "publication failed";
    case event_kind::fault_begun:
        return "fault begun";
    case event_kind::fault_ended:
        return "fault ended";
    case event_kind::fault_lasts:
        return "fault lasts";
    }
    return "unknown event";
}

void write_time(std::ostream& os, std::chrono::system_clock::time_point when) {
    using std::chrono::milliseconds;
    auto const since_epoch = std::chrono::duration_cast<milliseconds>(when.time_since_epoch());
    auto const seconds = std::chrono::system_clock::to_time_t(when);
    std::tm local{};
    ::localtime_r(&seconds, &local);
    os << std::put_time(&local, "%T") << '.' << std::setfill('0') << std::setw(3)
       << since_epoch.count() % 1000;
}

} // namespace

std::string describe(hub_event const& event) {
    std::string line{get_label(event.kind)};
    line += (event.subject.empty() ? "" : ": ") + event.subject;
    line += (event.detail.empty() ? "" : "  ") + event.detail;
    return line;
}

event_log::event_log(std::ostream* lines)
    : m_lines{lines} {}

void event_log::record(event_kind kind, std::string subject, std::string detail) {
    hub_event event{kind, std::move(subject), std::move(detail)};
    {
        std::scoped_lock const lock{m_mutex};
        if (m_lines != nullptr) {
            write_time(*m_lines, std::chrono::system_clock::now());
            *m_lines << ' ' << describe(event) << std::endl;
        }
        m_events.push_back(std::move(event));
        if (m_events.size() > kept_events) {
            m_events.pop_front();
        }
    }
    m_recorded.notify_all();
}

std::vector<hub_event> event_log::get_events() const {
    std::scoped_lock const lock{m_mutex};
    return {m_events.begin(), m_events.end()};
}

std::size_t event_log::get_count(event_kind kind, std::string_view subject) const {
    std::scoped_lock const lock{m_mutex};
    return count_locked(kind, subject);
}

bool event_log::wait_until_recorded(
    event_kind kind,
    std::string_view subject,
    std::size_t count,
    std::chrono::milliseconds limit) const {
    std::unique_lock lock{m_mutex};
    return m_recorded.wait_for(lock, limit, [&] { return count_locked(kind, subject) >= count; });
}

std::size_t event_log::count_locked(event_kind kind, std::string_view subject) const {
    auto const matches = [&](hub_event const& event) {
        return event.kind == kind && (subject.empty() || event.subject == subject);
    };
    return static_cast<std::size_t>(std::count_if(m_events.begin(), m_events.end(), matches));
}

} // namespace arvenhold::corvel::hub::dev
