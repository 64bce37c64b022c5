// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/token_fetch.hpp"

#include "runtime/base64.hpp"
#include "runtime/curl_handles.hpp"
#include "runtime/diagnostics.hpp"
#include "runtime/token_reply.hpp"

#include <chrono>
#include <limits>

namespace arvenhold::corvel::hub {

namespace {

constexpr std::chrono::seconds fetch_time_limit{5};
constexpr auto transfer_refused = std::numeric_limits<std::size_t>::max();

std::string percent_escaped(std::string const& text) {
    // libcurl takes the length 0 as "up to the zero byte", which is right for an empty string too.
    curl_text const escaped{curl_easy_escape(nullptr, text.c_str(), static_cast<int>(text.size()))};
    return escaped ? escaped.get() : "";
}

curl_header_list request_headers(token_parameters const& parameters) {
    auto const credentials =
        percent_escaped(parameters.client_id) + ":" + percent_escaped(parameters.secret);
    auto const authorization = "Authorization: Basic " + to_base64(credentials);
    curl_header_list headers{
        curl_slist_append(nullptr, "Content-Type: application/x-www-form-urlencoded")};
    if (auto* const extended = curl_slist_append(headers.get(), authorization.c_str())) {
        static_cast<void>(headers.release()); // now part of the extended list
        headers.reset(extended);
    }
    return headers;
}

CURLcode perform(token_parameters const& parameters, token_reply& reply) {
    curl_usage const usage;
    if (!usage.is_granted()) {
        return CURLE_FAILED_INIT;
    }
    auto const headers = request_headers(parameters);
    auto const body = "grant_type=client_credentials&scope=" + parameters.scope;
    curl_easy_handle const handle{curl_easy_init()};
    auto* const curl = handle.get();
    if (curl == nullptr) {
        return CURLE_FAILED_INIT;
    }
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &receive_token_chunk);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &reply);
    curl_easy_setopt(curl, CURLOPT_URL, parameters.endpoint.c_str());
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    curl_easy_setopt(curl, CURLOPT_COPYPOSTFIELDS, body.c_str());
    // Intended: token endpoints on controllers have certificates that they signed themselves.
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 0L);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, fetch_time_limit.count());
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers.get());
    // The empty name keeps libcurl from obeying http_proxy, https_proxy and all_proxy: the proxy
    // that they name would receive the credentials.
    curl_easy_setopt(curl, CURLOPT_PROXY, "");
    // The process belongs to the application, so no signals. A name server that hangs must not
    // extend the time limit.
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_QUICK_EXIT, 1L);
    return curl_easy_perform(curl);
}

} // namespace

std::size_t receive_token_chunk(
    char const* data, std::size_t size, std::size_t count, void* user) noexcept {
    if (user == nullptr) {
        report(diagnostic_severity::error, {}, {"Auth instance pointer invalid in CURL callback"});
        return transfer_refused;
    }
    auto& reply = *static_cast<token_reply*>(user);
    auto const length = size * count;
    if (data == nullptr || length == 0) {
        reply.failed = true;
        return transfer_refused;
    }
    try {
        parse_chunk(reply, {data, length});
    } catch (std::exception const&) {
        reply.failed = true; // no memory for the chunk
        return transfer_refused;
    }
    return length;
}

std::string fetch_token(token_parameters const& parameters) {
    token_reply reply;
    auto const code = perform(parameters, reply);
    if (code != CURLE_OK) {
        throw authentication_failed::transfer_failed(parameters.endpoint, code);
    }
    if (reply.failed) {
        throw authentication_failed::token_refused(
            parameters.endpoint, parameters.client_id, parameters.secret, reply.error_reply);
    }
    return reply.token;
}

} // namespace arvenhold::corvel::hub
