// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "oven_on_hub.hpp"
#include "support/limited_memory.hpp"

#include <optional>

namespace arvenhold::corvel::hub {

namespace {

class oven_with_little_memory : public oven_on_hub {
protected:
    std::optional<limited_memory> limit; // of the session's thread, which handlers run on
    recorded<session_state> told;
};

TEST_F(oven_with_little_memory, is_given_numbers_without_memory_after_the_first_one) {
    auto const temperature = oven->declare<double>("temperature", 20.0);
    start();
    temperature.set(21.0, good, at_noon);
    ASSERT_TRUE(sees("temperature", {21.0, good, at_noon}));

    {
        limited_memory const nothing_left{0};
        temperature.set(22.0, good, at_one);
        EXPECT_FALSE(nothing_left.has_run_out());
    }

    EXPECT_TRUE(sees("temperature", {22.0, good, at_one}));
}

TEST_F(oven_with_little_memory, is_ready_again_when_there_is_memory_again) {
    auto const temperature = oven->declare<double>("temperature", 20.0);
    oven->set_status_handler([this](session_status const& status) {
        limit.reset();
        if (status.state != session_state::ready) {
            return;
        }
        auto const is_first = told.get().empty();
        told.add(status.state);
        if (is_first) {
            limit.emplace(0, 8); // some for the loss, the others for watches
        }
    });
    start();
    ASSERT_TRUE(told.wait_for_count(1));

    hub.get_nats_server().restart();
    temperature.set(21.0, good, at_noon);

    ASSERT_TRUE(told.wait_for_count(2));
    EXPECT_TRUE(sees("temperature", {21.0, good, at_noon}));
}

TEST_F(oven_with_little_memory, is_stopped_and_destroyed_without_memory) {
    start();

    {
        limited_memory const none{0};
        oven->stop();
        oven.reset();
    }

    EXPECT_TRUE(hub.get_registry().wait_until_provider_gone("oven", patience));
}

} // namespace

} // namespace arvenhold::corvel::hub
