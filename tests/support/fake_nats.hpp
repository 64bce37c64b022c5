// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <nats/nats.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub {

class fake_nats_engine;

/// Takes the place of the NATS client: a test program that links corvel_hub_fake_nats instead of
/// the client's library gets its functions from here. Nothing is sent; what the library does is
/// recorded, and the test decides what comes back.
///
/// Make one before the objects under test, so that it is destroyed after them; one at a time. All
/// operations may be called from any thread, and none calls the library while holding a lock of
/// its own.
///
/// The destructor reports as failures of the test: each violation (see take_violations), each
/// handle that was not destroyed (see take_live_handles), and each failure that was ordered with
/// fail_next and did not happen.
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
/// An operation that waits for a message is run in a thread of its own, and the message is
/// delivered until the operation has returned:
/// @code
/// auto done = std::async(std::launch::async, [&] { boiler.register_provider_definition(d); });
/// while (done.wait_for(2ms) != std::future_status::ready) {
///     nats.deliver({.subject = verdict_subject, .bytes = accepted});
/// }
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
    /// with make_message or a null message, with this closure or a null one.
    struct made_subscription {
        std::string subject;
        natsMsgHandler handler;
        void* closure;
        natsConnection* connection;
        natsSubscription* handle;
        bool is_open; ///< Neither unsubscribed nor closed with its connection.
    };

    /// Where handlers and callbacks run: in the thread that calls the fake, or as in the NATS
    /// client, where each subscription has a thread, and all connection callbacks have one.
    enum class run_on {
        this_thread,
        own_thread,
    };

    using request_script = std::function<request_answer(std::string const& bytes)>;

    /// How long the waiting operations wait at most.
    static constexpr std::chrono::seconds time_limit{10};

    fake_nats();
    fake_nats(fake_nats const&) = delete;
    fake_nats& operator=(fake_nats const&) = delete;

    /// Ends the threads, once their handlers have returned, and reports what went wrong.
    ~fake_nats();

    // What the library did

    /// The calls of natsOptions_, natsConnection_ and natsSubscription_ functions, in their order:
    /// the name, a blank, and the arguments that are texts and numbers, separated by blanks; for a
    /// subscription its subject, for sent bytes their number.
    std::vector<std::string> calls() const;
    void forget_calls();

    /// What natsConnection_Publish was given, also when it was to fail; `subject` picks from it.
    std::vector<sent_message> published() const;
    std::vector<sent_message> published(std::string_view subject) const;

    /// Likewise for natsConnection_Request.
    std::vector<sent_message> requests() const;
    std::vector<sent_message> requests(std::string_view subject) const;

    /// Waits until `count` messages were published on `subject`; false when time_limit is over.
    bool wait_until_published(std::string_view subject, std::size_t count) const;

    /// All subscriptions ever made, in their order.
    std::vector<made_subscription> subscriptions() const;

    /// The subjects of those that are open.
    std::vector<std::string> open_subjects() const;

    /// What the token handler returned, each time it was asked.
    std::vector<std::optional<std::string>> tokens() const;

    /// How many connections were made and not closed.
    std::size_t open_connections() const;

    // What it gets back

    /// Makes the `nth` call of a function from now on do nothing but return `status`. Functions
    /// that return a natsStatus can fail, natsMsg_ ones excepted. A connect that fails asks for the
    /// token all the same, as the NATS client does, unless the status is NATS_NO_SERVER.
    void fail_next(std::string_view function, natsStatus status, std::size_t nth = 1);

    /// Answers each request on `subject` from now on. The script runs in the requesting thread.
    /// Requests on other subjects find no responders.
    void answer_requests(std::string const& subject, request_answer const& answer);
    void answer_requests(std::string const& subject, request_script script);

    /// Runs `action` in the publishing thread after each publication on `subject`, before
    /// natsConnection_Publish returns.
    void when_published(std::string const& subject, std::function<void(std::string const&)> action);

    /// Runs `action` once, in the calling thread, before the next call of `function` returns:
    /// natsConnection_FlushTimeout, natsSubscription_Unsubscribe, natsMsg_GetDataLength or
    /// natsMsg_Destroy.
    void when_called(std::string const& function, std::function<void()> action);

    /// Connects without asking for a token; call it before the library connects.
    void skip_token_handler();

    /// Gives a message to all open subscriptions of its subject and returns their number.
    std::size_t deliver(incoming_message const& message, run_on where = run_on::this_thread);

    /// Calls the handlers of the open subscriptions of `subject` without a message.
    std::size_t deliver_null(std::string const& subject);

    /// Keeps messages for own threads waiting, until release_deliveries.
    void hold_deliveries();
    void release_deliveries();

    /// Waits until all that was left to own threads is done; false when time_limit is over.
    bool wait_until_delivered();

    /// Calls the disconnected callback of the connection that was made last.
    void lose_connection(run_on where = run_on::this_thread);

    /// Asks for a token in this thread and calls the reconnected callback of the connection that
    /// was made last.
    void regain_connection(run_on where = run_on::this_thread);

    /// Makes a message for a handler that a test calls itself; the handler destroys it.
    natsMsg* make_message(incoming_message const& message);

    // Whether it kept the NATS client's rules

    /// Returns the violations so far and forgets them: a subscription destroyed while its
    /// connection is open, without unsubscribing and a successful flush after that; a request in
    /// flight when its connection is closed or destroyed; a subscription left when its connection
    /// is destroyed; a handle used after it was destroyed, or destroyed twice.
    std::vector<std::string> take_violations();

    /// Returns the handles that live, as "message <subject>", "subscription <subject>",
    /// "connection" and "options", and forgets that they do.
    std::vector<std::string> take_live_handles();

private:
    std::unique_ptr<fake_nats_engine> const m_engine;
};

} // namespace arvenhold::corvel::hub
