// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

/// The version of the headers; the library's file name carries the same numbers.
#define CORVEL_HUB_CLIENT_VERSION_MAJOR 0
#define CORVEL_HUB_CLIENT_VERSION_MINOR 2
#define CORVEL_HUB_CLIENT_VERSION_PATCH 0
