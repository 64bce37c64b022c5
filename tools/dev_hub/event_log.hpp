// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What happened on the development hub, for people (one line per event on a stream) and for tests
// (records that can be counted and waited for). Written by every part of the hub on its own
// threads.

#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <iosfwd>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub::dev {

/// What has happened. The comment says what the event's subject is, if it has one.
enum class event_kind {
    nats_server_started,  ///< Subject: the server's URL.
    nats_server_ended,    ///< Stopped or killed on request. Subject: the server's URL.
    nats_server_frozen,   ///< Subject: the server's URL.
    nats_server_thawed,   ///< Subject: the server's URL.
    token_granted,        ///< Subject: the client id.
    token_refused,        ///< An OAuth2 error document was sent. Subject: the client id.
    token_fault_answered, ///< The fixed answer was sent. Subject: the client id.
    registry_ready,       ///< The registry announced that it is ready.
    registry_silent,      ///< The registry stopped reacting.
    definition_received,  ///< Subject: the provider.
    definition_accepted,  ///< The verdict "valid" was published. Subject: the provider.
    definition_rejected,  ///< The verdict "invalid" was published. Subject: the provider.
    definition_requested, ///< A definition query was answered. Subject: the provider.
    definition_withdrawn, ///< Subject: the provider.
    provider_listed, ///< The provider is new in the list, or has returned. Subject: the provider.
    provider_gone,   ///< The provider left the list. Subject: the provider.
    providers_requested, ///< A query for the list was answered.
    providers_published, ///< The list was published. Detail: the providers, separated by spaces.
    message_ignored,     ///< Not understood or not wanted. Subject: the message's NATS subject.
    publication_failed,  ///< The NATS client refused a message. Subject: the NATS subject.
    fault_begun,         ///< Subject: the fault's name. Detail: what it does.
    fault_ended,         ///< Subject: the fault's name. Detail: what works again.
    fault_lasts,         ///< The end has failed and is tried again. Subject: the fault's name.
};

/// One event.
struct hub_event {
    event_kind kind;
    std::string subject; ///< Whom the event is about; see event_kind.
    std::string detail;  ///< Everything else, for people.
};

/// One line for people, without a line end, as "token granted: developer".
[[nodiscard]] std::string describe(hub_event const& event);

/// Keeps the latest ten thousand events.
///
/// @par Thread safety
/// All operations may be called from any thread.
class event_log {
public:
    /// @param lines  Gets one line per event; null for none. Must outlive the log.
    explicit event_log(std::ostream* lines);

    void record(event_kind kind, std::string subject, std::string detail);

    [[nodiscard]] std::vector<hub_event> get_events() const;

    /// How many kept events are of this kind and about this subject; an empty subject counts all.
    [[nodiscard]] std::size_t get_count(event_kind kind, std::string_view subject = {}) const;

    /// Waits until get_count(kind, subject) is at least `count`.
    ///
    /// @return whether that happens before `limit` passes.
    [[nodiscard]] bool wait_until_recorded(
        event_kind kind,
        std::string_view subject,
        std::size_t count,
        std::chrono::milliseconds limit) const;

private:
    [[nodiscard]] std::size_t count_locked(event_kind kind, std::string_view subject) const;

    std::ostream* const m_lines;
    mutable std::mutex m_mutex; // guards the stream and everything below
    mutable std::condition_variable m_recorded;
    std::deque<hub_event> m_events;
};

} // namespace arvenhold::corvel::hub::dev
