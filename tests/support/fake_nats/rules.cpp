// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/fake_nats/rules.hpp"

#include <utility>

namespace arvenhold::corvel::hub::fakes {

void rule_checks::mark_destroyed(handle_record& record, std::string_view function) {
    if (std::exchange(record.is_destroyed, true)) {
        m_violations.push_back(std::string{function} + ": destroyed twice: " + record.name);
    }
}

void rule_checks::require_no_request(
    connection_record const& connection, std::string_view function) {
    if (connection.requests_in_flight != 0) {
        m_violations.push_back(std::string{function} + ": a request is in flight");
    }
}

void rule_checks::require_no_subscription(
    connection_record const& connection, std::deque<subscription_record> const& subscriptions) {
    for (auto const& subscription : subscriptions) {
        if (subscription.connection == &connection && !subscription.is_destroyed) {
            m_violations.push_back(
                "natsConnection_Destroy: a subscription is left: " + subscription.name);
        }
    }
}

void rule_checks::require_flush(subscription_record const& subscription) {
    if (!subscription.connection->is_closed && !subscription.is_flushed) {
        m_violations.push_back(
            "natsSubscription_Destroy: the connection is open, and no flush came after "
            "unsubscribing: "
            + subscription.name);
    }
}

std::vector<std::string> rule_checks::drain() {
    return std::exchange(m_violations, {});
}

bool rule_checks::is_alive(handle_record const& record, std::string_view function) {
    if (record.is_destroyed) {
        m_violations.push_back(
            std::string{function} + ": used after it was destroyed: " + record.name);
    }
    return !record.is_destroyed;
}

} // namespace arvenhold::corvel::hub::fakes
