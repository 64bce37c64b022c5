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

/// Tells that the registry has announced a list of providers, be it the same as before.
///
/// Called on a NATS delivery thread with no lock of this library held, after the connections
/// concerned have been told that their provider is lost or has returned; may call any operation of
/// any object, but must not destroy the consumer. A std::exception that leaves it is written to
/// standard error.
///
/// @param provider_identifiers  The list; never changes.
/// @param receiver              The consumer that received the list.
/// @param user_data             As given to the constructor; must stay valid until the consumer is
///                              destroyed.
using providers_changed_callback = void (*)(
    std::shared_ptr<std::set<std::string>> provider_identifiers,
    consumer& receiver,
    void* user_data);

/// A process's presence on the hub as a consumer of other processes' variables.
///
/// Connect, look at the list of providers, attach to the ones of interest. When the connection to
/// the server breaks, the NATS client reconnects by itself and the list is fetched again.
///
/// @par Ownership
/// Belongs to the application. It shares the connections that it hands out; they may outlive it.
///
/// @par Thread safety
/// All operations may be called from any thread and from any callback. The destructor may run while
/// callbacks are running: it waits for those of other threads, its connections' included. No other
/// operation may be running or be called then.
class CORVEL_HUB_API consumer {
public:
    class impl; // the library's own, defined in none of its public headers

    /// Does not connect.
    ///
    /// @param name               The consumer's name on the hub. It becomes part of a NATS subject;
    ///                           the same advice holds as for a provider's identifier.
    /// @param read_only          Whether to ask for permission to read only.
    /// @param providers_changed  Called with every announced list of providers; may be null.
    /// @param user_data          Handed back with every call.
    consumer(
        std::string const& name,
        bool read_only,
        providers_changed_callback providers_changed,
        void* user_data);

    consumer(consumer const&) = delete;
    consumer& operator=(consumer const&) = delete;

    /// Disconnects, with the waits of disconnect(). Waits for callbacks that are running on other
    /// threads.
    ~consumer();

    /// Opens the session with the server and fetches the list of providers. Does nothing while
    /// connected.
    ///
    /// @param nats_url        URL of the NATS server, as `nats://localhost:4222`. One URL, no list.
    /// @param token_endpoint  URL of the OAuth2 token endpoint.
    /// @param client_id       Client identifier for the client-credentials grant (RFC 6749, 4.4).
    /// @param client_secret   Client secret for the same.
    /// @param options         What differs from the default, if anything.
    ///
    /// @throws connection_failed    The session could not be opened, the subscription failed, or
    ///                              the registry did not answer. The consumer is not connected.
    /// @throws serialization_fault  The registry's list is malformed. The consumer is connected,
    ///                              with the list that it had before.
    ///
    /// @par Blocking
    /// Up to about 2 s for the server, or 5 s, in vain, when the token endpoint is slow; and up to
    /// 5 s for the registry. Other operations of this consumer wait meanwhile,
    /// get_provider_identifiers() excepted.
    void connect(
        std::string const& nats_url,
        std::string const& token_endpoint,
        std::string const& client_id,
        std::string const& client_secret,
        connect_options const& options = {});

    /// Disconnects every attached connection, forgets them and the list of providers, and closes
    /// the session. Does nothing while not connected.
    ///
    /// @par Blocking
    /// Up to 5 s for a request that another thread has made and that nobody answers, and up to
    /// 0.5 s for unsent data; up to 5 s more while the NATS client reconnects. Callbacks that are
    /// running are not waited for.
    void disconnect();

    /// Tells whether the session is open and the list of providers was received. Stays true while
    /// the NATS client reconnects.
    bool is_connected();

    /// Returns the identifiers that the registry has listed last; never changes. Empty before the
    /// first list, null after disconnect().
    std::shared_ptr<std::set<std::string>> get_provider_identifiers();

    /// Returns the connection to a provider, made and filled with current values on the first call,
    /// the same object on every further one until disconnect().
    ///
    /// @param provider_id  Identifier of the provider; it need not be listed.
    ///
    /// @throws operational_state_invalid     The consumer is not connected.
    /// @throws connection_failed             A request or subscription failed.
    /// @throws serialization_fault           A reply is malformed.
    /// @throws provider_definition_mismatch  The provider replaced its definition meanwhile.
    /// @throws variable_index_invalid        The provider sent a variable that it has not defined.
    /// @throws incompatible_data_type        The provider sent a value of another type than
    ///                                       defined.
    ///
    /// @par After an exception
    /// Nothing is attached; the call may be repeated.
    ///
    /// @par Blocking
    /// Up to 5 s each for the registry and for the provider, and up to 1 s for the server.
    std::shared_ptr<provider_connection> attach_to_provider(std::string const& provider_id);

private:
    friend class provider_connection; // shares the session

    std::shared_ptr<impl> const m_impl;
};

} // namespace arvenhold::corvel::hub
