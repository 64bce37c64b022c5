// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/fault.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <system_error>

namespace arvenhold::corvel::hub::dev {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds longest_duration = std::chrono::hours{24};

struct fault_description {
    fault_kind kind;
    hub_service service;
    std::string_view name;
    std::string_view help;
    std::string_view begin; // before the duration
    std::string_view end;
};

// In the order of the enumeration, which is that of the help text.
constexpr std::array<fault_description, 9> descriptions{{
    {fault_kind::nats_down,
     hub_service::nats_server,
     "nats-down",
     "nats-server is killed, and started again on the same port at the end",
     "nats-server is away",
     "nats-server is back"},
    {fault_kind::freeze,
     hub_service::nats_server,
     "freeze",
     "nats-server is frozen: connections stay open, and nothing is answered",
     "nats-server is frozen",
     "nats-server answers again"},
    {fault_kind::half_open,
     hub_service::nats_server,
     "half-open",
     "connections to nats-server look open and carry nothing; closed at the end",
     "connections to nats-server look open and carry nothing",
     "connections to nats-server are closed, and new ones carry data"},
    {fault_kind::server_restart,
     hub_service::nats_server,
     "server-restart",
     "nats-server is killed and started again at once; without a duration",
     "nats-server is killed and started again",
     "nats-server is back"},
    {fault_kind::token_down,
     hub_service::token_endpoint,
     "token-down",
     "the token endpoint refuses connections",
     "the token endpoint refuses connections",
     "the token endpoint accepts connections again"},
    {fault_kind::token_slow,
     hub_service::token_endpoint,
     "token-slow",
     "the token endpoint answers late; see --delay",
     "the token endpoint answers after ",
     "the token endpoint answers at once again"},
    {fault_kind::token_refuse,
     hub_service::token_endpoint,
     "token-refuse",
     "the token endpoint answers every request with status 401",
     "the token endpoint refuses tokens",
     "the token endpoint grants tokens again"},
    {fault_kind::registry_silent,
     hub_service::registry,
     "registry-silent",
     "the registry drops everything that it receives",
     "the registry does not answer",
     "the registry answers again"},
    {fault_kind::registry_reject,
     hub_service::registry,
     "registry-reject",
     "the registry finds every definition that arrives invalid",
     "the registry rejects definitions",
     "the registry judges definitions again"},
}};

fault_description const& get_description(fault_kind kind) {
    return descriptions.at(static_cast<std::size_t>(kind));
}

std::string make_duration_text(milliseconds duration) {
    constexpr milliseconds second = std::chrono::seconds{1};
    constexpr milliseconds minute = std::chrono::minutes{1};
    if (duration % minute == milliseconds::zero()) {
        return std::to_string(duration / minute) + " min";
    }
    if (duration % second == milliseconds::zero()) {
        return std::to_string(duration / second) + " s";
    }
    return std::to_string(duration.count()) + " ms";
}

std::optional<milliseconds> get_unit(std::string_view name) {
    if (name.empty() || name == "s") {
        return std::chrono::seconds{1};
    }
    if (name == "ms") {
        return milliseconds{1};
    }
    if (name == "m") {
        return std::chrono::minutes{1};
    }
    return {};
}

} // namespace

hub_service get_service(fault_kind kind) {
    return get_description(kind).service;
}

std::string_view get_name(fault_kind kind) {
    return get_description(kind).name;
}

std::optional<fault_kind> find_fault_kind(std::string_view name) {
    auto const* const found = std::find_if(
        descriptions.begin(), descriptions.end(), [&](fault_description const& candidate) {
            return candidate.name == name;
        });
    return found != descriptions.end() ? std::optional{found->kind} : std::nullopt;
}

std::vector<std::string> get_fault_names() {
    std::vector<std::string> names;
    names.reserve(descriptions.size());
    for (auto const& description : descriptions) {
        names.emplace_back(description.name);
    }
    return names;
}

std::string list_faults() {
    constexpr std::size_t name_width = 17;
    std::string lines;
    for (auto const& description : descriptions) {
        std::string name{description.name};
        name.resize(name_width, ' ');
        lines.append("  ").append(name).append(description.help).append("\n");
    }
    return lines;
}

std::string describe_begin(fault const& begun) {
    std::string sentence{get_description(begun.kind).begin};
    if (begun.kind == fault_kind::server_restart) {
        return sentence;
    }
    if (begun.kind == fault_kind::token_slow) {
        sentence += make_duration_text(begun.token_delay) + ",";
    }
    return sentence + " for " + make_duration_text(begun.duration);
}

std::string describe_end(fault_kind kind) {
    return std::string{get_description(kind).end};
}

std::optional<milliseconds> parse_duration(std::string_view text) {
    std::uint32_t count = 0;
    auto const parsed = std::from_chars(text.data(), text.data() + text.size(), count);
    if (parsed.ec != std::errc{}) {
        return {};
    }
    auto const unit = get_unit(text.substr(static_cast<std::size_t>(parsed.ptr - text.data())));
    if (!unit.has_value() || count == 0 || count > longest_duration / *unit) {
        return {};
    }
    return count * *unit;
}

} // namespace arvenhold::corvel::hub::dev
