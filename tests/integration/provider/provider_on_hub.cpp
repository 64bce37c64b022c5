// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "provider_on_hub.hpp"

namespace arvenhold::corvel::hub {

namespace {

// The default is short enough for a busy machine to lose the verdict before the wait begins.
constexpr std::chrono::milliseconds unhurried_verdict{100};

} // namespace

void connect(
    provider& connecting, dev::nats_server const& server, dev::token_endpoint const& tokens) {
    connecting.connect(server.get_url(), tokens.get_url(), "developer", "developer-secret");
}

provider_on_dev_hub::provider_on_dev_hub() {
    hub.get_registry().set_verdict_delay(unhurried_verdict);
}

void provider_on_dev_hub::connect_boiler() {
    connect(boiler, hub.get_nats_server(), hub.get_token_endpoint());
}

void provider_on_bare_hub::connect_boiler() {
    connect(boiler, hub.nats_server, hub.token_endpoint);
}

void provider_on_bare_hub::publish_until_written(
    captured_stream const& stream,
    std::string_view line,
    std::string const& subject,
    std::string const& bytes,
    std::string const& reply_subject) {
    auto const deadline = std::chrono::steady_clock::now() + patience;
    while (!stream.wait_until_flushed(line, std::chrono::milliseconds{5})) {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "instead: " << stream.text();
        peer.publish(subject, bytes, reply_subject);
    }
}

std::shared_ptr<variable_list> provider_on_bare_hub::register_boiler(
    definition_fingerprint fingerprint) {
    return with_verdict(verdict_on(fingerprint, 1), [&] {
        boiler_definition definition{fingerprint};
        return boiler.register_provider_definition(definition);
    });
}

} // namespace arvenhold::corvel::hub
