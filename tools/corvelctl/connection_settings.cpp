// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/connection_settings.hpp"

#include "corvelctl/contexts.hpp"
#include "corvelctl/dev_state.hpp"
#include "corvelctl/secrets.hpp"
#include "corvelctl/user_files.hpp"

#include <algorithm>
#include <array>
#include <string_view>

namespace arvenhold::corvel::hub::ctl {

namespace {

struct setting {
    std::string connection_fields::*member;
    char const* flag;
    char const* variable;
    bool needed;
};

constexpr std::array<setting, 5> settings{{
    {&connection_fields::server_url, "--hub", "CORVEL_HUB", true},
    {&connection_fields::token_url, "--token-url", "CORVEL_TOKEN_URL", true},
    {&connection_fields::client_id, "--client-id", "CORVEL_CLIENT_ID", true},
    {&connection_fields::secret_file, "--secret-file", "CORVEL_SECRET_FILE", true},
    {&connection_fields::ca_file, "--ca-file", "CORVEL_CA_FILE", false},
}};

bool is_empty(connection_fields const& fields) {
    return std::all_of(settings.begin(), settings.end(), [&fields](auto const& one) {
        return (fields.*one.member).empty();
    });
}

// What `fields` lacks is taken from `more`.
void complete(connection_fields& fields, connection_fields const& more) {
    for (auto const& one : settings) {
        if ((fields.*one.member).empty()) {
            fields.*one.member = more.*one.member;
        }
    }
}

connection_fields read_environment() {
    connection_fields fields;
    for (auto const& one : settings) {
        fields.*one.member = get_environment(one.variable);
    }
    return fields;
}

// The name of the context that counts; empty for none.
std::string find_context_name(global_options const& given, contexts const& all) {
    if (!given.context.empty()) {
        return given.context;
    }
    auto const from_environment = get_environment("CORVEL_CONTEXT");
    return from_environment.empty() ? all.current : from_environment;
}

failure make_incomplete(connection_fields const& fields) {
    std::string missing;
    for (auto const& one : settings) {
        if (one.needed && (fields.*one.member).empty()) {
            missing +=
                (missing.empty() ? "" : ", ") + std::string{one.flag} + " (" + one.variable + ")";
        }
    }
    return failure{
        exit_code::usage,
        "where is the hub? Not given: " + missing,
        is_empty(fields)
            ? "start a hub on this machine: corvelctl dev up --demo; or name a connection: "
              "corvelctl context add --help"
            : "give everything, or nothing for the hub of `corvelctl dev up --demo`; or name a "
              "connection: corvelctl context add --help"};
}

std::vector<std::string> split_urls(std::string_view text) {
    std::vector<std::string> urls;
    while (!text.empty()) {
        auto const comma = text.find(',');
        if (auto const url = text.substr(0, comma); !url.empty()) {
            urls.emplace_back(url);
        }
        text.remove_prefix(comma == std::string_view::npos ? text.size() : comma + 1);
    }
    return urls;
}

bool is_http(std::string_view url) {
    return url.starts_with("http://") || url.starts_with("https://");
}

bool is_nats(std::string_view url) {
    return url.starts_with("nats://") || url.starts_with("tls://");
}

connection_settings make_settings(connection_fields const& fields, std::string origin) {
    connection_settings made;
    made.server_urls = split_urls(fields.server_url);
    check_urls(fields.server_url, fields.token_url);
    made.token_url = fields.token_url;
    made.client_id = fields.client_id;
    made.secret_file = fields.secret_file;
    made.client_secret = read_secret(fields.secret_file);
    made.ca_file = fields.ca_file;
    check_ca_file(fields.ca_file);
    made.origin = std::move(origin);
    return made;
}

} // namespace

void check_urls(std::string const& server_url, std::string const& token_url) {
    auto const server_urls = split_urls(server_url);
    auto const http = std::find_if(server_urls.begin(), server_urls.end(), is_http);
    auto const shown_token_url = remove_secrets(token_url, {});
    if (http != server_urls.end() && is_nats(token_url)) {
        throw failure{
            exit_code::usage,
            "the URLs are swapped: --hub is " + remove_secrets(*http, {}) + ", --token-url is "
                + shown_token_url,
            "--hub takes the one that begins with nats:// or tls://"};
    }
    if (http != server_urls.end()) {
        throw failure{
            exit_code::usage,
            "the URL of the hub is " + remove_secrets(*http, {})
                + ", but a NATS server's begins with nats:// or tls://",
            "check --hub (CORVEL_HUB); the token endpoint belongs to --token-url"};
    }
    if (!is_http(token_url)) {
        throw failure{
            exit_code::usage,
            "the URL of the token endpoint is " + shown_token_url
                + ", but it must begin with http:// or https://",
            "check --token-url (CORVEL_TOKEN_URL); the NATS server belongs to --hub"};
    }
}

connection_settings find_connection(global_options const& given) {
    auto fields = given.connection;
    complete(fields, read_environment());
    std::string origin = "flags and environment";
    auto const is_complete = std::all_of(settings.begin(), settings.end(), [&](auto const& one) {
        return !one.needed || !(fields.*one.member).empty();
    });
    // A context that is named must exist, even if nothing of it is needed.
    if (!is_complete || !given.context.empty()) {
        auto const all = load_contexts();
        auto const name = find_context_name(given, all);
        if (!name.empty()) {
            complete(fields, all.require(name));
            origin = "context " + name;
        }
    }
    if (is_empty(fields)) {
        if (auto const hub = find_dev_hub(get_dev_directory())) {
            fields = hub->connection;
            origin = "development hub";
        }
    }
    for (auto const& one : settings) {
        if (one.needed && (fields.*one.member).empty()) {
            throw make_incomplete(fields);
        }
    }
    return make_settings(fields, std::move(origin));
}

} // namespace arvenhold::corvel::hub::ctl
