// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "boiler_test.hpp"

#include <stdexcept>

namespace arvenhold::corvel::hub {

boiler_test::boiler_test() {
    nats.skip_token_handler();
}

void boiler_test::connect() {
    boiler.connect("nats://hub:4222", "http://hub/token", "id", "secret");
}

std::shared_ptr<variable_list> boiler_test::register_boiler(definition_fingerprint fingerprint) {
    return with_verdict(verdict_on(fingerprint, 1), [&] {
        boiler_definition definition{fingerprint};
        return boiler.register_provider_definition(definition);
    });
}

std::shared_ptr<variable_list> boiler_test::start() {
    connect();
    auto list = register_boiler(7);
    boiler.publish(noon);
    nats.forget_calls();
    return list;
}

void boiler_test::deliver_verdict(std::string const& bytes, std::size_t misalignment) {
    nats.deliver({.subject = subjects::verdict, .bytes = bytes, .misalignment = misalignment});
}

std::string boiler_test::last_published(char const* subject) const {
    auto const published = nats.published(subject);
    if (published.empty()) {
        throw std::runtime_error{std::string{"nothing was published on "} + subject};
    }
    return published.back().bytes;
}

} // namespace arvenhold::corvel::hub
