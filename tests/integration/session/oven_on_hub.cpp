// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "oven_on_hub.hpp"

#include <tuple>

namespace arvenhold::corvel::hub {

namespace {

// The default verdict is fast enough to come before a provider on a busy machine waits for it.
dev::dev_hub_options unhurried_hub() {
    dev::dev_hub_options options;
    options.registry.verdict_delay = std::chrono::milliseconds{50};
    options.registry.probe_interval = std::chrono::milliseconds{50};
    return options;
}

} // namespace

collected_diagnostics::collected_diagnostics() {
    set_diagnostics_callback(
        [](diagnostic const& report, void* user_data) {
            static_cast<collected_diagnostics*>(user_data)->texts.add(std::string{report.text});
        },
        this);
}

collected_diagnostics::~collected_diagnostics() {
    set_diagnostics_callback(nullptr, nullptr);
}

oven_on_hub::oven_on_hub()
    : hub{unhurried_hub()} {}

hub_access oven_on_hub::access() {
    return {
        hub.get_nats_server().get_url(),
        hub.get_token_endpoint().get_url(),
        "developer",
        "developer-secret",
        {}};
}

session_settings oven_on_hub::quick() {
    return session_settings{}
        .set_retry(std::chrono::milliseconds{10}, std::chrono::milliseconds{100})
        .set_ping(std::chrono::milliseconds{500}, 1);
}

std::optional<seen_variable> oven_on_hub::read(
    std::string const& path, std::string const& provider_id) {
    try {
        consumer reader{"reader", true, nullptr, nullptr};
        connect(reader);
        auto const connection = reader.attach_to_provider(provider_id);
        auto const variables = connection->get_current_variables();
        auto const variable = variables.find(path);
        auto const [value, when] = variable->get_value_with_timestamp();
        return seen_variable{value, variable->get_quality(), when};
    } catch (std::exception const&) {
        return std::nullopt;
    }
}

testing::AssertionResult oven_on_hub::sees(
    std::string const& path, seen_variable const& wanted, std::string const& id) {
    if (await([&] { return read(path, id) == wanted; })) {
        return testing::AssertionSuccess();
    }
    auto const seen = read(path, id);
    auto failure = testing::AssertionFailure() << path << " is ";
    if (!seen) {
        return failure << "not readable";
    }
    return failure << testing::PrintToString(seen->value) << ", "
                   << testing::PrintToString(seen->quality) << ", "
                   << seen->when.time_since_epoch().count();
}

void oven_on_hub::write(std::string const& path, variable_value const& value) {
    consumer writer{"writer", false, nullptr, nullptr};
    connect(writer);
    auto const connection = writer.attach_to_provider("oven");
    auto const variables = connection->get_current_variables();
    auto const variable = variables.find(path);
    variable->set_value(value, at_noon);
    connection->write_variables(variables.fingerprint, {variable->get_id()});
}

bool oven_on_hub::becomes(session_state state) {
    return await([&] { return oven->get_status().state == state; });
}

void oven_on_hub::start() {
    oven->start();
    ASSERT_TRUE(oven->wait_until_ready(patience)) << oven->get_status().text;
}

} // namespace arvenhold::corvel::hub
