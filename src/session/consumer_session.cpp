// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include <hub/session/consumer_session.hpp>

#include "session/consumer_session_impl.hpp"

#include <stdexcept>
#include <utility>

namespace arvenhold::corvel::hub {

// -- change_queue ---------------------------------------------------------------------------------

change_queue::change_queue(std::size_t limit)
    : m_limit{limit} {}

change_queue change_queue::latest() {
    return change_queue{0};
}

change_queue change_queue::every(std::size_t limit) {
    if (limit == 0) {
        throw std::invalid_argument{"change_queue: limit must be 1 or more"};
    }
    return change_queue{limit};
}

std::size_t change_queue::get_limit() const {
    return m_limit;
}

// -- write_refused --------------------------------------------------------------------------------

write_refused::write_refused(write_refusal reason, std::string const& text)
    : std::runtime_error{text}
    , m_reason{reason} {}

write_refusal write_refused::get_reason() const noexcept {
    return m_reason;
}

// -- followed_variables ---------------------------------------------------------------------------

followed_variables::followed_variables(std::shared_ptr<impl> owned)
    : m_impl{std::move(owned)} {}

void followed_variables::on_change(handler called) {
    m_impl->set_handlers({std::move(called), nullptr});
}

void followed_variables::on_batch(batch_handler called) {
    m_impl->set_handlers({nullptr, std::move(called)});
}

// Unless every change is kept, one from here on, or one that waits, is not repeated.
void followed_variables::impl::set_handlers(following::handlers called) {
    wanted->set_handlers(std::move(called));
    auto const is_waiting = directory->show_present(*wanted);
    auto const running = session.lock();
    if (is_waiting && running) {
        running->post_drain();
    }
}

void followed_variables::impl::notice_silence(
    followed_provider& provider, followed_provider::clock::time_point now) const {
    if (!provider.lose_if_silent(now)) {
        return;
    }
    if (auto const running = session.lock()) {
        running->post_drain();
    }
}

std::vector<any_reading> followed_variables::now() const {
    std::vector<any_reading> all;
    auto const now = followed_provider::clock::now();
    for (auto const& provider : m_impl->directory->get_all()) {
        m_impl->notice_silence(*provider, now);
        auto readings = provider->get_readings(*m_impl->wanted, now);
        std::move(readings.begin(), readings.end(), std::back_inserter(all));
    }
    return all;
}

any_reading followed_variables::get_first() const {
    auto const& [provider, slot] = m_impl->named;
    auto const now = followed_provider::clock::now();
    m_impl->notice_silence(*provider, now);
    return provider->get_reading(slot, now);
}

// -- consumer_session -----------------------------------------------------------------------------

consumer_session::consumer_session(
    std::string name,
    hub_access access,
    session_settings settings,
    variable_permissions permissions)
    : m_impl{std::make_shared<impl>(
        std::move(name), std::move(access), std::move(settings), permissions)} {}

consumer_session::~consumer_session() {
    m_impl->end();
}

void consumer_session::start() {
    m_impl->start();
}

void consumer_session::stop() {
    m_impl->stop_and_wait();
}

followed_variables consumer_session::follow_one(
    std::string const& provider, std::string const& path, std::size_t type, change_queue queue) {
    path_pattern const named{provider};
    if (!named.is_literal()) {
        throw std::invalid_argument{
            "follow() cannot follow several providers (" + provider + "); call follow_all()"};
    }
    return followed_variables{m_impl->follow({named, path_pattern{path}, type}, queue.get_limit())};
}

followed_variables consumer_session::follow_all(
    std::string const& providers, std::string const& paths, change_queue queue) {
    return followed_variables{m_impl->follow(
        {path_pattern{providers}, path_pattern{paths}, std::nullopt}, queue.get_limit())};
}

known_definition consumer_session::get_definition(std::string const& provider) const {
    return m_impl->get_definition(provider);
}

void consumer_session::set_definition_handler(definition_handler called) {
    m_impl->set_definition_handler(std::move(called));
}

void consumer_session::write(
    std::string const& provider, std::string const& path, variable_value value) {
    m_impl->write(provider, path, std::move(value));
}

write_outcome consumer_session::write_and_confirm(
    std::string const& provider,
    std::string const& path,
    variable_value value,
    std::chrono::milliseconds limit) {
    return m_impl->write_and_confirm(provider, path, std::move(value), limit);
}

session_status consumer_session::get_status() const {
    return m_impl->get_status();
}

session_status consumer_session::get_provider_status(std::string const& provider) const {
    return m_impl->get_provider_status(provider);
}

void consumer_session::set_status_handler(status_handler called) {
    m_impl->set_status_handler(std::move(called));
}

bool consumer_session::wait_until_ready(std::chrono::milliseconds limit) const {
    return m_impl->wait_until_ready(limit);
}

int consumer_session::get_dispatch_descriptor() const {
    return m_impl->get_dispatch_descriptor();
}

std::size_t consumer_session::dispatch() {
    auto const kept = m_impl; // a handler may destroy the session
    return kept->dispatch();
}

} // namespace arvenhold::corvel::hub
