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
            if (variable->get_path() == path) {
                return variable;
            }
        }
        return nullptr;
    }
};

/// Tells that values or qualities have been received in a change event and applied.
///
/// Called on a NATS delivery thread with no lock of this library held; may call any operation of
/// any object, but must not destroy the consumer. A std::exception that leaves it is written to
/// standard error and moves the connection to `faulted`, like any other failure to handle an event.
///
/// @param fingerprint  The definition that the ids belong to.
/// @param changed      Every id that the event carried, in its order.
/// @param connection   The connection that received the event.
/// @param user_data    As given with the callback; must stay valid until the consumer is destroyed.
using variables_changed_callback = void (*)(
    definition_fingerprint fingerprint,
    std::vector<variable_id> changed,
    provider_connection& connection,
    void* user_data);

/// Tells that the provider was lost, has returned, or has announced its definition again.
///
/// Called on a NATS delivery thread with no lock of this library held; may call any operation of
/// any object, but must not destroy the consumer. A std::exception that leaves it is written to
/// standard error.
///
/// @param event       What has happened.
/// @param connection  The connection concerned.
/// @param user_data   As given with the callback; must stay valid until the consumer is destroyed.
using connection_event_callback =
    void (*)(provider_connection_event event, provider_connection& connection, void* user_data);

/// A consumer's link to one provider: the copy of its variables, and the way to read and write
/// them.
///
/// Every operation on variables names the definition that it was made for by its fingerprint and is
/// refused when the connection holds another; take a fresh get_current_variables() after
/// `definition_updated`. `faulted` and `disconnected` are final: attach anew, after
/// consumer::disconnect() and connect().
///
/// @par Ownership
/// Shared by its consumer and by whoever keeps the pointer. A connection that outlives its consumer
/// is disconnected.
///
/// @par Thread safety
/// All operations may be called from any thread and from any callback.
class CORVEL_HUB_API provider_connection {
public:
    class impl; // the library's own, defined in none of its public headers

    /// Makes a connection that `owner` does not keep; consumer::attach_to_provider() is the usual
    /// way. Exceptions and blocking are those of attach_to_provider().
    ///
    /// @param provider_id  Identifier of the provider.
    /// @param owner        A connected consumer. It neither disconnects this connection nor tells
    ///                     it about lost and returned providers.
    static std::shared_ptr<provider_connection> create(
        std::string const& provider_id, consumer& owner);

    provider_connection(provider_connection const&) = delete;
    provider_connection& operator=(provider_connection const&) = delete;

    /// Fetches the values of some variables from the provider. The variables-changed callback is
    /// not called.
    ///
    /// @param fingerprint  The definition that the ids belong to.
    /// @param ids          The variables to read. None reads all; every id that the provider
    ///                     answers must be known here.
    ///
    /// @throws operational_state_invalid     The connection is not in state `connected`. Nothing
    ///                                       was sent.
    /// @throws provider_definition_mismatch  The connection holds another definition: nothing was
    ///                                       sent. Or the provider does: nothing was changed.
    /// @throws connection_failed             The request failed. The connection is `faulted`.
    /// @throws serialization_fault           The reply is malformed. The connection is `faulted`.
    /// @throws variable_index_invalid        The reply has an unknown id. The connection is
    ///                                       `faulted`; variables before that id have their new
    ///                                       values.
    /// @throws incompatible_data_type        The reply has a value of another type. As for an
    ///                                       unknown id.
    ///
    /// @par Blocking
    /// Up to 5 s for the provider.
    void read_variables(definition_fingerprint fingerprint, std::vector<variable_id> const& ids);

    /// Fetches the values of all variables, as read_variables() with its exceptions and blocking.
    void update_all_variables();

    /// Sends the local values of some variables, as set with consumer_variable::set_value(), to the
    /// provider. It does not answer: an accepted value comes back with a change event.
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

    /// Returns the variables and the fingerprint of the definition that they belong to.
    current_variables get_current_variables();

    /// Returns the ids of the variables whose latest value, or received item without one, is not
    /// older than `since`, in ascending order.
    ///
    /// @param fingerprint  The definition that the ids are wanted of.
    /// @param since        Compared with the values' time stamps; equal counts as updated.
    ///
    /// @throws provider_definition_mismatch  The connection holds another definition.
    std::vector<variable_id> get_updated_variables_since(
        definition_fingerprint fingerprint, timestamp since);

    /// Returns where the connection stands.
    provider_connection_state get_state();

    /// Returns the provider's identifier; valid as long as the connection.
    std::string const& get_associated_provider_identifier() const;

    /// Sets the function that is told about losses, returns and new definitions.
    ///
    /// @param callback   The function, or null for none.
    /// @param user_data  Handed back with every call.
    void set_event_callback(connection_event_callback callback, void* user_data);

    /// Sets the function that is told about received changes.
    ///
    /// @param callback   The function, or null for none.
    /// @param user_data  Handed back with every call.
    void set_variables_changed_callback(variables_changed_callback callback, void* user_data);

    /// Follows the provider's presence, as its consumer does: `provider_lost` makes the connection
    /// unavailable and all values bad, anything else makes it connected. Ignored when disconnected
    /// or faulted. Calls the event callback, except with `definition_updated`.
    ///
    /// @param event  What has happened.
    void set_provider_availability(provider_connection_event event);

    /// Moves the connection to `faulted` and makes all values bad.
    void set_fault_state();

    /// Fetches the definition from the registry, and all values from the provider.
    ///
    /// @throws operational_state_invalid  The connection is not in state `connected`. Nothing was
    ///                                    sent.
    /// @throws connection_failed          The request failed. The connection is `faulted`.
    /// @throws serialization_fault        The reply is malformed. The connection is `faulted`.
    ///
    /// @par Reading
    /// Also throws what update_all_variables() throws; the connection is `faulted` then.
    ///
    /// @par Blocking
    /// Up to 5 s each for the registry and for the provider.
    void request_provider_definition();

    /// Gives the connection up for good: no callback begins any more, variables and fingerprint are
    /// gone. Callbacks that are running are not waited for.
    void disconnect();

private:
    friend class consumer; // tells what happens to the provider

    struct provider_connection_construction_enabler;

    std::unique_ptr<impl> const m_impl;

    provider_connection(std::string const& provider_id, consumer& owner);
    ~provider_connection();
};

} // namespace arvenhold::corvel::hub
