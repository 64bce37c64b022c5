// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>
#include <hub/detail/export.hpp>

#include <cstdint>

namespace arvenhold::corvel::hub {

/// Returns a fingerprint for one registration of a definition: `version` in the upper 32 bits, a
/// number that is new with every call in the lower 32. Call it once for each definition:
/// @code
/// hub::provider_definition definition{hub::make_fingerprint(3)};
/// @endcode
///
/// Both halves are needed. A consumer that holds a definition with the same fingerprint keeps its
/// variables, types and ids:
/// - If the set of variables has changed, the consumer shows wrong values as good. The version
///   prevents that even if two processes happen to draw the same lower half.
/// - If the set is registered again, its variables have new ids even if it is unchanged, and the
///   consumer faults its connection with the next change. The new lower half prevents that.
///
/// The lower half starts at a random number in each process. Within a process it does not repeat
/// before 2^31 calls. The result is never 0.
///
/// @param version  The version of the set of variables, or a hash of it. Change it whenever a
///                 variable is added, removed, moved or renamed, or gets another type or other
///                 permissions.
///
/// @throws std::exception  The system has no source of random numbers. Only the first call in a
///                         process that succeeds needs it.
///
/// @par Thread safety
/// May be called from any thread.
CORVEL_HUB_API definition_fingerprint make_fingerprint(std::uint32_t version);

} // namespace arvenhold::corvel::hub
