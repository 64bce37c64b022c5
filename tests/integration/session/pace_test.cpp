// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "oven_on_hub.hpp"

#include "dev_hub/event_log.hpp"
#include "dev_hub/nats_server.hpp"
#include <hub/session/consumer_session.hpp>

#include <cstddef>

namespace arvenhold::corvel::hub {

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

// Sessions of both kinds that share the process's pace.
class paced_oven : public oven_on_hub {
protected:
    dev::event_log log{nullptr};

    // Every two of all requests so far are at least as many seconds apart as the pace wants. The
    // tolerance is for the time from the session to the endpoint's clock.
    void expect_pace() {
        constexpr std::chrono::seconds distance{1};
        constexpr std::chrono::milliseconds tolerance{400};
        auto const requests = hub.get_token_endpoint().get_requests();
        for (std::size_t later = 1; later < requests.size(); ++later) {
            for (std::size_t earlier = 0; earlier < later; ++earlier) {
                EXPECT_GE(
                    requests[later].when - requests[earlier].when,
                    distance * static_cast<int>(later - earlier) - tolerance)
                    << "requests " << earlier << " and " << later << " of " << requests.size();
            }
        }
    }

    [[nodiscard]] bool requests_more_tokens(std::size_t count) {
        auto const& endpoint = hub.get_token_endpoint();
        return endpoint.wait_until_requested(endpoint.get_requests().size() + count, patience);
    }

    // The access, also to another server.
    [[nodiscard]] hub_access access_with(dev::nats_server const& further) {
        auto both = access();
        both.options.set_further_servers({further.get_url()});
        return both;
    }
};

TEST_F(paced_oven, shares_the_pace_with_all_sessions_through_an_outage) {
    provider_session mixer{"mixer", access(), quick()};
    provider_session pump{"pump", access(), quick()};
    consumer_session panel{"panel", access(), quick()};
    consumer_session logger{"logger", access(), quick()};
    consumer_session display{"display", access(), quick()};
    auto const call_all = [&](auto const& called) {
        return called(*oven) && called(mixer) && called(pump) && called(panel) && called(logger)
            && called(display);
    };
    auto const start = [](auto& session) {
        session.start();
        return true;
    };
    auto const becomes_ready = [](auto& session) {
        return session.wait_until_ready(patience);
    };
    auto const becomes_degraded = [](auto& session) {
        return await([&] { return session.get_status().state == session_state::degraded; });
    };
    call_all(start);
    ASSERT_TRUE(call_all(becomes_ready));

    hub.get_nats_server().kill();
    ASSERT_TRUE(call_all(becomes_degraded));
    hub.get_nats_server().start();

    EXPECT_TRUE(call_all(becomes_ready));
    expect_pace();
    EXPECT_THAT(diagnostics.texts.get(), Not(Contains(HasSubstr("too many token requests"))));
}

TEST_F(paced_oven, keeps_the_pace_while_every_server_denies_access) {
    dev::nats_server const other{{}, log};
    hub.get_token_endpoint().answer_with({.body = {R"({"access_token":"unknown"})"}});
    provider_session mixer{"mixer", access_with(other), quick()};
    consumer_session panel{"panel", access_with(other), quick()};
    mixer.start();
    panel.start();

    ASSERT_TRUE(requests_more_tokens(6));

    expect_pace();
}

TEST_F(paced_oven, reaches_the_server_that_accepts_its_token_after_one_that_does_not) {
    dev::nats_server const denying{{}, log};
    auto mixed = access_with(hub.get_nats_server());
    mixed.server_url = denying.get_url();
    provider_session mixer{"mixer", mixed, quick()};
    consumer_session panel{"panel", mixed, quick()};
    mixer.start();
    panel.start();

    EXPECT_TRUE(mixer.wait_until_ready(patience)) << mixer.get_status().text;
    EXPECT_TRUE(panel.wait_until_ready(patience)) << panel.get_status().text;
    expect_pace();
}

} // namespace

} // namespace arvenhold::corvel::hub
