// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/certificates.hpp"
#include "support/raw_http_server.hpp"
#include "support/self_signed_endpoint.hpp"
#include "watched_hub.hpp"

namespace arvenhold::corvel::hub {

namespace {

using testing::ElementsAre;
using testing::StartsWith;

constexpr int connected = -1;
constexpr int not_authorized = 11;

class client_with_a_token_endpoint : public hub_for_options {
protected:
    [[nodiscard]] std::string granted() const {
        return R"({"access_token":")" + hub.nats_server.get_token() + R"("})";
    }

    template <class Client>
    int status_of(Client& client, std::string const& endpoint, connect_options const& options) {
        return thrown_status([&] {
            client.connect(
                hub.nats_server.get_url(), endpoint, "developer", "developer-secret", options);
        });
    }

    provider boiler{"boiler"};
    consumer panel{"panel", false, nullptr, nullptr};
};

TEST_F(client_with_a_token_endpoint, obtains_its_token_through_the_proxy) {
    play_registry_and_boiler();
    raw_http_server proxy{[this](auto& client) {
        client.send(http_reply(granted()));
    }};
    auto const options =
        connect_options{}.set_token_proxy("http://127.0.0.1:" + std::to_string(proxy.get_port()));

    EXPECT_EQ(status_of(boiler, "http://tokens.invalid/token", options), connected);
    EXPECT_EQ(status_of(panel, "http://tokens.invalid/token", options), connected);

    auto const through_the_proxy = StartsWith("POST http://tokens.invalid/token HTTP/1.1");
    EXPECT_THAT(proxy.get_requests(), ElementsAre(through_the_proxy, through_the_proxy));
}

TEST_F(client_with_a_token_endpoint, accepts_a_certificate_of_the_chosen_authority) {
    play_registry_and_boiler();
    certificate_authority const authority;
    self_signed_endpoint const endpoint{granted(), authority.make("endpoint", "IP:127.0.0.1")};
    auto const options = connect_options{}.set_token_endpoint_check(true, authority.file());

    EXPECT_EQ(status_of(boiler, endpoint.get_url(), options), connected);
    EXPECT_EQ(status_of(panel, endpoint.get_url(), options), connected);
}

TEST_F(client_with_a_token_endpoint, refuses_a_certificate_of_another_authority_or_host) {
    certificate_authority const authority;
    certificate_authority const other;
    self_signed_endpoint const endpoint{granted(), authority.make("endpoint", "IP:127.0.0.1")};
    self_signed_endpoint const elsewhere{granted(), authority.make("elsewhere", "DNS:elsewhere")};
    auto const options = connect_options{}.set_token_endpoint_check(true, authority.file());
    auto const other_options = connect_options{}.set_token_endpoint_check(true, other.file());

    EXPECT_EQ(status_of(boiler, endpoint.get_url(), other_options), not_authorized);
    EXPECT_EQ(status_of(panel, endpoint.get_url(), other_options), not_authorized);
    EXPECT_EQ(status_of(boiler, elsewhere.get_url(), options), not_authorized);
    EXPECT_EQ(status_of(panel, elsewhere.get_url(), options), not_authorized);
}

TEST_F(client_with_a_token_endpoint, accepts_any_certificate_by_default) {
    play_registry_and_boiler();
    self_signed_endpoint const endpoint{granted()};

    EXPECT_EQ(status_of(boiler, endpoint.get_url(), {}), connected);
    EXPECT_EQ(status_of(panel, endpoint.get_url(), {}), connected);
}

} // namespace

} // namespace arvenhold::corvel::hub
