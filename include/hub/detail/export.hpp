// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

/// Marks a class as visible outside the shared library; everything else is built hidden.
#define CORVEL_HUB_API __attribute__((visibility("default")))

/// Takes a class that is nested in a visible one back out of sight.
#define CORVEL_HUB_INTERNAL __attribute__((visibility("hidden")))
