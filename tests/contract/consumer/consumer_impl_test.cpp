// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Callbacks that were let in before disconnect() may run after it.

#include "consumer/consumer_impl.hpp"
#include "consumer/provider_connection_impl.hpp"
#include "panel_test.hpp"

#include <gmock/gmock.h>

namespace arvenhold::corvel::hub {

namespace {

using testing::IsEmpty;

class late_callback : public panel_test {
protected:
    // Disconnected, but not known to the NATS client.
    std::unique_ptr<provider_connection::impl> make_disconnected() {
        auto connection = std::make_unique<provider_connection::impl>(
            *attach(), "boiler", consumer_link{.name = "panel"});
        connection->disconnect();
        return connection;
    }

    received_message message() {
        return {nats_message{nats.make_message({.subject = "late"})}, nullptr};
    }
};

TEST_F(late_callback, of_a_consumer_reports_no_lost_connection) {
    auto const unconnected =
        std::make_shared<consumer::impl>(panel, "panel", false, nullptr, nullptr);

    unconnected->nats_dcon_callback();

    EXPECT_THAT(error_output.text(), IsEmpty());
}

TEST_F(late_callback, of_a_connection_skips_a_change_event) {
    auto const disconnected = make_disconnected();

    disconnected->recv_variables_changed_sub_handler(message());

    EXPECT_EQ(
        error_output.flushed_text(),
        "Received a variables changed event, skipping it due to invalid provider connection "
        "state\n");
}

TEST_F(late_callback, of_a_connection_skips_a_definition_event) {
    auto const disconnected = make_disconnected();

    disconnected->recv_definition_changed_sub_handler(message());

    EXPECT_EQ(
        error_output.flushed_text(),
        "Received a provider definition event, skipping it due to invalid provider connection "
        "state\n");
}

} // namespace

} // namespace arvenhold::corvel::hub
