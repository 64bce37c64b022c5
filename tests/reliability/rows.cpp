// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "reliability/row.hpp"

namespace arvenhold::corvel::hub::reliability {

std::string run_cluster(effort how_much);
std::string run_server_restarts(effort how_much);
std::string run_mute_servers(effort how_much);
std::string run_token_endpoints(effort how_much);
std::string run_provider_losses(effort how_much);
std::string run_replacements(effort how_much);
std::string run_registries(effort how_much);
std::string run_calls_from_callbacks(effort how_much);
std::string run_destruction(effort how_much);
std::string run_cycles(effort how_much);
std::string run_slow_callback(effort how_much);
std::string run_identifiers(effort how_much);
std::string run_numbers(effort how_much);
std::string run_random_sequences(effort how_much);
std::string run_random_sequence(std::uint64_t seed);
std::string run_sessions_without_server(effort how_much);
std::string run_sessions_without_token(effort how_much);
std::string run_sessions_on_half_open_links(effort how_much);
std::string run_sessions_without_provider(effort how_much);
std::string run_sessions_without_registry(effort how_much);
std::string run_sessions_without_anything(effort how_much);
std::string run_sessions_without_anything_for_seed(std::uint64_t seed);
std::string run_session_sequences(effort how_much);
std::string run_session_sequence(std::uint64_t seed);

namespace {

constexpr std::string_view session_guarantee =
    "within 10 s after the last cause has ended, every followed value is live, with the provider's "
    "value, quality and time stamp; no value is live for longer than documented after its provider "
    "has replaced or lost it (plus up to 1 s for the machine), and none that it did not hold. "
    "Sessions wait up to 3 s between two attempts, and providers 3 s for the registry's verdict";

} // namespace

std::vector<row> const& all_rows() {
    static std::vector<row> const rows{
        {1,
         "The server restarts",
         "the NATS server is killed and started again after 0.2, 2 and 20 s, while both sides "
         "publish, read and write. A second provider publishes only at the end of the outage, to a "
         "consumer that only listens",
         "both sides reconnect; the definitions are registered again. A consumer that was away may "
         "hold older values as good; after request_provider_definition() all values, qualities and "
         "time stamps are equal",
         &run_server_restarts},
        {2,
         "The server hangs, the network drops packets",
         "the NATS server is frozen for 5 s; the network between both applications and the server "
         "drops all packets for 8 s without closing a connection. The NATS client notices that "
         "after up to 6 minutes, so the router resets the connections in the end",
         "no call takes longer than documented; then both sides continue, and all values, "
         "qualities and time stamps become equal",
         &run_mute_servers},
        {3,
         "Bad token endpoints",
         "a token endpoint refuses the connection, answers 401, HTML, nothing, a space after the "
         "brace, another first key, no closing quote, in two pieces split at every byte, 1 MiB, a "
         "redirect, slowly in small pieces, later than 5 s, with a self-signed certificate",
         "the documented exception and line within 7 s, each time; the same object connects with a "
         "good endpoint afterwards",
         &run_token_endpoints},
        {4,
         "Providers end or hang",
         "providers' processes are killed and started again, and stopped for 30 s and continued; "
         "the server disconnects clients that do not answer, because the registry notices only "
         "lost connections. One is stopped without notice",
         "the consumer is notified of the loss, and all values are bad; it is notified of the "
         "return once, and all values are read again. Without notice, a read fails after 5 s and "
         "faults the connection",
         &run_provider_losses},
        {5,
         "Definitions are replaced",
         "the definition is replaced under reading, writing and events",
         "no value under a wrong fingerprint; the last definition wins",
         &run_replacements},
        {6,
         "Bad registries",
         "a registry answers at once, twice, late or not at all, rejects, restarts",
         "accepted, rejected or timed out as documented; published again after a restart",
         &run_registries},
        {7,
         "Calls from callbacks",
         "every operation is called from inside every callback",
         "each returns within 10 s",
         &run_calls_from_callbacks},
        {8,
         "Destruction under traffic",
         "objects are destroyed during traffic, from callbacks of other objects, and disconnected "
         "by two threads at once",
         "no crash, no hang; no finding of a sanitizer",
         &run_destruction},
        {9,
         "Ten thousand cycles",
         "10,000 connects and disconnects; 10,000 connections to a provider created and destroyed",
         "memory, files and threads stay as they are after the warm-up",
         &run_cycles},
        {10,
         "A slow callback",
         "a callback takes 1 s, at 10,000 events per second",
         "memory stays within the limit of the NATS client; one read makes all values equal "
         "afterwards; the loss can be seen",
         &run_slow_callback},
        {11,
         "Odd identifiers and large messages",
         "identifiers and paths are empty, contain spaces, dots, wildcards, quotes, backslashes, 4 "
         "KiB, not UTF-8; 20,000 variables; an event above max_payload",
         "the documented outcome, no crash",
         &run_identifiers},
        {12,
         "Extreme values",
         "limits of int64, NaN, infinities, -0.0, negative and huge durations, times before 1970 "
         "and in 2262, a clock set back by an hour",
         "every value arrives as it was set, durations in whole microseconds",
         &run_numbers},
        {13,
         "Random sequences",
         "random sequences of operations and faults, against a model of the documented state "
         "machines",
         "every operation ends as the model predicts; after each quiet period all states, values, "
         "qualities and time stamps are those of the model",
         &run_random_sequences,
         &run_random_sequence},
        {17,
         "A cluster fails over",
         "the server in use of a cluster of three is killed, and started again when the clients "
         "have moved. A session is given the URL of one server; the cluster announces the others",
         "publishing and reading continue with another server within 10 s; all values, qualities "
         "and time stamps become equal, and the registry has the definition",
         &run_cluster},
        {19,
         "Sessions without a server",
         "the server does not run when provider and consumer sessions start; it is killed, and "
         "started again after 1, 20, 125 and 200 s",
         session_guarantee,
         &run_sessions_without_server},
        {20,
         "Sessions without a token",
         "the server restarts while the token endpoint refuses connections, answers 3 s late or "
         "with 401, for 2, 5 and 60 s; the server restarts after the client secret was rotated, "
         "and "
         "the callback for credentials returns the new one 3 s later",
         session_guarantee,
         &run_sessions_without_token},
        {21,
         "Sessions on half-open links",
         "the NATS server is frozen; the network between the server and the consumer sessions, or "
         "the provider sessions, drops all packets without closing a connection. Sessions ping "
         "every 0.5 s and probe silent providers after 1 s",
         session_guarantee,
         &run_sessions_on_half_open_links},
        {22,
         "Sessions of providers that end or hang",
         "one of three providers' processes is killed and started again, with the same variables, "
         "with those of equal type in each other's place, or with one gone, one new and one of "
         "another type; one is stopped for 8 s and continued",
         session_guarantee,
         &run_sessions_without_provider},
        {23,
         "Sessions without a registry",
         "the registry restarts; it does not answer for 5 s while the server restarts. Two "
         "consumer sessions share a process",
         session_guarantee,
         &run_sessions_without_registry},
        {24,
         "Sessions under all faults at once",
         "within 12 s, at random times and for random durations, the server is killed or frozen, "
         "the token endpoint is down, slow or refuses, the registry hangs, a link drops packets, "
         "the secret is rotated, one provider is killed and one hangs; sometimes the registry "
         "restarts in the end",
         session_guarantee,
         &run_sessions_without_anything,
         &run_sessions_without_anything_for_seed},
        {25,
         "Random sequences with sessions",
         "random sequences of operations of a provider session and a consumer session, in any "
         "order, while the server is down, tokens are refused, the registry hangs or restarts, "
         "against a model of the documented sessions",
         "every operation ends as the model predicts; whenever all causes have ended, all states, "
         "values, qualities, time stamps and what handlers were called with become those of the "
         "model; no handler gets a live value that the provider never held, or runs outside "
         "dispatch() if it is to wait for it",
         &run_session_sequences,
         &run_session_sequence},
    };
    return rows;
}

} // namespace arvenhold::corvel::hub::reliability
