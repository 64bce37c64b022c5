// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/fake_nats.hpp"

#include "support/fake_nats/engine.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace arvenhold::corvel::hub {

using namespace fakes;

namespace {

std::vector<fake_nats::sent_message> pick(
    std::vector<fake_nats::sent_message> const& messages, std::string_view subject) {
    std::vector<fake_nats::sent_message> picked;
    std::copy_if(
        messages.begin(), messages.end(), std::back_inserter(picked), [subject](auto const& sent) {
            return sent.subject == subject;
        });
    return picked;
}

} // namespace

fake_nats::fake_nats()
    : m_engine{std::make_unique<fake_nats_engine>()} {}

fake_nats::~fake_nats() {
    for (auto const& order : drain_unmet_orders()) {
        ADD_FAILURE() << order;
    }
    for (auto const& violation : drain_violations()) {
        ADD_FAILURE() << violation;
    }
    for (auto const& handle : drain_live_handles()) {
        ADD_FAILURE() << "Not destroyed: " << handle;
    }
}

std::vector<std::string> fake_nats::calls() const {
    std::scoped_lock const lock{m_engine->m_mutex};
    return m_engine->m_calls;
}

void fake_nats::forget_calls() {
    std::scoped_lock const lock{m_engine->m_mutex};
    m_engine->m_calls.clear();
}

std::vector<fake_nats::sent_message> fake_nats::published() const {
    std::scoped_lock const lock{m_engine->m_mutex};
    return m_engine->m_published;
}

std::vector<fake_nats::sent_message> fake_nats::published(std::string_view subject) const {
    return pick(published(), subject);
}

std::vector<fake_nats::sent_message> fake_nats::requests() const {
    std::scoped_lock const lock{m_engine->m_mutex};
    return m_engine->m_requests;
}

std::vector<fake_nats::sent_message> fake_nats::requests(std::string_view subject) const {
    return pick(requests(), subject);
}

bool fake_nats::wait_until_published(std::string_view subject, std::size_t count) const {
    std::unique_lock lock{m_engine->m_mutex};
    return m_engine->m_changed.wait_for(
        lock, time_limit, [&] { return pick(m_engine->m_published, subject).size() >= count; });
}

std::vector<fake_nats::made_subscription> fake_nats::subscriptions() const {
    std::scoped_lock const lock{m_engine->m_mutex};
    std::vector<made_subscription> all;
    for (auto& record : m_engine->m_subscriptions) {
        all.push_back(
            {record.name,
             record.handler.function,
             record.handler.closure,
             handle_of<natsConnection>(*record.connection),
             handle_of<natsSubscription>(record),
             is_open(record)});
    }
    return all;
}

std::vector<std::string> fake_nats::open_subjects() const {
    std::vector<std::string> subjects;
    for (auto const& subscription : subscriptions()) {
        if (subscription.is_open) {
            subjects.push_back(subscription.subject);
        }
    }
    return subjects;
}

std::vector<std::optional<std::string>> fake_nats::tokens() const {
    std::scoped_lock const lock{m_engine->m_mutex};
    return m_engine->m_tokens;
}

std::size_t fake_nats::open_connections() const {
    std::scoped_lock const lock{m_engine->m_mutex};
    auto const& all = m_engine->m_connections;
    return static_cast<std::size_t>(std::count_if(
        all.begin(), all.end(), [](auto const& connection) { return !connection.is_closed; }));
}

void fake_nats::fail_next(std::string_view function, natsStatus status, std::size_t nth) {
    if (!can_fail(function)) {
        ADD_FAILURE() << "fail_next: this function cannot fail: " << function;
        return;
    }
    std::scoped_lock const lock{m_engine->m_mutex};
    m_engine->m_orders.fail(function, status, nth);
}

void fake_nats::answer_requests(std::string const& subject, request_answer const& answer) {
    std::scoped_lock const lock{m_engine->m_mutex};
    m_engine->m_orders.answer(subject, answer);
}

void fake_nats::answer_requests(std::string const& subject, request_script script) {
    std::scoped_lock const lock{m_engine->m_mutex};
    m_engine->m_orders.answer(subject, std::move(script));
}

void fake_nats::when_published(
    std::string const& subject, std::function<void(std::string const&)> action) {
    std::scoped_lock const lock{m_engine->m_mutex};
    m_engine->m_orders.act_when_published(subject, std::move(action));
}

void fake_nats::when_called(std::string_view function, std::function<void()> action) {
    if (!can_run_action(function)) {
        ADD_FAILURE() << "when_called: this function runs no actions: " << function;
        return;
    }
    std::scoped_lock const lock{m_engine->m_mutex};
    m_engine->m_orders.act_when_called(function, std::move(action));
}

void fake_nats::skip_token_handler() {
    std::scoped_lock const lock{m_engine->m_mutex};
    m_engine->m_asks_for_token = false;
}

void fake_nats::ask_token_handler() {
    std::scoped_lock const lock{m_engine->m_mutex};
    m_engine->m_asks_for_token = true;
}

std::size_t fake_nats::deliver(incoming_message const& message, run_on where) {
    return m_engine->deliver(message, where);
}

std::size_t fake_nats::deliver_null(std::string const& subject) {
    return m_engine->deliver_null(subject);
}

void fake_nats::hold_deliveries() {
    std::scoped_lock const lock{m_engine->m_mutex};
    m_engine->m_deliveries.hold();
}

void fake_nats::release_deliveries() {
    std::scoped_lock const lock{m_engine->m_mutex};
    m_engine->m_deliveries.release();
}

bool fake_nats::wait_until_delivered() {
    return m_engine->wait_until_delivered();
}

void fake_nats::lose_connection(run_on where) {
    m_engine->lose_link();
    m_engine->call(&options_record::disconnected, where);
}

void fake_nats::regain_connection(run_on where) {
    m_engine->ask_for_token();
    m_engine->regain_link();
    m_engine->call(&options_record::reconnected, where);
}

void fake_nats::give_up_connection() {
    m_engine->give_up_link();
}

void fake_nats::drop_messages(std::string const& subject, std::int64_t count) {
    m_engine->drop(subject, count);
}

natsMsg* fake_nats::make_message(incoming_message const& message) {
    return m_engine->make_message(message);
}

std::vector<std::string> fake_nats::drain_unmet_orders() {
    std::scoped_lock const lock{m_engine->m_mutex};
    return m_engine->m_orders.drain_unmet();
}

std::vector<std::string> fake_nats::drain_violations() {
    std::scoped_lock const lock{m_engine->m_mutex};
    return m_engine->m_rules.drain();
}

std::vector<std::string> fake_nats::drain_live_handles() {
    return m_engine->drain_live_handles();
}

} // namespace arvenhold::corvel::hub
