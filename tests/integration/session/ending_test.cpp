// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "oven_on_hub.hpp"

#include <future>
#include <stdexcept>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

class ended_oven : public oven_on_hub {
protected:
    variable_handle<double> temperature = oven->declare<double>("temperature", 20.0);
    std::promise<void> handled;
};

TEST_F(ended_oven, leaves_the_hub_and_stays_stopped) {
    start();

    oven->stop();

    EXPECT_EQ(oven->get_status().state, session_state::stopped);
    EXPECT_EQ(oven->get_status().reason, session_reason::stop_requested);
    EXPECT_FALSE(oven->wait_until_ready(patience)); // at once
    EXPECT_TRUE(hub.get_registry().wait_until_provider_gone("oven", patience));
    EXPECT_THROW(oven->start(), std::logic_error);
}

TEST_F(ended_oven, records_what_is_set_afterwards_even_without_a_session) {
    start();
    oven->stop();
    temperature.set(21.0);
    oven.reset();

    temperature.set(22.0);

    EXPECT_EQ(temperature.get(), 22.0);
}

TEST_F(ended_oven, need_never_have_been_started) {
    oven->stop();
    oven->stop();

    EXPECT_EQ(oven->get_status().state, session_state::stopped);
}

TEST_F(ended_oven, may_be_stopped_by_its_handler) {
    oven->set_status_handler([this](session_status const&) {
        oven->stop();
        handled.set_value();
    });
    oven->start();
    handled.get_future().wait();

    EXPECT_EQ(oven->get_status().state, session_state::stopped);
    EXPECT_TRUE(hub.get_registry().wait_until_provider_gone("oven", patience));
}

TEST_F(ended_oven, may_be_destroyed_by_its_handler) {
    oven->set_status_handler([this](session_status const&) {
        oven.reset();
        handled.set_value();
    });
    oven->start();
    handled.get_future().wait();

    EXPECT_TRUE(hub.get_registry().wait_until_provider_gone("oven", patience));
}

TEST_F(ended_oven, may_be_destroyed_by_a_handler_of_a_write_request) {
    static_cast<void>(
        oven->declare<double>("set_point", 150.0, writable, [this](write_request<double> request) {
            oven.reset();
            request.accept();
            handled.set_value();
        }));
    start();
    write("set_point", 160.0);

    handled.get_future().wait();
    EXPECT_TRUE(hub.get_registry().wait_until_provider_gone("oven", patience));
}

TEST_F(ended_oven, may_be_stopped_by_several_threads_at_once) {
    start();
    std::vector<std::future<void>> stops;
    for (int thread = 0; thread < 4; ++thread) {
        stops.push_back(std::async(std::launch::async, [this] { oven->stop(); }));
    }
    for (auto& stop : stops) {
        stop.get();
    }

    EXPECT_EQ(oven->get_status().state, session_state::stopped);
}

TEST_F(ended_oven, does_not_wait_for_a_verdict_that_never_comes) {
    hub.get_registry().set_verdict_copies(0);
    oven->start();
    ASSERT_TRUE(await([this] { return hub.get_registry().get_definition("oven").has_value(); }));

    auto stopped = std::async(std::launch::async, [this] { oven.reset(); });

    // The wait for a verdict takes 15 s.
    EXPECT_EQ(stopped.wait_for(std::chrono::seconds{10}), std::future_status::ready);
}

TEST_F(ended_oven, may_be_destroyed_at_any_time_while_values_are_set) {
    for (int round = 0; round < 20; ++round) {
        oven = std::make_unique<provider_session>("oven", access(), quick());
        auto const changing = oven->declare<double>("temperature", 20.0);
        std::atomic<bool> done{false};
        auto setter = std::async(std::launch::async, [&] {
            while (!done) {
                changing.set(21.0);
            }
        });
        oven->start();
        if (round % 4 == 3) {
            oven->wait_until_ready(std::chrono::milliseconds{100 * round});
        }
        oven.reset();
        done = true;
        setter.get();
    }
}

} // namespace

} // namespace arvenhold::corvel::hub
