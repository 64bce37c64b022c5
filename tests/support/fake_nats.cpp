// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/fake_nats.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <iostream>
#include <map>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

struct handle_record {
    std::string name;
    bool is_destroyed = false;
};

struct message_record : handle_record {
    std::optional<std::string> reply;
    std::vector<char> block; // of exactly the size needed, for the address sanitizer
    std::size_t misalignment = 0;
    std::size_t size = 0;
};

template <class Handler>
struct callback {
    Handler function = nullptr;
    void* closure = nullptr;
};

struct options_record : handle_record {
    callback<natsTokenHandler> token;
    callback<natsConnectionHandler> reconnected;
    callback<natsConnectionHandler> disconnected;
};

struct own_thread {
    struct work {
        std::function<void()> run;
        std::size_t bytes = 0;
    };
    std::deque<work> waiting;
    bool is_busy = false;
    std::thread thread;
};

struct connection_record : handle_record {
    options_record options;
    bool is_closed = false;
    int running_requests = 0;
};

struct subscription_record : handle_record {
    connection_record* connection = nullptr;
    callback<natsMsgHandler> handler;
    bool is_unsubscribed = false;
    bool is_flushed = false; // since it was unsubscribed
    own_thread thread;
};

struct ordered_failure {
    std::string function;
    natsStatus status = NATS_OK;
    std::size_t calls_left = 0;
};

constexpr std::array<std::string_view, 17> functions_that_can_fail{
    "natsOptions_Create",
    "natsOptions_SetURL",
    "natsOptions_SetName",
    "natsOptions_SetCustomInboxPrefix",
    "natsOptions_SetTokenHandler",
    "natsOptions_SetAllowReconnect",
    "natsOptions_SetReconnectedCB",
    "natsOptions_SetDisconnectedCB",
    "natsOptions_UseGlobalMessageDelivery",
    "natsOptions_SetSendAsap",
    "natsConnection_Connect",
    "natsConnection_Subscribe",
    "natsConnection_Publish",
    "natsConnection_Request",
    "natsConnection_FlushTimeout",
    "natsSubscription_Unsubscribe",
    "natsSubscription_GetPending"};

constexpr std::array<char const*, 37> status_texts{
    "OK",
    "Error",
    "Protocol Error",
    "IO Error",
    "Line too long",
    "Connection Closed",
    "No server available for connection",
    "Stale Connection",
    "Secure Connection not available",
    "Secure Connection Required",
    "Connection Disconnected",
    "Authentication Violation",
    "Not Permitted",
    "Not Found",
    "TCP Address missing",
    "Invalid Subject",
    "Invalid Argument",
    "Invalid Subscription",
    "Invalid Timeout",
    "Illegal State",
    "Slow Consumer, messages dropped",
    "Maximum Payload Exceeded",
    "Maximum Messages Delivered",
    "Insufficient Buffer",
    "No Memory",
    "System Error",
    "Timeout",
    "Initialization Failed",
    "Not Initialized",
    "SSL Error",
    "Not Supported By Server",
    "Not Yet Connected",
    "Draining in progress",
    "Invalid queue name",
    "No responders available for request",
    "Mismatch",
    "Missed Server Heartbeat"};

// The NATS client's types are known by name only, so our records stand behind their pointers.
template <class Handle, class Record>
Handle* handle_of(Record& record) {
    return static_cast<Handle*>(static_cast<void*>(&record));
}

message_record& record_of(natsMsg* handle) {
    return *static_cast<message_record*>(static_cast<void*>(handle));
}

message_record const& record_of(natsMsg const* handle) {
    return *static_cast<message_record const*>(static_cast<void const*>(handle));
}

options_record& record_of(natsOptions* handle) {
    return *static_cast<options_record*>(static_cast<void*>(handle));
}

connection_record& record_of(natsConnection* handle) {
    return *static_cast<connection_record*>(static_cast<void*>(handle));
}

subscription_record& record_of(natsSubscription* handle) {
    return *static_cast<subscription_record*>(static_cast<void*>(handle));
}

bool is_open(subscription_record const& subscription) {
    return !subscription.is_unsubscribed && !subscription.connection->is_closed;
}

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

// The state behind the fake and behind the client's functions. Records of destroyed handles stay,
// so that a later use is recognised.
class fake_nats_engine {
public:
    fake_nats_engine();
    fake_nats_engine(fake_nats_engine const&) = delete;
    fake_nats_engine& operator=(fake_nats_engine const&) = delete;
    ~fake_nats_engine();

    static fake_nats_engine& installed();

    // Behind the client's functions

    template <class Set>
    natsStatus set_option(
        natsOptions* options, std::string const& function, std::string const& value, Set set);
    natsStatus create(natsOptions** options);
    natsStatus connect(natsConnection** connection, natsOptions* options);
    natsStatus subscribe(
        natsSubscription** subscription,
        natsConnection* connection,
        std::string const& subject,
        callback<natsMsgHandler> handler);
    natsStatus publish(natsConnection* connection, fake_nats::sent_message const& message);
    natsStatus request(
        natsMsg** reply,
        natsConnection* connection,
        fake_nats::sent_message const& message,
        std::int64_t limit);
    natsStatus flush(natsConnection* connection, std::int64_t limit);
    void close(natsConnection* connection);
    natsStatus unsubscribe(natsSubscription* subscription);
    natsStatus get_pending(natsSubscription* subscription, int* messages, int* bytes);
    void destroy(natsMsg* message);
    void destroy(natsOptions* options);
    void destroy(natsConnection* connection);
    void destroy(natsSubscription* subscription);
    template <class Read>
    auto read(natsMsg const* message, std::string_view function, Read read);

    // Behind the fake

    std::size_t deliver(fake_nats::incoming_message const& message, fake_nats::run_on where);
    std::size_t deliver_null(std::string const& subject);
    void call(callback<natsConnectionHandler> options_record::*chosen, fake_nats::run_on where);
    void ask_for_token();
    natsMsg* make_message(fake_nats::incoming_message const& message);
    bool wait_until_delivered();
    void run_call_action(std::string const& function);
    std::vector<std::string> take_live_handles();

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::string> m_calls;
    std::vector<fake_nats::sent_message> m_published;
    std::vector<fake_nats::sent_message> m_requests;
    std::vector<std::optional<std::string>> m_tokens;
    std::vector<std::string> m_violations;
    std::vector<ordered_failure> m_failures;
    std::map<std::string, fake_nats::request_script> m_answers;
    std::map<std::string, std::function<void(std::string const&)>> m_actions;
    std::map<std::string, std::function<void()>> m_call_actions;
    bool m_asks_for_token = true;
    bool m_holds_deliveries = false;

    std::deque<message_record> m_messages;
    std::deque<options_record> m_options;
    std::deque<connection_record> m_connections;
    std::deque<subscription_record> m_subscriptions;

private:
    // NOLINTNEXTLINE(*-avoid-non-const-global-variables): one fake at a time
    static fake_nats_engine* installed_;

    bool m_stopping = false;
    own_thread m_callback_thread;

    // The functions below are called with the mutex locked, unless they say otherwise.

    natsStatus enter(std::string const& function, std::string const& arguments);
    template <class Handle>
    bool may_use(Handle* handle, std::string_view function);
    void mark_destroyed(handle_record& record, std::string_view function);
    void check_running_requests(connection_record const& connection, std::string_view function);
    void post(own_thread& thread, own_thread::work work);
    void work_off(own_thread& thread);                      // locks
    void stop(own_thread& thread);                          // locks
    void ask_for_token(callback<natsTokenHandler> handler); // locks
    void hand_over(
        subscription_record& subscription, fake_nats::incoming_message const& message); // locks
    std::vector<subscription_record*> open_subscriptions(std::string_view subject);     // locks
};

// NOLINTNEXTLINE(*-avoid-non-const-global-variables): one fake at a time, like the library
fake_nats_engine* fake_nats_engine::installed_ = nullptr;

fake_nats_engine::fake_nats_engine() {
    if (std::exchange(installed_, this) != nullptr) {
        std::cerr << "There is a second fake_nats\n";
        std::abort();
    }
}

fake_nats_engine::~fake_nats_engine() {
    for (auto& subscription : m_subscriptions) {
        stop(subscription.thread);
    }
    stop(m_callback_thread);
    installed_ = nullptr;
}

fake_nats_engine& fake_nats_engine::installed() {
    if (installed_ == nullptr) {
        std::cerr << "The NATS client is used without a fake_nats\n";
        std::abort();
    }
    return *installed_;
}

natsStatus fake_nats_engine::enter(std::string const& function, std::string const& arguments) {
    m_calls.push_back(arguments.empty() ? function : function + " " + arguments);
    auto status = NATS_OK;
    for (auto failure = m_failures.begin(); failure != m_failures.end();) {
        if (failure->function == function && --failure->calls_left == 0) {
            status = failure->status;
            failure = m_failures.erase(failure);
        } else {
            ++failure;
        }
    }
    return status;
}

template <class Handle>
bool fake_nats_engine::may_use(Handle* handle, std::string_view function) {
    if (handle == nullptr) {
        return false;
    }
    auto const& record = record_of(handle);
    if (record.is_destroyed) {
        m_violations.push_back(
            std::string{function} + ": used after it was destroyed: " + record.name);
    }
    return !record.is_destroyed;
}

void fake_nats_engine::mark_destroyed(handle_record& record, std::string_view function) {
    if (std::exchange(record.is_destroyed, true)) {
        m_violations.push_back(std::string{function} + ": destroyed twice: " + record.name);
    }
}

void fake_nats_engine::check_running_requests(
    connection_record const& connection, std::string_view function) {
    if (connection.running_requests != 0) {
        m_violations.push_back(std::string{function} + ": a request is in flight");
    }
}

template <class Set>
natsStatus fake_nats_engine::set_option(
    natsOptions* options, std::string const& function, std::string const& value, Set set) {
    std::scoped_lock const lock{m_mutex};
    auto const status = enter(function, value);
    if (!may_use(options, function)) {
        return NATS_INVALID_ARG;
    }
    if (status == NATS_OK) {
        set(record_of(options));
    }
    return status;
}

natsStatus fake_nats_engine::create(natsOptions** options) {
    std::scoped_lock const lock{m_mutex};
    auto const status = enter("natsOptions_Create", "");
    if (status == NATS_OK) {
        auto& record = m_options.emplace_back();
        record.name = "options";
        *options = handle_of<natsOptions>(record);
    }
    return status;
}

natsStatus fake_nats_engine::connect(natsConnection** connection, natsOptions* options) {
    std::unique_lock lock{m_mutex};
    auto const status = enter("natsConnection_Connect", "");
    if (!may_use(options, "natsConnection_Connect")) {
        return NATS_INVALID_ARG;
    }
    auto const used = record_of(options);
    lock.unlock();
    if (status != NATS_NO_SERVER) {
        ask_for_token(used.token);
    }
    if (status != NATS_OK) {
        return status;
    }
    lock.lock();
    auto& record = m_connections.emplace_back();
    record.name = "connection";
    record.options = used;
    *connection = handle_of<natsConnection>(record);
    return NATS_OK;
}

void fake_nats_engine::ask_for_token(callback<natsTokenHandler> handler) {
    {
        std::scoped_lock const lock{m_mutex};
        if (!m_asks_for_token || handler.function == nullptr) {
            return;
        }
    }
    auto const* const token = handler.function(handler.closure);
    std::scoped_lock const lock{m_mutex};
    m_tokens.push_back(token != nullptr ? std::optional<std::string>{token} : std::nullopt);
}

natsStatus fake_nats_engine::subscribe(
    natsSubscription** subscription,
    natsConnection* connection,
    std::string const& subject,
    callback<natsMsgHandler> handler) {
    std::scoped_lock const lock{m_mutex};
    auto const status = enter("natsConnection_Subscribe", subject);
    if (!may_use(connection, "natsConnection_Subscribe")) {
        return NATS_INVALID_ARG;
    }
    if (record_of(connection).is_closed) {
        return NATS_CONNECTION_CLOSED;
    }
    if (status == NATS_OK) {
        auto& record = m_subscriptions.emplace_back();
        record.name = subject;
        record.connection = &record_of(connection);
        record.handler = handler;
        *subscription = handle_of<natsSubscription>(record);
    }
    return status;
}

natsStatus fake_nats_engine::publish(
    natsConnection* connection, fake_nats::sent_message const& message) {
    std::unique_lock lock{m_mutex};
    auto const status = enter(
        "natsConnection_Publish", message.subject + " " + std::to_string(message.bytes.size()));
    m_published.push_back(message);
    m_changed.notify_all();
    if (!may_use(connection, "natsConnection_Publish")) {
        return NATS_INVALID_ARG;
    }
    if (record_of(connection).is_closed) {
        return NATS_CONNECTION_CLOSED;
    }
    auto const found = m_actions.find(message.subject);
    if (status != NATS_OK || found == m_actions.end()) {
        return status;
    }
    auto const action = found->second;
    lock.unlock();
    action(message.bytes);
    return NATS_OK;
}

natsStatus fake_nats_engine::request(
    natsMsg** reply,
    natsConnection* connection,
    fake_nats::sent_message const& message,
    std::int64_t limit) {
    std::unique_lock lock{m_mutex};
    auto const status = enter(
        "natsConnection_Request",
        message.subject + " " + std::to_string(message.bytes.size()) + " " + std::to_string(limit));
    m_requests.push_back(message);
    *reply = nullptr;
    if (!may_use(connection, "natsConnection_Request")) {
        return NATS_INVALID_ARG;
    }
    if (record_of(connection).is_closed) {
        return NATS_CONNECTION_CLOSED;
    }
    auto const found = m_answers.find(message.subject);
    if (status != NATS_OK || found == m_answers.end()) {
        return status != NATS_OK ? status : NATS_NO_RESPONDERS;
    }
    auto const script = found->second;
    ++record_of(connection).running_requests;
    lock.unlock();
    auto const answer = script(message.bytes);
    if (answer.status == NATS_OK) {
        *reply =
            make_message({"reply to " + message.subject, answer.bytes, {}, answer.misalignment});
    }
    lock.lock();
    --record_of(connection).running_requests;
    return answer.status;
}

natsStatus fake_nats_engine::flush(natsConnection* connection, std::int64_t limit) {
    std::scoped_lock const lock{m_mutex};
    auto const status = enter("natsConnection_FlushTimeout", std::to_string(limit));
    if (!may_use(connection, "natsConnection_FlushTimeout")) {
        return NATS_INVALID_ARG;
    }
    if (record_of(connection).is_closed) {
        return NATS_CONNECTION_CLOSED;
    }
    if (status != NATS_OK) {
        return status;
    }
    for (auto& subscription : m_subscriptions) {
        if (subscription.is_unsubscribed && subscription.connection == &record_of(connection)) {
            subscription.is_flushed = true;
        }
    }
    return NATS_OK;
}

void fake_nats_engine::close(natsConnection* connection) {
    std::scoped_lock const lock{m_mutex};
    enter("natsConnection_Close", "");
    if (may_use(connection, "natsConnection_Close")) {
        check_running_requests(record_of(connection), "natsConnection_Close");
        record_of(connection).is_closed = true;
    }
}

// Locks, but not for the action, which may call anything.
void fake_nats_engine::run_call_action(std::string const& function) {
    std::function<void()> action;
    {
        std::scoped_lock const lock{m_mutex};
        auto const found = m_call_actions.find(function);
        if (found == m_call_actions.end()) {
            return;
        }
        action = std::move(found->second);
        m_call_actions.erase(found);
    }
    action();
}

natsStatus fake_nats_engine::unsubscribe(natsSubscription* subscription) {
    std::scoped_lock const lock{m_mutex};
    auto const status = enter(
        "natsSubscription_Unsubscribe",
        subscription != nullptr ? record_of(subscription).name : "");
    if (!may_use(subscription, "natsSubscription_Unsubscribe")) {
        return NATS_INVALID_ARG;
    }
    auto& record = record_of(subscription);
    if (status != NATS_OK || !is_open(record)) {
        return status != NATS_OK ? status : NATS_CONNECTION_CLOSED;
    }
    record.is_unsubscribed = true;
    record.thread.waiting.clear();
    return NATS_OK;
}

natsStatus fake_nats_engine::get_pending(
    natsSubscription* subscription, int* messages, int* bytes) {
    std::scoped_lock const lock{m_mutex};
    auto const status = enter(
        "natsSubscription_GetPending", subscription != nullptr ? record_of(subscription).name : "");
    if (!may_use(subscription, "natsSubscription_GetPending")) {
        return NATS_INVALID_ARG;
    }
    auto const& record = record_of(subscription);
    if (status != NATS_OK || !is_open(record)) {
        return status != NATS_OK ? status : NATS_INVALID_SUBSCRIPTION;
    }
    *messages = static_cast<int>(record.thread.waiting.size());
    *bytes = 0;
    for (auto const& waiting : record.thread.waiting) {
        *bytes += static_cast<int>(waiting.bytes);
    }
    return NATS_OK;
}

void fake_nats_engine::destroy(natsMsg* message) {
    std::scoped_lock const lock{m_mutex};
    if (message != nullptr) {
        mark_destroyed(record_of(message), "natsMsg_Destroy");
        record_of(message).block = {}; // the address sanitizer sees a later use
    }
}

void fake_nats_engine::destroy(natsOptions* options) {
    std::scoped_lock const lock{m_mutex};
    enter("natsOptions_Destroy", "");
    if (options != nullptr) {
        mark_destroyed(record_of(options), "natsOptions_Destroy");
    }
}

void fake_nats_engine::destroy(natsConnection* connection) {
    std::scoped_lock const lock{m_mutex};
    enter("natsConnection_Destroy", "");
    if (connection == nullptr) {
        return;
    }
    auto& record = record_of(connection);
    check_running_requests(record, "natsConnection_Destroy");
    for (auto const& subscription : m_subscriptions) {
        if (subscription.connection == &record && !subscription.is_destroyed) {
            m_violations.push_back(
                "natsConnection_Destroy: a subscription is left: " + subscription.name);
        }
    }
    mark_destroyed(record, "natsConnection_Destroy");
    record.is_closed = true;
}

void fake_nats_engine::destroy(natsSubscription* subscription) {
    std::scoped_lock const lock{m_mutex};
    if (subscription == nullptr) {
        enter("natsSubscription_Destroy", "");
        return;
    }
    auto& record = record_of(subscription);
    enter("natsSubscription_Destroy", record.name);
    if (!record.connection->is_closed && !record.is_flushed) {
        m_violations.push_back(
            "natsSubscription_Destroy: the connection is open, and no flush came after "
            "unsubscribing: "
            + record.name);
    }
    mark_destroyed(record, "natsSubscription_Destroy");
    record.is_unsubscribed = true;
    record.thread.waiting.clear();
}

template <class Read>
auto fake_nats_engine::read(natsMsg const* message, std::string_view function, Read read) {
    std::scoped_lock const lock{m_mutex};
    using result = decltype(read(record_of(message)));
    return may_use(message, function) ? read(record_of(message)) : result{};
}

natsMsg* fake_nats_engine::make_message(fake_nats::incoming_message const& message) {
    std::scoped_lock const lock{m_mutex};
    auto& record = m_messages.emplace_back();
    record.name = message.subject;
    record.reply = message.reply;
    record.misalignment = message.misalignment;
    record.size = message.bytes.size();
    record.block.reserve(std::max<std::size_t>(message.misalignment + record.size, 1));
    record.block.resize(message.misalignment);
    record.block.insert(record.block.end(), message.bytes.begin(), message.bytes.end());
    return handle_of<natsMsg>(record);
}

std::vector<subscription_record*> fake_nats_engine::open_subscriptions(std::string_view subject) {
    std::scoped_lock const lock{m_mutex};
    std::vector<subscription_record*> found;
    for (auto& subscription : m_subscriptions) {
        if (subscription.name == subject && is_open(subscription)) {
            found.push_back(&subscription);
        }
    }
    return found;
}

std::size_t fake_nats_engine::deliver(
    fake_nats::incoming_message const& message, fake_nats::run_on where) {
    auto const receivers = open_subscriptions(message.subject);
    for (auto* const receiver : receivers) {
        if (where == fake_nats::run_on::this_thread) {
            hand_over(*receiver, message);
            continue;
        }
        std::scoped_lock const lock{m_mutex};
        post(
            receiver->thread,
            {[this, receiver, message] { hand_over(*receiver, message); }, message.bytes.size()});
    }
    return receivers.size();
}

void fake_nats_engine::hand_over(
    subscription_record& subscription, fake_nats::incoming_message const& message) {
    subscription.handler.function(
        handle_of<natsConnection>(*subscription.connection),
        handle_of<natsSubscription>(subscription),
        make_message(message),
        subscription.handler.closure);
}

std::size_t fake_nats_engine::deliver_null(std::string const& subject) {
    auto const receivers = open_subscriptions(subject);
    for (auto* const receiver : receivers) {
        receiver->handler.function(
            handle_of<natsConnection>(*receiver->connection),
            handle_of<natsSubscription>(*receiver),
            nullptr,
            receiver->handler.closure);
    }
    return receivers.size();
}

void fake_nats_engine::call(
    callback<natsConnectionHandler> options_record::*chosen, fake_nats::run_on where) {
    std::unique_lock lock{m_mutex};
    auto& connection = m_connections.back();
    auto const run = [handle = handle_of<natsConnection>(connection),
                      handler = connection.options.*chosen] {
        if (handler.function != nullptr) {
            handler.function(handle, handler.closure);
        }
    };
    if (where == fake_nats::run_on::own_thread) {
        post(m_callback_thread, {run});
        return;
    }
    lock.unlock();
    run();
}

void fake_nats_engine::ask_for_token() {
    callback<natsTokenHandler> handler;
    {
        std::scoped_lock const lock{m_mutex};
        handler = m_connections.back().options.token;
    }
    ask_for_token(handler);
}

void fake_nats_engine::post(own_thread& thread, own_thread::work work) {
    thread.waiting.push_back(std::move(work));
    if (!thread.thread.joinable()) {
        thread.thread = std::thread{[this, &thread] {
            work_off(thread);
        }};
    }
    m_changed.notify_all();
}

void fake_nats_engine::work_off(own_thread& thread) {
    std::unique_lock lock{m_mutex};
    while (!m_stopping) {
        if (m_holds_deliveries || thread.waiting.empty()) {
            m_changed.wait(lock);
            continue;
        }
        auto const work = std::move(thread.waiting.front());
        thread.waiting.pop_front();
        thread.is_busy = true;
        lock.unlock();
        work.run();
        lock.lock();
        thread.is_busy = false;
        m_changed.notify_all();
    }
}

void fake_nats_engine::stop(own_thread& thread) {
    {
        std::scoped_lock const lock{m_mutex};
        m_stopping = true;
        m_changed.notify_all();
    }
    if (thread.thread.joinable()) {
        thread.thread.join();
    }
}

bool fake_nats_engine::wait_until_delivered() {
    auto const is_idle = [](own_thread const& thread) {
        return thread.waiting.empty() && !thread.is_busy;
    };
    std::unique_lock lock{m_mutex};
    return m_changed.wait_for(lock, fake_nats::time_limit, [&] {
        return is_idle(m_callback_thread)
            && std::all_of(
                   m_subscriptions.begin(),
                   m_subscriptions.end(),
                   [&is_idle](auto const& subscription) { return is_idle(subscription.thread); });
    });
}

std::vector<std::string> fake_nats_engine::take_live_handles() {
    std::scoped_lock const lock{m_mutex};
    std::vector<std::string> taken;
    auto const take = [&taken](auto& records, std::string const& kind) {
        for (auto& record : records) {
            if (!std::exchange(record.is_destroyed, true)) {
                taken.push_back(kind + record.name);
            }
        }
    };
    take(m_messages, "message ");
    take(m_subscriptions, "subscription ");
    take(m_connections, "");
    take(m_options, "");
    return taken;
}

fake_nats::fake_nats()
    : m_engine{std::make_unique<fake_nats_engine>()} {}

fake_nats::~fake_nats() {
    for (auto const& failure : m_engine->m_failures) {
        ADD_FAILURE() << "An ordered failure did not happen: " << failure.function;
    }
    for (auto const& violation : take_violations()) {
        ADD_FAILURE() << violation;
    }
    for (auto const& handle : take_live_handles()) {
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
    auto const& known = functions_that_can_fail;
    if (std::find(known.begin(), known.end(), function) == known.end()) {
        throw std::invalid_argument{"This function cannot fail: " + std::string{function}};
    }
    std::scoped_lock const lock{m_engine->m_mutex};
    m_engine->m_failures.push_back({std::string{function}, status, nth});
}

void fake_nats::answer_requests(std::string const& subject, request_answer const& answer) {
    answer_requests(subject, [answer](std::string const& /*bytes*/) { return answer; });
}

void fake_nats::answer_requests(std::string const& subject, request_script script) {
    std::scoped_lock const lock{m_engine->m_mutex};
    m_engine->m_answers[subject] = std::move(script);
}

void fake_nats::when_published(
    std::string const& subject, std::function<void(std::string const&)> action) {
    std::scoped_lock const lock{m_engine->m_mutex};
    m_engine->m_actions[subject] = std::move(action);
}

void fake_nats::when_called(std::string const& function, std::function<void()> action) {
    std::scoped_lock const lock{m_engine->m_mutex};
    m_engine->m_call_actions[function] = std::move(action);
}

void fake_nats::skip_token_handler() {
    std::scoped_lock const lock{m_engine->m_mutex};
    m_engine->m_asks_for_token = false;
}

std::size_t fake_nats::deliver(incoming_message const& message, run_on where) {
    return m_engine->deliver(message, where);
}

std::size_t fake_nats::deliver_null(std::string const& subject) {
    return m_engine->deliver_null(subject);
}

void fake_nats::hold_deliveries() {
    std::scoped_lock const lock{m_engine->m_mutex};
    m_engine->m_holds_deliveries = true;
}

void fake_nats::release_deliveries() {
    std::scoped_lock const lock{m_engine->m_mutex};
    m_engine->m_holds_deliveries = false;
    m_engine->m_changed.notify_all();
}

bool fake_nats::wait_until_delivered() {
    return m_engine->wait_until_delivered();
}

void fake_nats::lose_connection(run_on where) {
    m_engine->call(&options_record::disconnected, where);
}

void fake_nats::regain_connection(run_on where) {
    m_engine->ask_for_token();
    m_engine->call(&options_record::reconnected, where);
}

natsMsg* fake_nats::make_message(incoming_message const& message) {
    return m_engine->make_message(message);
}

std::vector<std::string> fake_nats::take_violations() {
    std::scoped_lock const lock{m_engine->m_mutex};
    return std::exchange(m_engine->m_violations, {});
}

std::vector<std::string> fake_nats::take_live_handles() {
    return m_engine->take_live_handles();
}

} // namespace arvenhold::corvel::hub

// The client's functions, declared in its header.

using arvenhold::corvel::hub::fake_nats_engine;

namespace {

std::string text_of(char const* text) {
    return text != nullptr ? text : "(null)";
}

std::string bytes_of(void const* data, int size) {
    return size == 0 ? std::string{}
                     : std::string{static_cast<char const*>(data), static_cast<std::size_t>(size)};
}

} // namespace

char const* natsStatus_GetText(natsStatus status) {
    return arvenhold::corvel::hub::status_texts.at(status);
}

natsStatus natsOptions_Create(natsOptions** created) {
    return fake_nats_engine::installed().create(created);
}

natsStatus natsOptions_SetURL(natsOptions* opts, char const* url) {
    return fake_nats_engine::installed().set_option(
        opts, "natsOptions_SetURL", text_of(url), [](auto& /*options*/) {});
}

natsStatus natsOptions_SetName(natsOptions* opts, char const* name) {
    return fake_nats_engine::installed().set_option(
        opts, "natsOptions_SetName", text_of(name), [](auto& /*options*/) {});
}

natsStatus natsOptions_SetCustomInboxPrefix(natsOptions* opts, char const* prefix) {
    return fake_nats_engine::installed().set_option(
        opts, "natsOptions_SetCustomInboxPrefix", text_of(prefix), [](auto& /*options*/) {});
}

natsStatus natsOptions_SetTokenHandler(natsOptions* opts, natsTokenHandler handler, void* closure) {
    return fake_nats_engine::installed().set_option(
        opts, "natsOptions_SetTokenHandler", "", [=](auto& options) {
            options.token = {handler, closure};
        });
}

natsStatus natsOptions_SetAllowReconnect(natsOptions* opts, bool allow) {
    return fake_nats_engine::installed().set_option(
        opts, "natsOptions_SetAllowReconnect", allow ? "true" : "false", [](auto& /*options*/) {});
}

natsStatus natsOptions_SetReconnectedCB(
    natsOptions* opts, natsConnectionHandler handler, void* closure) {
    return fake_nats_engine::installed().set_option(
        opts, "natsOptions_SetReconnectedCB", "", [=](auto& options) {
            options.reconnected = {handler, closure};
        });
}

natsStatus natsOptions_SetDisconnectedCB(
    natsOptions* opts, natsConnectionHandler handler, void* closure) {
    return fake_nats_engine::installed().set_option(
        opts, "natsOptions_SetDisconnectedCB", "", [=](auto& options) {
            options.disconnected = {handler, closure};
        });
}

natsStatus natsOptions_SetSendAsap(natsOptions* opts, bool send_asap) {
    return fake_nats_engine::installed().set_option(
        opts, "natsOptions_SetSendAsap", send_asap ? "true" : "false", [](auto& /*options*/) {});
}

natsStatus natsOptions_UseGlobalMessageDelivery(natsOptions* opts, bool global) {
    return fake_nats_engine::installed().set_option(
        opts,
        "natsOptions_UseGlobalMessageDelivery",
        global ? "true" : "false",
        [](auto& /*options*/) {});
}

void natsOptions_Destroy(natsOptions* opts) {
    fake_nats_engine::installed().destroy(opts);
}

natsStatus natsConnection_Connect(natsConnection** nc, natsOptions* options) {
    return fake_nats_engine::installed().connect(nc, options);
}

natsStatus natsConnection_Subscribe(
    natsSubscription** sub,
    natsConnection* nc,
    char const* subject,
    natsMsgHandler cb,
    void* closure) {
    return fake_nats_engine::installed().subscribe(sub, nc, subject, {cb, closure});
}

natsStatus natsConnection_Publish(
    natsConnection* nc, char const* subj, void const* data, int length) {
    return fake_nats_engine::installed().publish(nc, {subj, bytes_of(data, length)});
}

natsStatus natsConnection_Request(
    natsMsg** reply,
    natsConnection* nc,
    char const* subj,
    void const* data,
    int length,
    int64_t timeout) {
    return fake_nats_engine::installed().request(
        reply, nc, {subj, bytes_of(data, length)}, timeout);
}

natsStatus natsConnection_FlushTimeout(natsConnection* nc, int64_t timeout) {
    auto const status = fake_nats_engine::installed().flush(nc, timeout);
    fake_nats_engine::installed().run_call_action("natsConnection_FlushTimeout");
    return status;
}

void natsConnection_Close(natsConnection* nc) {
    fake_nats_engine::installed().close(nc);
}

void natsConnection_Destroy(natsConnection* nc) {
    fake_nats_engine::installed().destroy(nc);
}

natsStatus natsSubscription_Unsubscribe(natsSubscription* sub) {
    auto const status = fake_nats_engine::installed().unsubscribe(sub);
    fake_nats_engine::installed().run_call_action("natsSubscription_Unsubscribe");
    return status;
}

natsStatus natsSubscription_GetPending(natsSubscription* sub, int* msgs, int* bytes) {
    return fake_nats_engine::installed().get_pending(sub, msgs, bytes);
}

void natsSubscription_Destroy(natsSubscription* sub) {
    fake_nats_engine::installed().destroy(sub);
}

char const* natsMsg_GetReply(natsMsg const* msg) {
    return fake_nats_engine::installed().read(msg, "natsMsg_GetReply", [](auto const& message) {
        return message.reply ? message.reply->c_str() : nullptr;
    });
}

char const* natsMsg_GetData(natsMsg const* msg) {
    return fake_nats_engine::installed().read(msg, "natsMsg_GetData", [](auto const& message) {
        return message.block.data() + message.misalignment;
    });
}

int natsMsg_GetDataLength(natsMsg const* msg) {
    auto const length =
        fake_nats_engine::installed().read(msg, "natsMsg_GetDataLength", [](auto const& message) {
            return static_cast<int>(message.size);
        });
    fake_nats_engine::installed().run_call_action("natsMsg_GetDataLength");
    return length;
}

void natsMsg_Destroy(natsMsg* msg) {
    fake_nats_engine::installed().destroy(msg);
    fake_nats_engine::installed().run_call_action("natsMsg_Destroy");
}
