// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "oven_on_hub.hpp"

#include <atomic>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
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

TEST_F(ended_oven, drops_handlers_that_hold_its_own_handles) {
    auto const held = std::make_shared<int>();
    std::weak_ptr<int> const left = held;
    static_cast<void>(oven->declare<double>(
        "set_point", 150.0, writable, [temperature = temperature, held](double wanted) {
            temperature.set(wanted);
            return true;
        }));
    oven->set_write_handler([temperature = temperature, held](any_write_request) {});
    oven->set_status_handler([temperature = temperature, held](session_status const&) {});
    start();
    write("set_point", 160.0);
    ASSERT_TRUE(await([this] { return temperature.get() == 160.0; }));

    oven.reset();

    EXPECT_EQ(left.use_count(), 1) << "beside the one of this test";
}

TEST_F(ended_oven, handles_no_more_writes_after_one_that_has_stopped_it) {
    std::atomic<int> calls{0};
    static_cast<void>(oven->declare<double>("set_point", 150.0, writable, [&, this](double) {
        ++calls;
        oven->stop();
        return true;
    }));
    static_cast<void>(oven->declare<double>("pressure", 1.0, writable, [&](double) {
        ++calls;
        return true;
    }));
    start();
    consumer writer{"writer", false, nullptr, nullptr};
    connect(writer);
    auto const connection = writer.attach_to_provider("oven");
    auto const variables = connection->get_current_variables();
    auto const set_point = variables.find("set_point");
    auto const pressure = variables.find("pressure");
    set_point->set_value(160.0, at_noon);
    pressure->set_value(2.0, at_noon);

    connection->write_variables(variables.fingerprint, {set_point->get_id(), pressure->get_id()});

    ASSERT_TRUE(becomes(session_state::stopped));
    oven.reset();
    EXPECT_EQ(calls, 1);
}

TEST_F(ended_oven, ends_a_wait_without_a_limit) {
    auto waiting = std::async(std::launch::async, [this] {
        return oven->wait_until_ready(std::chrono::milliseconds::max());
    });

    oven->stop();

    EXPECT_FALSE(waiting.get());
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

TEST_F(ended_oven, may_be_set_while_it_declares_and_starts) {
    for (int round = 0; round < 20; ++round) {
        oven = std::make_unique<provider_session>("oven", access(), quick());
        auto const changing = oven->declare<double>("temperature", 20.0);
        std::atomic<bool> done{false};
        auto setter = std::async(std::launch::async, [&] {
            while (!done) {
                changing.set(21.0);
                oven->update([&](auto& cycle) { cycle.set(changing, 22.0); });
            }
        });
        for (int zone = 0; zone < 100; ++zone) {
            oven->declare<double>("zone/" + std::to_string(zone), 20.0);
        }
        oven->start();
        done = true;
        setter.get();
    }
}

} // namespace

} // namespace arvenhold::corvel::hub
