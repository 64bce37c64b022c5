// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/work_thread.hpp"
#include "support/limited_memory.hpp"

#include <gmock/gmock.h>

#include <future>
#include <latch>
#include <memory>
#include <optional>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::IsEmpty;

class running_thread : public testing::Test {
protected:
    std::vector<int> ran; // by the thread
    work_thread thread;

    running_thread() {
        thread.start();
    }

    void post(int number) {
        thread.post([this, number] { ran.push_back(number); });
    }

    // Waits until everything posted before has run.
    void settle() {
        std::promise<void> done;
        thread.post([&] { done.set_value(); });
        done.get_future().wait();
    }
};

TEST_F(running_thread, runs_work_in_its_order) {
    post(1);
    post(2);
    post(3);
    settle();

    EXPECT_THAT(ran, ElementsAre(1, 2, 3));
}

TEST_F(running_thread, knows_itself) {
    bool inside = false;
    thread.post([&] { inside = thread.is_current(); });
    settle();

    EXPECT_TRUE(inside);
    EXPECT_FALSE(thread.is_current());
}

TEST_F(running_thread, runs_timed_work_in_the_order_of_the_times) {
    std::promise<void> done;
    auto const now = steady_clock::now();
    thread.post_at(now + std::chrono::milliseconds{20}, [&] {
        ran.push_back(2);
        done.set_value();
    });
    thread.post_at(now + std::chrono::milliseconds{10}, [&] { ran.push_back(1); });
    done.get_future().wait();

    EXPECT_THAT(ran, ElementsAre(1, 2));
    EXPECT_GE(steady_clock::now(), now + std::chrono::milliseconds{20});
}

TEST_F(running_thread, repeats_work_without_memory) {
    std::optional<limited_memory> limit; // the thread's
    std::promise<bool> has_run_out;
    int count = 0;

    thread.repeat(std::chrono::milliseconds{1}, [&] {
        ++count;
        if (count == 1) {
            limit.emplace(0);
        } else if (count == 5) {
            auto const missed = limit->has_run_out();
            limit.reset();
            has_run_out.set_value(missed);
        }
    });
    EXPECT_FALSE(has_run_out.get_future().get());

    thread.stop();
    thread.join();
}

TEST_F(running_thread, repeats_work_no_sooner_than_after_the_interval) {
    std::promise<void> done;
    auto const begin = steady_clock::now();
    int count = 0;

    thread.repeat(std::chrono::milliseconds{10}, [&] {
        if (++count == 3) {
            thread.stop();
            done.set_value();
        }
    });
    done.get_future().wait();
    thread.join();

    EXPECT_GE(steady_clock::now(), begin + std::chrono::milliseconds{20});
    EXPECT_EQ(count, 3);
}

TEST_F(running_thread, destroys_repeated_work_when_it_stops) {
    auto const held = std::make_shared<int>();
    std::promise<void> begun;
    std::latch stopped{1};
    thread.repeat(std::chrono::hours{1}, [held, &begun, &stopped] {
        begun.set_value();
        stopped.wait();
    });
    begun.get_future().wait();
    thread.stop();
    stopped.count_down();
    thread.join();

    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(running_thread, begins_nothing_after_stop_not_even_of_what_was_posted_together) {
    std::latch posted{1};
    thread.post([&] { posted.wait(); });
    thread.post([this] {
        thread.post_at(steady_clock::now(), [this] { ran.push_back(2); });
        thread.stop();
    });
    post(1);
    posted.count_down();

    thread.join();
    post(3);

    EXPECT_THAT(ran, IsEmpty());
}

TEST_F(running_thread, destroys_what_it_does_not_run_any_more) {
    auto const held = std::make_shared<int>();
    std::latch posted{1};
    thread.post([&] { posted.wait(); });
    thread.post([held] {});
    thread.post_at(steady_clock::now() + std::chrono::hours{1}, [held] {});
    thread.stop();
    posted.count_down();
    thread.join();

    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(running_thread, finishes_what_was_posted_and_then_the_last_work) {
    std::latch posted{1};
    thread.post([&] { posted.wait(); });
    post(1);
    thread.finish([this] { ran.push_back(2); });
    post(3);
    posted.count_down();

    thread.join();

    EXPECT_THAT(ran, ElementsAre(1, 2));
}

TEST_F(running_thread, finishes_without_memory) {
    {
        limited_memory const none{0};
        thread.finish([this] { ran.push_back(1); });
    }
    thread.join();

    EXPECT_THAT(ran, ElementsAre(1));
}

TEST_F(running_thread, may_be_joined_by_its_own_work_and_by_several_threads) {
    thread.post([this] {
        thread.stop();
        thread.join();
        ran.push_back(1);
    });
    auto other = std::async(std::launch::async, [this] { thread.join(); });
    thread.join();
    other.get();

    EXPECT_THAT(ran, ElementsAre(1));
}

TEST(work_thread, may_be_destroyed_by_its_own_work) {
    auto owned = std::make_unique<work_thread>();
    auto& thread = *owned;
    std::promise<void> done;
    thread.start();

    thread.post([&] {
        owned.reset();
        done.set_value();
    });
    done.get_future().wait();

    EXPECT_EQ(owned, nullptr);
}

TEST(work_thread, runs_what_was_posted_before_its_start) {
    std::promise<void> done;
    work_thread thread;
    thread.post([&] { done.set_value(); });

    thread.start();

    done.get_future().wait();
}

TEST(work_thread, need_not_be_started) {
    auto const held = std::make_shared<int>();
    {
        work_thread thread;
        thread.post([held] {});
        thread.join();
    }
    EXPECT_EQ(held.use_count(), 1);
}

} // namespace

} // namespace arvenhold::corvel::hub
