// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/token_probe.hpp"

#include "corvelctl/network_probe.hpp"
#include "dev_hub/base64_text.hpp"

#include <httplib.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <ctime>

namespace arvenhold::corvel::hub::ctl {

namespace {

using std::chrono::seconds;
using std::chrono::system_clock;

std::string make_form_text(std::string_view text) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    constexpr std::string_view plain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    std::string encoded;
    for (auto const character : text) {
        auto const code = static_cast<unsigned char>(character);
        if (plain.find(character) != std::string_view::npos) {
            encoded += character;
        } else {
            encoded += {'%', digits[code / digits.size()], digits[code % digits.size()]};
        }
    }
    return encoded;
}

std::string make_credentials(connection_settings const& settings) {
    return dev::make_base64(
        make_form_text(settings.client_id) + ':' + make_form_text(settings.client_secret));
}

httplib::Client make_client(url_parts const& endpoint, std::chrono::milliseconds limit) {
    httplib::Client client{endpoint.scheme + "://" + endpoint.get_address()};
    client.set_connection_timeout(limit);
    client.set_read_timeout(limit);
    client.set_write_timeout(limit);
    client.set_keep_alive(false);
    // The library does not check the endpoint's certificate either.
    client.enable_server_certificate_verification(false);
    return client;
}

// The claims in the middle part of a JSON web token; something else for any other token.
nlohmann::json read_claims(std::string const& token) {
    auto const first = token.find('.');
    auto const second = token.find('.', first + 1);
    if (first == std::string::npos || second == std::string::npos) {
        return {};
    }
    auto middle = token.substr(first + 1, second - first - 1);
    std::replace(middle.begin(), middle.end(), '-', '+');
    std::replace(middle.begin(), middle.end(), '_', '/');
    constexpr std::size_t group = 4;
    middle.append((group - middle.size() % group) % group, '=');
    auto const claims = dev::parse_base64(middle);
    return claims.has_value() ? nlohmann::json::parse(*claims, nullptr, false) : nlohmann::json{};
}

std::optional<std::string> find_text(nlohmann::json const& object, char const* key) {
    auto const found = object.is_object() ? object.find(key) : object.end();
    return found != object.end() && found->is_string() ? std::optional{found->get<std::string>()}
                                                       : std::nullopt;
}

// Nothing if there is no such number, or no clock could show it.
std::optional<seconds> find_seconds(nlohmann::json const& object, char const* key) {
    // Nanoseconds can express this, and its difference from the present.
    constexpr double longest = 6e9;
    auto const found = object.is_object() ? object.find(key) : object.end();
    auto const number =
        found != object.end() && found->is_number() ? found->get<double>() : std::nan("");
    return std::abs(number) <= longest ? std::optional{seconds{static_cast<std::int64_t>(number)}}
                                       : std::nullopt;
}

} // namespace

secret_list list_secrets(connection_settings const& settings) {
    auto const& secret = settings.client_secret;
    return {secret, make_form_text(secret), make_credentials(settings)};
}

token_reply request_token(
    connection_settings const& settings,
    std::string const& scope,
    std::chrono::milliseconds limit) {
    auto const endpoint = split_url(settings.token_url);
    auto client = make_client(endpoint, limit);
    auto const result = client.Post(
        endpoint.path.empty() ? "/" : endpoint.path,
        {{"Authorization", "Basic " + make_credentials(settings)}},
        httplib::Params{{"grant_type", "client_credentials"}, {"scope", scope}});
    if (!result) {
        throw probe_failure{"no HTTP reply: " + httplib::to_string(result.error())};
    }
    token_reply reply;
    reply.status = result->status;
    reply.sent_at = parse_http_date(result->get_header_value("Date"));
    parse_token_reply(reply, result->body, list_secrets(settings));
    return reply;
}

void parse_token_reply(token_reply& reply, std::string_view body, secret_list const& secrets) {
    auto const object = nlohmann::json::parse(body, nullptr, false);
    reply.token = find_text(object, "access_token").value_or("");
    if (reply.token.empty()) {
        reply.refusal = describe_token_reply(body, secrets);
        return;
    }
    reply.is_readable_by_library = body.starts_with(R"({"access_token":")");
    auto const claims = read_claims(reply.token);
    reply.lifetime = find_seconds(object, "expires_in");
    reply.scope = find_text(object, "scope");
    if (!reply.scope.has_value()) {
        reply.scope = find_text(claims, "scope");
    }
    if (auto const expiry = find_seconds(claims, "exp")) {
        reply.expires_at = system_clock::time_point{*expiry};
    }
}

std::optional<system_clock::time_point> parse_http_date(std::string const& text) {
    std::tm parts{};
    auto const* const end = ::strptime(text.c_str(), "%a, %d %b %Y %H:%M:%S GMT", &parts);
    if (end == nullptr || *end != '\0') {
        return std::nullopt;
    }
    return system_clock::from_time_t(::timegm(&parts));
}

} // namespace arvenhold::corvel::hub::ctl
