// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The state of a consumer session, and the threads that work on it.
//
// The session's thread owns the desired state and decides; advance() compares it with what is there
// and begins what is due. What waits for the network runs on the other threads: connecting on one,
// and one operation for one provider at a time on each of the lanes. Callbacks of the core mark
// values and wake the session's thread.

#pragma once

#include "session/back_off.hpp"
#include "session/failure_report.hpp"
#include "session/failure_status.hpp"
#include "session/followed_provider.hpp"
#include "session/following.hpp"
#include "session/handler_queue.hpp"
#include "session/paced_credentials.hpp"
#include "session/plain_status.hpp"
#include "session/provider_directory.hpp"
#include "session/work_thread.hpp"
#include <hub/connect_options.hpp>
#include <hub/consumer.hpp>
#include <hub/detail/thread_annotations.hpp>
#include <hub/session/consumer_session.hpp>

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub {

/// What a call of follow() or follow_all() has returned.
class followed_variables::impl {
public:
    std::shared_ptr<provider_directory const> directory;
    std::shared_ptr<following> wanted;
    provider_directory::place named;
    std::weak_ptr<consumer_session::impl> session;

    /// Looks whether a provider is silent, because the session's thread may be busy in a handler.
    void notice_silence(
        followed_provider& provider, followed_provider::clock::time_point now) const;

    /// Sets the handlers, and has them called with what is there already.
    void set_handlers(following::handlers called);
};

/// Shared by the session, its work while it runs, and for a moment by what follow() has returned.
///
/// 1. No link outlives this object; the attachments of providers hold links, too. The end of a link
///    waits for the callbacks of the core, which use it, the work for a provider, and this object.
/// 2. No callback holds a reference to this object: the last one to go would wait for the callback
///    that holds it.
/// 3. Once end() has returned, only the session's thread may still run, in the handler that has
///    called it; what it runs holds this object.
class consumer_session::impl : public std::enable_shared_from_this<impl> {
public:
    using clock = std::chrono::steady_clock;
    impl(
        std::string name,
        hub_access access,
        session_settings settings,
        variable_permissions permissions);

    ~impl();

    impl(impl const&) = delete;
    impl& operator=(impl const&) = delete;

    void start();
    /// Begins to end. Nothing is live and no handler begins from here on.
    void stop();

    /// Stops, and waits for the session's threads; not on the session's thread.
    void stop_and_wait();

    /// Stops, and waits for all threads but the current one.
    void end();

    std::shared_ptr<followed_variables::impl> follow(following::interest wanted, std::size_t limit);

    /// Has the handlers called for which changes wait.
    void post_drain();

    void set_definition_handler(definition_handler called);

    void write(std::string const& provider, std::string const& path, variable_value value);
    write_outcome write_and_confirm(
        std::string const& provider,
        std::string const& path,
        variable_value value,
        std::chrono::milliseconds limit);

    known_definition get_definition(std::string const& provider) const;

    session_status get_status() const CORVEL_HUB_EXCLUDES(m_status_mutex);
    session_status get_provider_status(std::string const& provider) const
        CORVEL_HUB_EXCLUDES(m_status_mutex);
    void set_status_handler(status_handler called) CORVEL_HUB_EXCLUDES(m_handlers_mutex);
    bool wait_until_ready(std::chrono::milliseconds limit) const;

    int get_dispatch_descriptor() const;
    std::size_t dispatch();

private:
    // One connection to the server; after a loss another one takes its place.
    struct link {
        link(impl& owner, std::string const& name, bool read_only);

        impl& session;
        std::atomic<bool> is_lost{false}; // set by the link callback, read by the session's thread
        consumer client;                  // ends first, and waits for the callbacks
    };

    // A write that waits for its turn.
    struct requested_write {
        std::string path;
        variable_value value;
        std::shared_ptr<write_watch> watch; // null if nobody waits
        std::shared_ptr<void> place;        // among those that may wait
    };

    // What the session's thread knows of a provider, and what the core's callbacks get.
    struct provider_work {
        provider_work(impl& owner, std::shared_ptr<followed_provider> followed, back_off pace)
            : session{owner}
            , provider{std::move(followed)}
            , waits{std::move(pace)} {}

        impl& session;
        std::shared_ptr<followed_provider> const provider;
        back_off waits;
        clock::time_point next_attempt{};
        clock::time_point live_since{};
        bool is_named = false; // it is followed by name, not only found by a pattern
        bool is_listed = false;
        bool is_busy = false;      // an operation is running on a lane
        bool is_attaching = false; // it is one that attaches
        bool has_hung = false;     // the latest attempt has failed
        bool was_live = false;
        bool needs_binding = false; // something of it is followed since its definition was adopted
        std::deque<requested_write> writes{};
        session_status outcome{}; // of the latest attempt
        session_status status{};  // as told
    };

    using section_number = waiting_changes::section_number;

    static constexpr std::size_t lane_count = 4;

    // Fixed at construction.
    std::string const m_name;
    hub_access const m_access;
    session_settings const m_settings;
    bool const m_read_only;
    std::shared_ptr<provider_directory> const m_directory;

    // Any thread.
    paced_credentials m_credentials; // outlives the links, whose options refer to it
    std::atomic<bool> m_stopping{
        false}; // set once; read without a lock, because late work is harmless
    std::atomic<bool> m_is_drain_posted{false}; // keeps one event from posting more than one drain
    std::atomic<bool> m_is_advance_posted{false};
    std::shared_ptr<following::present_section> const m_section =
        std::make_shared<following::present_section>(0);
    handler_queue m_handlers;

    mutable std::mutex m_handlers_mutex;
    status_handler m_status_handler CORVEL_HUB_GUARDED_BY(m_handlers_mutex);
    definition_handler m_definition_handler CORVEL_HUB_GUARDED_BY(m_handlers_mutex);
    bool m_started CORVEL_HUB_GUARDED_BY(m_handlers_mutex) = false;

    std::shared_ptr<std::atomic<std::size_t>> const m_waiting_writes =
        std::make_shared<std::atomic<std::size_t>>(0);

    std::mutex m_watches_mutex;
    std::set<std::shared_ptr<write_watch>> m_watches CORVEL_HUB_GUARDED_BY(m_watches_mutex);

    mutable std::mutex m_status_mutex;
    mutable std::condition_variable m_status_changed;
    session_status m_status CORVEL_HUB_GUARDED_BY(m_status_mutex) = starting_status();
    std::map<std::string, session_status> m_provider_status CORVEL_HUB_GUARDED_BY(m_status_mutex);
    std::size_t m_considered CORVEL_HUB_GUARDED_BY(m_status_mutex) = 0; // followed, in m_status

    // The session's thread alone.
    std::shared_ptr<link> m_link;                  // null while there is no usable one
    std::shared_ptr<std::set<std::string>> m_list; // the latest that was looked at
    std::size_t m_known_followed = 0;
    bool m_is_connecting = false;
    bool m_was_ready = false;
    back_off m_connect_waits;
    clock::time_point m_next_connect{};
    session_status m_link_status = starting_status();
    std::map<std::string, std::unique_ptr<provider_work>> m_work;
    std::string m_latest_served; // the provider that was given a lane last
    std::array<bool, lane_count> m_is_lane_busy{};

    // One drain at a time. They keep their memory.
    following::waiting m_draining;
    std::array<any_reading, 64> m_readings;

    // The connecting thread alone.
    std::shared_ptr<link> m_open_link;

    // Last, so that they end before what they work on.
    std::array<work_thread, lane_count> m_lanes;
    work_thread m_connecting_thread;
    work_thread m_thread;

    // Session
    template <class Task>
    void post(Task task);
    void post_once(std::atomic<bool>& is_posted, void (impl::*task)());
    template <class Task>
    void run(Task&& task);
    void wake();
    void tick();
    void advance();

    // Connecting
    void connect_when_due();
    void open_link();
    void adopt_link(std::shared_ptr<link> connected);
    void record_connect_failure(failure const& why);
    void drop_link();
    void close_link();
    void tear_down();
    void lose_all();
    static void recv_link_event(link_event event, std::uint64_t dropped, void* user_data);
    static void recv_providers(
        std::shared_ptr<std::set<std::string>> identifiers, consumer& receiver, void* user_data);

    // Providers
    void follow_list();
    void find_work(std::set<std::string> const* listed);
    void note_followed(std::vector<std::shared_ptr<following>> const& followed);
    provider_work& work_for(std::shared_ptr<followed_provider> const& provider);
    void advance_provider(provider_work& work, clock::time_point now);
    void notice_state(provider_work& work, clock::time_point now);
    void begin_attaching(provider_work& work);
    void bind_again(provider_work& work);
    bool is_probe_due(provider_work const& work, clock::time_point now) const;
    void advance_providers(clock::time_point now);
    void run_on_lane(provider_work& work, std::function<void()> operation);
    std::optional<std::size_t> find_lane(provider_work const& work) const;
    void finish_operation(provider_work& work, std::size_t lane, session_status outcome);
    void attach(
        provider_work& work,
        std::shared_ptr<link> const& owner,
        followed_provider::loss_count begun);
    void probe(provider_work& work);
    static void recv_event(
        provider_connection_event event, provider_connection& source, void* user_data);
    static void recv_changes(
        definition_fingerprint fingerprint,
        std::vector<variable_id> changed,
        provider_connection& source,
        void* user_data);

    // Writing
    void request_write(
        std::string const& provider,
        std::string const& path,
        variable_value value,
        std::shared_ptr<write_watch> watch);
    std::shared_ptr<void> reserve_place_for_write();
    void give_up_all_watches() CORVEL_HUB_EXCLUDES(m_watches_mutex);
    void give_up_waiting_writes(provider_work& work);
    void send_write(provider_work& work, requested_write const& write);
    void give_up(requested_write const& write, std::string const& provider, std::string const& why);

    // Handlers
    void lose(followed_provider& provider);
    void drop_handlers();
    void add_drain();
    void drain(section_number last);
    void add_drain_after(clock::duration wait);
    void add_report(std::string subject, handler_queue::handler called);
    bool deliver_until(section_number last);
    bool has_waiting() const;
    void deliver(following& wanted, section_number last);
    static void drop_changes(following const& wanted, following::waiting& taken);
    bool deliver_next(
        following const& wanted, present_handlers& handlers, following::waiting& taken);
    void deliver_changes(
        following const& wanted, present_handlers& handlers, following::waiting& taken);
    void call_with_each(
        present_handlers& handlers,
        waiting_changes::stretch const& changes,
        std::span<any_reading> readings) const;
    void deliver_batches(
        following const& wanted, present_handlers& handlers, following::waiting& taken);
    static void make_readings(
        following const& wanted,
        following::waiting& taken,
        waiting_changes::stretch const& changes,
        std::span<any_reading> readings);
    void call_with(present_handlers& handlers, any_reading const& reading) const;
    void call_with(present_handlers& handlers, std::vector<any_reading> const& batch) const;
    void tell_definition_change(definition_change const& change);
    void add_definition_change(definition_change const& change);
    definition_handler get_definition_handler() CORVEL_HUB_EXCLUDES(m_handlers_mutex);

    // Status
    void update_status();
    void update_status(provider_work& work);
    void note_considered() CORVEL_HUB_EXCLUDES(m_status_mutex);
    bool is_ready_with(std::size_t followed) const CORVEL_HUB_REQUIRES(m_status_mutex);
    session_status compute_status() const;
    provider_work const* find_unready() const;
    status_handler get_status_handler() CORVEL_HUB_EXCLUDES(m_handlers_mutex);
    void tell_status(std::string const& provider, session_status const& status);
};

// A task is called with this object, on the session's thread. What it still holds then goes after this
// object, and so must not be a link.
template <class Task>
void consumer_session::impl::post(Task task) {
    m_thread.post([session = weak_from_this(), task = std::move(task)]() mutable {
        if (auto const self = session.lock()) {
            self->run(std::move(task));
        }
    });
}

// Without memory there is nothing to do but to try again at the next tick.
template <class Task>
void consumer_session::impl::run(Task&& task) {
    try {
        std::invoke(std::forward<Task>(task), *this);
    } catch (std::exception const& error) {
        report_failure(m_name, "the session failed", error.what());
    }
}

} // namespace arvenhold::corvel::hub
