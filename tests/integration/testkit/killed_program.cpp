// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A test program that is killed while its hub runs. Prints the hub's URL first.

#include <hub/testkit/local_hub.hpp>

#include <future>
#include <iostream>

int main() {
    arvenhold::corvel::hub::testkit::local_hub hub;
    std::cout << hub.get_access().server_url << std::endl;
    std::promise<void>{}.get_future().wait(); // for the kill
}
