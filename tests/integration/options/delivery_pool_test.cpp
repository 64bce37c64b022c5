// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "watched_hub.hpp"

#include <filesystem>
#include <iterator>
#include <latch>

namespace arvenhold::corvel::hub {

namespace {

std::size_t count_threads() {
    std::filesystem::directory_iterator const threads{"/proc/self/task"};
    return static_cast<std::size_t>(std::distance(begin(threads), end(threads)));
}

class delivery_pool : public hub_for_options {
protected:
    delivery_pool() {
        play_registry_and_boiler();
        connect(panel, connect_options{}.set_delivery_pool_size(1));
    }

    static void publish_change(raw_peer& peer) {
        peer.publish(subjects::change_event, wire::change_event(77, {wire::item(1, 21.0)}));
    }

    consumer panel{"panel", false, nullptr, nullptr};
};

TEST_F(delivery_pool, needs_no_thread_for_a_connection) {
    auto const first = panel.attach_to_provider("boiler"); // the client's thread for requests
    auto const before = count_threads();

    auto const second = provider_connection::create("boiler", panel);

    EXPECT_EQ(count_threads(), before);
}

TEST_F(delivery_pool, delivers_changes_and_lets_callbacks_request) {
    auto const connection = panel.attach_to_provider("boiler");
    std::latch requested{1};
    connection->set_variables_changed_callback(
        [](auto /*fingerprint*/, auto /*changed*/, provider_connection& changed, void* user_data) {
            changed.update_all_variables();
            static_cast<std::latch*>(user_data)->count_down();
        },
        &requested);

    publish_change(hub.peer);

    requested.wait();
    EXPECT_EQ(connection->get_state(), provider_connection_state::connected);
}

} // namespace

} // namespace arvenhold::corvel::hub
