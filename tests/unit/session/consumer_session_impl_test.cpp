// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/consumer_session_impl.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

// A session without a hub. An operation of its attaches to a provider when the link is closed already;
// the application keeps what it follows.
class session_without_link : public testing::Test {
protected:
    // Returns what ends with the attachment.
    [[nodiscard]] std::weak_ptr<void> attach() const {
        auto owner = std::make_shared<int>();
        auto& provider = *followed->named.provider;
        provider.adopt({owner, nullptr}, {}, provider.count_losses());
        return owner;
    }

    std::shared_ptr<consumer_session::impl> session = std::make_shared<consumer_session::impl>(
        "watcher", hub_access{}, session_settings{}, variable_permissions::read_only);
    std::shared_ptr<followed_variables::impl> followed =
        session->follow({path_pattern{"oven"}, path_pattern{"**"}, std::nullopt}, 0);
};

TEST_F(session_without_link, releases_what_is_attached_when_it_stops) {
    session->start();
    auto const attached = attach();

    session->end();

    EXPECT_TRUE(attached.expired());
}

} // namespace

} // namespace arvenhold::corvel::hub
