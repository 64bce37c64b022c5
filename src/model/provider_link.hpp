// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>

#include <atomic>
#include <string>

namespace arvenhold::corvel::hub {

/// What a variable_list needs of its provider. The list shares it, so that the provider's state
/// is not destroyed during a call, and is notified when the provider itself is gone.
///
/// Called by the list with its own lock released, on any thread.
class provider_link {
public:
    provider_link() = default;
    provider_link(provider_link const&) = delete;
    provider_link& operator=(provider_link const&) = delete;
    virtual ~provider_link() = default;

    /// Returns whether the provider has been destroyed.
    bool is_gone() const {
        return m_gone;
    }

    /// Returns the provider's identifier; valid as long as the link.
    virtual std::string const& get_identifier() const = 0;

    /// As provider::get_fingerprint().
    virtual definition_fingerprint get_fingerprint() = 0;

    /// As provider::publish().
    virtual void publish(timestamp when) = 0;

protected:
    /// Called when the provider is destroyed. It then releases its list, as the two share each
    /// other.
    void mark_gone() {
        m_gone = true;
    }

private:
    // Read without a lock: a thread that reads it too early finds the provider disconnected.
    std::atomic<bool> m_gone{false};
};

} // namespace arvenhold::corvel::hub
