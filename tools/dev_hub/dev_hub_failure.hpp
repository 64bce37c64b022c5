// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The one exception type of the development hub.

#pragma once

#include <stdexcept>

namespace arvenhold::corvel::hub::dev {

/// Something that the hub needs is not available: a program, a port, a connection. The message says
/// what and, where it is known, how to fix it.
class dev_hub_failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace arvenhold::corvel::hub::dev
