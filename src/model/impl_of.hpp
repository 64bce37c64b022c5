// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace arvenhold::corvel::hub {

/// Returns the state of a list or a variable. Its public class has no data members, so applications
/// compile in nothing of its layout; the class `impl`, which derives from it, has all of them.
/// Every object is an `impl`, because the constructors of the public classes are private.
template <class Public>
typename Public::impl& impl_of(Public& object) {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-static-cast-downcast): see above
    return static_cast<typename Public::impl&>(object);
}

template <class Public>
typename Public::impl const& impl_of(Public const& object) {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-static-cast-downcast): see above
    return static_cast<typename Public::impl const&>(object);
}

} // namespace arvenhold::corvel::hub
