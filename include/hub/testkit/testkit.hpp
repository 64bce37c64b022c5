// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/testkit/captured_diagnostics.hpp>
#include <hub/testkit/local_hub.hpp>
#include <hub/testkit/scripted_consumer.hpp>
#include <hub/testkit/scripted_provider.hpp>
#include <hub/testkit/waiting.hpp>

/// For tests of programs that use the library: a hub on this machine, and peers that a test plays.
namespace arvenhold::corvel::hub::testkit {}
