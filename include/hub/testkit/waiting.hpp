// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/detail/export.hpp>

#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>

namespace arvenhold::corvel::hub::testkit {

/// How long the operations of the kit wait if a test gives no limit. Long enough for everything that
/// happens at all on a busy machine, except that a session notices a provider that hangs.
inline constexpr std::chrono::seconds default_limit{10};

/// Something that a test has waited for did not happen. what() names what was awaited, for how long,
/// and what was seen instead.
///
/// Every test framework reports an exception that leaves a test as a failure, with this text; so the
/// kit needs none of them.
class CORVEL_HUB_API expectation_failed : public std::runtime_error {
public:
    /// @param awaited  What was awaited, as in "the alarm is on".
    /// @param limit    How long it was awaited; zero if it was only looked at.
    /// @param seen     What was seen instead, in one line or several.
    expectation_failed(
        std::string const& awaited, std::chrono::milliseconds limit, std::string const& seen);
};

/// Waits for something in the program under test that nobody announces: calls `condition` every
/// millisecond until it returns true.
///
/// @code
/// testkit::wait_until("the alarm is on", [&] { return guard.is_alarmed(); });
/// @endcode
///
/// @param awaited    What is awaited, for the failure text.
/// @param condition  Called on this thread; an exception that leaves it leaves this function.
/// @param limit      How long to wait.
///
/// @throws expectation_failed  The condition has not become true within the limit.
///
/// @par Blocking
/// Up to `limit`, and as long as `condition` takes.
CORVEL_HUB_API void wait_until(
    std::string const& awaited,
    std::function<bool()> const& condition,
    std::chrono::milliseconds limit = default_limit);

} // namespace arvenhold::corvel::hub::testkit
