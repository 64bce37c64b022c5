// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>

#include <string>

namespace arvenhold::corvel::hub {

/// What a variable_list needs of its provider. The list holds it weakly, so that it notices when
/// the provider is gone, and for the length of one call strongly, so that the provider's state
/// cannot vanish under the call.
///
/// Called by the list with its own lock released, on any thread.
class provider_link {
public:
    provider_link() = default;
    provider_link(provider_link const&) = delete;
    provider_link& operator=(provider_link const&) = delete;
    virtual ~provider_link() = default;

    /// Returns the provider's identifier; valid as long as the link.
    virtual std::string const& get_identifier() const = 0;

    /// As provider::get_fingerprint().
    virtual definition_fingerprint get_fingerprint() = 0;

    /// As provider::publish().
    virtual void publish(timestamp when) = 0;
};

} // namespace arvenhold::corvel::hub
