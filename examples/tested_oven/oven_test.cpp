// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Tests a provider, with Catch2: the test plays the consumer.

// NOLINTNEXTLINE(readability-identifier-naming): the framework asks for this name
#define CATCH_CONFIG_MAIN

#include "oven.hpp"

#include <hub/testkit/testkit.hpp>

#include <catch2/catch.hpp>

namespace hub = arvenhold::corvel::hub;
namespace testkit = arvenhold::corvel::hub::testkit;

namespace {

struct oven_on_hub {
    testkit::captured_diagnostics diagnostics;
    testkit::local_hub local_hub{testkit::server_kind::in_process}; // needs no nats-server
    oven under_test{local_hub.get_access()};
    testkit::scripted_consumer panel{local_hub, "panel"};

    oven_on_hub() {
        panel.attach("oven");
    }
};

TEST_CASE("An oven") {
    oven_on_hub test;

    SECTION("starts cold") {
        CHECK(test.panel.get_reading("temperature").value == hub::variable_value{20.0});
    }
    SECTION("takes set points up to 300") {
        CHECK(test.panel.write_and_confirm("set_point", 300.0) == hub::write_outcome::confirmed);
        CHECK(test.panel.write_and_confirm("set_point", 301.0) == hub::write_outcome::refused);
        CHECK(test.panel.get_reading("set_point").value == hub::variable_value{300.0});
    }
    SECTION("follows its set point") {
        test.panel.write_and_confirm("set_point", 100.0);

        test.under_test.run_cycle();

        test.panel.wait_for_value("temperature", 60.0);
    }
    SECTION("is back after a restart of the server") {
        test.panel.write_and_confirm("set_point", 100.0);

        test.local_hub.restart_server();

        test.panel.wait_until_stale();
        test.panel.wait_for_value("set_point", 100.0);
    }
}

} // namespace
