// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/certificates.hpp"
#include "watched_hub.hpp"

namespace arvenhold::corvel::hub {

namespace {

constexpr int no_tls = 8;
constexpr int tls_failed = 29;

// A server that lets in only clients with a certificate.
class encrypted_link : public hub_for_options {
protected:
    static std::string configuration(
        certificate_files const& own, certificate_authority const& authority) {
        return "tls { cert_file: \"" + own.certificate + "\", key_file: \"" + own.key
             + "\", ca_file: \"" + authority.file() + "\", verify: true }\n";
    }

    int status_with(connect_options const& options) {
        return thrown_status([&] {
            boiler.connect(
                server.get_url(),
                hub.token_endpoint.get_url(),
                "developer",
                "developer-secret",
                options);
        });
    }

    connect_options complete() {
        return connect_options{}
            .set_tls_ca_file(authority.file())
            .set_tls_client_certificate(client.certificate, client.key);
    }

    certificate_authority const authority;
    certificate_files const client = authority.make("client", "DNS:client");
    dev::nats_server server{
        {.token = hub.nats_server.get_token(),
         .more_configuration = configuration(authority.make("server", "IP:127.0.0.1"), authority)},
        hub.log};
    provider boiler{"boiler"};
};

TEST_F(encrypted_link, is_opened_with_authority_and_certificate) {
    EXPECT_EQ(status_with(complete()), -1);

    EXPECT_TRUE(boiler.is_connected());
}

TEST_F(encrypted_link, is_refused_without_a_certificate) {
    EXPECT_NE(status_with(connect_options{}.set_tls_ca_file(authority.file())), -1);

    EXPECT_FALSE(boiler.is_connected());
}

TEST_F(encrypted_link, is_refused_to_a_server_of_another_authority) {
    certificate_authority const other;

    EXPECT_EQ(status_with(complete().set_tls_ca_file(other.file())), tls_failed);
    EXPECT_EQ(status_with(connect_options{}), tls_failed);
}

TEST_F(encrypted_link, is_refused_to_a_server_of_another_name) {
    EXPECT_EQ(status_with(complete().set_tls_host_name("another-host")), tls_failed);
}

TEST_F(encrypted_link, is_required) {
    EXPECT_EQ(
        thrown_status([this] { connect(boiler, connect_options{}.set_tls_required(true)); }),
        no_tls);
}

} // namespace

} // namespace arvenhold::corvel::hub
