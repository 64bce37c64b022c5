// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>
#include <hub/detail/export.hpp>
#include <hub/session/provider_session.hpp>
#include <hub/testkit/local_hub.hpp>
#include <hub/testkit/waiting.hpp>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub::testkit {

/// A variable that a scripted_provider offers.
struct offered_variable {
    std::string path;                             ///< The variable's path.
    variable_value initial;                       ///< The initial value, which decides the type.
    variable_permissions permissions = read_only; ///< What consumers may do.
};

/// A write that a scripted_provider has received.
struct received_write {
    std::string path;     ///< The variable's path; empty for an id that the provider does not have.
    variable_value value; ///< The value that a consumer wanted.
    bool accepted = false; ///< Whether the provider holds the value now.
};

/// A provider that a test plays, for a program that consumes.
///
/// @code
/// testkit::scripted_provider oven{hub, "oven"};
/// oven.offers("temperature", 20.0);
/// oven.offers("heating", true, hub::writable);
/// oven.start();
/// oven.holds("temperature", 350.0);       // the program under test sees this ...
/// oven.wait_for_write("heating", false);  // ... and has to do that
/// @endcode
///
/// It accepts what consumers write to writable variables and publishes it, as a provider should,
/// unless refuses() says otherwise. What it refuses, it answers with a change event that has the
/// present value.
///
/// @par Ownership
/// Belongs to the test, and shares the hub.
///
/// @par Thread safety
/// All operations may be called from any thread.
class CORVEL_HUB_API scripted_provider {
public:
    class CORVEL_HUB_INTERNAL impl; // the library's own

    /// Whether a value that a consumer has written is refused.
    using refusal = std::function<bool(variable_value const& wanted)>;

    /// Does not connect.
    ///
    /// @param hub         The hub.
    /// @param identifier  The provider's identifier on the hub, as for provider.
    scripted_provider(local_hub& hub, std::string identifier);

    scripted_provider(scripted_provider const&) = delete;
    scripted_provider& operator=(scripted_provider const&) = delete;

    /// Leaves the hub, as vanish().
    ~scripted_provider();

    /// Adds a variable, with quality `good`.
    ///
    /// @param path         The variable's path.
    /// @param initial      The initial value, which decides the type: `20.0` is a floating-point
    ///                     number, `20` an integer.
    /// @param permissions  What consumers may do: read_only or writable.
    ///
    /// @throws std::logic_error  There is a variable with this path, or the provider is on the hub: use
    ///                           replace_definition() then. Nothing was added.
    void offers(
        std::string const& path,
        variable_value initial,
        variable_permissions permissions = read_only);

    /// Enters the hub with the variables as they are now, also after vanish(). Consumers can attach
    /// when this returns. Does nothing if it is on the hub.
    ///
    /// @throws expectation_failed  A fault keeps it away, or the registry rejects the variables. It is
    ///                             not on the hub.
    ///
    /// @par Blocking
    /// Up to 10 s.
    void start();

    /// Leaves the hub without notice, as a program that is killed. The registry reports the loss
    /// within 0.1 s. Values, refusals and received writes stay for start().
    void vanish();

    // -- values -----------------------------------------------------------------------------------

    /// Gives a variable a value and a quality. On the hub, sends them in a change event of their own;
    /// while a fault keeps the provider away, consumers read them when it is back.
    ///
    /// @param path     The variable's path.
    /// @param value    The value, of the variable's type.
    /// @param quality  The quality.
    /// @param when     Time of value and quality.
    ///
    /// @throws std::invalid_argument  There is no such variable, or the value has another type. Nothing
    ///                                has changed.
    void holds(
        std::string const& path,
        variable_value value,
        variable_quality quality = variable_quality::good,
        timestamp when = std::chrono::system_clock::now());

    /// Returns what a variable holds: the latest of its initial value, of holds(), and of accepted
    /// writes.
    ///
    /// @param path  The variable's path.
    ///
    /// @throws std::invalid_argument  There is no such variable.
    variable_value get_value(std::string const& path) const;

    /// Replaces all variables. On the hub, registers the new ones at once, without leaving; received
    /// writes stay, and refusals of the paths that remain.
    ///
    /// @param variables  The new variables.
    ///
    /// @throws std::logic_error    Two variables have the same path. Nothing has changed.
    /// @throws expectation_failed  As for start().
    ///
    /// @par Blocking
    /// Up to 10 s.
    void replace_definition(std::vector<offered_variable> const& variables);

    // -- writes -----------------------------------------------------------------------------------

    /// Refuses writes to a variable from now on.
    ///
    /// @param path   The variable's path.
    /// @param which  Decides for each value, on another thread; empty to refuse all of them.
    ///
    /// @throws std::invalid_argument  There is no such variable.
    void refuses(std::string const& path, refusal which = {});

    /// Ends refuses().
    ///
    /// @param path  The variable's path.
    ///
    /// @throws std::invalid_argument  There is no such variable.
    void accepts(std::string const& path);

    /// Waits for a write, accepted or refused. Writes of a variable are looked at in their order and
    /// each of them once: the first call may find one that has arrived before, the next call finds a
    /// later one. When this returns, an accepted value has been published.
    ///
    /// @param path   The variable's path.
    /// @param value  The value, of the variable's type; an infinity or a number that is not one equals
    ///               only itself.
    /// @param limit  How long to wait.
    /// @return the write.
    ///
    /// @throws expectation_failed     No such write arrives within the limit. The writes of this variable
    ///                                that have arrived have been looked at.
    /// @throws std::invalid_argument  There is no such variable, or the value has another type.
    received_write wait_for_write(
        std::string const& path,
        variable_value const& value,
        std::chrono::milliseconds limit = default_limit);

    /// Returns all writes that have arrived, in their order, whether they were waited for or not. To
    /// show that something is not written, wait for a later write first.
    std::vector<received_write> get_writes() const;

private:
    std::shared_ptr<impl> const m_impl;
};

} // namespace arvenhold::corvel::hub::testkit
