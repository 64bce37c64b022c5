// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/detail/export.hpp>

namespace arvenhold::corvel::hub {

/// Initializes libcurl for the process when the library is loaded, and cleans it up at exit.
///
/// @par Thread safety
/// All operations may be called from any thread.
class CORVEL_HUB_API corvel_hub_client_lib_initializer {
public:
    corvel_hub_client_lib_initializer(corvel_hub_client_lib_initializer const&) = delete;
    corvel_hub_client_lib_initializer& operator=(corvel_hub_client_lib_initializer const&) = delete;

    /// Returns the only instance; the first call creates it.
    static corvel_hub_client_lib_initializer& get_instance();

private:
    corvel_hub_client_lib_initializer();
    ~corvel_hub_client_lib_initializer();
};

} // namespace arvenhold::corvel::hub
