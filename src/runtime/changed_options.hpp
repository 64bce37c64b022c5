// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "runtime/nats_handles.hpp"
#include <hub/connect_options.hpp>

#include <string>

namespace arvenhold::corvel::hub {

/// What came of giving the NATS client the application's options.
struct options_result {
    natsStatus status = NATS_OK;
    std::string refused_file; ///< The file or files that could not be used; empty for none.
};

/// Gives the NATS client those of the application's options that differ from the defaults, up to
/// the first that it refuses. With the default options it calls nothing.
options_result set_changed_options(natsOptions* options, connect_options const& chosen);

/// Gives the NATS client the servers to try: `url` alone, or before the further ones.
natsStatus set_servers(natsOptions* options, std::string const& url, connect_options const& chosen);

} // namespace arvenhold::corvel::hub
