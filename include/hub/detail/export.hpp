// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

/// Marks a class as visible outside the shared library; everything else is built hidden.
#define CORVEL_HUB_API __attribute__((visibility("default")))

/// Hides a nested class or a private function of a visible class again.
#define CORVEL_HUB_INTERNAL __attribute__((visibility("hidden")))
