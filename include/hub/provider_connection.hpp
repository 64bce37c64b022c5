// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>
#include <hub/consumer_variable.hpp>
#include <hub/detail/export.hpp>

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub {

class consumer;
class provider_connection;

/// The variables that a consumer knows of a provider, ordered by id.
using consumer_variable_map = std::map<variable_id, std::shared_ptr<consumer_variable>>;

/// The variables of a connection and the fingerprint of their definition, taken together.
///
/// Loop over the returned object itself; the loop keeps the variables alive, even if another thread
/// replaces the definition or disconnects meanwhile:
/// @code
/// for (auto const& [id, variable] : oven->get_current_variables()) {
///     std::cout << *variable << '\n';
/// }
/// @endcode
/// A loop over `*oven->get_current_variables().variables` is wrong: until C++23 the pointer is gone
/// before the first pass.
///
/// @par Ownership
/// Shares the variables. Iterators and references into them are valid as long as this object or a
/// copy of `variables`.
struct current_variables {
    /// The variables; the library never changes the map. Null once the connection is disconnected.
    std::shared_ptr<consumer_variable_map> variables;
    /// The definition's fingerprint; 0 if there is none.
    definition_fingerprint fingerprint = 0;

    /// Returns the position of the variable with the lowest id; end() if there is none.
    consumer_variable_map::const_iterator begin() const {
        return variables ? variables->cbegin() : consumer_variable_map::const_iterator{};
    }

    /// Returns the position behind the last variable.
    consumer_variable_map::const_iterator end() const {
        return variables ? variables->cend() : consumer_variable_map::const_iterator{};
    }

    /// Returns the number of variables.
    std::size_t size() const {
        return variables ? variables->size() : 0;
    }

    /// Indicates whether there are no variables.
    bool empty() const {
        return size() == 0;
    }

    /// Returns the variable with the given id, or null if there is none.
    ///
    /// @param id  Identifies the variable.
    std::shared_ptr<consumer_variable> find(variable_id id) const {
        if (!variables) {
            return nullptr;
        }
        auto const found = variables->find(id);
        return found != variables->end() ? found->second : nullptr;
    }

    /// Returns the variable with the given path, or null if there is none. If several variables
    /// have the path, returns the one with the lowest id. Compares the paths one by one, so look a
    /// variable up once and keep the pointer.
    ///
    /// @param path  The variable's path.
    std::shared_ptr<consumer_variable> find(std::string_view path) const {
        for (auto const& [id, variable] : *this) {
            if (variable && variable->get_path() == path) {
                return variable;
            }
        }
        return nullptr;
    }
};

/// Called after the library has applied a change event.
///
/// Called on a thread of the NATS client with no lock of this library held. May call any operation
/// of any object; may also destroy the consumer, after which the callback must not use
/// `connection`. The connection's next change event waits until the callback has returned; the
/// connection event callback does not, and may run at the same time. A std::exception that leaves
/// it is written to standard error and moves the connection to `faulted` for good, like any other
/// failure to handle an event.
///
/// After an outage of the server, all changes that a provider has published meanwhile arrive in one
/// burst, as old as the outage was long and with quality `good`: check the time stamps.
///
/// @param fingerprint  The definition that the ids belong to.
/// @param changed      Every id in the event, in its order. May be empty: a provider publishes
///                     after each reconnect even if nothing has changed. Never use the first id
///                     unchecked.
/// @param connection   The connection that received the event.
/// @param user_data    As given with the callback; must stay valid until the consumer's destructor
///                     has returned.
using variables_changed_callback = void (*)(
    definition_fingerprint fingerprint,
    std::vector<variable_id> changed,
    provider_connection& connection,
    void* user_data);

/// Called when the provider was lost, has returned, or has announced its definition again.
///
/// `provider_lost` is repeated with every list of providers that lacks the provider, not only with
/// the first.
///
/// Called on a thread of the NATS client, or in the thread that calls set_provider_availability(),
/// with no lock of this library held. May call any operation of any object; may also destroy the
/// consumer, after which the callback must not use `connection`. `definition_updated` and the other
/// two events come from different threads: the callback may run twice at the same time, and
/// together with the variables-changed callback. A std::exception that leaves it is written to
/// standard error.
///
/// @param event       What has happened.
/// @param connection  The connection concerned.
/// @param user_data   As given with the callback; must stay valid until the consumer's destructor
///                    has returned.
using connection_event_callback =
    void (*)(provider_connection_event event, provider_connection& connection, void* user_data);

/// A consumer's link to one provider: the copy of its variables, and the way to read and write
/// them.
///
/// Every operation on variables names their definition by its fingerprint. The connection refuses
/// the operation if it holds another definition; call get_current_variables() again then.
///
/// `faulted` and `disconnected` are final. Every failed request faults the connection, even one
/// that was only a sign of life. A connection from create() can then be replaced alone; one from
/// consumer::attach_to_provider() needs consumer::disconnect() and consumer::connect() first.
///
/// @par Trust in values
/// `good` means "as last received". The library does not change it during an outage of the server,
/// and a consumer can miss changes and definitions around a reconnect without notice: an event of a
/// definition that the connection does not hold is dropped. Call request_provider_definition() at
/// an interval of 10 s or more; it finds both.
///
/// That call faults the connection for good if the registry does not answer within 5 s, or if the
/// provider has ended and the registry has not reported it yet. The first happens although server
/// and provider are healthy, so use create() and replace the faulted connection alone.
///
/// While a new definition is being read, its variables hold 0, false or an empty string with
/// quality `good`; consumer_variable::get_update_count() is 0 until the first value arrives. A
/// definition that the registry has rejected is adopted like any other. If a provider registers two
/// definitions in quick succession, a connection that is still reading the first becomes `faulted`.
///
/// @par Ownership
/// Shared by its consumer (not for create()) and everyone who keeps the pointer. A connection from
/// consumer::attach_to_provider() that outlives its consumer is disconnected.
///
/// What the callbacks' user pointers point to must outlive the consumer, and a connection from
/// create() must end before the consumer. Declare them in this order: the data, the consumer, the
/// connections. They are destroyed in the opposite order.
///
/// @par Thread safety
/// All operations may be called from any thread and from any callback.
///
/// Three threads of the NATS client call the callbacks: one `definition_updated`, one the
/// variables-changed callback, one (the consumer's, for the list of providers) `provider_lost` and
/// `provider_returned`. The callbacks may run at the same time; data that they share, through
/// `user_data` or otherwise, needs a lock.
class CORVEL_HUB_API provider_connection {
public:
    class impl; // the library's own, defined in none of its public headers

    /// Creates a connection that `owner` does not keep, so that it can be replaced alone when it
    /// has faulted. Exceptions and blocking are those of consumer::attach_to_provider().
    ///
    /// The application has three things to do for such a connection:
    /// - Keep the pointer: the connection ends with the last one.
    /// - Call set_provider_availability() when the list of providers changes, and
    ///   request_provider_definition() after `provider_returned`. `owner` does neither.
    /// - Disconnect or destroy it before `owner` disconnects or is destroyed. `owner` does not:
    ///   get_state() would stay `connected` and the values good although nothing updates them, while
    ///   reading, writing and requests throw operational_state_invalid.
    ///
    /// @param provider_id  Identifier of the provider, without white space and control characters;
    ///                     see consumer::attach_to_provider().
    /// @param owner        A connected consumer; not used after the call.
    static std::shared_ptr<provider_connection> create(
        std::string const& provider_id, consumer& owner);

    provider_connection(provider_connection const&) = delete;
    provider_connection& operator=(provider_connection const&) = delete;

    /// Reads the values of some variables from the provider. Does not call the variables-changed
    /// callback.
    ///
    /// Where an event updated a variable while the read was in flight and the reply's item is not
    /// newer than what the event brought, the event's value, quality and time stay, and the item is
    /// only counted. A fault that comes in between leaves every quality bad.
    ///
    /// @param fingerprint  The definition that the ids belong to.
    /// @param ids          The variables to read; none reads all. The connection must know every id
    ///                     in the reply.
    ///
    /// @throws operational_state_invalid     The connection is not in state `connected`. Nothing
    ///                                       was sent.
    /// @throws provider_definition_mismatch  The connection holds another definition: nothing was
    ///                                       sent. Or the provider does: nothing has changed; call
    ///                                       request_provider_definition() if no event follows.
    /// @throws connection_failed             The request failed. The connection is `faulted`.
    /// @throws serialization_fault           The reply is malformed. The connection is `faulted`.
    /// @throws variable_index_invalid        The reply has an unknown id. The connection is
    ///                                       `faulted`; variables before that id have their new
    ///                                       values.
    /// @throws incompatible_data_type        The reply has a value of another type. As for an
    ///                                       unknown id.
    ///
    /// @par Blocking
    /// Up to 5 s for the provider, and up to 5 s more while a token is fetched for a reconnect.
    void read_variables(definition_fingerprint fingerprint, std::vector<variable_id> const& ids);

    /// Reads the values of all variables, as read_variables() with its exceptions and blocking.
    void update_all_variables();

    /// Sends the local values of some variables, as set with consumer_variable::set_value(), to the
    /// provider.
    ///
    /// The provider does not reply. It publishes an accepted value in a change event. If it refuses
    /// the value or never receives it, the local copy keeps the written value and its quality,
    /// which may be `good`, until the next change or read.
    ///
    /// @param fingerprint  The definition that the ids belong to.
    /// @param ids          The variables to write.
    ///
    /// @throws operational_state_invalid     The connection is not in state `connected`. Nothing
    ///                                       was sent.
    /// @throws provider_definition_mismatch  The connection holds another definition. Nothing was
    ///                                       sent.
    /// @throws variable_read_only            The consumer is read-only. Nothing was sent.
    /// @throws variable_index_invalid        An id is unknown. Nothing was sent; the connection is
    ///                                       `faulted`.
    /// @throws connection_failed             Sending failed. The connection is `faulted`.
    ///
    /// @par Blocking
    /// Waits for the NATS client to take the message into its send buffer, not for the provider; up
    /// to 5 s while the NATS client reconnects.
    void write_variables(definition_fingerprint fingerprint, std::vector<variable_id> const& ids);

    /// Returns the variables and the fingerprint of the definition that they belong to; empty with
    /// fingerprint 0 once disconnected. Loop over the result itself, or give it a name.
    current_variables get_current_variables();

    /// Returns the ids of the variables whose time stamp is not older than `since`, in ascending
    /// order.
    ///
    /// @param fingerprint  The definition that the ids belong to.
    /// @param since        Compared with the variables' time stamps; equal counts as updated.
    ///
    /// @throws provider_definition_mismatch  The connection holds another definition.
    std::vector<variable_id> get_updated_variables_since(
        definition_fingerprint fingerprint, timestamp since);

    /// Returns the state of the connection.
    ///
    /// After a reconnect it can be outdated until the registry announces its next list of
    /// providers: `provider_unavailable` although the provider is listed, or `connected` although
    /// it is gone. Compare with consumer::get_provider_identifiers() to find out.
    provider_connection_state get_state();

    /// Returns the provider's identifier. The reference is valid as long as the connection: copy
    /// the string if the pointer to the connection is a temporary.
    std::string const& get_associated_provider_identifier() const;

    /// Sets the function that is called on losses, returns and new definitions. The earlier one may
    /// still be running when this returns, or begin once more for an event that is being handled.
    ///
    /// @param callback   The function, or null for none.
    /// @param user_data  Passed to every call.
    void set_event_callback(connection_event_callback callback, void* user_data);

    /// Sets the function that is called after received changes. The earlier one may still be
    /// running when this returns, or begin once more for an event that is being decoded.
    ///
    /// @param callback   The function, or null for none.
    /// @param user_data  Passed to every call.
    void set_variables_changed_callback(variables_changed_callback callback, void* user_data);

    /// Records whether the provider is available, as the consumer does for the connections that it
    /// keeps: `provider_lost` makes the connection `provider_unavailable` and all values bad, any
    /// other event makes it `connected`. Ignored if disconnected or faulted. Calls the event
    /// callback, except for `definition_updated`.
    ///
    /// @param event  What has happened.
    void set_provider_availability(provider_connection_event event);

    /// Moves the connection to `faulted` and makes all values bad.
    void set_fault_state();

    /// Requests the definition from the registry and reads all values from the provider. Keeps the
    /// variables if the definition has the fingerprint that the connection holds.
    ///
    /// A failure faults the connection even if only the registry did not answer. A program that
    /// calls this regularly should do so at an interval of 10 s or more, on a connection from
    /// create(), which can be replaced alone.
    ///
    /// @throws operational_state_invalid  The connection is not in state `connected`. Nothing was
    ///                                    sent.
    /// @throws connection_failed          The request failed. The connection is `faulted`.
    /// @throws serialization_fault        The reply is malformed, or the registry does not know the
    ///                                    provider: "... (provider_definition_reply) nullptr". The
    ///                                    connection is `faulted`.
    ///
    /// @par Reading
    /// Also throws what update_all_variables() throws; the connection is `faulted` then.
    ///
    /// @par Blocking
    /// Up to 5 s each for the registry and for the provider, and up to 5 s more while a token is
    /// fetched for a reconnect.
    void request_provider_definition();

    /// Ends the connection for good: variables and fingerprint are gone.
    ///
    /// Does not wait for callbacks. One that is running continues, and one whose event is being
    /// decoded still begins, perhaps together with callbacks of the consumer's next session. Events
    /// that were in flight are skipped with a line on standard error. An operation that is running
    /// fails and may leave the state `faulted` instead of `disconnected`; both are final.
    ///
    /// @par Blocking
    /// Up to 5 s while a token is fetched for a reconnect. Dropping the last pointer to a connection
    /// that is not disconnected takes as long.
    void disconnect();

private:
    friend class consumer; // forwards the provider's availability

    struct provider_connection_construction_enabler;

    std::unique_ptr<impl> const m_impl;

    provider_connection(std::string const& provider_id, consumer& owner);
    ~provider_connection();
};

} // namespace arvenhold::corvel::hub
