// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/provider_session_impl.hpp"

#include "session/deadline.hpp"
#include "session/failure_report.hpp"
#include "session/link_options.hpp"
#include "session/plain_status.hpp"
#include "session/plain_text.hpp"
#include "session/token_pace.hpp"
#include <hub/diagnostics.hpp>
#include <hub/names.hpp>

#include <algorithm>
#include <new>
#include <random>
#include <stdexcept>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::milliseconds;

// How often a provider is examined that has failed without any word, as after a reply to a read
// request that was too large, and how soon a step that has failed is made up for.
constexpr std::chrono::seconds watch_interval{1};

// Beyond it, writes are refused at once, so that a handler that is stuck does not fill the memory.
constexpr std::size_t most_waiting_writes = 10'000;

constexpr auto lack_of_memory = "memory or threads are exhausted";

hub_access with_link_options(
    hub_access access, session_settings const& settings, paced_credentials& credentials) {
    access.options = link_options(access.options, settings).set_delivery_pool_size(0);
    credentials.use_in(access.options);
    return access;
}

void report_dropped_changes(std::string const& identifier, std::size_t count) {
    report_diagnostic(
        diagnostic_severity::error,
        identifier,
        identifier + ": dropped an event of " + std::to_string(count)
            + (count == 1 ? " change" : " changes")
            + ", because it is larger than the server's max_payload");
}

void report_dropped_writes(std::string const& identifier) {
    report_diagnostic(
        diagnostic_severity::error,
        identifier,
        identifier + ": dropped a write command, because 10,000 write requests are waiting");
}

// Writes that wait no longer when one of them has thrown.
struct counted_writes {
    std::atomic<std::size_t>& waiting;
    std::size_t count;

    counted_writes(std::atomic<std::size_t>& all, std::size_t some)
        : waiting{all}
        , count{some} {}
    counted_writes(counted_writes const&) = delete;
    counted_writes& operator=(counted_writes const&) = delete;
    ~counted_writes() {
        waiting -= count;
    }
};

failure link_failure() {
    return {session_reason::link_lost, "the connection to the server broke"};
}

// Removes each event that was sent.
void publish_block(registered_provider& to, change_block& block) {
    for (; !block.empty(); block.pop_front()) {
        to.publish(block.front());
    }
}

} // namespace

provider_session_impl::provider_session_impl(
    std::string const& identifier, hub_access access, session_settings const& settings)
    : m_identifier{identifier}
    , m_credentials{access, process_token_pace()}
    , m_access{with_link_options(std::move(access), settings, m_credentials)}
    , m_handlers{identifier, settings.handlers_wait_for_dispatch()}
    , m_status{starting_status()}
    , m_back_off{settings.get_first_retry(), settings.get_longest_retry(), std::random_device{}()} {
}

any_variable_handle provider_session_impl::declare(
    std::string const& path,
    variable_value initial,
    variable_permissions permissions,
    provider_session::write_handler handler) {
    require_not_started();
    if (handler && permissions == variable_permissions::read_only) {
        throw std::invalid_argument{
            "the variable \"" + path + "\" is read-only and has a handler for write requests"};
    }
    auto const position =
        m_slots.add(path, std::move(initial), permissions, std::chrono::system_clock::now());
    if (handler) {
        m_called->writes.emplace(position, std::move(handler));
    }
    return {shared_from_this(), position};
}

void provider_session_impl::keep_changes(any_variable_handle const& variable, std::size_t limit) {
    require_not_started();
    if (&variable.session() != this) {
        throw std::logic_error{"the variable belongs to another session"};
    }
    if (limit == 0) {
        throw std::invalid_argument{"at least one change must be kept"};
    }
    m_slots.keep_changes(variable.m_position, limit);
}

void provider_session_impl::set_write_handler(provider_session::write_handler handler) {
    require_not_started();
    m_called->other_writes = std::move(handler);
}

void provider_session_impl::set_status_handler(provider_session::status_handler handler) {
    require_not_started();
    m_called->status = std::move(handler);
}

void provider_session_impl::require_not_started() {
    std::scoped_lock const lock{m_life_mutex};
    if (m_stage != life_stage::new_born) {
        throw std::logic_error{"the session has been started"};
    }
}

void provider_session_impl::start() {
    std::scoped_lock const lock{m_life_mutex};
    if (m_stage == life_stage::stopped) {
        throw std::logic_error{"the session has been stopped"};
    }
    if (m_stage == life_stage::started) {
        return;
    }
    m_operations.start();
    m_thread->start();
    m_slots.freeze();
    m_thread->repeat(watch_interval, [this] {
        auto const kept = shared_from_this();
        run([this] { watch(); });
    });
    m_stage = life_stage::started;
}

// From a handler, neither thread can be waited for: the session's thread is this one, and the
// operation thread may be waiting for a write request that the core passes on.
void provider_session_impl::stop() {
    {
        std::scoped_lock const lock{m_life_mutex};
        m_stage = life_stage::stopped;
    }
    change_status(stopped_status());
    m_credentials.stop();
    m_handlers.close();
    m_thread->stop();
    if (m_thread->is_current()) {
        end_operations();
        return;
    }
    if (auto const attempt = get_attempt()) {
        attempt->abandon();
    }
    m_thread->join();
    end_operations();
    m_operations.join();
    m_handlers.wait_for_dispatch();
}

// Called on the session's thread or after its end, then perhaps by several threads. The handlers go,
// because they may hold handles, which hold this object. The last work holds it only if there is a
// provider: without one, the operation thread may never have been started.
void provider_session_impl::end_operations() {
    std::shared_ptr<called_functions const> dropped; // destroyed without the lock
    std::shared_ptr<registered_provider> unsent;     // likewise
    std::scoped_lock const lock{m_life_mutex};
    dropped = std::move(m_called);
    if (!m_provider) {
        m_operations.finish([] {});
        return;
    }
    m_ended = std::move(m_provider);
    try {
        m_operations.finish([self = shared_from_this()] { self->publish_and_end(); });
    } catch (std::bad_alloc const&) {
        unsent = std::move(m_ended);
        m_operations.finish([] {});
    }
}

void provider_session_impl::publish_and_end() {
    std::shared_ptr<registered_provider> ended;
    {
        std::scoped_lock const lock{m_life_mutex};
        ended = std::move(m_ended);
    }
    try {
        publish_changes(*ended);
    } catch (std::exception const&) { // the hub is gone, and nobody waits for its return
    }
}

bool provider_session_impl::is_stopped() {
    std::scoped_lock const lock{m_life_mutex};
    return m_stage == life_stage::stopped;
}

std::shared_ptr<registered_provider> provider_session_impl::get_attempt() {
    std::scoped_lock const lock{m_attempt_mutex};
    return m_attempt;
}

void provider_session_impl::set_attempt(std::shared_ptr<registered_provider> attempt) {
    std::scoped_lock const lock{m_attempt_mutex};
    m_attempt.swap(attempt);
}

// Not analysed: the wait releases the lock.
bool provider_session_impl::wait_until_ready(milliseconds limit)
    CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
    auto const deadline = deadline_after(limit);
    std::unique_lock lock{m_status_mutex};
    while (m_status.state != session_state::ready && m_status.state != session_state::stopped
           && m_status_changed.wait_until(lock, deadline) != std::cv_status::timeout) {
    }
    return m_status.state == session_state::ready;
}

session_status provider_session_impl::get_status() {
    std::scoped_lock const lock{m_status_mutex};
    return m_status;
}

any_variable_handle provider_session_impl::find(std::string const& path) {
    auto const position = m_slots.find(path);
    return position ? any_variable_handle{shared_from_this(), *position} : any_variable_handle{};
}

handler_queue& provider_session_impl::handlers() {
    return m_handlers;
}

variable_slots& provider_session_impl::slots() {
    return m_slots;
}

void provider_session_impl::send_changes() {
    if (m_sending.exchange(true)) {
        return;
    }
    try {
        post([this] { send(); });
    } catch (...) {
        m_sending = false; // or nothing would be sent any more
        throw;
    }
}

void provider_session_impl::refuse_write(
    variable_slots::position variable, std::string_view reason) {
    report_diagnostic(
        diagnostic_severity::warning,
        m_identifier,
        m_identifier + ": refused to write \"" + plain_text(m_slots.get_path(variable))
            + "\": " + plain_text(reason));
    m_slots.send_again(variable);
    send_changes();
}

// The work may destroy the session.
template <class Step>
void provider_session_impl::post(Step step) {
    m_thread->post([this, step = std::move(step)]() mutable {
        auto const kept = shared_from_this();
        run(step);
    });
}

template <class Step>
void provider_session_impl::post_at(clock::time_point when, Step step) {
    m_thread->post_at(when, [this, step = std::move(step)]() mutable {
        auto const kept = shared_from_this();
        run(step);
    });
}

// -- on the session's thread ----------------------------------------------------------------------

template <class Step>
void provider_session_impl::run(Step&& step) {
    try {
        step();
    } catch (std::exception const& error) {
        m_has_failed = true;
        report_failure(m_identifier, "the session failed", error.what());
    }
}

void provider_session_impl::watch() {
    if (m_provider) {
        if (auto const found = find_failure()) {
            replace(*found);
        }
    } else if (!m_is_connecting) {
        if (m_has_failed) {
            auto const state = m_was_ready ? session_state::degraded : session_state::connecting;
            set_status({state, session_reason::internal_failure, lack_of_memory});
        }
        connect_after(milliseconds{0});
    }
}

std::optional<failure> provider_session_impl::find_failure() {
    if (m_has_failed) {
        return failure{session_reason::internal_failure, lack_of_memory};
    }
    if (*m_lost == m_number) {
        return link_failure();
    }
    return m_provider->find_failure();
}

// The mark shows watch() whether there is a next step.
template <class Step>
void provider_session_impl::connect_at(clock::time_point when, Step step) {
    post_at(when, [this, step] {
        m_is_connecting = false;
        step();
    });
    m_is_connecting = true;
}

void provider_session_impl::connect_after(milliseconds wait) {
    connect_at(clock::now() + wait, [this] { connect_in_turn(); });
}

void provider_session_impl::connect_in_turn() {
    auto const now = clock::now();
    auto const turn = process_token_pace().begin_connect(now);
    if (turn > now) {
        connect_at(turn, [this] { connect_in_turn(); });
    } else {
        connect();
    }
}

void provider_session_impl::connect() {
    auto const number = ++m_number;
    auto attempt = std::make_shared<registered_provider>(m_identifier, make_listeners(number));
    set_attempt(attempt);
    try {
        post_attempt(number, std::move(attempt));
    } catch (...) {
        set_attempt(nullptr); // or stop() would wait for it
        throw;
    }
    m_is_connecting = true;
}

void provider_session_impl::post_attempt(
    registration_number number, std::shared_ptr<registered_provider> attempt) {
    m_operations.post([self = shared_from_this(),
                       number,
                       attempt = std::move(attempt),
                       states = m_slots.get_states()]() mutable {
        if (self->is_stopped()) {
            return; // connecting would fail, because a stopped session gets no token
        }
        std::optional<failure> error;
        try {
            attempt->connect(self->m_access, std::move(states), self->m_slots.get_content_hash());
        } catch (std::exception const& thrown) {
            error = failure_of_connecting(thrown, self->m_access.client_secret);
        }
        self->set_attempt(nullptr);
        if (error) {
            attempt.reset(); // here, where waiting for its end delays nothing else
        }
        self->post([&session = *self, number, attempt = std::move(attempt), error] {
            session.complete(number, attempt, error);
        });
    });
}

// For the core's threads; the session may be gone when the step's turn has come.
template <class Step>
void provider_session_impl::post_if_alive(
    work_thread& thread, std::weak_ptr<provider_session_impl> const& session, Step step) {
    thread.post([session, step = std::move(step)] {
        auto const self = session.lock();
        if (self == nullptr) {
            return;
        }
        self->run([&] { step(*self); });
    });
}

registered_provider::listeners provider_session_impl::make_listeners(registration_number number) {
    return {
        .link_lost =
            [thread = m_thread, weak = weak_from_this(), number, lost = m_lost] {
                *lost = number;
                post_if_alive(*thread, weak, [number](auto& self) { self.lose_link(number); });
            },
        .written =
            [thread = m_thread,
             weak = weak_from_this(),
             number,
             waiting = m_waiting_writes,
             name = m_identifier](std::vector<registered_provider::write> writes) {
                if (*waiting >= most_waiting_writes) {
                    report_dropped_writes(name);
                    return;
                }
                post_writes(*thread, weak, number, *waiting, std::move(writes));
            }};
}

void provider_session_impl::post_writes(
    work_thread& thread,
    std::weak_ptr<provider_session_impl> const& session,
    registration_number number,
    std::atomic<std::size_t>& waiting,
    std::vector<registered_provider::write> writes) {
    auto const count = writes.size();
    waiting += count;
    try {
        post_if_alive(thread, session, [number, writes = std::move(writes)](auto& self) {
            self.receive_writes(number, writes);
        });
    } catch (...) {
        waiting -= count; // they are lost
        throw;
    }
}

void provider_session_impl::complete(
    registration_number number,
    std::shared_ptr<registered_provider> provider,
    std::optional<failure> const& error) {
    m_is_connecting = false;
    if (error) {
        connect_after(m_back_off.next());
        auto const state = m_was_ready ? session_state::degraded : session_state::connecting;
        set_status({state, error->reason, error->text});
        return;
    }
    m_provider = std::move(provider);
    m_has_failed = false;
    m_was_ready = true;
    if (*m_lost == number) {
        lose_link(number);
        return;
    }
    m_back_off.reset();
    set_status(ready_status());
    send();
}

void provider_session_impl::replace(failure const& why) {
    m_operations.post([ended = std::move(m_provider)]() mutable { ended.reset(); });
    connect_after(m_back_off.next());
    set_status({session_state::degraded, why.reason, why.text});
}

void provider_session_impl::lose_link(registration_number number) {
    if (number != m_number) {
        return;
    }
    if (m_provider) {
        replace(link_failure());
    } else if (auto const attempt = get_attempt()) {
        attempt->disconnect(); // it may be waiting for a verdict that cannot come any more
    }
}

// Without a provider, m_sending stays set, so that further changes do not wake this thread;
// complete() sends them.
void provider_session_impl::send() {
    if (!m_provider) {
        return;
    }
    m_sending = false;
    try {
        publish_changes(*m_provider);
    } catch (std::exception const& error) {
        replace({session_reason::sending_failed, plain_text(error.what(), m_access.client_secret)});
    }
}

// What could not be sent is there for the next registration, unless that could not send it, either.
void provider_session_impl::publish_changes(registered_provider& to) {
    auto blocks = m_slots.take(); // what is left of them
    try {
        for (; !blocks.empty(); blocks.pop_front()) {
            publish_block(to, blocks.front());
        }
    } catch (std::exception const& error) {
        auto const dropped = is_too_large(error) ? m_slots.drop_first_event(blocks.front()) : 0;
        m_slots.put_back(std::move(blocks));
        if (dropped > 0) {
            report_dropped_changes(m_identifier, dropped);
        }
        throw;
    }
}

void provider_session_impl::receive_writes(
    registration_number number, std::vector<registered_provider::write> const& writes) {
    auto const now = std::chrono::system_clock::now();
    counted_writes left{*m_waiting_writes, writes.size()};
    for (auto const& write : writes) {
        if (number == m_number) {
            receive_write(write, now);
        } else {
            --*m_waiting_writes;
        }
        --left.count;
    }
}

// What it throws leaves the write among those that wait.
void provider_session_impl::receive_write(registered_provider::write const& write, timestamp when) {
    auto const variable = write.first;
    auto const& value = write.second;
    auto const called = m_called;
    if (!called) {
        return; // stopped by the handler of an earlier write
    }
    auto const found = called->writes.find(variable);
    auto const& handler = found != called->writes.end() ? found->second : called->other_writes;
    auto const refusal = find_refusal(variable, value, handler);
    if (!refusal.empty()) {
        refuse_write(variable, refusal);
        --*m_waiting_writes;
        return;
    }
    m_handlers.add([self = shared_from_this(), called, &handler, variable, value, when] {
        --*self->m_waiting_writes;
        handler(any_write_request{std::make_unique<any_write_request::pending>(
            any_write_request::pending{self, variable, value, when})});
    });
}

std::string provider_session_impl::find_refusal(
    variable_slots::position variable,
    variable_value const& value,
    provider_session::write_handler const& handler) const {
    if (m_slots.get_permissions(variable) == variable_permissions::read_only) {
        return "it is read-only";
    }
    if (!m_slots.has_type(variable, value.index())) {
        return "it cannot have a value of type " + std::string{type_name_of(value)};
    }
    return handler ? "" : "it has no handler for write requests";
}

void provider_session_impl::set_status(session_status const& changed) {
    if (change_status(changed) && m_called && m_called->status) {
        m_handlers.add_report("state", [called = m_called, changed] { called->status(changed); });
    }
}

// Returns whether anything has changed.
bool provider_session_impl::change_status(session_status const& changed) {
    {
        std::scoped_lock const lock{m_status_mutex};
        auto const is_same = m_status.state == changed.state && m_status.reason == changed.reason
                          && m_status.text == changed.text;
        if (is_same || m_status.state == session_state::stopped) {
            return false;
        }
        m_status = changed;
    }
    m_status_changed.notify_all();
    return true;
}

} // namespace arvenhold::corvel::hub
