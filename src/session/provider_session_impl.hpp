// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "session/back_off.hpp"
#include "session/failure_status.hpp"
#include "session/handler_queue.hpp"
#include "session/paced_credentials.hpp"
#include "session/registered_provider.hpp"
#include "session/variable_slots.hpp"
#include "session/work_thread.hpp"
#include <hub/detail/export.hpp>
#include <hub/detail/thread_annotations.hpp>
#include <hub/session/provider_session.hpp>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub {

/// State and operations of a provider session. Shared by the session, its handles, its write
/// requests, and the work of its two threads.
///
/// The session's thread runs everything in the part "on the session's thread" and never waits for
/// the network; the operation thread runs the core's calls that do, and destroys providers.
///
/// 1. A registration that has failed in any way is replaced as a whole. Each has a number, so that
///    what an earlier one still reports is ignored.
/// 2. At most one registration exists, or is being made, at a time; before its successor is made,
///    the operation thread has destroyed it.
/// 3. Work of the session's thread does not begin once stop() has returned, and ~provider_session calls
///    that before it drops its reference; so work may use `this`, and keeps it while it runs. Handles
///    and write requests may keep it longer.
/// 4. A step for which there is no memory is given up, and reported; watch() starts over.
/// 5. Nothing that the core calls holds a reference to this object, because the last one to go would
///    wait for the callback that holds it.
class CORVEL_HUB_INTERNAL provider_session_impl
    : public std::enable_shared_from_this<provider_session_impl> {
public:
    provider_session_impl(
        std::string const& identifier, hub_access access, session_settings const& settings);

    // -- what the public class offers -------------------------------------------------------------

    any_variable_handle declare(
        std::string const& path,
        variable_value initial,
        variable_permissions permissions,
        provider_session::write_handler handler);
    void keep_changes(any_variable_handle const& variable, std::size_t limit);
    void set_write_handler(provider_session::write_handler handler);
    void set_status_handler(provider_session::status_handler handler);
    void start() CORVEL_HUB_EXCLUDES(m_life_mutex);
    void stop() CORVEL_HUB_EXCLUDES(m_life_mutex, m_status_mutex);
    bool wait_until_ready(std::chrono::milliseconds limit) CORVEL_HUB_EXCLUDES(m_status_mutex);
    session_status get_status() CORVEL_HUB_EXCLUDES(m_status_mutex);
    any_variable_handle find(std::string const& path);
    handler_queue& handlers();

    // -- what handles and write requests use, on any thread ---------------------------------------

    variable_slots& slots();

    /// Makes the session's thread send what has been recorded.
    void send_changes();

    /// Reports a refusal and sends the present value again.
    void refuse_write(variable_slots::position variable, std::string_view reason);

private:
    using clock = std::chrono::steady_clock;
    using registration_number = std::uint64_t;

    // Fixed at start().
    std::string const m_identifier;
    paced_credentials m_credentials; // outlives the registrations, whose options refer to it
    hub_access const m_access;
    handler_queue m_handlers;
    variable_slots m_slots;

    // The application's handlers. Shared with calls that wait or run.
    struct called_functions {
        std::map<variable_slots::position, provider_session::write_handler> writes;
        provider_session::write_handler other_writes;
        provider_session::status_handler status;
    };

    std::mutex m_status_mutex;
    std::condition_variable m_status_changed;
    session_status m_status CORVEL_HUB_GUARDED_BY(m_status_mutex);

    enum class life_stage : std::uint8_t {
        new_born,
        started,
        stopped
    };
    std::mutex m_life_mutex;
    life_stage m_stage CORVEL_HUB_GUARDED_BY(m_life_mutex) = life_stage::new_born;
    std::shared_ptr<registered_provider> m_ended CORVEL_HUB_GUARDED_BY(m_life_mutex); // by stop()

    // What connects at present, for stop().
    std::mutex m_attempt_mutex;
    std::shared_ptr<registered_provider> m_attempt CORVEL_HUB_GUARDED_BY(m_attempt_mutex);

    // Whether the session's thread has been told of changes and has not looked yet. Without the
    // lock of its queue, so that most changes cost one atomic operation; a change that finds it set
    // was recorded before the thread looks.
    std::atomic<bool> m_sending{false};

    // Writes that wait for the session's thread or for a handler.
    std::shared_ptr<std::atomic<std::size_t>> const m_waiting_writes =
        std::make_shared<std::atomic<std::size_t>>(0);

    // Number of the registration whose link broke last. Set before the session's thread is woken, for
    // which there may be no memory; watch() looks at it, too.
    std::shared_ptr<std::atomic<registration_number>> const m_lost =
        std::make_shared<std::atomic<registration_number>>(0);

    // Of the session's thread, before its start of the application, and after its end of stop().
    std::shared_ptr<called_functions> m_called = std::make_shared<called_functions>(); // then null
    back_off m_back_off;
    std::shared_ptr<registered_provider> m_provider; // null unless ready
    registration_number m_number = 0;                // of the registration made last
    bool m_was_ready = false;
    bool m_is_connecting = false; // a timer or the operation thread goes on with it
    bool m_has_failed = false;    // without memory; the next watch starts over

    // Last, so that they end first. Shared with what the core calls.
    std::shared_ptr<work_thread> const m_thread = std::make_shared<work_thread>();
    work_thread m_operations;

    void require_not_started() CORVEL_HUB_EXCLUDES(m_life_mutex);
    void end_operations() CORVEL_HUB_EXCLUDES(m_life_mutex);
    void publish_and_end() CORVEL_HUB_EXCLUDES(m_life_mutex);
    bool is_stopped() CORVEL_HUB_EXCLUDES(m_life_mutex);
    std::shared_ptr<registered_provider> get_attempt() CORVEL_HUB_EXCLUDES(m_attempt_mutex);
    void set_attempt(std::shared_ptr<registered_provider> attempt)
        CORVEL_HUB_EXCLUDES(m_attempt_mutex);

    template <class Step>
    void post(Step step);
    template <class Step>
    void post_at(clock::time_point when, Step step);

    // -- on the session's thread ------------------------------------------------------------------

    template <class Step>
    void run(Step&& step);
    void watch();
    template <class Step>
    void connect_at(clock::time_point when, Step step);
    void connect_after(std::chrono::milliseconds wait);
    void connect_in_turn();
    void connect();
    void post_attempt(registration_number number, std::shared_ptr<registered_provider> attempt);
    template <class Step>
    static void post_if_alive(
        work_thread& thread, std::weak_ptr<provider_session_impl> const& session, Step step);
    registered_provider::listeners make_listeners(registration_number number);
    static void post_writes(
        work_thread& thread,
        std::weak_ptr<provider_session_impl> const& session,
        registration_number number,
        std::atomic<std::size_t>& waiting,
        std::vector<registered_provider::write> writes);
    void complete(
        registration_number number,
        std::shared_ptr<registered_provider> provider,
        std::optional<failure> const& error);
    void replace(failure const& why);
    void lose_link(registration_number number);
    [[nodiscard]] std::optional<failure> find_failure();
    void send();
    /// Also called on the operation thread, once the session's thread has nothing to send to.
    void publish_changes(registered_provider& to);
    void receive_writes(
        registration_number number, std::vector<registered_provider::write> const& writes);
    void receive_write(registered_provider::write const& write, timestamp when);
    std::string find_refusal(
        variable_slots::position variable,
        variable_value const& value,
        provider_session::write_handler const& handler) const; // empty: none
    void set_status(session_status const& changed) CORVEL_HUB_EXCLUDES(m_status_mutex);
    bool change_status(session_status const& changed) CORVEL_HUB_EXCLUDES(m_status_mutex);
};

/// What a write request needs to be answered.
struct any_write_request::pending {
    std::shared_ptr<provider_session_impl> session;
    variable_slots::position variable = 0;
    variable_value wanted;
    timestamp when;
    bool is_answered = false;
};

} // namespace arvenhold::corvel::hub
