// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "locks/small_mutex.hpp"
#include "support/await.hpp"

#include <gtest/gtest.h>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <latch>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

// Returns whether a thread of this process sleeps in the kernel.
bool is_asleep(pid_t thread) {
    std::ifstream status{"/proc/self/task/" + std::to_string(thread) + "/stat"};
    std::string const line{std::istreambuf_iterator{status}, {}};
    auto const end_of_name = line.rfind(')');
    return end_of_name != std::string::npos && line.substr(end_of_name + 2, 1) == "S";
}

// A thread that locks the mutex, counts that, and unlocks it again.
class visitor {
public:
    visitor(small_mutex& mutex, int& visits)
        : m_thread{[this, &mutex, &visits] {
            m_id = gettid();
            std::scoped_lock const lock{mutex};
            ++visits;
        }} {}

    [[nodiscard]] bool falls_asleep() const {
        return await([this] { return m_id != 0 && is_asleep(m_id); });
    }

private:
    std::atomic<pid_t> m_id{0};
    std::jthread m_thread; // last, as it uses the others
};

// From now on the kernel refuses to interrupt other threads for this one and those that it creates.
void enter_sandbox() {
    constexpr auto number = static_cast<std::uint32_t>(offsetof(seccomp_data, nr));
    std::array<sock_filter, 4> rules{{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, number),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_membarrier, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    }};
    sock_fprog const program{static_cast<unsigned short>(rules.size()), rules.data()};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0
        || prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
        throw std::runtime_error{"no sandbox"};
    }
}

TEST(small_mutex, is_small) {
    EXPECT_EQ(sizeof(small_mutex), 8U);
}

TEST(small_mutex, lets_one_thread_in_at_a_time) {
    constexpr int visitors = 4;
    constexpr int visits_of_each = 20'000;
    small_mutex mutex;
    int visits = 0;
    std::latch all_started{visitors};
    {
        std::vector<std::jthread> threads;
        for (int visitor = 0; visitor < visitors; ++visitor) {
            threads.emplace_back([&] {
                all_started.arrive_and_wait();
                for (int visit = 0; visit < visits_of_each; ++visit) {
                    std::scoped_lock const lock{mutex};
                    ++visits;
                    if (visit % 1'000 == 0) {
                        std::this_thread::yield(); // others may have to block
                    }
                }
            });
        }
    }

    EXPECT_EQ(visits, visitors * visits_of_each);
}

TEST(small_mutex, blocks_threads_that_wait_long_and_wakes_each_of_them) {
    small_mutex mutex;
    int visits = 0;
    {
        std::unique_lock lock{mutex};
        visitor const first{mutex, visits};
        visitor const second{mutex, visits};
        visitor const third{mutex, visits};

        EXPECT_TRUE(first.falls_asleep());
        EXPECT_TRUE(second.falls_asleep());
        EXPECT_TRUE(third.falls_asleep());
        EXPECT_EQ(visits, 0);
        lock.unlock();
    }

    EXPECT_EQ(visits, 3);
}

TEST(small_mutex, blocks_and_wakes_threads_in_a_sandbox_that_was_entered_later) {
    if (prctl(PR_GET_SECCOMP) < 0) { // NOLINT(*-vararg): it has no C function
        GTEST_SKIP() << "an emulator has no sandboxes";
    }
    auto const visit_in_sandbox = [] {
        enter_sandbox();
        small_mutex mutex;
        int visits = 0;
        {
            std::unique_lock lock{mutex};
            visitor const waiting{mutex, visits};
            if (!waiting.falls_asleep()) {
                std::_Exit(1);
            }
            lock.unlock();
        }
        std::_Exit(visits == 1 ? 0 : 2);
    };

    EXPECT_EXIT(visit_in_sandbox(), testing::ExitedWithCode(0), "^$");
}

} // namespace

// Every visit is longer than a thread spins, so that most of the others fall asleep.
TEST(small_mutex, loses_no_thread_that_falls_asleep_while_it_is_released) {
    constexpr int visitors = 4;
    constexpr int visits_of_each = 500;
    small_mutex mutex;
    int visits = 0;
    std::latch all_started{visitors};
    {
        std::vector<std::jthread> threads;
        for (int visitor = 0; visitor < visitors; ++visitor) {
            threads.emplace_back([&, length = std::chrono::microseconds{10 + 23 * visitor}] {
                all_started.arrive_and_wait();
                for (int visit = 0; visit < visits_of_each; ++visit) {
                    std::scoped_lock const lock{mutex};
                    ++visits;
                    auto const end = std::chrono::steady_clock::now() + length;
                    while (std::chrono::steady_clock::now() < end) {
                    }
                }
            });
        }
    }

    EXPECT_EQ(visits, visitors * visits_of_each);
}

} // namespace arvenhold::corvel::hub
