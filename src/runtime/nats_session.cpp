// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/nats_session.hpp"

#include "errors/operation_names.hpp"
#include "protocol/subjects.hpp"
#include "runtime/blank_url.hpp"
#include "runtime/callback_boundary.hpp"
#include "runtime/token_callback.hpp"
#include <hub/authentication_failed.hpp>
#include <hub/connection_failed.hpp>

#include <algorithm>
#include <limits>

namespace arvenhold::corvel::hub {

namespace {

constexpr std::chrono::milliseconds reply_flush_limit{500};

// The NATS client counts bytes with an int, and takes a negative number for an empty message.
constexpr std::size_t maximum_message_size = std::numeric_limits<int>::max();

char const* token_entrance(void* closure) noexcept {
    callback_entry const entry{closure};
    char const* token = nullptr;
    if (auto const* const parameters = static_cast<token_parameters const*>(entry.target())) {
        at_callback_boundary(
            parameters->client_name, [&] { token = nats_token_callback(entry.target()); });
    }
    return token;
}

// Names the file that made a status.
std::string with_file(std::string const& text, std::string const& file) {
    return file.empty() ? text : text + " (" + file + ")";
}

} // namespace

nats_session::nats_session(
    nats_session_settings settings,
    connection_events events,
    std::shared_ptr<callback_registration> owner)
    : m_settings{std::move(settings)}
    , m_events{events}
    , m_owner{std::move(owner)}
    , m_token{std::make_shared<token_parameters>(token_parameters{
          .client_name = m_settings.client_name,
          .endpoint = m_settings.token_endpoint,
          .client_id = m_settings.client_id,
          .secret = m_settings.client_secret,
          .scope = std::string{m_settings.scope},
          .options = m_settings.options,
          .on_failure =
              [failed = m_failed](authentication_failed const&) {
                  *failed = true;
              }})}
    , m_token_callbacks{m_owner->gate(), m_token} {}

nats_session::~nats_session() {
    close();
}

void nats_session::connect() {
    prepare_link_watch();
    auto [status, refused_file] = make_options();
    if (status == NATS_OK) {
        natsConnection* connection = nullptr;
        status = natsConnection_Connect(&connection, m_options.get());
        m_connection.reset(connection);
    }
    // A server that wants no token lets the client in although no token could be obtained.
    if (status != NATS_OK || has_failed()) {
        close();
        throw connection_failed::while_connecting(
            m_settings.kind,
            m_settings.client_name,
            operation_name::connect_to,
            m_settings.server_url,
            status,
            with_file(text_of(status), refused_file));
    }
    if (m_link_watch) {
        m_link_watch->begin();
    }
}

// Without options or a URL the NATS client would connect to a default server, so a failure of these
// two counts; only connecting shows whether the rest is usable. A name that is no valid inbox prefix,
// for example because of a space in it, leaves the default prefix, with which replies arrive too.
options_result nats_session::make_options() {
    natsOptions* created = nullptr;
    auto status = natsOptions_Create(&created);
    m_options.reset(created);
    if (status != NATS_OK) {
        return {status, {}};
    }
    if (is_blank(m_settings.server_url)) {
        return {NATS_INVALID_ARG, {}};
    }
    auto const& chosen = m_settings.options;
    status = set_servers(created, m_settings.server_url, chosen);
    auto const& shown_name =
        chosen.get_client_name().empty() ? m_settings.client_name : chosen.get_client_name();
    natsOptions_SetName(created, shown_name.c_str());
    natsOptions_SetCustomInboxPrefix(created, inbox_prefix(m_settings.client_name).c_str());
    natsOptions_SetTokenHandler(created, &token_entrance, m_token_callbacks.closure());
    natsOptions_SetAllowReconnect(created, true);
    natsOptions_SetReconnectedCB(created, m_events.reconnected, m_owner->closure());
    natsOptions_SetDisconnectedCB(created, m_events.disconnected, m_owner->closure());
    // Set also where they have the NATS client's default values, because it takes these two from
    // environment variables. With one thread for all handlers none could receive the verdict that
    // another waits for; a deadline would make slow publications fail.
    natsOptions_UseGlobalMessageDelivery(created, chosen.get_delivery_pool_size() != 0);
    natsOptions_SetWriteDeadline(created, chosen.get_write_deadline().count());
    return status != NATS_OK ? options_result{status, {}} : set_changed_options(created, chosen);
}

void nats_session::subscribe(
    subscription_kind const& kind,
    std::string const& subject,
    natsMsgHandler entrance,
    void* closure) {
    // Everything that needs memory comes first: a subscription must not be destroyed while the
    // connection is open.
    auto const subscription = begin_subscribing(closure);
    natsSubscription* created = nullptr;
    auto const status =
        natsConnection_Subscribe(&created, m_connection.get(), subject.c_str(), entrance, closure);
    subscription->reset(created);
    if (status == NATS_OK) {
        enter_stage(subscription, subscription_stage::open);
        return;
    }
    forget(subscription);
    *m_failed = true;
    if (kind.failure_names_subject) {
        throw failure(kind.operation, status, subject);
    }
    throw connection_failed::without_subject(
        m_settings.kind, m_settings.client_name, kind.operation, status, text_of(status));
}

std::shared_ptr<nats_subscription> nats_session::begin_subscribing(void* owner) {
    try {
        auto subscription = std::make_shared<nats_subscription>();
        std::scoped_lock const lock{m_mutex};
        m_subscriptions.push_back({.owner = owner, .handle = subscription});
        return subscription;
    } catch (...) {
        *m_failed = true; // the session lacks a subscription, as after a refused one
        throw;
    }
}

void nats_session::enter_stage(
    std::shared_ptr<nats_subscription> const& subscription, subscription_stage stage) {
    std::scoped_lock const lock{m_mutex};
    for (auto& candidate : m_subscriptions) {
        if (candidate.handle == subscription) {
            candidate.stage = stage;
        }
    }
}

void nats_session::forget(std::shared_ptr<nats_subscription> const& subscription) {
    std::scoped_lock const lock{m_mutex};
    std::erase_if(m_subscriptions, [&subscription](auto const& candidate) {
        return candidate.handle == subscription;
    });
}

void nats_session::unsubscribe(callback_registration& owner) {
    owner.withdraw();
    end_subscriptions(owner.closure());
}

// Ends the subscriptions of one owner, or all of them for null. Needs no memory, so that a session
// can always be closed.
void nats_session::end_subscriptions(void const* owner) {
    while (auto const subscription = begin_ending(owner)) {
        natsSubscription_Unsubscribe(subscription->get());
        enter_stage(subscription, subscription_stage::parked);
    }
}

std::shared_ptr<nats_subscription> nats_session::begin_ending(void const* owner) {
    std::scoped_lock const lock{m_mutex};
    for (auto& subscription : m_subscriptions) {
        if (subscription.stage == subscription_stage::open
            && (owner == nullptr || subscription.owner == owner)) {
            subscription.stage = subscription_stage::ending;
            return subscription.handle;
        }
    }
    return nullptr;
}

void nats_session::publish(
    std::string_view operation, std::string const& subject, std::string_view bytes) {
    auto const status = try_publish(subject, bytes);
    if (status != NATS_OK) {
        *m_failed = true;
        throw failure(operation, status, subject);
    }
}

natsStatus nats_session::try_publish(std::string const& subject, std::string_view bytes) {
    if (bytes.size() > maximum_message_size) {
        return NATS_MAX_PAYLOAD;
    }
    return natsConnection_Publish(
        m_connection.get(), subject.c_str(), bytes.data(), static_cast<int>(bytes.size()));
}

void nats_session::reply_to_read_request(received_message const& request, std::string_view bytes) {
    auto const subject = request.reply_subject();
    auto const status = try_publish(subject, bytes);
    if (status != NATS_OK) {
        *m_failed = true;
        // Intended: nothing stands between the identifier and the text, and the reply's bytes are
        // written as a string that ends at their first zero.
        report(
            diagnostic_severity::error,
            m_settings.client_name,
            {"Provider ",
             m_settings.client_name,
             "Failed to publish reply to read request (",
             std::to_string(bytes.size()),
             " bytes @",
             bytes.substr(0, bytes.find('\0')),
             ") to subject ",
             subject,
             ": NATS returns ",
             std::to_string(status),
             " = ",
             text_of(status)});
        return;
    }
    int queued = 0;
    int queued_bytes = 0;
    natsSubscription_GetPending(request.m_subscription, &queued, &queued_bytes);
    if (queued == 0) {
        flush(reply_flush_limit); // a failure shows with the next publication
    }
}

received_message nats_session::request(
    std::string_view operation, std::string const& subject, std::string_view bytes) {
    if (bytes.size() > maximum_message_size) {
        throw failure(operation, NATS_MAX_PAYLOAD, subject);
    }
    auto const refusal = begin_request();
    if (refusal != NATS_OK) {
        throw failure(operation, refusal, subject);
    }
    natsMsg* reply = nullptr;
    auto const status = natsConnection_Request(
        &reply,
        m_connection.get(),
        subject.c_str(),
        bytes.data(),
        static_cast<int>(bytes.size()),
        m_settings.options.get_request_time_limit().count());
    end_request();
    received_message received{nats_message{reply}, m_connection.get()};
    if (status != NATS_OK || !received) {
        throw failure(operation, status, subject);
    }
    return received;
}

bool nats_session::flush(std::chrono::milliseconds limit) {
    subscription_list finished; // destroyed with no lock held
    auto const number = begin_flush(finished);
    auto const status = natsConnection_FlushTimeout(m_connection.get(), limit.count());
    end_flush(number, status == NATS_OK, finished);
    return status == NATS_OK;
}

// Marks what is parked now, and makes room for it.
std::uint64_t nats_session::begin_flush(subscription_list& finished) {
    std::scoped_lock const lock{m_mutex};
    auto const waits_for_proof = [](auto const& subscription) {
        return subscription.stage == subscription_stage::parked && subscription.flush == 0;
    };
    finished.reserve(static_cast<std::size_t>(
        std::count_if(m_subscriptions.begin(), m_subscriptions.end(), waits_for_proof)));
    ++m_last_flush;
    for (auto& subscription : m_subscriptions) {
        if (waits_for_proof(subscription)) {
            subscription.flush = m_last_flush;
        }
    }
    return m_last_flush;
}

// After a successful flush the server knows that the marked subscriptions have ended, and everything
// that it sent before has been received: they may be destroyed.
void nats_session::end_flush(std::uint64_t number, bool is_proof, subscription_list& finished) {
    std::scoped_lock const lock{m_mutex};
    for (auto& subscription : m_subscriptions) {
        if (subscription.flush != number) {
            continue;
        }
        subscription.flush = 0;
        if (is_proof) {
            finished.push_back(std::exchange(subscription, {}));
        }
    }
    std::erase_if(m_subscriptions, [](auto const& subscription) { return !subscription.handle; });
}

void nats_session::begin_close() {
    std::scoped_lock const lock{m_mutex};
    m_closing = true;
}

void nats_session::close() {
    m_owner->withdraw();
    m_token_callbacks.withdraw();
    if (m_link_watch) {
        m_link_watch->stop();
    }
    begin_close();
    end_subscriptions(nullptr);
    wait_for_requests();
    natsConnection_Close(m_connection.get());
}

bool nats_session::has_failed() const {
    return *m_failed;
}

connect_options const& nats_session::options() const {
    return m_settings.options;
}

// The NATS client keeps a connection for as long as a handler of it runs, so no other one has its
// address meanwhile.
bool nats_session::has_received(received_message const& message) const {
    return m_connection.get() == message.m_connection;
}

bool nats_session::is_closed() {
    std::scoped_lock const lock{m_mutex};
    return m_closing;
}

connection_failed nats_session::failure(
    std::string_view operation, natsStatus status, std::string_view subject) const {
    return connection_failed::on_subject(
        m_settings.kind, m_settings.client_name, operation, status, text_of(status), subject);
}

// Not analysed: the wait releases the lock and takes it again.
void nats_session::wait_for_requests() CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
    std::unique_lock lock{m_mutex};
    while (m_running_requests != 0) {
        m_request_ended.wait(lock);
    }
}

natsStatus nats_session::begin_request() {
    // The NATS client fails only requests that are in flight when the connection breaks.
    if (m_settings.options.fails_requests_while_disconnected()
        && natsConnection_IsReconnecting(m_connection.get())) {
        return NATS_CONNECTION_DISCONNECTED;
    }
    std::scoped_lock const lock{m_mutex};
    if (m_closing) {
        return NATS_CONNECTION_CLOSED;
    }
    ++m_running_requests;
    return NATS_OK;
}

void nats_session::end_request() {
    std::scoped_lock const lock{m_mutex};
    --m_running_requests;
    m_request_ended.notify_all();
}

void nats_session::prepare_link_watch() {
    auto const& chosen = m_settings.options;
    if (chosen.get_link_callback() != nullptr) {
        m_link_watch.emplace(
            link_listener{
                .client_name = m_settings.client_name,
                .owner_closure = m_owner->closure(),
                .callback = chosen.get_link_callback(),
                .user_data = chosen.get_link_user_data()},
            [this] { return read_link(); });
    }
}

// The NATS client counts a reconnect before it knows whether the server lets it in, both under one
// hold of its lock. Connected before and after the count is read means that the count belongs to the
// link that is up.
link_reading nats_session::read_link() {
    auto* const connection = m_connection.get();
    natsStatistics* created = nullptr;
    natsStatistics_Create(&created);
    nats_statistics const statistics{created};
    link_reading reading;
    reading.dropped_messages = count_dropped_messages();
    reading.is_connected = natsConnection_Status(connection) == NATS_CONN_STATUS_CONNECTED;
    natsConnection_GetStats(connection, created);
    natsStatistics_GetCounts(created, nullptr, nullptr, nullptr, nullptr, &reading.reconnects);
    auto const status = natsConnection_Status(connection);
    reading.is_connected = reading.is_connected && status == NATS_CONN_STATUS_CONNECTED;
    reading.is_closed = status == NATS_CONN_STATUS_CLOSED;
    return reading;
}

std::uint64_t nats_session::count_dropped_messages() {
    std::uint64_t added = 0;
    for (auto const& subscription : subscribed()) {
        std::int64_t dropped = 0;
        if (natsSubscription_GetDropped(subscription->get(), &dropped) == NATS_OK) {
            auto& known = m_dropped_messages[subscription];
            added += static_cast<std::uint64_t>(dropped - known);
            known = dropped;
        }
    }
    std::erase_if(m_dropped_messages, [](auto const& count) { return count.first.expired(); });
    return added;
}

std::vector<std::shared_ptr<nats_subscription>> nats_session::subscribed() {
    std::vector<std::shared_ptr<nats_subscription>> found;
    std::scoped_lock const lock{m_mutex};
    for (auto const& subscription : m_subscriptions) {
        if (subscription.stage == subscription_stage::open) {
            found.push_back(subscription.handle);
        }
    }
    return found;
}

} // namespace arvenhold::corvel::hub
