// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/child_process.hpp"
#include "playing.hpp"
#include "support/limited_threads.hpp"

#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <stdexcept>

namespace arvenhold::corvel::hub::testkit {
namespace {

using testing::AnyOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr auto missing = "no-such-server was not found; the Debian package nats-server has it: "
                         "apt-get install nats-server";

bool is_reachable(hub_access const& access) {
    captured_diagnostics const silence;
    try {
        consumer client{"client", true, nullptr, nullptr};
        connect(client, access);
    } catch (connection_failed const&) {
        return false;
    }
    return true;
}

std::size_t count_threads() {
    namespace fs = std::filesystem;
    std::size_t count = 0;
    for ([[maybe_unused]] auto const& thread : fs::directory_iterator{"/proc/self/task"}) {
        ++count;
    }
    return count;
}

bool has_children() {
    siginfo_t ignored{};
    return ::waitid(P_ALL, 0, &ignored, WEXITED | WNOHANG | WNOWAIT) == 0 || errno != ECHILD;
}

/// Returns whether the hub was started; otherwise waits until nothing of it runs any more.
bool starts_with_threads(int threads, server_kind kind) {
    auto const before = count_threads();
    limited_threads const limit{threads};
    try {
        local_hub const hub{kind};
        return true;
    } catch (hub_unavailable const& failure) {
        // The NATS client does not report what it lacks.
        EXPECT_THAT(
            failure.what(), AnyOf(StartsWith("cannot start a thread: "), EndsWith("System Error")));
    }
    EXPECT_TRUE(limit.has_run_out());
    EXPECT_FALSE(has_children());
    // A thread is listed for a moment after it was joined.
    wait_until(
        "the end of all threads", [&] { return count_threads() == before; }, patience);
    return false;
}

/// A hub that the test starts itself.
class hub_alone : public testing::TestWithParam<server_kind> {};

INSTANTIATE_TEST_SUITE_P(with, hub_alone, both_servers, server_name);
INSTANTIATE_TEST_SUITE_P(with, oven_test, both_servers, server_name);

TEST(why_unavailable, is_empty_where_the_server_is_installed) {
    EXPECT_EQ(why_unavailable(), "");
}

TEST(why_unavailable, names_the_cure) {
    EXPECT_EQ(why_unavailable("no-such-server"), missing);
    EXPECT_THAT(why_unavailable("/nowhere/nats-server"), HasSubstr("was not found"));
}

TEST(local_hub, without_a_server_fails_with_the_same_text) {
    EXPECT_EQ(
        thrown_message<hub_unavailable>([] { local_hub const hub{"no-such-server"}; }), missing);
    EXPECT_THROW(local_hub{"/nowhere/nats-server"}, hub_unavailable);
}

TEST_P(hub_alone, leaves_nothing_running_when_a_thread_is_missing) {
    EXPECT_TRUE(
        starts_with_threads(1'000, GetParam())); // the NATS client keeps some of its threads

    int enough = 0;
    while (enough < 1'000 && !starts_with_threads(enough, GetParam())) {
        ++enough;
    }

    EXPECT_GT(enough, 10); // those of the token endpoint alone
}

TEST_P(hub_alone, admits_programs_as_soon_as_it_exists) {
    local_hub hub{GetParam()};

    EXPECT_TRUE(is_reachable(hub.get_access()));
    EXPECT_TRUE(is_reachable(hub.get_access("another-program")));
}

TEST_P(hub_alone, runs_beside_another_one) {
    local_hub one{GetParam()};
    local_hub other{GetParam()};

    EXPECT_NE(one.get_access().server_url, other.get_access().server_url);
    EXPECT_TRUE(is_reachable(one.get_access()));
    EXPECT_TRUE(is_reachable(other.get_access()));
}

TEST_P(hub_alone, gives_each_program_credentials_of_its_own) {
    local_hub hub{GetParam()};

    auto const one = hub.get_access("one");
    auto const other = hub.get_access("other");

    EXPECT_EQ(one.client_id, "one");
    EXPECT_NE(one.client_secret, other.client_secret);
    EXPECT_EQ(one.client_secret, hub.get_access("one").client_secret);
}

TEST_P(hub_alone, refuses_client_ids_that_do_not_fit_into_a_url) {
    local_hub hub{GetParam()};

    EXPECT_EQ(
        thrown_message<std::invalid_argument>([&] { hub.get_access("my program"); }),
        "a client id consists of letters, digits, '-', '_' and '.', unlike \"my program\"");
    EXPECT_THROW(hub.get_access(""), std::invalid_argument);
}

TEST_P(hub_alone, leaves_nothing_behind) {
    auto hub = std::make_optional<local_hub>(GetParam());
    auto const access = hub->get_access();

    hub.reset();

    EXPECT_FALSE(is_reachable(access));
}

TEST(local_hub, leaves_nothing_behind_when_the_test_program_is_killed) {
    dev::child_process const program{CORVEL_HUB_KILLED_PROGRAM, {}};
    ASSERT_TRUE(program.wait_until_output_contains("\n", patience));
    auto const url = program.get_output().substr(0, program.get_output().find('\n'));
    // Whether the token is right does not matter: only a server that listens refuses it.
    auto const gives_an_answer = [&] {
        captured_diagnostics const silence;
        return thrown_message<connection_failed>([&] {
                   consumer client{"client", true, nullptr, nullptr};
                   client.connect(url, "http://127.0.0.1:1/token", "", "");
               }).find("No server available")
            == std::string::npos;
    };
    ASSERT_TRUE(gives_an_answer());

    program.send_signal(SIGKILL);

    wait_until(
        "the end of the server", [&] { return !gives_an_answer(); }, patience);
}

TEST_P(hub_alone, lives_as_long_as_its_peers) {
    auto hub = std::make_optional<local_hub>(GetParam());
    scripted_provider oven{*hub, "oven"};
    scripted_consumer panel{*hub, "panel"};
    oven.offers("temperature", 20.0);

    hub.reset();

    oven.start();
    EXPECT_NO_THROW(panel.attach("oven", patience));
}

TEST_P(oven_test, is_listed_while_it_is_on_the_hub) {
    EXPECT_THAT(hub.get_providers(), IsEmpty());

    oven.start();
    hub.wait_until_listed("oven", patience);
    EXPECT_THAT(hub.get_providers(), ElementsAre("oven"));

    oven.vanish();
    hub.wait_until_gone("oven", patience);
    EXPECT_THAT(hub.get_providers(), IsEmpty());
}

TEST_P(oven_test, that_is_missing_is_named_with_those_that_are_not) {
    EXPECT_EQ(
        thrown_message<expectation_failed>([&] { hub.wait_until_listed("pump", no_time); }),
        "awaited for 20 ms: the provider pump on the hub\n"
        "  seen: the hub has the providers (none)");

    oven.start();
    EXPECT_EQ(
        thrown_message<expectation_failed>([&] { hub.wait_until_gone("oven", no_time); }),
        "awaited for 20 ms: the loss of the provider oven\n"
        "  seen: the hub has the providers oven");
}

TEST_P(oven_test, leaves_its_traces_in_the_hubs_history) {
    oven.start();

    EXPECT_THAT(hub.get_history(), Contains("definition accepted: oven"));
}

} // namespace
} // namespace arvenhold::corvel::hub::testkit
