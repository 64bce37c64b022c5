// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Starting, deciding what is due, and stopping.

#include "session/consumer_session_impl.hpp"

#include <random>
#include <stdexcept>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

// How often states are looked at that nobody announces: a fault of a connection, an attempt whose
// time has come, a provider that does not answer.
constexpr std::chrono::milliseconds tick_interval{250};

// A silent provider is read after the probe interval; two looks are for noticing both ends of it.
std::chrono::milliseconds silence_limit(
    connect_options const& options, session_settings const& settings) {
    return settings.get_probe_interval() + options.get_request_time_limit() + 2 * tick_interval;
}

} // namespace

consumer_session::impl::impl(
    std::string name,
    hub_access access,
    session_settings settings,
    variable_permissions permissions)
    : m_name{std::move(name)}
    , m_access{std::move(access)}
    , m_settings{std::move(settings)}
    , m_read_only{permissions == variable_permissions::read_only}
    , m_directory{std::make_shared<provider_directory>(silence_limit(m_access.options, m_settings))}
    , m_credentials{m_access, process_token_pace()}
    , m_handlers{m_name, m_settings.handlers_wait_for_dispatch()}
    , m_connect_waits{
          m_settings.get_first_retry(), m_settings.get_longest_retry(), std::random_device{}()} {}

// Waits for the callbacks of the core, which use everything else.
consumer_session::impl::~impl() {
    m_link.reset();
}

void consumer_session::impl::start() {
    {
        std::scoped_lock const lock{m_handlers_mutex};
        if (m_stopping) {
            throw std::logic_error{"the session has been stopped"};
        }
        if (std::exchange(m_started, true)) {
            return;
        }
    }
    try {
        for (auto& lane : m_lanes) {
            lane.start();
        }
        m_connecting_thread.start();
        m_thread.start();
        m_thread.repeat(tick_interval, [self = shared_from_this()] { self->run(&impl::tick); });
    } catch (...) {
        stop();
        throw;
    }
}

// Finishing comes last: another thread that stops the session, too, waits for it, and finds nothing
// live afterwards. Nothing here needs memory, because the threads must end in any case; a loss needs
// none without handlers.
void consumer_session::impl::stop() {
    if (m_stopping.exchange(true)) {
        return;
    }
    m_credentials.stop();
    m_handlers.close();
    m_thread.stop();
    for (auto& lane : m_lanes) {
        lane.stop();
    }
    drop_handlers();
    m_directory->for_each([](followed_provider& provider) { provider.lose(clock::now()); });
    give_up_all_watches();
    {
        std::scoped_lock const lock{m_status_mutex};
        m_status = stopped_status();
        m_status_changed.notify_all();
    }
    m_connecting_thread.finish([this] { tear_down(); });
}

// They may hold what follow() has returned, which may hold them.
void consumer_session::impl::drop_handlers() {
    for (std::size_t number = 0; auto const wanted = m_directory->get_followed(number); ++number) {
        wanted->close();
    }
    set_definition_handler(nullptr);
    set_status_handler(nullptr);
}

void consumer_session::impl::stop_and_wait() {
    if (m_thread.is_current()) {
        stop();
    } else {
        end();
    }
}

// In a handler, the session's thread ends when the handler has returned; what it still needs lives
// as long as its work.
void consumer_session::impl::end() {
    stop();
    m_connecting_thread.join();
    for (auto& lane : m_lanes) {
        lane.join();
    }
    m_thread.join();
    m_handlers.wait_for_dispatch();
}

std::shared_ptr<followed_variables::impl> consumer_session::impl::follow(
    following::interest wanted, std::size_t limit) {
    auto handle = std::make_shared<followed_variables::impl>();
    handle->directory = m_directory;
    handle->wanted = std::make_shared<following>(std::move(wanted), limit, m_section);
    handle->named = m_directory->add(handle->wanted);
    handle->session = weak_from_this();
    if (m_stopping) {
        handle->wanted->close();
    }
    wake();
    return handle;
}

// The task takes the mark away.
void consumer_session::impl::post_once(std::atomic<bool>& is_posted, void (impl::*task)()) {
    if (is_posted.exchange(true)) {
        return;
    }
    try {
        post(task);
    } catch (...) {
        is_posted = false; // or nothing would be posted any more
        throw;
    }
}

// Called by callbacks of the core; many of them cause one look.
void consumer_session::impl::wake() {
    post_once(m_is_advance_posted, &impl::advance);
}

void consumer_session::impl::tick() {
    if (has_waiting()) {
        post_drain(); // for what a drain without memory has left
    }
    advance();
}

void consumer_session::impl::advance() {
    m_is_advance_posted = false;
    if (m_stopping) {
        return;
    }
    if (m_link && m_link->is_lost) {
        drop_link();
    }
    if (!m_link) {
        connect_when_due();
    }
    follow_list();
    advance_providers(clock::now());
    update_status();
}

} // namespace arvenhold::corvel::hub
