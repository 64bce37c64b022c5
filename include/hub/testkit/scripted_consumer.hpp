// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>
#include <hub/detail/export.hpp>
#include <hub/session/consumer_session.hpp>
#include <hub/session/reading.hpp>
#include <hub/testkit/local_hub.hpp>
#include <hub/testkit/waiting.hpp>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub::testkit {

/// A consumer that a test plays, for a program that provides.
///
/// @code
/// oven under_test{hub.get_access()};
/// testkit::scripted_consumer panel{hub, "panel"};
/// panel.attach("oven");
/// panel.write("set_point", 150.0);
/// panel.wait_for_value("set_point", 150.0);
/// @endcode
///
/// It shows only what the provider has published, never what it has written itself. It attaches
/// again by itself after every fault; a value counts only while it is live, see hub::freshness.
///
/// @par Ownership
/// Belongs to the test, and shares the hub.
///
/// @par Thread safety
/// All operations may be called from any thread.
class CORVEL_HUB_API scripted_consumer {
public:
    class CORVEL_HUB_INTERNAL impl; // the library's own

    /// Whether a reading is the awaited one.
    using condition = std::function<bool(any_reading const& now)>;

    /// Does not connect.
    ///
    /// @param hub   The hub.
    /// @param name  The consumer's name on the hub.
    scripted_consumer(local_hub& hub, std::string name);

    scripted_consumer(scripted_consumer const&) = delete;
    scripted_consumer& operator=(scripted_consumer const&) = delete;

    /// Disconnects.
    ///
    /// @par Blocking
    /// Usually a few milliseconds; up to 20 s if a fault makes an operation wait.
    ~scripted_consumer();

    /// Attaches to a provider, which need not be on the hub yet, and reads its variables.
    ///
    /// @param provider  The provider's identifier.
    /// @param limit     How long to wait.
    ///
    /// @throws expectation_failed  The values are not read within the limit. The consumer goes on
    ///                             trying.
    /// @throws std::logic_error    attach() was called before; use another consumer for another provider.
    void attach(std::string const& provider, std::chrono::milliseconds limit = default_limit);

    // -- reading ----------------------------------------------------------------------------------

    /// Returns what the consumer knows of a variable.
    ///
    /// @param path  The variable's path.
    ///
    /// @throws expectation_failed  No value of this path has been received; the text names the paths of
    ///                             the provider.
    any_reading get_reading(std::string const& path) const;

    /// Returns everything that was received of a variable, in its order: values, and each loss and
    /// return of the provider with the value before it. The latest ten thousand readings of all
    /// variables together are kept.
    ///
    /// @param path  The variable's path.
    std::vector<any_reading> get_readings(std::string const& path) const;

    /// Waits until a variable has a value, and the value is live.
    ///
    /// @param path   The variable's path.
    /// @param value  The value, of the variable's type.
    /// @param limit  How long to wait.
    /// @return the reading.
    ///
    /// @throws expectation_failed  The variable does not have the value within the limit.
    any_reading wait_for_value(
        std::string const& path,
        variable_value const& value,
        std::chrono::milliseconds limit = default_limit) const;

    /// Waits until a reading of a variable, live or not, fulfils a condition.
    ///
    /// @param path     The variable's path.
    /// @param awaited  What is awaited, for the failure text, as in "above 100".
    /// @param wanted   Called on this thread with the latest reading, at first and whenever something
    ///                 has been received.
    /// @param limit    How long to wait.
    /// @return the reading.
    ///
    /// @throws expectation_failed  The condition is not fulfilled within the limit.
    any_reading wait_for_reading(
        std::string const& path,
        std::string const& awaited,
        condition const& wanted,
        std::chrono::milliseconds limit = default_limit) const;

    /// Waits until all values of the provider are live.
    ///
    /// @param limit  How long to wait.
    ///
    /// @throws expectation_failed  They are not within the limit.
    void wait_until_live(std::chrono::milliseconds limit = default_limit) const;

    /// Waits until the values of the provider are stale: it is lost, or the link is.
    ///
    /// @param limit  How long to wait.
    ///
    /// @throws expectation_failed  They are not within the limit.
    void wait_until_stale(std::chrono::milliseconds limit = default_limit) const;

    // -- writing ----------------------------------------------------------------------------------

    /// Sends a value to the provider and waits for nothing.
    ///
    /// @param path   The variable's path.
    /// @param value  The value, of the variable's type.
    ///
    /// @throws write_refused  It cannot succeed, see consumer_session::write(). Nothing is sent.
    void write(std::string const& path, variable_value value);

    /// Sends a value and waits until the provider publishes it or another one.
    ///
    /// @param path   The variable's path.
    /// @param value  The value, of the variable's type.
    /// @param limit  How long to wait.
    /// @return what became of the value: confirmed, refused, or not confirmed within the limit.
    ///
    /// @throws write_refused  As for write().
    write_outcome write_and_confirm(
        std::string const& path,
        variable_value value,
        std::chrono::milliseconds limit = default_limit);

private:
    std::unique_ptr<impl> const m_impl;
};

} // namespace arvenhold::corvel::hub::testkit
