// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "boiler_test.hpp"
#include "provider/provider_impl.hpp"
#include "support/provider_messages.hpp"

namespace arvenhold::corvel::hub {

namespace {

using testing::IsEmpty;

class provider_impl : public boiler_test {
protected:
    std::shared_ptr<provider::impl> const subject =
        std::make_shared<provider::impl>(boiler, "boiler");
};

// A callback that was let in before disconnect() may run after it.
TEST_F(provider_impl, reports_no_lost_connection_while_it_is_not_connected) {
    subject->nats_dcon_callback();

    EXPECT_THAT(errors.text(), IsEmpty());
}

TEST_F(provider_impl, keeps_waiting_for_a_verdict_when_another_session_ends) {
    subject->connect("nats://hub:4222", "http://hub/token", "id", "secret", {});
    boiler_definition definition{7};
    auto registered = std::async(
        std::launch::async, [&] { return subject->register_provider_definition(definition); });
    ASSERT_TRUE(nats.wait_until_published(subjects::definition, 1));

    for (int wakes = 0; wakes < 20; ++wakes) {
        subject->wake_waits();
        EXPECT_EQ(registered.wait_for(std::chrono::milliseconds{1}), std::future_status::timeout);
    }

    EXPECT_NO_THROW(with_verdict(verdict_on(7, 1), [&] { return registered.get(); }));
    subject->disconnect();
}

} // namespace

} // namespace arvenhold::corvel::hub
