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

/// Called with a consumer's write command. The application applies it, usually with
/// variable_list::write_variable() and then provider::publish(). The consumer gets no reply; it
/// sees what is published.
///
/// Called on a thread of the NATS client with no lock of this library held. May call any operation
/// of any object; may also destroy the provider, after which the callback must not use `receiver`.
/// Commands of one session arrive one after the other. A std::exception that leaves the callback is
/// written to standard error.
///
/// @param fingerprint  The registered fingerprint, which is also the command's.
/// @param command      The ids and values to write; unchecked.
/// @param receiver     The provider that received the command.
/// @param user_data    As given with the callback; must stay valid until the provider's destructor
///                     has returned.
using variables_written_callback = void (*)(
    definition_fingerprint fingerprint,
    variable_write_command const& command,
    provider& receiver,
    void* user_data);

/// A process's presence on the hub as a provider of variables.
///
/// Register a finalized definition, before or after connecting, and publish changes through the
/// variable_list that registering returns. The library answers read requests.
///
/// When the connection to the server breaks, the NATS client reconnects by itself; the provider
/// then publishes its definition and its pending changes again, in a change event that is empty if
/// nothing is pending. Changes published during the outage arrive in one burst, up to 8 MiB.
///
/// @par Failed state
/// A failed provider is not connected any more: is_connected() is false and publishing throws until
/// the application disconnects, registers and connects again. What marks a provider failed:
/// - a failed publication;
/// - a token that could not be obtained for a reconnect, even if a later attempt succeeds;
/// - a read request of any client without a reply subject, or whose reply exceeds the server's
///   `max_payload`.
///
/// At most a line on standard error reports it: check is_connected(), or let the next publication
/// throw.
///
/// @par Ownership
/// Belongs to the application. The lists that it returns may outlive it.
///
/// @par Thread safety
/// All operations may be called from any thread and from any callback. The destructor may run while
/// callbacks are running, and in one of them: it waits for those of other threads only. No other
/// operation may be running or be called then.
class CORVEL_HUB_API provider {
public:
    class impl; // the library's own, defined in none of its public headers

    /// Does not connect.
    ///
    /// @param id  The provider's identifier on the hub. It becomes part of NATS subjects,
    ///            unchecked: use letters, digits, `-`, `_`, and `.` between parts. An empty
    ///            identifier, spaces, quotes, backslashes, and `*` or `>` as a whole part between
    ///            dots make connecting or exchanges fail. Nothing refuses a second provider with
    ///            the same identifier: both publish and answer on the same subjects, and
    ///            connections of consumers fault. When the later one ends, the earlier one cannot
    ///            be read until it restarts or registers again.
    explicit provider(std::string const& id);

    provider(provider const&) = delete;
    provider& operator=(provider const&) = delete;

    /// Disconnects, with the waits of disconnect(). Ends a wait for the registry's verdict at once,
    /// then waits for callbacks that are running on other threads.
    ~provider();

    /// Opens the session with the server and publishes the registered definition, if any. Does
    /// nothing if connected.
    ///
    /// @param nats_url       URL of the NATS server, as `nats://localhost:4222`. One URL, no list;
    ///                       connect_options::set_further_servers() takes more.
    /// @param token_url      URL of the OAuth2 token endpoint.
    /// @param client_id      Client identifier for the client-credentials grant (RFC 6749, 4.4).
    /// @param client_secret  Client secret for the same.
    /// @param options        Optional settings.
    ///
    /// @throws connection_failed            The session could not be opened: nothing is connected.
    ///                                      A line on standard error explains a missing token,
    ///                                      unless the token endpoint sent no body (a wrong path,
    ///                                      for example). Or a subscription or sending failed: the
    ///                                      provider is marked failed, disconnect() cleans up.
    /// @throws operational_state_invalid    The registry did not answer in time. The provider is
    ///                                      connected and its definition stays registered.
    /// @throws invalid_provider_definition  The registry rejected the definition. The provider is
    ///                                      connected, no definition is registered.
    /// @throws std::invalid_argument        The options name a delivery pool: nothing has changed.
    ///
    /// @par Blocking
    /// About 2 s at most to reach the server; a slow token endpoint makes the call fail after up to
    /// 5 s. Up to 15 s for the registry's verdict if a definition is registered. Other operations
    /// of this provider that need its state wait until the session is open.
    void connect(
        std::string const& nats_url,
        std::string const& token_url,
        std::string const& client_id,
        std::string const& client_secret,
        connect_options const& options = {});

    /// Closes the session and forgets the registration: the current list becomes stale. Prints a
    /// line to standard error if there is nothing to disconnect.
    ///
    /// Does not wait for callbacks: one that is running continues, and one whose command is being
    /// decoded still begins. If the application connects again at once, callbacks of the old and
    /// the new session can run at the same time.
    ///
    /// @par Blocking
    /// Up to 0.5 s for unsent data, and up to 5 s while the NATS client reconnects. As long as a
    /// publication of another thread that waits for a server that hangs; is_connected() returns
    /// false meanwhile.
    void disconnect();

    /// Returns whether the provider is connected and not marked failed. Stays true while the NATS
    /// client reconnects.
    bool is_connected();

    /// Returns whether the registry has accepted the registered definition, as far as its latest
    /// verdict says: false before the first one, after a rejection, and after a publication without
    /// a verdict in time. The NATS client's reconnect and a restarted registry cause publications,
    /// whose failure no operation throws. Consumers may not find the provider then; disconnect() and
    /// connect() after a new registration repair that.
    bool is_definition_accepted();

    /// Makes `definition` the provider's definition, in place of an earlier one, whose list becomes
    /// stale. If connected, publishes it and waits for the registry's verdict; otherwise that
    /// happens at the end of the next connect().
    ///
    /// Every registration assigns new ids, even if the variables are the same as before, and
    /// therefore needs a fingerprint of its own: see make_fingerprint(). Attached consumers take a
    /// definition with the fingerprint that they hold for the same definition. They fault with the
    /// first new id, or show wrong values as good.
    ///
    /// Consumers that are still reading the values of an earlier definition fault, too. Do not
    /// register twice within a few seconds.
    ///
    /// Initial values have quality `good` although nothing has been measured. To publish them as
    /// `uncertain_initial_value`, register before connecting and call variable_list::set_quality()
    /// in between. Publishing a value does not change the quality: set `good` with the first
    /// measured value.
    ///
    /// @param definition  A finalized definition; its initial values are moved into the list. The
    ///                    registry may reject paths that are empty, occur twice, or have spaces or
    ///                    control characters; its own rules decide.
    /// @return            The list of the new definition's variables. Keep the pointer while you
    ///                    use references or iterators from the list.
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

    /// Returns the list of the definition registered last, even if the registry has rejected that
    /// definition; get_fingerprint() and publishing throw then. Give the result a name before you
    /// loop over its variables: the provider releases its list when another is registered.
    ///
    /// @throws operational_state_invalid  There is none.
    std::shared_ptr<variable_list> get_variable_list();

    /// Returns the registered fingerprint.
    ///
    /// @throws operational_state_invalid  No definition is registered, or the registry has rejected
    ///                                    it.
    definition_fingerprint get_fingerprint();

    /// Sends all pending changes in one change event; the event is empty if nothing is pending.
    ///
    /// A call takes microseconds while connected and waits for no consumer: a loop may call it
    /// hundreds of times a second.
    ///
    /// @param when  Time of the event, and of its values for consumers.
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

    /// Sets the function that is called with consumers' write commands. Without one, the provider
    /// drops commands. The earlier one may still be running when this returns, or begin once more
    /// for a command that is being decoded.
    ///
    /// @param callback   The function, or null for none.
    /// @param user_data  Passed to every call.
    void set_variables_written_callback(variables_written_callback callback, void* user_data);

private:
    friend class variable_list; // keeps the link

    std::shared_ptr<impl> const m_impl;

    std::shared_ptr<provider_link> link() const;
};

} // namespace arvenhold::corvel::hub
