// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/changed_options.hpp"
#include "support/case_name.hpp"
#include "support/fake_nats.hpp"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

class changed_options_test : public testing::Test {
protected:
    changed_options_test() {
        natsOptions* created = nullptr;
        natsOptions_Create(&created);
        options.reset(created);
        nats.forget_calls();
    }

    fake_nats nats;
    nats_options options;
};

TEST_F(changed_options_test, are_none_by_default) {
    auto const result = set_changed_options(options.get(), {});

    EXPECT_EQ(result.status, NATS_OK);
    EXPECT_THAT(nats.calls(), IsEmpty());
}

TEST_F(changed_options_test, leave_the_url_alone_by_default) {
    EXPECT_EQ(set_servers(options.get(), "nats://hub", {}), NATS_OK);

    EXPECT_THAT(nats.calls(), ElementsAre("natsOptions_SetURL nats://hub"));
}

TEST_F(changed_options_test, put_further_servers_after_the_url) {
    auto const chosen = connect_options{}.set_further_servers({"nats://b", "nats://c"});

    EXPECT_EQ(set_servers(options.get(), "nats://a", chosen), NATS_OK);

    EXPECT_THAT(
        nats.calls(),
        ElementsAre(
            "natsOptions_SetNoRandomize true",
            "natsOptions_SetServers nats://a nats://b nats://c"));
}

TEST_F(changed_options_test, let_the_nats_client_mix_the_servers) {
    auto const chosen =
        connect_options{}.set_further_servers({"nats://b"}).set_randomize_servers(true);

    EXPECT_EQ(set_servers(options.get(), "nats://a", chosen), NATS_OK);

    EXPECT_THAT(
        nats.calls(),
        ElementsAre(
            "natsOptions_SetNoRandomize false", "natsOptions_SetServers nats://a nats://b"));
}

TEST_F(changed_options_test, end_with_the_first_that_is_refused) {
    nats.fail_next("natsOptions_SetReconnectWait", NATS_NO_MEMORY);
    auto const chosen = connect_options{}.set_reconnect_wait(1ms).set_ping_interval(1ms);

    auto const result = set_changed_options(options.get(), chosen);

    EXPECT_EQ(result.status, NATS_NO_MEMORY);
    EXPECT_EQ(result.refused_file, "");
    EXPECT_THAT(nats.calls(), ElementsAre("natsOptions_SetReconnectWait 1"));
}

TEST_F(changed_options_test, name_the_file_that_cannot_be_used) {
    nats.fail_next("natsOptions_LoadCATrustedCertificates", NATS_SSL_ERROR);

    auto const result =
        set_changed_options(options.get(), connect_options{}.set_tls_ca_file("/ca.pem"));

    EXPECT_EQ(result.status, NATS_SSL_ERROR);
    EXPECT_EQ(result.refused_file, "/ca.pem");
}

TEST_F(changed_options_test, name_the_authorities_of_the_token_endpoint_that_cannot_be_used) {
    nats.fail_next("natsOptions_LoadCATrustedCertificates", NATS_SSL_ERROR);

    auto const result = set_changed_options(
        options.get(), connect_options{}.set_token_endpoint_check(true, "/tokens.pem"));

    EXPECT_EQ(result.status, NATS_SSL_ERROR);
    EXPECT_EQ(result.refused_file, "/tokens.pem");
}

TEST_F(changed_options_test, name_no_file_if_there_is_no_memory_to_try_it) {
    nats.fail_next("natsOptions_Create", NATS_NO_MEMORY);

    auto const result = set_changed_options(
        options.get(), connect_options{}.set_token_endpoint_check(true, "/tokens.pem"));

    EXPECT_EQ(result.status, NATS_NO_MEMORY);
    EXPECT_EQ(result.refused_file, "");
}

struct changed_option {
    char const* name;
    connect_options chosen;
    std::vector<std::string> calls;
};

class each_changed_option : public changed_options_test,
                            public testing::WithParamInterface<changed_option> {};

TEST_P(each_changed_option, reaches_the_nats_client) {
    auto const result = set_changed_options(options.get(), GetParam().chosen);

    EXPECT_EQ(result.status, NATS_OK);
    EXPECT_THAT(nats.calls(), ElementsAreArray(GetParam().calls));
}

INSTANTIATE_TEST_SUITE_P(
    of_all,
    each_changed_option,
    testing::Values(
        changed_option{
            "send_immediately",
            connect_options{}.set_send_immediately(true),
            {"natsOptions_SetSendAsap true"}},
        changed_option{
            "unlimited_attempts",
            connect_options{}.set_reconnect_attempts(connect_options::unlimited_attempts),
            {"natsOptions_SetMaxReconnect -1"}},
        changed_option{
            "wait",
            connect_options{}.set_reconnect_wait(3s),
            {"natsOptions_SetReconnectWait 3000"}},
        changed_option{
            "jitter",
            connect_options{}.set_reconnect_jitter(5ms, 1s),
            {"natsOptions_SetReconnectJitter 5 1000"}},
        changed_option{
            "tls_jitter",
            connect_options{}.set_reconnect_jitter(100ms, 7ms),
            {"natsOptions_SetReconnectJitter 100 7"}},
        changed_option{
            "no_buffer",
            connect_options{}.set_reconnect_buffer(0),
            {"natsOptions_SetReconnectBufSize 0"}},
        changed_option{
            "failing_requests",
            connect_options{}.set_fail_requests_while_disconnected(true),
            {"natsOptions_SetFailRequestsOnDisconnect true"}},
        changed_option{
            "ping_interval",
            connect_options{}.set_ping_interval(5s),
            {"natsOptions_SetPingInterval 5000"}},
        changed_option{
            "unanswered_pings",
            connect_options{}.set_unanswered_pings(1),
            {"natsOptions_SetMaxPingsOut 1"}},
        changed_option{
            "connect_time_limit",
            connect_options{}.set_connect_time_limit(4s),
            {"natsOptions_SetTimeout 4000"}},
        changed_option{
            "tls", connect_options{}.set_tls_required(true), {"natsOptions_SetSecure true"}},
        changed_option{
            "authorities",
            connect_options{}.set_tls_ca_file("/ca.pem"),
            {"natsOptions_SetSecure true", "natsOptions_LoadCATrustedCertificates /ca.pem"}},
        changed_option{
            "client_certificate",
            connect_options{}.set_tls_client_certificate("/c.pem", "/k.pem"),
            {"natsOptions_SetSecure true", "natsOptions_LoadCertificatesChain /c.pem /k.pem"}},
        changed_option{
            "authorities_of_the_token_endpoint",
            connect_options{}.set_token_endpoint_check(true, "/tokens.pem"),
            {"natsOptions_Create",
             "natsOptions_LoadCATrustedCertificates /tokens.pem",
             "natsOptions_Destroy"}},
        changed_option{
            "token_endpoint_check", connect_options{}.set_token_endpoint_check(true), {}},
        changed_option{"token_proxy", connect_options{}.set_token_proxy("http://proxy:3128"), {}},
        changed_option{
            "host_name",
            connect_options{}.set_tls_host_name("hub"),
            {"natsOptions_SetSecure true", "natsOptions_SetExpectedHostname hub"}},
        changed_option{
            "pool",
            connect_options{}.set_delivery_pool_size(3),
            {"nats_SetMessageDeliveryPoolSize 3"}}),
    case_name);

} // namespace

} // namespace arvenhold::corvel::hub
