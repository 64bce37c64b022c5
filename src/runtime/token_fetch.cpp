// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/token_fetch.hpp"

#include "runtime/base64.hpp"
#include "runtime/curl_handles.hpp"
#include "runtime/diagnostics.hpp"
#include "runtime/token_reply.hpp"

#include <exception>
#include <limits>

namespace arvenhold::corvel::hub {

namespace {

constexpr auto transfer_refused = std::numeric_limits<std::size_t>::max();

std::string percent_escaped(std::string const& text) {
    // libcurl takes the length 0 as "up to the zero byte", which is right for an empty string too.
    curl_text const escaped{curl_easy_escape(nullptr, text.c_str(), static_cast<int>(text.size()))};
    return escaped ? escaped.get() : "";
}

// Asks the application, which may throw anything.
client_credentials ask_for_credentials(token_parameters const& parameters) {
    auto const ask = parameters.options.get_credentials_callback();
    try {
        return ask(parameters.options.get_credentials_user_data());
    } catch (std::exception const& error) {
        throw authentication_failed::without_credentials(parameters.endpoint, error.what());
    } catch (...) {
        throw authentication_failed::without_credentials(
            parameters.endpoint, "an exception that is not a std::exception");
    }
}

client_credentials current_credentials(token_parameters const& parameters) {
    if (parameters.options.get_credentials_callback() != nullptr) {
        return ask_for_credentials(parameters);
    }
    return {parameters.client_id, parameters.secret};
}

curl_header_list request_headers(client_credentials const& credentials) {
    auto const joined =
        percent_escaped(credentials.client_id) + ":" + percent_escaped(credentials.client_secret);
    auto const authorization = "Authorization: Basic " + to_base64(joined);
    curl_header_list headers{
        curl_slist_append(nullptr, "Content-Type: application/x-www-form-urlencoded")};
    if (auto* const extended = curl_slist_append(headers.get(), authorization.c_str())) {
        static_cast<void>(headers.release()); // now part of the extended list
        headers.reset(extended);
    }
    return headers;
}

void set_certificate_check(CURL* curl, connect_options const& options) {
    if (!options.checks_token_endpoint()) {
        // Intended: token endpoints on controllers have certificates that they signed themselves.
        curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 0L);
        curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 0L);
        return;
    }
    constexpr long name_must_match = 2;
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, name_must_match);
    if (!options.get_token_ca_file().empty()) {
        curl_easy_setopt(curl, CURLOPT_CAINFO, options.get_token_ca_file().c_str());
        curl_easy_setopt(curl, CURLOPT_CAPATH, nullptr); // not those of the system
    }
}

// The empty names keep libcurl from obeying http_proxy, https_proxy, all_proxy and no_proxy: the
// proxy that they name would receive the credentials.
void set_proxy(CURL* curl, std::string const& proxy) {
    curl_easy_setopt(curl, CURLOPT_PROXY, proxy.c_str());
    if (!proxy.empty()) {
        curl_easy_setopt(curl, CURLOPT_NOPROXY, "");
    }
}

CURLcode perform(
    token_parameters const& parameters, client_credentials const& credentials, token_reply& reply) {
    curl_usage const usage;
    if (!usage.is_granted()) {
        return CURLE_FAILED_INIT;
    }
    auto const headers = request_headers(credentials);
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
    set_certificate_check(curl, parameters.options);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, parameters.options.get_token_time_limit().count());
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers.get());
    set_proxy(curl, parameters.options.get_token_proxy());
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
    auto const credentials = current_credentials(parameters);
    token_reply reply;
    auto const code = perform(parameters, credentials, reply);
    if (code != CURLE_OK) {
        throw authentication_failed::transfer_failed(parameters.endpoint, code);
    }
    if (reply.failed) {
        throw authentication_failed::token_refused(
            parameters.endpoint,
            credentials.client_id,
            credentials.client_secret,
            reply.error_reply);
    }
    return reply.token;
}

} // namespace arvenhold::corvel::hub
