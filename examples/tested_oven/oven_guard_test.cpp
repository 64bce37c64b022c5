// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Tests a consumer, with GoogleTest: the test plays the provider.

#include "oven_guard.hpp"

#include <hub/testkit/testkit.hpp>

#include <gtest/gtest.h>

namespace hub = arvenhold::corvel::hub;
namespace testkit = arvenhold::corvel::hub::testkit;

namespace {

class oven_guard_test : public testing::Test {
protected:
    testkit::captured_diagnostics diagnostics;
    testkit::local_hub local_hub{testkit::server_kind::in_process}; // needs no nats-server
    testkit::scripted_provider oven{local_hub, "oven"};

    oven_guard_test() {
        oven.offers("temperature", 20.0);
        oven.offers("heating", true, hub::writable);
        oven.start();
    }

    static void wait_until_calm(oven_guard const& guard) {
        testkit::wait_until("the end of the alarm", [&] { return !guard.is_alarmed(); });
    }

    static void wait_until_alarmed(oven_guard const& guard) {
        testkit::wait_until("the alarm", [&] { return guard.is_alarmed(); });
    }
};

TEST_F(oven_guard_test, switches_the_heating_off_when_the_oven_is_too_hot) {
    oven_guard const guard{local_hub.get_access()};
    wait_until_calm(guard);

    oven.holds("temperature", 251.0);

    oven.wait_for_write("heating", false);
    wait_until_alarmed(guard);
}

TEST_F(oven_guard_test, leaves_the_heating_on_while_the_oven_is_not_too_hot) {
    oven_guard const guard{local_hub.get_access()};
    wait_until_calm(guard);

    oven.holds("temperature", 250.0);
    oven.holds(
        "temperature", 251.0); // what is written afterwards shows what was not written before

    oven.wait_for_write("heating", false);
    EXPECT_EQ(oven.get_writes().size(), 1);
}

TEST_F(oven_guard_test, raises_the_alarm_while_the_temperature_is_bad) {
    oven_guard const guard{local_hub.get_access()};
    wait_until_calm(guard);

    oven.holds("temperature", 20.0, hub::variable_quality::bad);
    wait_until_alarmed(guard);

    oven.holds("temperature", 20.0);
    wait_until_calm(guard);
}

TEST_F(oven_guard_test, raises_the_alarm_while_the_oven_is_lost) {
    oven_guard const guard{local_hub.get_access()};
    wait_until_calm(guard);

    oven.vanish();
    wait_until_alarmed(guard);

    oven.start();
    wait_until_calm(guard);
}

TEST_F(oven_guard_test, raises_the_alarm_while_the_server_is_away) {
    oven_guard const guard{local_hub.get_access()};
    wait_until_calm(guard);

    local_hub.begin_fault(testkit::fault::server_away);
    wait_until_alarmed(guard);

    local_hub.end_fault(testkit::fault::server_away);
    wait_until_calm(guard);
}

} // namespace
