// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/failures.hpp"

#include "corvelctl/secrets.hpp"
#include <hub/errors.hpp>

#include <string_view>

namespace arvenhold::corvel::hub::ctl {

namespace {

// Statuses of the NATS client, see connection_failed::get_nats_status().
constexpr int no_server = 6;
constexpr int tls_missing = 8;
constexpr int not_authorized = 11;
constexpr int timed_out = 26;
constexpr int tls_failed = 29;
constexpr int no_responder = 34;

// Results of libcurl.
constexpr int unsupported_reply = 1;
constexpr int unknown_host = 6;
constexpr int connection_refused = 7;
constexpr int weird_reply = 8;
constexpr int transfer_timeout = 28;

// The first line of a text of the library, without its line end.
std::string first_line(std::string_view text) {
    return remove_secrets(text.substr(0, text.find('\n')), {});
}

failure explain_transfer(int code, connection_settings const& settings) {
    auto const endpoint = "the token endpoint " + remove_secrets(settings.token_url, {});
    switch (code) {
    case unknown_host:
        return {
            exit_code::unreachable,
            endpoint + " has an unknown host name",
            "check --token-url, and whether this machine can look the name up"};
    case connection_refused:
        return {
            exit_code::unreachable,
            "no server at " + endpoint,
            "check --token-url, and that the token endpoint is running"};
    case transfer_timeout:
        return {
            exit_code::unreachable,
            endpoint + " does not answer",
            "check the host and the port of --token-url, and firewalls between here and there"};
    case unsupported_reply:
    case weird_reply:
        return {
            exit_code::unreachable,
            endpoint + " answers, but not with HTTP",
            "is that the port of the NATS server? Check --token-url, and --hub"};
    default:
        return {
            exit_code::unreachable,
            endpoint + " could not be asked: libcurl returned " + std::to_string(code),
            "look the number up in libcurl's list of errors"};
    }
}

failure explain_refusal(token_failure const& refused, connection_settings const& settings) {
    if (refused.curl_code != 0) {
        return explain_transfer(refused.curl_code, settings);
    }
    return {
        exit_code::refused,
        "the token endpoint " + remove_secrets(settings.token_url, {})
            + " gives no token to client \"" + settings.client_id
            + "\": " + (refused.answer.empty() ? "it gave no reason" : refused.answer),
        "check --client-id, the secret in " + settings.secret_file
            + ", and the path of --token-url"};
}

// The words of the NATS client for its status, as "SSL Error (x.pem)".
std::string status_words(connection_failed const& error) {
    constexpr std::string_view mark = "NATS returns: ";
    auto const line = first_line(error.what());
    auto const found = line.find(mark);
    auto const words = found == std::string::npos ? found : line.find(" = ", found);
    return words == std::string::npos ? line : line.substr(words + 3);
}

std::string join(std::vector<std::string> const& urls) {
    std::string joined;
    for (auto const& url : urls) {
        joined += (joined.empty() ? "" : ", ") + remove_secrets(url, {});
    }
    return joined;
}

failure explain_registry(connection_failed const& error) {
    if (error.get_nats_status() == no_responder) {
        return {
            exit_code::unreachable,
            "the server answers, but no registry runs on the hub",
            "start the registry, or check that --hub is the right server"};
    }
    return {
        exit_code::timed_out,
        "the registry does not answer",
        "check the registry, or give it more time with --timeout 30s"};
}

bool mentions(std::exception const& error, std::string_view words) {
    return std::string_view{error.what()}.find(words) != std::string_view::npos;
}

failure explain_request(connection_failed const& error, std::string const& provider) {
    if (mentions(error, "request a provider definition")) {
        return explain_registry(error);
    }
    switch (error.get_nats_status()) {
    case no_responder:
        return {
            exit_code::not_found,
            "provider \"" + provider + "\" is listed, but its program has ended",
            "start the provider, or wait until it returns: corvelctl providers --watch"};
    case timed_out:
        return {
            exit_code::timed_out,
            "provider \"" + provider + "\" does not answer",
            "check the program of the provider, or give it more time with --timeout 30s"};
    default:
        return {exit_code::unreachable, first_line(error.what())};
    }
}

} // namespace

failure explain_connecting(
    connection_failed const& error,
    std::optional<token_failure> const& refused,
    connection_settings const& settings) {
    if (is_from_registry(error)) {
        return explain_registry(error);
    }
    if (refused.has_value()) {
        return explain_refusal(*refused, settings);
    }
    return explain_status(error.get_nats_status(), status_words(error), settings);
}

failure explain_status(int status, std::string const& words, connection_settings const& settings) {
    auto const servers = join(settings.server_urls);
    switch (status) {
    case no_server:
        return {
            exit_code::unreachable,
            "no server at " + servers,
            "check --hub, and that the NATS server is running; on this machine: corvelctl dev "
            "status"};
    case not_authorized:
        return {
            exit_code::refused,
            "the NATS server " + servers + " accepts no token from "
                + remove_secrets(settings.token_url, {}),
            "check the path of --token-url (a wrong path gives no token: 404), and that the "
            "endpoint belongs to this hub"};
    case tls_missing:
        return {
            exit_code::unreachable,
            "no TLS connection to " + servers
                + ": the server, or another of its cluster, has no TLS",
            "let the servers use TLS, and check --ca-file; without TLS, --hub begins with nats://, "
            "and "
            "--ca-file is left out"};
    case tls_failed:
        return {
            exit_code::unreachable,
            "no TLS connection to " + servers + ": " + words,
            "check --ca-file, and that the certificate is for this host name"};
    default:
        return {
            exit_code::unreachable,
            "nothing at " + servers + " answers as a NATS server: " + words,
            "check host and port of --hub, and firewalls between here and there"};
    }
}

bool is_from_registry(connection_failed const& error) {
    return mentions(error, "request the initial providers list");
}

failure explain_reading(std::exception const& error, std::string const& provider) {
    if (auto const* const failed = dynamic_cast<connection_failed const*>(&error)) {
        return explain_request(*failed, provider);
    }
    if (dynamic_cast<provider_definition_mismatch const*>(&error) != nullptr) {
        return {
            exit_code::definition_changed,
            "the definition of provider \"" + provider + "\" has changed meanwhile",
            "run the command again; look at it first: corvelctl browse " + provider};
    }
    if (dynamic_cast<variable_index_invalid const*>(&error) != nullptr
        || dynamic_cast<incompatible_data_type const*>(&error) != nullptr) {
        return {
            exit_code::definition_changed,
            "provider \"" + provider
                + "\" sends other variables than its definition has, with an equal fingerprint",
            "give each set of variables a fingerprint of its own, and start the provider again"};
    }
    if (mentions(error, "(provider_definition_reply) nullptr")) {
        return {
            exit_code::not_found,
            "the registry has no definition of provider \"" + provider + '"',
            "see all providers: corvelctl providers"};
    }
    return explain_exception(error);
}

failure explain_exception(std::exception const& error) {
    if (auto const* const explained = dynamic_cast<failure const*>(&error)) {
        return *explained;
    }
    if (dynamic_cast<variable_read_only const*>(&error) != nullptr
        || dynamic_cast<incompatible_data_type const*>(&error) != nullptr) {
        return {exit_code::refused_locally, first_line(error.what())};
    }
    if (dynamic_cast<invalid_provider_definition const*>(&error) != nullptr) {
        return {exit_code::definition_rejected, first_line(error.what())};
    }
    if (dynamic_cast<connection_failed const*>(&error) != nullptr) {
        return {exit_code::unreachable, first_line(error.what())};
    }
    return {exit_code::other, first_line(error.what())};
}

} // namespace arvenhold::corvel::hub::ctl
