// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include <hub/testkit/testkit.hpp>

#include <iostream>

namespace hub = arvenhold::corvel::hub;
namespace testkit = arvenhold::corvel::hub::testkit;

// Ends with 0 when a value travels through a hub that this program starts, and an exception of the
// kit is caught by its class.
int main() {
    testkit::local_hub local_hub;
    testkit::scripted_provider oven{local_hub, "oven"};
    oven.offers("set_point", 150.0, hub::writable);
    oven.start();
    testkit::scripted_consumer panel{local_hub, "panel"};
    panel.attach("oven");
    panel.write("set_point", 160.0);
    panel.wait_for_value("set_point", 160.0);
    try {
        oven.wait_for_write("set_point", 170.0, std::chrono::milliseconds{1});
    } catch (testkit::expectation_failed const& failure) {
        std::cout << failure.what() << '\n';
        return 0;
    }
    return 1;
}
