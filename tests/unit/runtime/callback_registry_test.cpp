// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/callback_registry.hpp"
#include "support/await.hpp"

#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <future>
#include <latch>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

// Sets a flag and calls a function when it is destroyed.
class watched_object {
public:
    explicit watched_object(std::atomic<bool>& is_gone, std::function<void()> at_end = {})
        : m_is_gone{is_gone}
        , m_at_end{std::move(at_end)} {}

    watched_object(watched_object const&) = delete;
    watched_object& operator=(watched_object const&) = delete;

    ~watched_object() {
        if (m_at_end) {
            m_at_end();
        }
        m_is_gone = true;
    }

private:
    std::atomic<bool>& m_is_gone;
    std::function<void()> const m_at_end;
};

class registered_callback : public testing::Test {
protected:
    std::shared_ptr<callback_gate> const gate = std::make_shared<callback_gate>();
    std::shared_ptr<int> const object = std::make_shared<int>(7);
    callback_registration registration{gate, object};
};

TEST_F(registered_callback, gets_its_object) {
    callback_entry const entry{registration.closure()};

    EXPECT_EQ(entry.target(), object.get());
}

TEST_F(registered_callback, is_turned_away_after_withdrawal) {
    registration.withdraw();

    callback_entry const entry{registration.closure()};

    EXPECT_EQ(entry.target(), nullptr);
}

TEST_F(registered_callback, may_be_withdrawn_again) {
    registration.withdraw();
    registration.withdraw();

    EXPECT_EQ(callback_entry{registration.closure()}.target(), nullptr);
}

TEST_F(registered_callback, goes_on_when_it_is_withdrawn_meanwhile) {
    callback_entry const entry{registration.closure()};

    registration.withdraw();

    EXPECT_EQ(entry.target(), object.get());
}

TEST_F(registered_callback, is_turned_away_at_a_shut_gate) {
    gate->shut();

    EXPECT_EQ(callback_entry{registration.closure()}.target(), nullptr);
}

TEST(callback_of_a_number_never_given, is_turned_away) {
    EXPECT_EQ(callback_entry{nullptr}.target(), nullptr);
}

TEST(callback_of_a_destroyed_registration, is_turned_away) {
    auto const gate = std::make_shared<callback_gate>();
    auto const object = std::make_shared<int>(7);
    auto registration = std::make_optional<callback_registration>(gate, object);
    auto* const closure = registration->closure();

    registration.reset();

    EXPECT_EQ(callback_entry{closure}.target(), nullptr);
}

TEST(callback_of_a_destroyed_registration, does_not_reach_the_next_registration) {
    auto const gate = std::make_shared<callback_gate>();
    auto const object = std::make_shared<int>(7);
    auto registration = std::make_optional<callback_registration>(gate, object);
    auto* const closure = registration->closure();
    registration.emplace(gate, object);

    EXPECT_NE(registration->closure(), closure);
    EXPECT_EQ(callback_entry{closure}.target(), nullptr);
}

TEST(callback_of_an_object_that_is_gone, is_turned_away_and_leaves_the_gate_free) {
    auto const gate = std::make_shared<callback_gate>();
    auto object = std::make_shared<int>(7);
    callback_registration const registration{gate, object};
    object.reset();

    EXPECT_EQ(callback_entry{registration.closure()}.target(), nullptr);
    auto shut = std::async(std::launch::async, [&] { gate->shut(); });
    EXPECT_EQ(shut.wait_for(std::chrono::seconds{30}), std::future_status::ready);
}

TEST(callback_that_was_let_in, keeps_its_object_until_it_is_through) {
    auto const gate = std::make_shared<callback_gate>();
    std::atomic<bool> is_gone = false;
    auto object = std::make_shared<watched_object>(is_gone);
    callback_registration const registration{gate, object};
    {
        callback_entry const entry{registration.closure()};

        object.reset();

        EXPECT_NE(entry.target(), nullptr);
        EXPECT_FALSE(is_gone);
    }
    EXPECT_TRUE(is_gone);
}

TEST(callback_that_was_let_in, holds_up_the_gate_until_its_object_is_gone) {
    auto const gate = std::make_shared<callback_gate>();
    std::atomic<bool> is_gone = false;
    std::future<bool> was_gone_when_shut;
    auto object = std::make_shared<watched_object>(is_gone, [&] {
        was_gone_when_shut = std::async(std::launch::async, [&] {
            gate->shut();
            return is_gone.load();
        });
        // The gate has no reason to wait for this thread but the one under test.
        was_gone_when_shut.wait_for(std::chrono::milliseconds{20});
    });
    callback_registration const registration{gate, object};
    {
        callback_entry const entry{registration.closure()};
        object.reset();
    }

    EXPECT_TRUE(was_gone_when_shut.get());
}

TEST(callback_that_was_let_in, may_be_the_end_of_its_object_its_registration_and_its_gate) {
    std::atomic<bool> is_gone = false;
    auto gate = std::make_shared<callback_gate>();
    std::optional<callback_registration> registration;
    auto object = std::make_shared<watched_object>(is_gone, [&] {
        gate->shut(); // counts the callback that ends the object as its own
        registration.reset();
    });
    registration.emplace(gate, object);
    auto entry = std::make_optional<callback_entry>(registration->closure());
    object.reset();

    entry.reset();

    EXPECT_TRUE(is_gone);
    EXPECT_FALSE(registration.has_value());
}

TEST_F(registered_callback, holds_up_whoever_shuts_the_gate_in_another_thread) {
    std::atomic<bool> has_left = false;
    std::latch inside{1};
    std::thread callback{[&] {
        callback_entry const entry{registration.closure()};
        inside.count_down();
        // Others are turned away as soon as the gate is being shut.
        await([this] { return callback_entry{registration.closure()}.target() == nullptr; });
        has_left = true;
    }};
    inside.wait();

    gate->shut();

    EXPECT_TRUE(has_left);
    callback.join();
}

TEST_F(registered_callback, may_shut_its_own_gate) {
    callback_entry const outer{registration.closure()};
    callback_entry const inner{registration.closure()};

    gate->shut(); // would wait for ever if it counted the two

    EXPECT_EQ(callback_entry{registration.closure()}.target(), nullptr);
    EXPECT_EQ(outer.target(), object.get());
    EXPECT_EQ(inner.target(), object.get());
}

TEST_F(registered_callback, that_shuts_its_own_gate_waits_for_those_of_other_threads) {
    std::atomic<bool> has_left = false;
    std::latch inside{1};
    std::thread other{[&] {
        callback_entry const entry{registration.closure()};
        inside.count_down();
        await([this] { return callback_entry{registration.closure()}.target() == nullptr; });
        has_left = true;
    }};
    inside.wait();
    callback_entry const own{registration.closure()};

    gate->shut();

    EXPECT_TRUE(has_left);
    other.join();
}

TEST_F(registered_callback, does_not_hold_up_another_gate) {
    auto const other_gate = std::make_shared<callback_gate>();
    callback_registration const other_registration{other_gate, object};
    callback_entry const entry{registration.closure()};

    auto shut = std::async(std::launch::async, [&] { other_gate->shut(); });

    EXPECT_EQ(shut.wait_for(std::chrono::seconds{30}), std::future_status::ready);
    EXPECT_EQ(callback_entry{other_registration.closure()}.target(), nullptr);
}

TEST_F(registered_callback, leaves_room_for_the_next_one) {
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(callback_entry{registration.closure()}.target(), object.get());
    }

    gate->shut();
    gate->shut();
}

// Callbacks from four threads race with the end of the object that they are for, a thousand times.
// What the object lends them, here a plain variable, is written after the gate is shut: the thread
// sanitizer finds every callback that is still inside.
TEST(callbacks_of_many_threads, never_overlap_with_what_follows_shutting_the_gate) {
    constexpr int rounds = 1000;
    constexpr int callers = 4;
    std::atomic<void*> current = nullptr;
    std::atomic<bool> is_over = false;
    std::vector<std::thread> threads;
    for (int caller = 0; caller < callers; ++caller) {
        threads.emplace_back([&] {
            while (!is_over) {
                callback_entry const entry{current.load()};
                if (entry.target() != nullptr) {
                    EXPECT_EQ(**static_cast<int const* const*>(entry.target()), 7);
                }
            }
        });
    }

    for (int round = 0; round < rounds; ++round) {
        int lent = 7;
        auto object = std::make_shared<int*>(&lent);
        auto const gate = std::make_shared<callback_gate>();
        callback_registration registration{gate, object};
        current = registration.closure();
        std::this_thread::yield();
        if (round % 2 == 0) {
            registration.withdraw();
        }
        object.reset();
        gate->shut();
        lent = 0;
    }
    is_over = true;
    for (auto& thread : threads) {
        thread.join();
    }
}

} // namespace

} // namespace arvenhold::corvel::hub
