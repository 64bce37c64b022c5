// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>
#include <hub/detail/export.hpp>
#include <hub/session/hub_access.hpp>
#include <hub/session/reading.hpp>
#include <hub/session/session_settings.hpp>
#include <hub/session/session_status.hpp>
#include <hub/session/variable_type.hpp>
#include <hub/session/write_refused.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace arvenhold::corvel::hub {

class consumer_session;

/// What happens to changes while a handler is busy.
class CORVEL_HUB_API change_queue {
public:
    /// Keeps the latest value of each variable. reading::skipped counts the changes that it has
    /// replaced; an outage that ends while the handler is busy counts as a change, too.
    static change_queue latest();

    /// Keeps every change, up to a limit. When the queue is full, the oldest change is dropped, and
    /// reading::skipped of the next reading counts what was dropped.
    ///
    /// @param limit  How many changes of all variables together may wait, besides those that the
    ///               handler is being called with; 1 and more.
    ///
    /// @throws std::invalid_argument  The limit is 0.
    static change_queue every(std::size_t limit);

    /// Returns the limit; 0 for latest().
    std::size_t get_limit() const;

private:
    std::size_t m_limit;

    explicit CORVEL_HUB_INTERNAL change_queue(std::size_t limit);
};

/// One or more variables that a consumer_session follows. Returned by follow() and follow_all().
///
/// A new handler is called with the latest reading of each variable that has been received; so it
/// does not matter whether it is set before or after the first values have arrived. From then on it
/// is called with every change of a variable, and whenever its freshness changes: after the first
/// values have been read, when the link or the provider is lost, and when the values have been read
/// again. The freshness that it is called with is that of the moment of the call; a value that
/// change_queue::every() has kept while the provider was lost comes as `stale`.
///
/// Handlers are called one after the other, with no lock held, on the session's thread or in
/// consumer_session::dispatch(). They may call any operation, and may stop and destroy the session.
/// A handler that does not return keeps the session from repairing itself; now() still finds values
/// stale, at the latest at the limit for providers that hang, see consumer_session. An exception
/// that leaves a handler is reported as a diagnostic.
///
/// @par Ownership
/// Copies refer to the same variables and may outlive the session, whose values are then stale.
///
/// @par Thread safety
/// All operations may be called from any thread.
class CORVEL_HUB_API followed_variables {
public:
    class CORVEL_HUB_INTERNAL impl; // the library's own

    /// Called with one reading.
    using handler = std::function<void(any_reading const& now)>;

    /// Called with the readings that changed together.
    using batch_handler = std::function<void(std::vector<any_reading> const& now)>;

    /// Sets the function that is called with each change; replaces any other handler of these
    /// variables. The earlier one may still be running.
    ///
    /// @param called  The function; an empty one for none.
    void on_change(handler called);

    /// Sets the function that is called with all values of one event of a provider at once; with
    /// change_queue::latest(), with those of several events if the handler was busy. Replaces any
    /// other handler of these variables. The earlier one may still be running.
    ///
    /// @param called  The function; an empty one for none.
    void on_batch(batch_handler called);

    /// Returns the latest readings of all variables that were found so far, ordered by provider.
    std::vector<any_reading> now() const;

private:
    friend class consumer_session;
    template <class T>
    friend class followed_variable;

    std::shared_ptr<impl> m_impl;

    explicit CORVEL_HUB_INTERNAL followed_variables(std::shared_ptr<impl> owned);
    any_reading get_first() const;
};

/// A variable that a consumer_session follows and whose type the application has named. A variable
/// of another type does not count as this one: it is never received, or stale if its definition
/// has changed.
///
/// Ownership and thread safety are those of followed_variables, which also says when the handler is
/// called.
///
/// @tparam T  One of the types of variable_value.
template <class T>
class followed_variable {
public:
    /// Sets the function that is called with each change, or none if it is empty; the earlier one
    /// may still be running.
    ///
    /// @param called  The function.
    void on_change(std::function<void(reading<T> const& now)> called) {
        if (!called) {
            m_variables.on_change({});
            return;
        }
        m_variables.on_change(
            [called = std::move(called)](any_reading const& now) { called(typed(now)); });
    }

    /// Returns the latest reading. Takes a short lock and never waits for the network.
    reading<T> now() const {
        return typed(m_variables.get_first());
    }

private:
    friend class consumer_session;

    followed_variables m_variables;

    explicit followed_variable(followed_variables variables)
        : m_variables{std::move(variables)} {}

    static reading<T> typed(any_reading const& untyped) {
        reading<T> result;
        if (auto const* const value = std::get_if<T>(&untyped.value)) {
            result.value = *value;
        }
        result.quality = untyped.quality;
        result.when = untyped.when;
        result.freshness = untyped.freshness;
        result.stale_for = untyped.stale_for;
        result.skipped = untyped.skipped;
        return result;
    }
};

/// A variable as its provider defines it.
struct defined_variable {
    variable_id id = 0;   ///< Valid only with the fingerprint of the same definition.
    std::string path;     ///< The variable's path.
    std::size_t type = 0; ///< The type of its values; an index into variable_value.
    variable_permissions permissions =
        variable_permissions::read_only; ///< Whether it takes writes.
};

/// All variables of a provider, followed or not.
struct known_definition {
    definition_fingerprint fingerprint = 0;  ///< 0 if there is no definition yet.
    std::vector<defined_variable> variables; ///< Ordered by id.
};

/// A followed variable whose type is not the one that is wanted, or was before.
struct changed_type {
    std::string path; ///< The variable's path.
    /// The wanted type, or the one before; an index into variable_value.
    std::size_t wanted = 0;
    std::size_t given = 0; ///< The type that the provider's definition has now.
};

/// What a provider's definition means for the variables that are followed.
struct definition_change {
    std::string provider;              ///< The provider's identifier.
    std::vector<std::string> vanished; ///< Paths that the provider does not have, or no longer.
    std::vector<changed_type> changed_types; ///< Variables of another type than wanted or before.
};

/// What became of a written value.
enum class write_outcome : std::uint32_t {
    confirmed = 0,     ///< The provider holds the written value.
    refused = 1,       ///< Another value arrived after the write was sent, and not the written one.
    not_confirmed = 2, ///< Nothing was published in time, or the write was not sent.
};

/// Follows variables of any number of providers, and keeps doing so until it is stopped: it
/// connects, attaches, reads, and repairs whatever breaks.
///
/// @code
/// hub::consumer_session watcher{"oven-watcher", access};
/// auto shown = watcher.follow<double>("oven", "temperature");
/// shown.on_change([](hub::reading<double> const& now) { print(now.value, now.freshness); });
/// watcher.start();
/// @endcode
///
/// @par Freshness
/// A value is `live` from the moment at which all values of its provider have been read until the
/// first sign of a loss. From then on it is `stale`, with its age, until the session has attached
/// to the provider once more and has read everything again. Values become stale
/// - within about 0.2 s when the connection to the server breaks, messages are dropped, or the
///   registry reports the provider as lost;
/// - after the time of session_settings::set_ping() if the server hangs or the network drops
///   packets; 6 s by default;
/// - within 0.5 s if the connection to the provider becomes `faulted`, or the provider announces a
///   definition with another fingerprint; docs/sessions.md says what happens if it uses one twice;
/// - after session_settings::set_probe_interval(), connect_options::set_request_time_limit() and
///   0.5 s, 35.5 s by default, if the provider hangs.
///
/// Each provider has a connection of its own: one that hangs, faults or sends malformed messages
/// disturbs no other.
///
/// @par Ownership
/// Belongs to the application. What it returns may outlive it. Its handlers are destroyed when it is
/// stopped, so they may hold what follow() has returned.
///
/// @par Thread safety
/// All operations may be called from any thread and from any handler. The destructor may run in a
/// handler; no other operation may be running on another thread then.
class CORVEL_HUB_API consumer_session {
public:
    class CORVEL_HUB_INTERNAL impl; // the library's own

    /// Called with what a definition means for the followed variables.
    using definition_handler = std::function<void(definition_change const& change)>;

    /// Called with the identifier of a provider, empty for the session itself, and its status.
    using status_handler =
        std::function<void(std::string const& provider, session_status const& status)>;

    /// Does not connect.
    ///
    /// @param name         The consumer's name on the hub, see consumer.
    /// @param access       Where the hub is, and who connects.
    /// @param settings     Optional settings.
    /// @param permissions  `read_only` to request permission only to read.
    ///
    /// @throws std::system_error  The handlers wait for dispatch(), and the system has no file
    ///                            descriptor left.
    consumer_session(
        std::string name,
        hub_access access,
        session_settings settings = {},
        variable_permissions permissions = variable_permissions::read_write);

    consumer_session(consumer_session const&) = delete;
    consumer_session& operator=(consumer_session const&) = delete;

    /// Stops, and waits for the threads of the session as long as stop() does; in a handler on the
    /// session's thread, for the other ones. Afterwards no handler runs but the one that has destroyed
    /// the session.
    ~consumer_session();

    /// Begins to connect and returns. Does nothing if it runs already.
    ///
    /// @throws std::logic_error   The session has been stopped.
    /// @throws std::system_error  The system has no thread left. The session is stopped.
    void start();

    /// Ends the session for good. All values are stale at once, no handler begins afterwards, and
    /// writes that wait for a confirmation return `not_confirmed`.
    ///
    /// @par Blocking
    /// Waits until all threads of the session have ended, which usually takes milliseconds: up to
    /// connect_options::set_request_time_limit(), 5 s by default, for a reply that an operation
    /// expects; up to 7 s more for a server and a token endpoint that hang while the session connects;
    /// up to 0.5 s more for unsent data, or up to the write deadline if a server hangs and the data
    /// exceeds the buffers of the connection. Must not be called while holding a lock that a handler
    /// waits for. In a handler on the session's thread it returns at once, and the session ends when
    /// the handler has returned.
    void stop();

    // -- following --------------------------------------------------------------------------------

    /// Follows one variable. May be called before and after start(). A variable that is followed after
    /// stop() is never received.
    ///
    /// @tparam T        The variable's type, one of those of variable_value.
    /// @param provider  Identifier of the provider, which need not be there yet.
    /// @param path      The variable's path. No pattern: `*` stands for itself.
    /// @param queue     What happens to changes while the handler is busy.
    ///
    /// @throws std::invalid_argument  The provider has a `*`, which no identifier can have. Nothing
    ///                                is followed.
    template <class T>
    followed_variable<T> follow(
        std::string const& provider,
        std::string const& path,
        change_queue queue = change_queue::latest()) {
        static_assert(
            is_variable_type<T>,
            "T must be bool, double, std::int64_t, std::string, timestamp or "
            "std::chrono::nanoseconds");
        return followed_variable<T>{follow_one(provider, path, variable_value{T{}}.index(), queue)};
    }

    /// Follows all variables whose provider and path match, also those of providers that come
    /// later. May be called before and after start(). After stop() it shows at most what was
    /// received before, which is stale.
    ///
    /// In both patterns `*` stands for any characters but `/`, and `**` for any characters. So
    /// `"oven"` and `"**"` follow a whole provider, `"**"` and `"**"` everything. A provider whose
    /// pattern has no `*` is followed by name: the session is not ready without it.
    ///
    /// @param providers  Pattern for identifiers of providers.
    /// @param paths      Pattern for paths.
    /// @param queue      What happens to changes while the handler is busy.
    followed_variables follow_all(
        std::string const& providers,
        std::string const& paths,
        change_queue queue = change_queue::latest());

    /// Returns the definition that the readings of a provider belong to, the latest one during an
    /// outage. Copies all of it and never waits for the network.
    ///
    /// @param provider  The provider's identifier.
    known_definition get_definition(std::string const& provider) const;

    /// Sets the function that is called when a definition lacks followed variables, or has them with
    /// another type. Called like the other handlers, see followed_variables; but a new one is not
    /// called with what was found before, so set it before start().
    ///
    /// @param called  The function; an empty one for none.
    void set_definition_handler(definition_handler called);

    // -- writing ----------------------------------------------------------------------------------

    /// Sends a value to a provider. The value is not shown before the provider publishes it.
    ///
    /// @param provider  Identifier of a provider of which a variable is followed.
    /// @param path      The path of any variable of the provider.
    /// @param value     The value, of the variable's type.
    ///
    /// @throws write_refused  It is known that the write cannot succeed, or 10,000 writes of the
    ///                        session wait; nothing is sent.
    ///
    /// @par Blocking
    /// Does not wait for the network; a write that cannot be sent later is reported as a
    /// diagnostic.
    void write(std::string const& provider, std::string const& path, variable_value value);

    /// Sends a value and waits until the provider publishes it. A write that could not be sent
    /// within the limit, because an operation for the provider takes longer, is not sent later.
    ///
    /// Another value may have been in flight when the write was sent, so the written one may still
    /// follow within 0.5 s. A provider that takes longer to accept it makes the outcome `refused`.
    /// Two writers of one variable see each other's values.
    ///
    /// @param provider  Identifier of a provider of which a variable is followed.
    /// @param path      The path of any variable of the provider.
    /// @param value     The value, of the variable's type.
    /// @param limit     How long to wait.
    ///
    /// @throws write_refused     As for write().
    /// @throws std::logic_error  The caller is the session's thread, which must not wait; nothing is
    ///                           sent.
    ///
    /// @par Blocking
    /// Up to `limit`.
    write_outcome write_and_confirm(
        std::string const& provider,
        std::string const& path,
        variable_value value,
        std::chrono::milliseconds limit);

    // -- state ------------------------------------------------------------------------------------

    /// Returns the state that the session's thread has found last. It is `ready` while all providers
    /// are live that are followed and listed, and all that are followed by name, even if they are
    /// missing. What was followed a moment ago, or while a handler is busy, does not count yet.
    session_status get_status() const;

    /// Returns the state of the connection to a provider; `connecting` if it is not known.
    ///
    /// @param provider  The provider's identifier.
    session_status get_provider_status(std::string const& provider) const;

    /// Sets the function that is called when the status of the session, or of a provider, has
    /// changed. Called like the other handlers, see followed_variables; not called for stop().
    ///
    /// @param called  The function; an empty one for none.
    void set_status_handler(status_handler called);

    /// Waits until the session is ready with everything that is followed now. In a handler on the
    /// session's thread it waits without success, unless that is so already.
    ///
    /// @param limit  How long to wait.
    /// @return whether it is; false at once if it is stopped.
    bool wait_until_ready(std::chrono::milliseconds limit) const;

    // -- handlers in the application's event loop -------------------------------------------------

    /// Returns a file descriptor that is readable while handlers wait for dispatch(); -1 if
    /// handlers do not wait, see session_settings::set_handlers_wait_for_dispatch(). Only for
    /// polling; valid until the session is destroyed.
    int get_dispatch_descriptor() const;

    /// Runs the handlers that are waiting. Does nothing in a handler, or if handlers do not wait.
    ///
    /// @return how many groups of calls were run.
    std::size_t dispatch();

private:
    std::shared_ptr<impl> const m_impl;

    followed_variables follow_one(
        std::string const& provider, std::string const& path, std::size_t type, change_queue queue);
};

} // namespace arvenhold::corvel::hub
