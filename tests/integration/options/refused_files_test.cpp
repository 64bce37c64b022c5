// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/loopback_socket.hpp"
#include "support/certificates.hpp"
#include "support/thrown_message.hpp"
#include <hub/hub.hpp>

#include <gmock/gmock.h>

#include <fstream>
#include <string>

namespace arvenhold::corvel::hub {

namespace {

using testing::EndsWith;

// Options with files, and two ports that show whether anything was opened.
class refused_file : public testing::Test {
protected:
    certificate_authority const authority;
    certificate_files const own = authority.make("client", "DNS:client");
    temporary_folder const folder;
    std::string const missing = folder.file("missing.pem");

    [[nodiscard]] std::string make_unusable_file() const {
        auto file = folder.file("unusable.pem");
        std::ofstream{file} << "no certificate";
        return file;
    }

    // What both roles throw, without opening anything.
    std::string refusal_of(connect_options const& options) {
        provider boiler{"boiler"};
        consumer panel{"panel", false, nullptr, nullptr};
        auto const boilers = refusal_of(boiler, options);
        auto const panels = refusal_of(panel, options);
        EXPECT_EQ(after_last_colon(boilers), after_last_colon(panels));
        EXPECT_FALSE(is_reached(m_server) || is_reached(m_token_endpoint));
        return panels;
    }

private:
    dev::file_descriptor const m_server = dev::listen_on_loopback(0);
    dev::file_descriptor const m_token_endpoint = dev::listen_on_loopback(0);

    template <class Client>
    std::string refusal_of(Client& client, connect_options const& options) {
        return thrown_message<connection_failed>([&] {
            client.connect(
                dev::make_nats_url(dev::get_port(m_server)),
                "http://127.0.0.1:" + std::to_string(dev::get_port(m_token_endpoint)) + "/token",
                "developer",
                "developer-secret",
                options);
        });
    }

    static std::string after_last_colon(std::string const& text) {
        return text.substr(text.rfind(':') + 1);
    }

    static bool is_reached(dev::file_descriptor const& listener) {
        return dev::accept_connection(listener).get() >= 0;
    }
};

TEST_F(refused_file, is_the_one_with_authorities_for_the_server) {
    auto const refusal = refusal_of(connect_options{}.set_tls_ca_file(missing));

    EXPECT_THAT(refusal, EndsWith("NATS returns: 29 = SSL Error (" + missing + ")\n"));
}

TEST_F(refused_file, is_the_one_with_authorities_for_the_token_endpoint) {
    auto const refusal = refusal_of(connect_options{}.set_token_endpoint_check(true, missing));

    EXPECT_THAT(refusal, EndsWith("NATS returns: 29 = SSL Error (" + missing + ")\n"));
}

TEST_F(refused_file, is_also_one_that_contains_no_authority) {
    auto const unusable = make_unusable_file();

    auto const refusal = refusal_of(connect_options{}.set_token_endpoint_check(true, unusable));

    EXPECT_THAT(refusal, EndsWith("NATS returns: 29 = SSL Error (" + unusable + ")\n"));
}

TEST_F(refused_file, is_the_certificate_that_is_missing) {
    auto const refusal = refusal_of(connect_options{}.set_tls_client_certificate(missing, own.key));

    EXPECT_THAT(refusal, EndsWith("NATS returns: 29 = SSL Error (" + missing + ")\n"));
}

TEST_F(refused_file, is_the_key_that_is_missing) {
    auto const refusal =
        refusal_of(connect_options{}.set_tls_client_certificate(own.certificate, missing));

    EXPECT_THAT(refusal, EndsWith("NATS returns: 29 = SSL Error (" + missing + ")\n"));
}

TEST_F(refused_file, is_one_of_two_that_do_not_belong_together) {
    auto const key = authority.make("other", "DNS:other").key;

    auto const refusal =
        refusal_of(connect_options{}.set_tls_client_certificate(own.certificate, key));

    EXPECT_THAT(
        refusal, EndsWith("NATS returns: 29 = SSL Error (" + own.certificate + ", " + key + ")\n"));
}

} // namespace

} // namespace arvenhold::corvel::hub
