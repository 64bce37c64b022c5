// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "support/fake_nats.hpp"
#include "support/fake_nats/delivery.hpp"
#include "support/fake_nats/handles.hpp"
#include "support/fake_nats/orders.hpp"
#include "support/fake_nats/rules.hpp"
#include "support/limited_memory.hpp"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub {

/// The state behind a fake_nats and behind the client's functions.
///
///   client.cpp         the client's functions, which call the engine that is installed
///   connections.cpp    options, tokens, connections: publish, request, flush
///   subscriptions.cpp  subscriptions, messages and their delivery
///   delivery.cpp       the threads that run handlers
///   orders.cpp         failures, answers and actions that the test has ordered
///   rules.cpp          what the library must not do with handles
class fake_nats_engine {
public:
    fake_nats_engine();
    fake_nats_engine(fake_nats_engine const&) = delete;
    fake_nats_engine& operator=(fake_nats_engine const&) = delete;
    ~fake_nats_engine();

    /// Gives one call of the client's functions the engine, and all the memory that it wants.
    class call_into_client {
    public:
        explicit call_into_client(fake_nats_engine& engine)
            : m_engine{engine} {}
        fake_nats_engine* operator->() const {
            return &m_engine;
        }

    private:
        fake_nats_engine& m_engine;
        unlimited_memory const m_suspended_limit;
    };

    static call_into_client installed();

    // Behind the client's functions; these lock the mutex, and call handlers and actions unlocked.

    template <class Set>
    natsStatus set_option(
        natsOptions* options, std::string const& function, std::string const& value, Set set);
    natsStatus set_process_option(std::string const& function, std::string const& value);
    natsStatus create(natsOptions** options);
    natsStatus connect(natsConnection** connection, natsOptions* options);
    natsStatus publish(natsConnection* connection, fake_nats::sent_message const& message);
    natsStatus request(
        natsMsg** reply,
        natsConnection* connection,
        fake_nats::sent_message const& message,
        std::int64_t limit);
    natsStatus flush(natsConnection* connection, std::int64_t limit);
    natsConnStatus link_status(natsConnection* connection);
    std::uint64_t count_reconnects(natsConnection* connection);
    void close(natsConnection* connection);
    void destroy(natsOptions* options);
    void destroy(natsConnection* connection);

    natsStatus subscribe(
        natsSubscription** subscription,
        natsConnection* connection,
        std::string const& subject,
        fakes::callback<natsMsgHandler> handler);
    natsStatus unsubscribe(natsSubscription* subscription);
    natsStatus get_pending(natsSubscription* subscription, int* messages, int* bytes);
    natsStatus get_dropped(natsSubscription* subscription, std::int64_t* messages);
    void destroy(natsSubscription* subscription);
    template <class Read>
    auto read(natsMsg const* message, std::string_view function, Read read);
    void destroy(natsMsg* message);

    void run_action_in(std::string_view function);

    // Behind the fake; these lock likewise.

    std::size_t deliver(fake_nats::incoming_message const& message, fake_nats::run_on where);
    std::size_t deliver_null(std::string const& subject);
    bool wait_until_delivered();
    natsMsg* make_message(fake_nats::incoming_message const& message);
    void call(
        fakes::callback<natsConnectionHandler> fakes::options_record::*chosen,
        fake_nats::run_on where);
    void lose_link();
    void regain_link();
    void give_up_link();
    void drop(std::string const& subject, std::int64_t messages);
    void ask_for_token();
    std::vector<std::string> drain_live_handles();

    // The mutex guards all that follows.

    std::mutex m_mutex;
    std::condition_variable m_changed;

    std::vector<std::string> m_calls;
    std::vector<fake_nats::sent_message> m_published;
    std::vector<fake_nats::sent_message> m_requests;
    std::vector<std::optional<std::string>> m_tokens;

    fakes::orders m_orders;
    fakes::rule_checks m_rules;
    fakes::delivery_control m_deliveries{m_mutex, m_changed};
    bool m_asks_for_token = true;

    // In std::deque, whose elements keep their addresses, because handles are addresses.
    std::deque<fakes::message_record> m_messages;
    std::deque<fakes::options_record> m_options;
    std::deque<fakes::connection_record> m_connections;
    std::deque<fakes::subscription_record> m_subscriptions;

private:
    // NOLINTNEXTLINE(*-avoid-non-const-global-variables): one fake at a time, like the library
    static fake_nats_engine* installed_;

    fakes::delivery_thread m_callback_thread;

    // With the mutex locked.
    natsStatus enter(std::string const& function, std::string const& arguments);

    // With the mutex unlocked.
    void ask_for_token(fakes::callback<natsTokenHandler> handler);
    void call_handler(
        fakes::subscription_record& subscription, fake_nats::incoming_message const& message);
    std::vector<fakes::subscription_record*> open_subscriptions(std::string_view subject);
};

template <class Set>
natsStatus fake_nats_engine::set_option(
    natsOptions* options, std::string const& function, std::string const& value, Set set) {
    std::scoped_lock const lock{m_mutex};
    auto const status = enter(function, value);
    if (!m_rules.may_use(options, function)) {
        return NATS_INVALID_ARG;
    }
    if (status == NATS_OK) {
        set(fakes::record_of(options));
    }
    return status;
}

template <class Read>
auto fake_nats_engine::read(natsMsg const* message, std::string_view function, Read read) {
    std::scoped_lock const lock{m_mutex};
    using result = decltype(read(fakes::record_of(message)));
    return m_rules.may_use(message, function) ? read(fakes::record_of(message)) : result{};
}

} // namespace arvenhold::corvel::hub
