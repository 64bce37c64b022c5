// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/nats_session.hpp"

#include "runtime/callback_boundary.hpp"
#include "runtime/token_callback.hpp"

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

constexpr std::chrono::milliseconds reply_flush_limit{500};

// The NATS client counts bytes with an int, and takes a negative number for an empty message.
constexpr std::size_t greatest_message = std::numeric_limits<int>::max();

char const* token_entrance(void* closure) noexcept {
    callback_entry const entry{closure};
    char const* token = nullptr;
    if (entry.target() != nullptr) {
        at_callback_boundary([&] { token = nats_token_callback(entry.target()); });
    }
    return token;
}

// The NATS client destroys the heap when a URL is nothing but white space; an empty one it refuses.
char const* usable_url(std::string const& url) {
    return url.find_first_not_of(" \t\n\v\f\r") == std::string::npos ? "" : url.c_str();
}

} // namespace

nats_session::nats_session(
    session_settings settings, std::shared_ptr<callback_gate> gate, std::weak_ptr<void> owner)
    : m_settings{std::move(settings)}
    , m_owner_callbacks{gate, std::move(owner)}
    , m_token_callbacks{
          std::move(gate), std::const_pointer_cast<token_parameters>(m_settings.token)} {}

nats_session::~nats_session() {
    close();
}

natsStatus nats_session::connect() {
    auto status = make_options();
    if (status != NATS_OK) {
        return status;
    }
    natsConnection* connection = nullptr;
    status = natsConnection_Connect(&connection, m_options.get());
    m_connection.reset(connection);
    return status;
}

// Without options or a URL the NATS client would connect to a default server, so failing to make
// these two counts; only connecting tells whether the rest is usable. A name that makes no inbox
// prefix, because of a blank in it, say, leaves the default prefix in force, with which replies
// arrive all the same.
natsStatus nats_session::make_options() {
    natsOptions* created = nullptr;
    auto status = natsOptions_Create(&created);
    m_options.reset(created);
    if (status != NATS_OK) {
        return status;
    }
    status = natsOptions_SetURL(created, usable_url(m_settings.server_url));
    natsOptions_SetName(created, m_settings.client_name.c_str());
    natsOptions_SetCustomInboxPrefix(created, m_settings.inbox_prefix.c_str());
    natsOptions_SetTokenHandler(created, &token_entrance, m_token_callbacks.closure());
    natsOptions_SetAllowReconnect(created, true);
    auto* const owner = m_owner_callbacks.closure();
    natsOptions_SetReconnectedCB(created, m_settings.reconnected, owner);
    natsOptions_SetDisconnectedCB(created, m_settings.disconnected, owner);
    // An environment variable could merge all handlers into one thread; the one that waits for the
    // registry's verdict would then keep the verdict from arriving.
    natsOptions_UseGlobalMessageDelivery(created, false);
    if (m_settings.options.send_immediately) {
        natsOptions_SetSendAsap(created, true);
    }
    return status;
}

subscribe_outcome nats_session::subscribe(
    std::string const& subject, natsMsgHandler handler, void* closure) {
    subscribe_outcome outcome;
    outcome.status = natsConnection_Subscribe(
        &outcome.subscription, m_connection.get(), subject.c_str(), handler, closure);
    if (outcome.status == NATS_OK) {
        nats_subscription subscription{outcome.subscription};
        std::scoped_lock const lock{m_mutex};
        m_subscriptions.emplace_back(std::move(subscription));
    }
    return outcome;
}

subscribe_outcome nats_session::subscribe(std::string const& subject, natsMsgHandler handler) {
    return subscribe(subject, handler, m_owner_callbacks.closure());
}

void nats_session::unsubscribe(natsSubscription* subscription) {
    std::shared_ptr<natsSubscription> ended;
    {
        std::scoped_lock const lock{m_mutex};
        auto const found = std::find_if(
            m_subscriptions.begin(), m_subscriptions.end(), [subscription](auto const& candidate) {
                return candidate.get() == subscription;
            });
        if (found == m_subscriptions.end()) {
            return;
        }
        ended = std::move(*found);
        m_subscriptions.erase(found);
    }
    natsSubscription_Unsubscribe(ended.get());
    std::scoped_lock const lock{m_mutex};
    m_parked.push_back(std::move(ended));
}

natsStatus nats_session::publish(std::string const& subject, std::string_view bytes) {
    if (bytes.size() > greatest_message) {
        return NATS_MAX_PAYLOAD;
    }
    return natsConnection_Publish(
        m_connection.get(), subject.c_str(), bytes.data(), static_cast<int>(bytes.size()));
}

request_outcome nats_session::request(std::string const& subject, std::string_view bytes) {
    if (bytes.size() > greatest_message) {
        return {NATS_MAX_PAYLOAD, nullptr};
    }
    if (!begin_request()) {
        return {NATS_CONNECTION_CLOSED, nullptr};
    }
    natsMsg* reply = nullptr;
    auto const status = natsConnection_Request(
        &reply,
        m_connection.get(),
        subject.c_str(),
        bytes.data(),
        static_cast<int>(bytes.size()),
        request_time_limit.count());
    end_request();
    return {status, nats_message{reply}};
}

natsStatus nats_session::flush(std::chrono::milliseconds limit) {
    subscription_list parked;
    {
        std::scoped_lock const lock{m_mutex};
        parked.swap(m_parked);
    }
    auto const status = natsConnection_FlushTimeout(m_connection.get(), limit.count());
    if (status != NATS_OK) {
        std::scoped_lock const lock{m_mutex};
        std::move(parked.begin(), parked.end(), std::back_inserter(m_parked));
    }
    // After a round trip the server knows that the parked subscriptions have ended, and everything
    // that it sent before has been taken in: they may be destroyed here.
    return status;
}

void nats_session::flush_when_idle(natsSubscription* subscription) {
    int waiting = 0;
    int waiting_bytes = 0;
    natsSubscription_GetPending(subscription, &waiting, &waiting_bytes);
    if (waiting == 0) {
        static_cast<void>(flush(reply_flush_limit));
    }
}

void nats_session::close() {
    m_owner_callbacks.withdraw();
    m_token_callbacks.withdraw();
    for (auto const& subscription : begin_closing()) {
        natsSubscription_Unsubscribe(subscription.get());
    }
    wait_for_requests();
    natsConnection_Close(m_connection.get());
}

bool nats_session::sends_immediately() const {
    return m_settings.options.send_immediately;
}

// The NATS client keeps a connection for as long as a handler of it runs, so no other one has its
// address meanwhile.
bool nats_session::owns(natsConnection const* connection) const {
    return m_connection.get() == connection;
}

bool nats_session::is_closed() {
    std::scoped_lock const lock{m_mutex};
    return m_closing;
}

// From now on requests are refused. Returns the subscriptions to end.
nats_session::subscription_list nats_session::begin_closing() {
    std::scoped_lock const lock{m_mutex};
    m_closing = true;
    return m_subscriptions;
}

// Not analysed: the lock is lent to the wait.
void nats_session::wait_for_requests() CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
    std::unique_lock lock{m_mutex};
    while (m_running_requests != 0) {
        m_request_ended.wait(lock);
    }
}

bool nats_session::begin_request() {
    std::scoped_lock const lock{m_mutex};
    if (m_closing) {
        return false;
    }
    ++m_running_requests;
    return true;
}

void nats_session::end_request() {
    std::scoped_lock const lock{m_mutex};
    --m_running_requests;
    m_request_ended.notify_all();
}

} // namespace arvenhold::corvel::hub
