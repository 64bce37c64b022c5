// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>
#include <hub/connect_options.hpp>
#include <hub/detail/export.hpp>

#include <memory>
#include <set>
#include <string>

namespace arvenhold::corvel::hub {

class consumer;
class provider_connection;

/// Called whenever the registry announces the provider list, even if it is unchanged. Not called
/// for the lists that the consumer requests itself, when connecting and after each reconnect.
///
/// Called on a thread of the NATS client with no lock of this library held, after the event
/// callbacks of the connections whose provider is lost or has returned. May call any operation of
/// any object; may also destroy the consumer, after which the callback must not use `receiver`. A
/// std::exception that leaves it is written to standard error.
///
/// @param provider_identifiers  The list; never changes.
/// @param receiver              The consumer that received the list.
/// @param user_data             As given to the constructor; must stay valid until the consumer's
///                              destructor has returned.
using providers_changed_callback = void (*)(
    std::shared_ptr<std::set<std::string>> provider_identifiers,
    consumer& receiver,
    void* user_data);

/// A process's presence on the hub as a consumer of other processes' variables.
///
/// Connect, look at the list of providers, attach to some of them. When the connection to the
/// server breaks, the NATS client reconnects by itself, and the consumer requests the list again.
///
/// @par After a reconnect
/// The requested list changes no connection: until the registry announces its next list, a
/// connection can stay `provider_unavailable` although its provider is listed, or `connected` with
/// good values although it is gone. What providers sent before the consumer was back is missing, so
/// old values can stay good; events of a definition that was replaced meanwhile are dropped. Call
/// provider_connection::request_provider_definition() to be sure.
///
/// @par Ownership
/// Belongs to the application. It shares the connections that it returns; they may outlive it.
///
/// @par Thread safety
/// All operations may be called from any thread and from any callback. The destructor may run while
/// callbacks are running, and in one of them: it waits for those of other threads only, including
/// those of its connections. No other operation may be running or be called then.
class CORVEL_HUB_API consumer {
public:
    class impl; // the library's own, defined in none of its public headers

    /// Does not connect.
    ///
    /// @param name               The consumer's name on the hub. It becomes part of a NATS subject;
    ///                           choose it like a provider's identifier.
    /// @param read_only          Whether to request permission only to read.
    /// @param providers_changed  Called with every announced list of providers; may be null.
    /// @param user_data          Passed to every call.
    consumer(
        std::string const& name,
        bool read_only,
        providers_changed_callback providers_changed,
        void* user_data);

    consumer(consumer const&) = delete;
    consumer& operator=(consumer const&) = delete;

    /// Disconnects, with the waits of disconnect(), then waits for callbacks that are running on
    /// other threads. Afterwards no callback runs but the one that has destroyed the consumer.
    ~consumer();

    /// Opens the session with the server and requests the list of providers. Does nothing if
    /// connected.
    ///
    /// @param nats_url        URL of the NATS server, as `nats://localhost:4222`. One URL, no list.
    /// @param token_endpoint  URL of the OAuth2 token endpoint.
    /// @param client_id       Client identifier for the client-credentials grant (RFC 6749, 4.4).
    /// @param client_secret   Client secret for the same.
    /// @param options         Optional settings.
    ///
    /// @throws connection_failed    The session could not be opened, the subscription failed, or
    ///                              the registry did not answer, see below. The consumer is not
    ///                              connected. A line on standard error explains a missing token,
    ///                              unless the token endpoint sent no body (a wrong path, for
    ///                              example).
    /// @throws serialization_fault  The registry's list is malformed. The consumer is connected,
    ///                              with the list that it had before.
    ///
    /// @par If the registry did not answer
    /// The session stays open until the next connect() or the destructor; disconnect() does not
    /// close it. Lists that the registry announces meanwhile replace get_provider_identifiers() and
    /// reach the providers-changed callback. After a reconnect, the consumer requests the list
    /// again; a reply completes the connecting, and is_connected() becomes true.
    ///
    /// @par Blocking
    /// About 2 s at most to reach the server; a slow token endpoint makes the call fail after up to
    /// 5 s. Up to 5 s for the registry. Other operations of this consumer wait meanwhile, except
    /// get_provider_identifiers().
    void connect(
        std::string const& nats_url,
        std::string const& token_endpoint,
        std::string const& client_id,
        std::string const& client_secret,
        connect_options const& options = {});

    /// Disconnects every attached connection, forgets them and the list of providers, and closes
    /// the session. Does nothing if not connected: a session whose connect() the registry did not
    /// answer stays open, see connect(). Does not disconnect connections from
    /// provider_connection::create().
    ///
    /// Does not wait for callbacks: one that is running continues, and one whose event is being
    /// decoded still begins. If the application connects again at once, callbacks of the old and
    /// the new session can run at the same time. Lines about skipped events may still appear on
    /// standard error, and "has reconnected" on standard output, although the session was ended
    /// deliberately or never lost.
    ///
    /// @par Blocking
    /// Up to 5 s for a request of another thread that is not answered, and up to 0.5 s for unsent
    /// data; up to 5 s more while the NATS client reconnects.
    void disconnect();

    /// Returns whether the session is open and the list of providers was received. Stays true while
    /// the NATS client reconnects, and after it has given up; only requests show that. Can become
    /// true after a connect() that the registry did not answer, see connect().
    bool is_connected();

    /// Returns the identifiers in the registry's latest list. The set never changes; a new list is
    /// another set. Empty before the first list, null after disconnect().
    ///
    /// Give the result a name before you loop over it. A loop over `*get_provider_identifiers()` is
    /// wrong: until C++23 the pointer is gone before the first pass, and another thread may replace
    /// the list.
    std::shared_ptr<std::set<std::string>> get_provider_identifiers();

    /// Returns the connection to a provider. The first call creates it and reads all values; every
    /// further call until disconnect() returns the same object, even if it is `faulted`. To replace
    /// a faulted connection alone, use provider_connection::create() instead.
    ///
    /// Check the state of the returned connection: a definition event may have faulted it
    /// meanwhile. The call reads first and subscribes afterwards. A change in between shows with
    /// the next change of that variable, or after provider_connection::update_all_variables(). A
    /// loss of the provider in between is reported only with a later list that lacks it; compare
    /// with get_provider_identifiers().
    ///
    /// @param provider_id  Identifier of the provider; it need not be listed. The library does not
    ///                     check it: white space or a control character in it makes the server drop
    ///                     the consumer's connection, so that all connections to providers lose the
    ///                     server for a moment. Check identifiers that come from outside.
    ///
    /// @throws operational_state_invalid     The consumer is not connected.
    /// @throws connection_failed             A request or subscription failed.
    /// @throws serialization_fault           A reply is malformed, or the registry does not know
    ///                                       the provider: "... (provider_definition_reply)
    ///                                       nullptr".
    /// @throws provider_definition_mismatch  The provider has replaced its definition meanwhile.
    /// @throws variable_index_invalid        The provider sent a variable that is not defined.
    /// @throws incompatible_data_type        The provider sent a value of another type than
    ///                                       defined.
    ///
    /// @par After an exception
    /// Nothing is attached; the call may be repeated.
    ///
    /// @par Blocking
    /// Up to 5 s each for the registry and for the provider, and up to 1 s for the server. Up to 5 s
    /// more while a token is fetched for a reconnect.
    std::shared_ptr<provider_connection> attach_to_provider(std::string const& provider_id);

private:
    friend class provider_connection; // shares the session

    std::shared_ptr<impl> const m_impl;
};

} // namespace arvenhold::corvel::hub
