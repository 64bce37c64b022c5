// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/child_process.hpp"
#include "dev_hub/dev_hub_failure.hpp"
#include "support/raw_peer.hpp"
#include "support/thrown_message.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <memory>
#include <thread>

namespace arvenhold::corvel::hub::dev {
namespace {

using testing::EndsWith;
using testing::Optional;

TEST(child_process, gives_its_standard_input_and_collects_its_output) {
    child_process const child{"/bin/cat", {}, "some text"};

    EXPECT_TRUE(child.wait_until_ended(patience));
    EXPECT_EQ(child.get_output(), "some text");
}

TEST(child_process, collects_standard_error_as_well) {
    child_process const child{"/bin/sh", {"-c", "echo wrong >&2"}};

    EXPECT_TRUE(child.wait_until_output_contains("wrong\n", patience));
}

TEST(child_process, keeps_the_latest_part_of_a_long_output) {
    child_process const child{"/bin/sh", {"-c", "yes | head -c 100000; printf end"}};

    ASSERT_TRUE(child.wait_until_ended(patience));

    EXPECT_EQ(child.get_output().size(), 65536U);
    EXPECT_THAT(child.get_output(), EndsWith("y\nend"));
}

TEST(child_process, does_not_wait_for_output_of_a_program_that_has_ended) {
    child_process const child{"/bin/true", {}};
    auto const start = std::chrono::steady_clock::now();

    EXPECT_FALSE(child.wait_until_output_contains("anything", patience));

    EXPECT_LT(std::chrono::steady_clock::now() - start, patience);
    EXPECT_FALSE(child.is_running());
}

TEST(child_process, reports_the_exit_code) {
    child_process const child{"/bin/sh", {"-c", "exit 3"}};

    EXPECT_TRUE(child.wait_until_ended(patience));
    EXPECT_THAT(child.get_exit_code(), Optional(3));
}

TEST(child_process, reports_no_exit_code_of_a_program_that_a_signal_ended) {
    child_process const child{"/bin/cat", {"/dev/zero"}};

    child.send_signal(SIGKILL);

    EXPECT_TRUE(child.wait_until_ended(patience));
    EXPECT_EQ(child.get_exit_code(), std::nullopt);
}

TEST(child_process, says_why_a_program_cannot_be_started) {
    auto const start = [] {
        child_process const child{"/nowhere/program", {}};
    };

    EXPECT_EQ(
        thrown_message<dev_hub_failure>(start),
        "cannot start /nowhere/program: No such file or directory");
}

TEST(child_process, refuses_a_standard_input_that_would_block) {
    auto const start = [] {
        child_process const child{"/bin/cat", {}, std::string(4097, 'x')};
    };

    EXPECT_EQ(
        thrown_message<dev_hub_failure>(start),
        "the standard input for a program does not fit into a pipe");
}

TEST(child_process, stands_still_while_frozen) {
    child_process const child{"/bin/cat", {"/dev/zero"}};

    child.freeze();

    std::ifstream status{"/proc/" + std::to_string(child.get_pid()) + "/stat"};
    std::string pid;
    std::string name;
    std::string state;
    status >> pid >> name >> state;
    EXPECT_EQ(state, "T");
}

TEST(child_process, is_not_frozen_when_it_has_ended) {
    child_process const child{"/bin/true", {}};
    ASSERT_TRUE(child.wait_until_ended(patience));

    child.freeze();

    EXPECT_FALSE(child.is_running());
}

TEST(child_process, is_killed_by_its_destructor) {
    auto child = std::make_unique<child_process>("/bin/sleep", std::vector<std::string>{"600"});
    auto const pid = child->get_pid();

    child.reset();

    EXPECT_EQ(::kill(pid, 0), -1);
    EXPECT_EQ(errno, ESRCH);
}

TEST(child_process, outlives_the_thread_that_started_it) {
    std::unique_ptr<child_process> child;
    std::thread{[&] {
        child = std::make_unique<child_process>("/bin/cat", std::vector<std::string>{"/dev/zero"});
    }}.join();

    // The signal that a thread's end would send is sent before join() returns.
    EXPECT_TRUE(child->is_running());
    EXPECT_FALSE(child->wait_until_ended(std::chrono::milliseconds{100}));
}

TEST(child_process, inherits_no_files_but_its_standard_ones) {
    auto const inheritable = ::dup(STDERR_FILENO);
    child_process const child{"/bin/ls", {"/proc/self/fd"}};
    ::close(inheritable);

    EXPECT_TRUE(child.wait_until_ended(patience));
    EXPECT_EQ(child.get_output(), "0\n1\n2\n3\n"); // the last one is the folder being read
}

TEST(child_process, runs_in_a_process_group_of_its_own) {
    child_process const child{"/bin/cat", {"/dev/zero"}};

    EXPECT_EQ(::getpgid(child.get_pid()), child.get_pid());
}

TEST(child_process, starts_with_no_signal_blocked) {
    sigset_t all{};
    sigfillset(&all);
    sigset_t previous{};
    ::pthread_sigmask(SIG_BLOCK, &all, &previous);

    child_process const child{"/bin/grep", {"SigBlk", "/proc/self/status"}};
    ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);

    EXPECT_TRUE(child.wait_until_ended(patience));
    EXPECT_EQ(child.get_output(), "SigBlk:\t0000000000000000\n");
}

TEST(find_executable, finds_programs_of_the_system_administrator) {
    EXPECT_THAT(find_executable("nats-server"), Optional(EndsWith("/nats-server")));
}

TEST(find_executable, finds_nothing_for_an_unknown_name) {
    EXPECT_EQ(find_executable("no-such-program-anywhere"), std::nullopt);
}

TEST(find_executable, takes_a_path_as_it_is) {
    EXPECT_THAT(
        find_executable("./somewhere/program"), Optional(std::string{"./somewhere/program"}));
}

} // namespace
} // namespace arvenhold::corvel::hub::dev
