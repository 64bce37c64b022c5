// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include <hub/connect_options.hpp>

#include "runtime/blank_url.hpp"
#include "runtime/curl_handles.hpp"
#include "runtime/never_destroyed.hpp"

#include <algorithm>
#include <array>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace arvenhold::corvel::hub {

// The one home of the default values. Where the NATS client has a default of its own, this is the
// same; a session sets only what differs.
struct connect_options::values {
    template <class Function>
    struct callback {
        Function function = nullptr;
        void* user_data = nullptr;
    };

    struct jitter_pair {
        std::chrono::milliseconds plain{100};
        std::chrono::milliseconds tls{1'000};
    };

    struct certificate_pair {
        std::string certificate_file;
        std::string key_file;
    };

    struct endpoint_check {
        std::string ca_file;
        bool is_on = false;
    };

    // The largest first, so that nothing lies between them.
    std::string client_name;
    std::string tls_ca_file;
    std::string tls_host_name;
    std::string token_proxy;
    certificate_pair tls_client;
    endpoint_check token_endpoint_check;
    std::vector<std::string> further_servers;
    callback<link_callback> on_link_event;
    callback<credentials_callback> fetch_credentials;
    jitter_pair reconnect_jitter;
    std::size_t reconnect_buffer = std::size_t{8} * 1'024 * 1'024;
    std::chrono::milliseconds reconnect_wait{2'000};
    std::chrono::milliseconds ping_interval{120'000};
    std::chrono::milliseconds write_deadline{0};
    std::chrono::milliseconds request_time_limit{5'000};
    std::chrono::milliseconds verdict_time_limit{15'000};
    std::chrono::milliseconds connect_time_limit{2'000};
    std::chrono::seconds token_time_limit{5};
    int reconnect_attempts = 60;
    int unanswered_pings = 2;
    int delivery_pool_size = 0;
    bool send_immediately = false;
    bool fail_requests_while_disconnected = false;
    bool randomize_servers = false;
    bool tls_required = false;
};

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr milliseconds one_millisecond{1};
constexpr milliseconds one_day{24 * 60 * 60 * 1'000};
constexpr int maximum_int = std::numeric_limits<int>::max(); // the NATS client's type for sizes
constexpr int maximum_pool_size = 1'024;

[[noreturn]] void refuse(
    std::string_view option, std::string const& value, std::string const& allowed) {
    std::string text{"connect_options: "};
    text.append(option).append(" must not be ").append(value).append(", only ").append(allowed);
    throw std::invalid_argument{text};
}

template <class Number>
void require_between(
    std::string_view option, Number value, Number least, Number most, std::string_view unit = {}) {
    if (value >= least && value <= most) {
        return;
    }
    auto const with_unit = [unit](Number number) {
        return std::to_string(number).append(unit);
    };
    refuse(option, with_unit(value), with_unit(least) + " to " + with_unit(most));
}

milliseconds up_to_one_day(std::string_view option, milliseconds value, milliseconds least) {
    require_between(option, value.count(), least.count(), one_day.count(), " ms");
    return value;
}

// The NATS client copies the name into a text in JSON as it is.
bool needs_escaping(char character) {
    constexpr unsigned char first_printable = 0x20;
    return character == '"' || character == '\\'
        || static_cast<unsigned char>(character) < first_printable;
}

// Parses the URL as libcurl does it for each transfer; a URL without a scheme is one of HTTP.
bool is_proxy(std::string const& url) {
    constexpr std::array<std::string_view, 6> schemes{
        "http", "https", "socks4", "socks4a", "socks5", "socks5h"};
    curl_url_handle const parsed{curl_url()};
    constexpr unsigned flags = CURLU_NON_SUPPORT_SCHEME | CURLU_GUESS_SCHEME;
    char* found = nullptr;
    if (curl_url_set(parsed.get(), CURLUPART_URL, url.c_str(), flags) != CURLUE_OK
        || curl_url_get(parsed.get(), CURLUPART_SCHEME, &found, 0) != CURLUE_OK) {
        return false;
    }
    curl_text const scheme{found};
    return std::find(schemes.begin(), schemes.end(), scheme.get()) != schemes.end();
}

} // namespace

connect_options::values const& connect_options::current() const {
    static never_destroyed<values const> defaults;
    return m_values ? *m_values : *defaults;
}

// Copies of this object share the earlier values, so these never change.
template <class Value>
connect_options& connect_options::set(Value values::*option, std::decay_t<Value> value) {
    auto changed = std::make_shared<values>(current());
    (*changed).*option = std::move(value);
    m_values = std::move(changed);
    return *this;
}

// Sending

connect_options& connect_options::set_send_immediately(bool send_immediately) {
    return set(&values::send_immediately, send_immediately);
}

bool connect_options::sends_immediately() const {
    return current().send_immediately;
}

connect_options& connect_options::set_write_deadline(milliseconds deadline) {
    return set(&values::write_deadline, up_to_one_day("write_deadline", deadline, milliseconds{0}));
}

milliseconds connect_options::get_write_deadline() const {
    return current().write_deadline;
}

// Reconnecting

connect_options& connect_options::set_reconnect_attempts(int attempts) {
    require_between("reconnect_attempts", attempts, unlimited_attempts, maximum_int);
    return set(&values::reconnect_attempts, attempts);
}

int connect_options::get_reconnect_attempts() const {
    return current().reconnect_attempts;
}

connect_options& connect_options::set_reconnect_wait(milliseconds wait) {
    return set(&values::reconnect_wait, up_to_one_day("reconnect_wait", wait, one_millisecond));
}

milliseconds connect_options::get_reconnect_wait() const {
    return current().reconnect_wait;
}

connect_options& connect_options::set_reconnect_jitter(
    milliseconds jitter, milliseconds tls_jitter) {
    constexpr milliseconds none{0};
    return set(
        &values::reconnect_jitter,
        {up_to_one_day("reconnect_jitter", jitter, none),
         up_to_one_day("reconnect_jitter with TLS", tls_jitter, none)});
}

milliseconds connect_options::get_reconnect_jitter() const {
    return current().reconnect_jitter.plain;
}

milliseconds connect_options::get_reconnect_tls_jitter() const {
    return current().reconnect_jitter.tls;
}

connect_options& connect_options::set_reconnect_buffer(std::size_t bytes) {
    require_between<std::size_t>("reconnect_buffer", bytes, 0, maximum_int, " bytes");
    return set(&values::reconnect_buffer, bytes);
}

std::size_t connect_options::get_reconnect_buffer() const {
    return current().reconnect_buffer;
}

connect_options& connect_options::set_fail_requests_while_disconnected(bool fail) {
    return set(&values::fail_requests_while_disconnected, fail);
}

bool connect_options::fails_requests_while_disconnected() const {
    return current().fail_requests_while_disconnected;
}

// Supervision of the link

connect_options& connect_options::set_ping_interval(milliseconds interval) {
    return set(&values::ping_interval, up_to_one_day("ping_interval", interval, one_millisecond));
}

milliseconds connect_options::get_ping_interval() const {
    return current().ping_interval;
}

connect_options& connect_options::set_unanswered_pings(int pings) {
    require_between("unanswered_pings", pings, 1, maximum_int);
    return set(&values::unanswered_pings, pings);
}

int connect_options::get_unanswered_pings() const {
    return current().unanswered_pings;
}

connect_options& connect_options::set_link_callback(link_callback callback, void* user_data) {
    return set(&values::on_link_event, {callback, user_data});
}

link_callback connect_options::get_link_callback() const {
    return current().on_link_event.function;
}

void* connect_options::get_link_user_data() const {
    return current().on_link_event.user_data;
}

// Time limits

connect_options& connect_options::set_request_time_limit(milliseconds limit) {
    return set(
        &values::request_time_limit, up_to_one_day("request_time_limit", limit, one_millisecond));
}

milliseconds connect_options::get_request_time_limit() const {
    return current().request_time_limit;
}

connect_options& connect_options::set_verdict_time_limit(milliseconds limit) {
    return set(
        &values::verdict_time_limit, up_to_one_day("verdict_time_limit", limit, one_millisecond));
}

milliseconds connect_options::get_verdict_time_limit() const {
    return current().verdict_time_limit;
}

connect_options& connect_options::set_connect_time_limit(milliseconds limit) {
    return set(
        &values::connect_time_limit, up_to_one_day("connect_time_limit", limit, one_millisecond));
}

milliseconds connect_options::get_connect_time_limit() const {
    return current().connect_time_limit;
}

connect_options& connect_options::set_token_time_limit(seconds limit) {
    constexpr seconds one_second{1};
    constexpr auto most = std::chrono::duration_cast<seconds>(one_day);
    require_between("token_time_limit", limit.count(), one_second.count(), most.count(), " s");
    return set(&values::token_time_limit, limit);
}

seconds connect_options::get_token_time_limit() const {
    return current().token_time_limit;
}

// Servers

connect_options& connect_options::set_client_name(std::string name) {
    if (std::any_of(name.begin(), name.end(), needs_escaping)) {
        refuse("client_name", name, "text without quotes, backslashes and control characters");
    }
    return set(&values::client_name, std::move(name));
}

std::string const& connect_options::get_client_name() const {
    return current().client_name;
}

connect_options& connect_options::set_further_servers(std::vector<std::string> urls) {
    if (std::any_of(urls.begin(), urls.end(), is_blank)) {
        refuse("further_servers", "empty", "URLs");
    }
    return set(&values::further_servers, std::move(urls));
}

std::vector<std::string> const& connect_options::get_further_servers() const {
    return current().further_servers;
}

connect_options& connect_options::set_randomize_servers(bool randomize) {
    return set(&values::randomize_servers, randomize);
}

bool connect_options::randomizes_servers() const {
    return current().randomize_servers;
}

// Encryption

connect_options& connect_options::set_tls_required(bool required) {
    return set(&values::tls_required, required);
}

bool connect_options::is_tls_required() const {
    auto const& chosen = current();
    return chosen.tls_required || !chosen.tls_ca_file.empty() || !chosen.tls_host_name.empty()
        || !chosen.tls_client.certificate_file.empty();
}

connect_options& connect_options::set_tls_ca_file(std::string file) {
    return set(&values::tls_ca_file, std::move(file));
}

std::string const& connect_options::get_tls_ca_file() const {
    return current().tls_ca_file;
}

connect_options& connect_options::set_tls_client_certificate(
    std::string certificate_file, std::string key_file) {
    if (certificate_file.empty() != key_file.empty()) {
        refuse("tls_client_certificate", "one file", "two files or none");
    }
    return set(&values::tls_client, {std::move(certificate_file), std::move(key_file)});
}

std::string const& connect_options::get_tls_certificate_file() const {
    return current().tls_client.certificate_file;
}

std::string const& connect_options::get_tls_key_file() const {
    return current().tls_client.key_file;
}

connect_options& connect_options::set_tls_host_name(std::string host_name) {
    return set(&values::tls_host_name, std::move(host_name));
}

std::string const& connect_options::get_tls_host_name() const {
    return current().tls_host_name;
}

// Token endpoint

connect_options& connect_options::set_token_endpoint_check(bool check, std::string ca_file) {
    if (!check && !ca_file.empty()) {
        refuse("token_endpoint_check", "off with a file of authorities", "off without one");
    }
    return set(&values::token_endpoint_check, {std::move(ca_file), check});
}

bool connect_options::checks_token_endpoint() const {
    return current().token_endpoint_check.is_on;
}

std::string const& connect_options::get_token_ca_file() const {
    return current().token_endpoint_check.ca_file;
}

// The text does not repeat the URL, which may contain a password.
connect_options& connect_options::set_token_proxy(std::string url) {
    if (!url.empty() && !is_proxy(url)) {
        refuse(
            "token_proxy",
            "malformed",
            "a URL with the scheme http, https, socks4, socks4a, socks5 or socks5h");
    }
    return set(&values::token_proxy, std::move(url));
}

std::string const& connect_options::get_token_proxy() const {
    return current().token_proxy;
}

connect_options& connect_options::set_credentials_callback(
    credentials_callback callback, void* user_data) {
    return set(&values::fetch_credentials, {callback, user_data});
}

credentials_callback connect_options::get_credentials_callback() const {
    return current().fetch_credentials.function;
}

void* connect_options::get_credentials_user_data() const {
    return current().fetch_credentials.user_data;
}

// Threads

connect_options& connect_options::set_delivery_pool_size(int threads) {
    require_between("delivery_pool_size", threads, 0, maximum_pool_size);
    return set(&values::delivery_pool_size, threads);
}

int connect_options::get_delivery_pool_size() const {
    return current().delivery_pool_size;
}

} // namespace arvenhold::corvel::hub
