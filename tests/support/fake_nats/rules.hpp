// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "support/fake_nats/handles.hpp"

#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub::fakes {

/// Checks that the library obeys the NATS client's rules about handles, and collects violations.
/// The engine's mutex guards it.
class rule_checks {
public:
    /// Returns whether `function` may use the handle. A use after destruction is a violation; a null
    /// handle is not.
    template <class Handle>
    bool may_use(Handle* handle, std::string_view function) {
        return handle != nullptr && is_alive(record_of(handle), function);
    }

    /// Marks a handle as destroyed. A second destruction is a violation.
    void mark_destroyed(handle_record& record, std::string_view function);

    /// A connection may be closed or destroyed only if no request is in flight.
    void require_no_request(connection_record const& connection, std::string_view function);

    /// A connection may be destroyed only after its subscriptions.
    void require_no_subscription(
        connection_record const& connection, std::deque<subscription_record> const& subscriptions);

    /// A subscription may be destroyed only if its connection is closed, or after a flush that
    /// followed its end.
    void require_flush(subscription_record const& subscription);

    /// Returns the violations so far, and forgets them.
    std::vector<std::string> drain();

private:
    std::vector<std::string> m_violations;

    bool is_alive(handle_record const& record, std::string_view function);
};

} // namespace arvenhold::corvel::hub::fakes
