// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Refused: a handler is a bool .*with the variable's own type

#include <hub/session/provider_session.hpp>

#include <functional>
#include <string>
#include <string_view>

using namespace arvenhold::corvel::hub;

bool accept(double wanted);

void misuse(provider_session& oven, std::function<bool(double)> const& chosen) {
#ifdef MUST_NOT_COMPILE
    oven.declare<double>("a", 150.0, writable, [](int wanted) { return wanted <= 300; });
#endif
    oven.declare<double>("b", 150.0, writable, [](double wanted) { return wanted <= 300.0; });
    oven.declare<double>(
        "c", 150.0, writable, [](double const& wanted) { return wanted <= 300.0; });
    oven.declare<double>("d", 150.0, writable, [](auto wanted) { return wanted <= 300.0; });
    oven.declare<double>("e", 150.0, writable, [](auto const& wanted) { return wanted <= 300.0; });
    oven.declare<double>("f", 150.0, writable, [last = 0.0](double wanted) mutable noexcept {
        last += wanted;
        return last <= 300.0;
    });
    oven.declare<double>("g", 150.0, writable, accept);
    oven.declare<double>("h", 150.0, writable, chosen);
    oven.declare<double>(
        "i", 150.0, writable, [](write_request<double> request) { request.accept(); });
    oven.declare<std::string>("j", "", writable, [](std::string const& s) { return !s.empty(); });
    oven.declare<std::string>("k", "", writable, [](std::string_view s) { return !s.empty(); });
}
