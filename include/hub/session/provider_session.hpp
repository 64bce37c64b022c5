// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>
#include <hub/detail/export.hpp>
#include <hub/session/hub_access.hpp>
#include <hub/session/session_settings.hpp>
#include <hub/session/session_status.hpp>
#include <hub/session/update_cycle.hpp>
#include <hub/session/variable_handle.hpp>
#include <hub/session/variable_type.hpp>
#include <hub/session/write_refused.hpp> // before read_only: GCC warns of its enumerator otherwise
#include <hub/session/write_request.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

namespace arvenhold::corvel::hub {

/// For provider_session::declare(): consumers may read and write the variable.
inline constexpr auto writable = variable_permissions::read_write;

/// For provider_session::declare(): consumers may only read the variable.
inline constexpr auto read_only = variable_permissions::read_only;

/// A provider that keeps itself alive: declare its variables, start it, set them, until you stop it.
///
/// @code
/// hub::provider_session oven{"oven", {nats_url, token_url, id, secret, {}}};
/// auto const temperature = oven.declare<double>("temperature", 20.0);
/// oven.start();
/// temperature.set(21.5);
/// @endcode
///
/// Whatever goes wrong, the session connects and registers again, with growing waits, for as long as
/// it takes: the hub is absent, access is denied, the registry does not answer or rejects the
/// variables, the link breaks or hangs, a message cannot be sent. Consumers then read every variable
/// with its latest value, its quality and its own time. Nothing is kept in the NATS client while the
/// link is down.
///
/// @par Fingerprint
/// Every registration has a fingerprint of its own: content_hash() in the upper 32 bits, a number
/// that is new each time in the lower 32.
///
/// @par Handlers
/// Functions that the application passes here are called one after the other, with no lock held, on
/// the session's thread, or by dispatch() if session_settings::set_handlers_wait_for_dispatch() says
/// so. They may call every operation, and may destroy the session. One that takes long on the
/// session's thread delays changes and repairs; it must not wait there for wait_until_ready(). An
/// exception that leaves one is reported through the diagnostics.
///
/// @par Ownership
/// Belongs to the application. Handles and write requests may outlive it. Its handlers are destroyed
/// when it is stopped, so they may hold handles.
///
/// @par Thread safety
/// All operations may be called from any thread and from any handler, unless they must be called
/// before start(): these only from one thread at a time.
class CORVEL_HUB_API provider_session {
public:
    /// Called with a consumer's request to write a variable.
    using write_handler = std::function<void(any_write_request)>;

    /// Called with the new state.
    using status_handler = std::function<void(session_status const&)>;

    /// Does not connect.
    ///
    /// @param identifier  The provider's identifier on the hub, as for provider.
    /// @param access      Where the hub is, and as whom to connect.
    /// @param settings    Optional settings.
    ///
    /// @throws std::system_error  The system has no file descriptor left for dispatch().
    provider_session(
        std::string const& identifier, hub_access access, session_settings const& settings = {});

    provider_session(provider_session const&) = delete;
    provider_session& operator=(provider_session const&) = delete;

    /// Stops the session, with the waits of stop().
    ~provider_session();

    // -- before start() ---------------------------------------------------------------------------

    /// Adds a variable. Until it is set for the first time, its quality is
    /// `uncertain_initial_value`.
    ///
    /// @tparam Type        The variable's type; always given, as in `declare<double>`.
    /// @param path         The path; the registry may reject empty ones, spaces and control
    ///                     characters.
    /// @param initial      The initial value. Must become the variable's type without loss, see
    ///                     converts_exactly; nothing else compiles.
    /// @param permissions  Without a handler of its own, a writable variable needs
    ///                     set_write_handler(); all writes are refused otherwise.
    ///
    /// @throws std::invalid_argument  There is a variable with this path. Nothing was added.
    /// @throws std::logic_error       The session has been started. Nothing was added.
    template <class Type, class Given = Type>
    variable_handle<Type> declare(
        std::string const& path, Given&& initial, variable_permissions permissions = read_only) {
        return variable_handle<Type>{declare_any(
            path, detail::exact_value<Type>(std::forward<Given>(initial)), permissions)};
    }

    /// Adds a variable with a handler for write requests.
    ///
    /// @tparam Type        The variable's type; always given, as in `declare<double>`.
    /// @param path         The path.
    /// @param initial      The initial value, as above.
    /// @param permissions  writable.
    /// @param handler      Either a `bool (Type const& wanted)` that returns whether to accept the
    ///                     value, or a `void (write_request<Type>)` that answers at once or later.
    ///                     Nothing else compiles, except a `bool (std::string_view wanted)` for a
    ///                     string.
    ///
    /// @throws std::invalid_argument  There is a variable with this path, or a read-only variable
    ///                                has a handler. Nothing was added.
    /// @throws std::logic_error       The session has been started. Nothing was added.
    template <class Type, class Given = Type, class Handler>
    variable_handle<Type> declare(
        std::string const& path,
        Given&& initial,
        variable_permissions permissions,
        Handler handler) {
        return variable_handle<Type>{declare_any(
            path,
            detail::exact_value<Type>(std::forward<Given>(initial)),
            permissions,
            [handler = std::move(handler)](any_write_request request) mutable {
                if constexpr (detail::returns_verdict<Type, Handler>()) {
                    answer(handler(std::get<Type>(request.get_wanted())), request);
                } else {
                    static_assert(
                        std::is_invocable_v<Handler&, write_request<Type>>,
                        "a handler is a bool (Type const&) or a void (write_request<Type>), with "
                        "the variable's own type");
                    handler(write_request<Type>{std::move(request)});
                }
            })};
    }

    /// Adds a variable whose type is known only while the program runs.
    ///
    /// @param path         The path.
    /// @param initial      The initial value, which decides the type.
    /// @param permissions  What consumers may do.
    /// @param handler      Called with write requests; none by default.
    ///
    /// @throws std::invalid_argument  As for declare().
    /// @throws std::logic_error       As for declare().
    any_variable_handle declare_any(
        std::string const& path,
        variable_value initial,
        variable_permissions permissions = read_only,
        write_handler handler = {});

    /// Sends every change of a variable, in its order and each in an event of its own, instead of
    /// the latest value only. Changes wait in a queue; when it is full, the oldest one is dropped
    /// and counted, see any_variable_handle::get_dropped_changes(); so is one that is too large for the
    /// server. After an outage the waiting
    /// changes are sent when the session is ready again. A consumer that is still reading the
    /// variables at that time misses them and sees the latest value.
    ///
    /// @param variable  A variable of this session.
    /// @param limit     The maximum number of changes that wait, 1 and more.
    ///
    /// @throws std::invalid_argument  The limit is 0. Nothing has changed.
    /// @throws std::logic_error       The session has been started, or the variable belongs to
    ///                                another one. Nothing has changed.
    void keep_changes(any_variable_handle const& variable, std::size_t limit);

    /// Sets the handler for write requests of variables without a handler of their own.
    ///
    /// @param handler  The handler; an empty one for none.
    ///
    /// @throws std::logic_error  The session has been started. Nothing has changed.
    void set_write_handler(write_handler handler);

    /// Sets the handler for changes of the state or the reason. stop() is not reported.
    ///
    /// @param handler  The handler; an empty one for none.
    ///
    /// @throws std::logic_error  The session has been started. Nothing has changed.
    void set_status_handler(status_handler handler);

    // -- life -------------------------------------------------------------------------------------

    /// Starts the session and returns. Does nothing if it runs already.
    ///
    /// @throws std::logic_error   It has been stopped. Use another session.
    /// @throws std::system_error  The system has no thread left. Nothing was started.
    void start();

    /// Ends the session for good. No handler begins once this has returned. If the session is ready,
    /// everything that was set before is sent first; otherwise, or if the link breaks meanwhile, it is
    /// not sent.
    ///
    /// @par Blocking
    /// Waits for a handler that is running on the session's thread, and for the end of the
    /// connection, which usually takes milliseconds: up to 0.5 s for unsent data; up to the write
    /// deadline if a server hangs and the data exceeds the buffers of the connection; while the
    /// session connects, up to 7 s for a server and a token endpoint that hang. Called from a handler
    /// on the session's thread it waits for nothing; the session ends when the handler has returned.
    void stop();

    /// Waits until the session is ready.
    ///
    /// @param limit  How long to wait.
    /// @return       Whether it is ready; false, too, as soon as it is stopped.
    bool wait_until_ready(std::chrono::milliseconds limit) const;

    /// Returns the present state.
    session_status get_status() const;

    // -- changes ----------------------------------------------------------------------------------

    /// Calls `change(update_cycle&)` at once, which sets variables, and records all of them together,
    /// so that they leave in one event. A variable that is set again before they could be sent leaves
    /// with its later value; those that keep their changes may leave in an event before the others.
    ///
    /// @param change  Called on this thread. If it throws, nothing is recorded.
    /// @param when    Time of all values.
    ///
    /// @throws std::invalid_argument  A value has another type than its variable. Nothing was
    ///                                recorded.
    /// @throws std::logic_error       A variable belongs to no session, or to another one. Nothing was
    ///                                recorded.
    template <class Change>
    void update(Change&& change, timestamp when = std::chrono::system_clock::now()) {
        update_cycle cycle{m_impl, when};
        std::forward<Change>(change)(cycle);
        cycle.record();
    }

    /// Returns the variable with the given path, or a handle of no variable.
    ///
    /// @param path  The whole path, as declared.
    any_variable_handle find(std::string const& path) const;

    /// Returns a hash of the declared variables: 32-bit FNV-1a over the variables in the order of
    /// their paths, compared byte by byte. Each variable contributes the bytes of its path, a zero
    /// byte, one byte for its type (the index of the alternative of variable_value) and one for its
    /// permissions. Equal for equal sets of variables, whatever the order of declaration.
    std::uint32_t content_hash() const;

    // -- handlers in the application's event loop -------------------------------------------------

    /// Returns a file descriptor that is readable while handlers wait for dispatch(); -1 if the
    /// settings do not say that they wait. Valid as long as the session; only to be polled.
    int get_dispatch_descriptor() const;

    /// Calls the handlers that are waiting now.
    ///
    /// @return  How many were called; 0 if called by one of them.
    std::size_t dispatch();

private:
    std::shared_ptr<provider_session_impl> const m_impl;

    static void answer(bool accepts, any_write_request& request);
};

} // namespace arvenhold::corvel::hub
