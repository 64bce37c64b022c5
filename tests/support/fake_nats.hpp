// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <nats/nats.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub {

class fake_nats_engine;

/// Replaces the NATS client: a test program that links corvel_hub_fake_nats instead of the client's
/// library gets the client's functions from here. Nothing is sent. The fake records what the library
/// does, and the test decides what comes back.
///
/// Create it before the objects under test, so that it is destroyed after them; one at a time.
/// Thread-safe, and calls the library with no lock of its own held.
///
/// The destructor fails the test for each order that was not met (see drain_unmet_orders), each
/// violation (see drain_violations) and each handle that was not destroyed (see drain_live_handles).
///
/// A connected provider, and a read request for it:
/// @code
/// fake_nats nats;
/// nats.skip_token_handler();
/// provider boiler{"boiler"};
/// boiler.connect("nats://hub", "http://hub/token", "id", "secret");
/// nats.deliver({.subject = "v1.loc.boiler.vars.qry.read", .reply = "inbox.1"});
/// EXPECT_THAT(nats.published("inbox.1"), SizeIs(1));
/// @endcode
/// An operation that waits for a message runs in a thread of its own, and the message is delivered
/// until the operation has returned:
/// @code
/// auto done = std::async(std::launch::async, [&] { boiler.register_provider_definition(d); });
/// while (done.wait_for(2ms) != std::future_status::ready) {
///     nats.deliver({.subject = verdict_subject, .bytes = accepted});
/// }
/// @endcode
/// A change event that is handled while a read request is in flight:
/// @code
/// nats.answer_requests(query_subject, [&](auto const&) {
///     nats.deliver({.subject = changed_subject, .bytes = event});
///     return fake_nats::request_answer{.bytes = reply};
/// });
/// connection->read_variables({});
/// @endcode
/// The same event, handled after the reply:
/// @code
/// nats.answer_requests(query_subject, [&](auto const&) {
///     nats.hold_deliveries();
///     nats.deliver({.subject = changed_subject, .bytes = event}, fake_nats::run_on::own_thread);
///     return fake_nats::request_answer{.bytes = reply};
/// });
/// connection->read_variables({});
/// nats.release_deliveries();
/// nats.wait_until_delivered();
/// @endcode
class fake_nats {
public:
    struct sent_message {
        std::string subject;
        std::string bytes;
    };

    /// A message for a subscription, or the reply to a request.
    struct incoming_message {
        std::string subject;
        std::string bytes{};                ///< Nothing behind them may be read.
        std::optional<std::string> reply{}; ///< Where an answer is expected; null without it.
        std::size_t misalignment = 0;       ///< The address of the bytes modulo 8.
    };

    /// What natsConnection_Request returns; the rest counts only with NATS_OK.
    struct request_answer {
        natsStatus status = NATS_OK;
        std::string bytes{};
        std::size_t misalignment = 0;
    };

    /// What natsConnection_Subscribe was called with. A test may call the handler itself: late,
    /// with a message from make_message() or none, with this closure or none.
    struct made_subscription {
        std::string subject;
        natsMsgHandler handler;
        void* closure;
        natsConnection* connection;
        natsSubscription* handle;
        bool is_open; ///< Neither unsubscribed nor closed with its connection.
    };

    /// Where handlers and callbacks run: in the thread that calls the fake, or as with the NATS
    /// client, in a thread of the subscription and in one for all connection callbacks.
    enum class run_on {
        this_thread,
        own_thread,
    };

    using request_script = std::function<request_answer(std::string const& bytes)>;

    /// The time limit of the operations that wait.
    static constexpr std::chrono::seconds time_limit{10};

    fake_nats();
    fake_nats(fake_nats const&) = delete;
    fake_nats& operator=(fake_nats const&) = delete;

    /// Reports what went wrong, and ends the threads after the handlers that run have returned.
    ~fake_nats();

    // What the library did

    /// The calls of natsOptions_, natsConnection_ and natsSubscription_ functions, in their order:
    /// the name, a space, and the arguments that are strings and numbers, separated by spaces; for a
    /// subscription its subject, for sent bytes their number.
    std::vector<std::string> calls() const;
    void forget_calls();

    /// The messages given to natsConnection_Publish, including those whose publication failed; with
    /// a `subject`, only those on it.
    std::vector<sent_message> published() const;
    std::vector<sent_message> published(std::string_view subject) const;

    /// Likewise for natsConnection_Request.
    std::vector<sent_message> requests() const;
    std::vector<sent_message> requests(std::string_view subject) const;

    /// Waits until `count` messages were published on `subject`; returns false after time_limit.
    bool wait_until_published(std::string_view subject, std::size_t count) const;

    /// All subscriptions ever made, in their order.
    std::vector<made_subscription> subscriptions() const;

    /// The subjects of those that are open.
    std::vector<std::string> open_subjects() const;

    /// The tokens that the token handler has returned.
    std::vector<std::optional<std::string>> tokens() const;

    /// How many connections were made and not closed.
    std::size_t open_connections() const;

    // What it gets back

    // An order that must be met fails the test in the destructor if it is not.

    /// Makes the `nth` call of a function from now on do nothing but return `status`. Functions
    /// that return a natsStatus can fail, natsMsg_ ones excepted; any other name fails the test. A
    /// connect that fails asks for the token all the same, as the NATS client does, unless the
    /// status is NATS_NO_SERVER. Must be met.
    void fail_next(std::string_view function, natsStatus status, std::size_t nth = 1);

    /// Answers each request on `subject` from now on. Requests on other subjects find no
    /// responders. An answer describes the other side, so that no request needs to come.
    void answer_requests(std::string const& subject, request_answer const& answer);

    /// The same with a script, which runs in the requesting thread. It must run at least once before
    /// it is replaced or the test ends.
    void answer_requests(std::string const& subject, request_script script);

    /// Runs `action` in the publishing thread after each successful publication on `subject`, before
    /// natsConnection_Publish returns. It must run at least once before it is replaced or the test
    /// ends.
    void when_published(std::string const& subject, std::function<void(std::string const&)> action);

    /// Runs `action` once, in the calling thread, before the next call of `function` returns, also of
    /// one that fails: natsConnection_Publish, natsConnection_FlushTimeout,
    /// natsSubscription_Unsubscribe, natsMsg_GetDataLength or natsMsg_Destroy; any other name fails
    /// the test. A second action for the same function runs in
    /// the call after that. Must be met.
    void when_called(std::string_view function, std::function<void()> action);

    /// Returns the orders that must be met and were not, and forgets them.
    std::vector<std::string> drain_unmet_orders();

    /// Connects, and reconnects, without asking for a token from now on.
    void skip_token_handler();

    /// Ends that.
    void ask_token_handler();

    /// Delivers a message to all open subscriptions of its subject and returns their number.
    std::size_t deliver(incoming_message const& message, run_on where = run_on::this_thread);

    /// Calls the handlers of the open subscriptions of `subject` without a message.
    std::size_t deliver_null(std::string const& subject);

    /// Keeps deliveries to own threads waiting until release_deliveries().
    void hold_deliveries();
    void release_deliveries();

    /// Waits until own threads have run all their deliveries; returns false after time_limit.
    bool wait_until_delivered();

    /// Loses the link of the connection that was made last, which then reconnects, and calls its
    /// disconnected callback.
    void lose_connection(run_on where = run_on::this_thread);

    /// Asks for a token in this thread and calls the reconnected callback of the connection that
    /// was made last.
    void regain_connection(run_on where = run_on::this_thread);

    /// Closes the connection that was made last, as the NATS client does when it stops trying.
    void give_up_connection();

    /// Counts messages as dropped by the open subscriptions of `subject`.
    void drop_messages(std::string const& subject, std::int64_t count);

    /// Creates a message for a handler that a test calls itself; the handler destroys it.
    natsMsg* make_message(incoming_message const& message);

    // Whether the library obeyed the NATS client's rules

    /// Returns the violations so far, and forgets them: a subscription destroyed while its
    /// connection is open, without unsubscribing and a successful flush after that; a request in
    /// flight when its connection is closed or destroyed; a subscription left when its connection
    /// is destroyed; a handle used after it was destroyed, or destroyed twice.
    std::vector<std::string> drain_violations();

    /// Returns the handles that are not destroyed, as "message <subject>", "subscription <subject>",
    /// "connection" and "options", and forgets them.
    std::vector<std::string> drain_live_handles();

private:
    std::unique_ptr<fake_nats_engine> const m_engine;
};

} // namespace arvenhold::corvel::hub
