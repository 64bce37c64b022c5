// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "exchange_with_session.hpp"

#include <latch>
#include <stdexcept>

namespace arvenhold::corvel::hub {

namespace {

// Publishes 99 instead of whatever is written.
void publish_another_value(
    definition_fingerprint /*fingerprint*/,
    variable_write_command const& command,
    provider& receiver,
    void* user_data) {
    auto& list = static_cast<offering*>(user_data)->list;
    for (auto const& [id, value] : command.entries) {
        list->write_variable(id, 99.0, at_noon);
    }
    receiver.publish(at_noon);
}

class session_writes : public exchange_with_session {
protected:
    session_writes() {
        start_oven(77, 20.0);
        watcher.start();
        if (!becomes_live(set_point, 60.0)) {
            throw std::runtime_error{"the oven is not live"};
        }
    }

    // The text with which a write is refused.
    std::string refusal(std::string const& path, variable_value value, write_refusal reason) {
        try {
            watcher.write("oven", path, std::move(value));
        } catch (write_refused const& refused) {
            EXPECT_EQ(refused.get_reason(), reason);
            return refused.what();
        }
        return "not refused";
    }

    recorded<double> told;
    recorded<std::string> refusals;
    consumer_session watcher{"watcher", access(), quick_settings()};
    followed_variable<double> set_point = watcher.follow<double>("oven", "set_point");
};

TEST_F(session_writes, are_confirmed_when_the_provider_publishes_the_value) {
    oven->apply_writes();

    EXPECT_EQ(
        watcher.write_and_confirm("oven", "set_point", 70.0, std::chrono::seconds{30}),
        write_outcome::confirmed);

    EXPECT_TRUE(becomes_live(set_point, 70.0));
}

TEST_F(session_writes, are_refused_when_the_provider_publishes_another_value) {
    oven->sender.set_variables_written_callback(&publish_another_value, &*oven);

    EXPECT_EQ(
        watcher.write_and_confirm("oven", "set_point", 70.0, std::chrono::seconds{30}),
        write_outcome::refused);

    EXPECT_TRUE(becomes_live(set_point, 99.0));
}

TEST_F(session_writes, are_not_confirmed_and_not_shown_when_the_provider_does_nothing) {
    set_point.on_change([&](auto const& now) { told.add(now.value); });

    EXPECT_EQ(
        watcher.write_and_confirm("oven", "set_point", 70.0, std::chrono::milliseconds{300}),
        write_outcome::not_confirmed);

    EXPECT_EQ(set_point.now().value, 60.0);
    EXPECT_EQ(set_point.now().freshness, freshness::live);
    publish_temperature(21.0);
    oven->list->publish(oven->id_of("set_point"), 61.0, at_noon);
    ASSERT_TRUE(told.wait_for(61.0));
    EXPECT_THAT(told.get(), testing::Not(testing::Contains(70.0)));
}

TEST_F(session_writes, are_sent_without_waiting_for_a_confirmation) {
    oven->apply_writes();

    watcher.write("oven", "set_point", 70.0);

    EXPECT_TRUE(becomes_live(set_point, 70.0));
}

TEST_F(session_writes, are_not_sent_once_nobody_waits_for_their_outcome) {
    recorded<double> received;
    oven->apply_writes();
    std::latch is_called{1};
    std::latch may_continue{1};
    set_point.on_change([&](auto const& now) {
        received.add(now.value);
        if (now.value == 61.0) {
            is_called.count_down();
            may_continue.wait();
        }
    });
    oven->list->publish(oven->id_of("set_point"), 61.0, at_noon);
    is_called.wait();

    EXPECT_EQ(
        watcher.write_and_confirm("oven", "set_point", 70.0, std::chrono::milliseconds{1}),
        write_outcome::not_confirmed);
    may_continue.count_down();
    watcher.write("oven", "set_point", 80.0);

    ASSERT_TRUE(received.wait_for(80.0));
    EXPECT_THAT(received.get(), testing::Not(testing::Contains(70.0)));
    watcher.stop();
}

TEST_F(session_writes, are_refused_while_too_many_wait) {
    constexpr int most = 10'000;
    std::latch is_called{1};
    std::latch may_continue{1};
    set_point.on_change([&](auto const& now) {
        if (now.value == 61.0) {
            is_called.count_down();
            may_continue.wait(); // nothing is sent before
        }
    });
    oven->list->publish(oven->id_of("set_point"), 61.0, at_noon);
    is_called.wait();
    for (int written = 0; written < most; ++written) {
        watcher.write("oven", "set_point", 70.0);
    }

    EXPECT_EQ(
        refusal("set_point", 70.0, write_refusal::too_many_waiting),
        "cannot write set_point of provider oven: 10000 writes of the session have not been sent "
        "yet");

    may_continue.count_down();
    EXPECT_TRUE(await([this] {
        return refusal("set_point", 70.0, write_refusal::too_many_waiting) == "not refused";
    }));
    watcher.stop();
}

TEST_F(session_writes, do_not_delay_the_repair_of_a_later_loss) {
    constexpr std::chrono::milliseconds first_wait{50};
    consumer_session second{
        "second", access(), quick_settings().set_retry(first_wait, std::chrono::hours{24})};
    auto const followed = second.follow<double>("oven", "set_point");
    second.start();
    ASSERT_TRUE(becomes_live(followed, 60.0));
    oven->apply_writes();
    for (int written = 0; written < 20; ++written) {
        // On a busy machine the value may follow too late to count as confirmed.
        ASSERT_NE(
            second.write_and_confirm("oven", "set_point", 1.0 * written, patience),
            write_outcome::not_confirmed);
    }

    oven->offer(78, {{"set_point", 90.0, variable_permissions::read_write}});

    EXPECT_TRUE(becomes_live(followed, 90.0));
}

TEST_F(session_writes, are_refused_for_an_unknown_path) {
    EXPECT_EQ(
        refusal("pressure", 70.0, write_refusal::unknown_path),
        "cannot write pressure of provider oven: the provider has no variable with this path");
}

TEST_F(session_writes, are_refused_for_a_read_only_variable) {
    EXPECT_EQ(
        refusal("temperature", 70.0, write_refusal::read_only),
        "cannot write temperature of provider oven: the variable is read-only");
}

TEST_F(session_writes, are_refused_for_a_value_of_the_wrong_type) {
    EXPECT_EQ(
        refusal("set_point", std::int64_t{70}, write_refusal::wrong_type),
        "cannot write set_point of provider oven: its type is double, the given value is of type "
        "int64");
}

TEST_F(session_writes, are_refused_for_a_provider_that_is_lost) {
    oven.reset();
    ASSERT_TRUE(becomes_stale(set_point));

    EXPECT_EQ(
        refusal("set_point", 70.0, write_refusal::provider_not_live),
        "cannot write set_point of provider oven: the provider is not followed, or not live");
}

TEST_F(session_writes, are_refused_by_a_session_that_only_reads) {
    consumer_session reader{"reader", access(), quick_settings(), variable_permissions::read_only};

    try {
        reader.write("oven", "set_point", 70.0);
        FAIL() << "not refused";
    } catch (write_refused const& refused) {
        EXPECT_STREQ(
            refused.what(), "cannot write set_point of provider oven: the session is read-only");
    }
}

TEST_F(session_writes, are_not_waited_for_on_the_session_s_thread) {
    set_point.on_change([&](auto const& /*now*/) {
        try {
            watcher.write_and_confirm("oven", "set_point", 70.0, std::chrono::seconds{30});
        } catch (std::logic_error const& error) {
            refusals.add(error.what());
        }
    });

    oven->list->publish(oven->id_of("set_point"), 61.0, at_noon);

    EXPECT_TRUE(refusals.wait_for_count(1));
}

TEST_F(session_writes, end_unconfirmed_when_the_session_is_stopped) {
    set_point.on_change([&](auto const& now) {
        if (now.value == 61.0) {
            watcher.stop();
        }
    });
    oven->sender.set_variables_written_callback(
        [](auto /*fingerprint*/, auto const& /*command*/, provider& /*receiver*/, void* user_data) {
            auto& source = *static_cast<offering*>(user_data);
            source.list->publish(source.id_of("set_point"), 61.0, at_noon);
        },
        &*oven);

    EXPECT_NE(
        watcher.write_and_confirm("oven", "set_point", 70.0, std::chrono::seconds{30}),
        write_outcome::confirmed);
}

} // namespace

} // namespace arvenhold::corvel::hub
