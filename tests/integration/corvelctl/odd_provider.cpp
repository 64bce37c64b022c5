// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A provider with values that are hard to show, and variables that take writes in their own way. A
// fifth argument is its identifier in place of "odd", a sixth the number of further variables. Runs
// until standard input ends.

#include <hub/session/provider_session.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <exception>
#include <iostream>
#include <limits>
#include <string>
#include <vector>

namespace {

namespace hub = arvenhold::corvel::hub;

bool accept(bool /*wanted*/) {
    return true;
}

void declare(hub::provider_session& odd) {
    using std::chrono::nanoseconds;
    auto const accept_any = [](auto const& /*wanted*/) {
        return true;
    };
    odd.declare<bool>("flags/on", true, hub::writable, accept);
    odd.declare<double>("numbers/nan", std::nan(""), hub::writable, accept_any);
    odd.declare<double>("numbers/infinity", std::numeric_limits<double>::infinity());
    odd.declare<std::int64_t>(
        "numbers/large", (std::int64_t{1} << 53U) + 1, hub::writable, accept_any);
    odd.declare<std::string>("texts/plain", std::string{"\xC3\xA4"}, hub::writable, accept_any);
    odd.declare<std::string>("texts/bytes", std::string{"\xFF\x1B[2J"});
    odd.declare<hub::timestamp>(
        "times/when", hub::timestamp{nanoseconds{1'700'000'000'123'456'789}});
    odd.declare<nanoseconds>(
        "times/span", std::chrono::milliseconds{250}, hub::writable, accept_any);
    odd.declare<double>(
        "answers/refuses", 1.5, hub::writable, [](double /*wanted*/) { return false; });
    odd.declare<double>(
        "answers/limits", 1.5, hub::writable, [](hub::write_request<double> wanted) {
            wanted.accept_as(std::min(wanted.get_wanted(), 100.0));
        });
    odd.declare<double>("answers/never", 1.5, hub::writable, [](hub::write_request<double> wanted) {
        static std::vector<hub::write_request<double>> kept;
        kept.push_back(std::move(wanted));
    });
    for (auto const* const path :
         {"flags/on",
          "numbers/nan",
          "numbers/infinity",
          "numbers/large",
          "texts/plain",
          "texts/bytes",
          "times/when",
          "times/span"}) {
        odd.find(path).set_quality(hub::variable_quality::good);
    }
}

void declare_further(hub::provider_session& odd, int count) {
    for (int index = 0; index < count; ++index) {
        odd.declare<std::int64_t>("further/" + std::to_string(index), index);
    }
}

} // namespace

int main(int count, char** access) {
    std::vector<std::string> given(access, access + count);
    if (count < 5) {
        return 2;
    }
    try {
        given.resize(7);
        hub::provider_session odd{
            given[5].empty() ? "odd" : given[5], {given[1], given[2], given[3], given[4], {}}};
        declare(odd);
        declare_further(odd, given[6].empty() ? 0 : std::stoi(given[6]));
        odd.start();
        if (odd.wait_until_ready(std::chrono::minutes{1})) {
            std::cout << "ready" << std::endl;
        }
        std::cin.get();
    } catch (std::exception const& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
    return 0;
}
