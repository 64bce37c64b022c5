// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>
#include <hub/connect_options.hpp>
#include <hub/detail/export.hpp>
#include <hub/variable_write_command.hpp>

#include <memory>
#include <string>

namespace arvenhold::corvel::hub {

class provider;
class provider_definition;
class provider_link;
class variable_list;

/// Hands a consumer's write command to the application, which applies it, usually with
/// variable_list::write_variable() and then provider::publish().
///
/// Called on a NATS delivery thread with no lock of this library held; may call any operation of
/// any object, but must not destroy the provider. Commands arrive one after the other. A
/// std::exception that leaves it is written to standard error.
///
/// @param fingerprint  The registered fingerprint, for which the command was made.
/// @param command      What to write; nothing in it has been checked.
/// @param receiver     The provider that received the command.
/// @param user_data    As given with the callback; must stay valid until the provider is destroyed.
using variables_written_callback = void (*)(
    definition_fingerprint fingerprint,
    variable_write_command const& command,
    provider& receiver,
    void* user_data);

/// A process's presence on the hub as a provider of variables.
///
/// Register a finalized definition, before or after connecting, and publish changes through the
/// variable_list that registering returns. Read requests are answered by the library.
///
/// When the connection to the server breaks, the NATS client reconnects by itself; the provider
/// then publishes its definition and its pending changes again. A failed publication however, and a
/// token that could not be fetched for a reconnect, mark the provider failed: from then on
/// is_connected() is false and publishing throws, until the application disconnects and connects
/// again.
///
/// @par Ownership
/// Belongs to the application. The lists that it hands out may outlive it.
///
/// @par Thread safety
/// All operations may be called from any thread and from any callback. The destructor may run while
/// callbacks are running: it waits for those of other threads. No other operation may be running or
/// be called then.
class CORVEL_HUB_API provider {
public:
    class impl; // the library's own, defined in none of its public headers

    /// Does not connect.
    ///
    /// @param id  The provider's identifier on the hub. It becomes part of NATS subjects and is not
    ///            checked: use letters, digits, `-`, `_`, and `.` between parts. An empty
    ///            identifier, blanks, `*`, `>`, quotes and backslashes make connecting or exchanges
    ///            fail.
    explicit provider(std::string const& id);

    provider(provider const&) = delete;
    provider& operator=(provider const&) = delete;

    /// Disconnects, with the waits of disconnect(). Ends a wait for the registry's verdict at once;
    /// waits for callbacks that are running on other threads.
    ~provider();

    /// Opens the session with the server and announces what is registered. Does nothing while
    /// connected.
    ///
    /// @param nats_url       URL of the NATS server, as `nats://localhost:4222`. One URL, no list.
    /// @param token_url      URL of the OAuth2 token endpoint.
    /// @param client_id      Client identifier for the client-credentials grant (RFC 6749, 4.4).
    /// @param client_secret  Client secret for the same.
    /// @param options        What differs from the default, if anything.
    ///
    /// @throws connection_failed            The session could not be opened: nothing is connected.
    ///                                      Or a subscription failed: the provider is marked
    ///                                      failed, disconnect() cleans up. Or sending failed:
    ///                                      likewise.
    /// @throws operational_state_invalid    The registry did not answer in time. The provider is
    ///                                      connected and its definition stays registered.
    /// @throws invalid_provider_definition  The registry rejected the definition. The provider is
    ///                                      connected, no definition is registered.
    ///
    /// @par Blocking
    /// Up to about 2 s for the server, or 5 s, in vain, when the token endpoint is slow; and up to
    /// 15 s for the registry's verdict if a definition is registered. Other operations of this
    /// provider that need its state wait for the first part.
    void connect(
        std::string const& nats_url,
        std::string const& token_url,
        std::string const& client_id,
        std::string const& client_secret,
        connect_options const& options = {});

    /// Closes the session and forgets the registration: the current list becomes stale. Prints a
    /// line to standard error when there is nothing to disconnect.
    ///
    /// @par Blocking
    /// Up to 0.5 s for unsent data, and up to 5 s while the NATS client reconnects. Callbacks that
    /// are running are not waited for.
    void disconnect();

    /// Tells whether the provider is connected and not marked failed. Stays true while the NATS
    /// client reconnects.
    bool is_connected();

    /// Makes `definition` the provider's definition, in place of an earlier one, whose list becomes
    /// stale. If connected, publishes it and waits for the registry's verdict; otherwise that
    /// happens at the end of the next connect().
    ///
    /// Every registration gives the variables new ids, also one with the same contents as before.
    /// It therefore needs a fingerprint that this process has not used: consumers that are attached
    /// take the same one for the definition that they hold, and fault with the first new id.
    ///
    /// @param definition  A finalized definition; its initial values are moved into the list.
    /// @return            The list of the new definition's variables.
    ///
    /// @throws operational_state_invalid    The definition is not finalized: nothing has changed.
    ///                                      Or the registry did not answer in time: the definition
    ///                                      stays registered.
    /// @throws connection_failed            Sending failed: the definition stays registered, the
    ///                                      provider is marked failed.
    /// @throws invalid_provider_definition  The registry rejected the definition: no definition is
    ///                                      registered any more.
    ///
    /// @par Blocking
    /// Up to 15 s for the registry's verdict, and up to 5 s while the NATS client reconnects. Must
    /// not be called while holding the lock of a list.
    std::shared_ptr<variable_list> register_provider_definition(provider_definition& definition);

    /// Returns the list of the definition registered last.
    ///
    /// @throws operational_state_invalid  There is none.
    std::shared_ptr<variable_list> get_variable_list();

    /// Returns the registered fingerprint.
    ///
    /// @throws operational_state_invalid  No definition is registered.
    definition_fingerprint get_fingerprint();

    /// Sends one change event with everything that is pending, be it nothing.
    ///
    /// @param when  Time of the event, which its values take over.
    ///
    /// @throws connection_failed          Not connected or marked failed: nothing has changed.
    ///                                    Sending failed: nothing is pending any more, the provider
    ///                                    is marked failed.
    /// @throws operational_state_invalid  No definition is registered. Nothing has changed.
    ///
    /// @par Blocking
    /// As for variable_list::publish().
    void publish(timestamp when);

    /// Makes every variable pending, then publishes.
    ///
    /// @param when  Time of the event.
    ///
    /// @throws connection_failed          As for publish().
    /// @throws operational_state_invalid  As for publish().
    ///
    /// @par Blocking
    /// As for variable_list::publish().
    void force_publish_all(timestamp when);

    /// Sets the function that is called with consumers' write commands. Without one, commands are
    /// dropped.
    ///
    /// @param callback   The function, or null for none.
    /// @param user_data  Handed back with every call.
    void set_variables_written_callback(variables_written_callback callback, void* user_data);

private:
    friend class variable_list; // takes the link

    std::shared_ptr<impl> const m_impl;

    std::shared_ptr<provider_link> link() const;
};

} // namespace arvenhold::corvel::hub
