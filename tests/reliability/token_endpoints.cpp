// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "reliability/row.hpp"
#include "reliability/world.hpp"
#include "support/captured_stream.hpp"
#include "support/raw_http_server.hpp"
#include "support/self_signed_endpoint.hpp"
#include "support/thrown_message.hpp"

#include <algorithm>
#include <chrono>
#include <future>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <vector>

namespace arvenhold::corvel::hub::reliability {

std::string run_token_endpoints(effort how_much);

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// The token endpoint's 5 s, and the NATS client's 2 s for the server.
constexpr std::chrono::seconds connect_limit{7};

constexpr milliseconds drop_interval{50};

constexpr char const* timed_out = "CURL call failed, returned 28\n\n";

constexpr std::string_view whole_reply = R"({"access_token":"abc","token_type":"Bearer"})";

enum class outcome {
    unreachable,  // the line contains a code of libcurl
    refused,      // the line contains the reply
    token_invalid // there is no line: the server refuses the token
};

// What an endpoint does, and how the connect must fail.
struct endpoint_case {
    std::string name;
    raw_http_server::script answer; // empty: nothing listens
    outcome expected;
    std::string line_end = {}; // of the line on standard error
};

struct judgement {
    outcome result;
    milliseconds duration;
};

raw_http_server::script reply_with(std::string reply) {
    return [reply = std::move(reply)](raw_http_connection& client) {
        client.send(reply);
    };
}

endpoint_case refused(std::string name, std::string body, std::string head = "HTTP/1.1 200 OK") {
    auto line_end = "Reply from auth endpoint: " + body + "\n";
    return {
        std::move(name), reply_with(http_reply(body, head)), outcome::refused, std::move(line_end)};
}

std::string chunk(std::string_view bytes) {
    std::ostringstream text;
    text << std::hex << bytes.size() << "\r\n" << bytes << "\r\n";
    return text.str();
}

// A valid reply that arrives in two chunks; everything after the first is refused.
endpoint_case split_at(std::size_t position) {
    auto const rest = whole_reply.substr(position);
    return {
        "reply split at byte " + std::to_string(position),
        reply_with(
            "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\nConnection: close\r\n\r\n"
            + chunk(whole_reply.substr(0, position)) + chunk(rest) + chunk("")),
        outcome::refused,
        "Reply from auth endpoint: " + std::string{rest} + "\n"};
}

std::vector<endpoint_case> bad_replies() {
    return {
        refused("401", R"({"error":"invalid_client"})", "HTTP/1.1 401 Unauthorized"),
        refused("HTML", "<html>Bad gateway</html>", "HTTP/1.1 502 Bad Gateway"),
        refused("space after the brace", R"({ "access_token":"abc"})"),
        refused("other first key", R"({"token_type":"Bearer","access_token":"abc"})"),
        refused("no closing quote", R"({"access_token":"abc)"),
        refused("redirect with a body", "moved", "HTTP/1.1 302 Found\r\nLocation: http://[::1]:1/"),
        {"empty body", reply_with(http_reply("")), outcome::token_invalid},
        {"redirect without a body",
         reply_with(http_reply("", "HTTP/1.1 302 Found\r\nLocation: http://[::1]:1/")),
         outcome::token_invalid},
        {"1 MiB",
         reply_with(http_reply(
             R"({"access_token":")" + std::string(std::size_t{1024} * 1024, 'x') + R"("})")),
         outcome::refused,
         "x\"}\n"},
    };
}

std::vector<endpoint_case> quick_cases() {
    auto cases = bad_replies();
    cases.push_back(
        {"refused connection", {}, outcome::unreachable, "CURL call failed, returned 7\n\n"});
    for (std::size_t position = 1; position < whole_reply.size(); ++position) {
        cases.push_back(split_at(position));
    }
    return cases;
}

std::vector<endpoint_case> slow_cases() {
    return {
        {"slow drip",
         [](raw_http_connection& client) {
             client.send("HTTP/1.1 200 OK\r\n\r\n");
             do {
                 client.send("x");
             } while (!client.is_left_within(drop_interval));
         },
         outcome::unreachable,
         timed_out},
        {"later than 5 s",
         [](raw_http_connection& client) { static_cast<void>(client.is_left_within(patience)); },
         outcome::unreachable,
         timed_out},
    };
}

// What happens on standard error and in the thrown text when `client` connects, which must be
// as expected; afterwards the client connects with a good endpoint.
class trial {
public:
    trial(dev::dev_hub& hub, captured_stream const& errors)
        : m_hub{hub}
        , m_errors{errors} {}

    template <class Client>
    [[nodiscard]] judgement run(
        endpoint_case const& tried, Client&& client, std::string const& kind) const {
        auto const server =
            tried.answer ? std::make_unique<raw_http_server>(tried.answer) : nullptr;
        auto const url = server ? server->get_url() : "http://127.0.0.1:1/token";
        auto const begin = steady_clock::now();
        auto const thrown = thrown_message<connection_failed>([&] { connect_to(client, url); });
        auto const duration = std::chrono::duration_cast<milliseconds>(steady_clock::now() - begin);
        demand(duration < connect_limit, tried.name + ": connecting took too long");
        demand_text(tried, thrown, kind);
        demand_line(tried, url);
        demand(!client.is_connected(), tried.name + ": the client calls itself connected");
        connect(client, m_hub);
        demand(client.is_connected(), tried.name + ": the client does not connect afterwards");
        return {tried.expected, duration};
    }

    template <class Client>
    void connect_to(Client& client, std::string const& token_url) const {
        client.connect(
            m_hub.get_nats_server().get_url(), token_url, "developer", "developer-secret");
    }

private:
    dev::dev_hub& m_hub;
    captured_stream const& m_errors;

    void demand_text(
        endpoint_case const& tried, std::string const& thrown, std::string const& kind) const {
        // If the endpoint was slow, the server has closed the connection meanwhile.
        auto const in_time = tried.line_end != timed_out;
        auto const expected = kind + " tokens: failed to connect to the NATS server at "
                            + m_hub.get_nats_server().get_url() + ", NATS returns: "
                            + (in_time ? "11 = Authentication Violation\n" : "");
        demand(
            in_time ? thrown == expected : thrown.starts_with(expected),
            tried.name + ": the exception says: " + thrown);
    }

    void demand_line(endpoint_case const& tried, std::string const& url) const {
        auto const text = m_errors.flushed_text();
        auto const begin = text.rfind(
            "Failed to receive new NATS authentication token: Authentication failed:\nEndpoint: "
            + url + "\n");
        if (tried.expected == outcome::token_invalid) {
            demand(begin == std::string::npos, tried.name + ": a line: " + text);
            return;
        }
        std::string const credentials =
            "Client ID: developer\nSecret: developer-secret\nReply from auth endpoint: ";
        demand(begin != std::string::npos, tried.name + ": no line: " + text);
        auto const line = text.substr(begin);
        demand(
            line.find(tried.line_end) != std::string::npos
                && (tried.expected == outcome::unreachable
                    || line.find(credentials) != std::string::npos),
            tried.name + ": another line: " + line);
    }
};

// The certificate is not verified.
void demand_admission_by_a_self_signed_endpoint(dev::dev_hub& hub, trial const& tried) {
    self_signed_endpoint const endpoint{
        R"({"access_token":")" + hub.get_nats_server().get_token() + R"("})"};
    provider server{"tokens"};
    consumer client{"tokens", true, nullptr, nullptr};
    tried.connect_to(server, endpoint.get_url());
    tried.connect_to(client, endpoint.get_url());
    demand(server.is_connected() && client.is_connected(), "TLS with a self-signed certificate");
}

// Counts what was seen.
class tally {
public:
    void add(judgement const& judged) {
        ++m_counts[judged.result];
        m_longest = std::max(m_longest, judged.duration);
    }

    [[nodiscard]] std::string to_text() const {
        std::ostringstream text;
        text << m_counts.at(outcome::refused) << " connects refused with the reply in a line, "
             << m_counts.at(outcome::unreachable) << " with a code of libcurl, "
             << m_counts.at(outcome::token_invalid)
             << " by the server for want of a token; a self-signed certificate accepted; longest "
             << m_longest.count() << " ms";
        return text.str();
    }

private:
    std::map<outcome, unsigned> m_counts;
    milliseconds m_longest{};
};

} // namespace

std::string run_token_endpoints(effort /*how_much*/) {
    captured_stream const errors{std::cerr};
    dev::dev_hub hub;
    trial const tried{hub, errors};
    auto const connect_provider = [&tried](endpoint_case const& next) {
        return tried.run(next, provider{"tokens"}, "Provider");
    };
    auto const connect_consumer = [&tried](endpoint_case const& next) {
        return tried.run(next, consumer{"tokens", true, nullptr, nullptr}, "Consumer");
    };
    std::vector<std::future<judgement>> slow;
    for (auto const& next : slow_cases()) {
        slow.push_back(std::async(std::launch::async, connect_provider, next));
        slow.push_back(std::async(std::launch::async, connect_consumer, next));
    }
    tally judged;
    for (auto const& next : quick_cases()) {
        judged.add(connect_provider(next));
        judged.add(connect_consumer(next));
    }
    demand_admission_by_a_self_signed_endpoint(hub, tried);
    for (auto& outcome : slow) {
        judged.add(outcome.get());
    }
    return judged.to_text();
}

} // namespace arvenhold::corvel::hub::reliability
