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

std::vector<row> const& all_rows() {
    static std::vector<row> const rows{
        {1,
         "nats-server killed and started again after 0.2, 2 and 20 s, under publishing, reading "
         "and writing",
         "both sides reconnect, the definition is registered again, all values, qualities and "
         "time stamps are equal afterwards",
         &run_server_restarts},
        {2,
         "nats-server frozen for 5 s; what passes between both applications and the server "
         "swallowed for 8 s without closing a connection, which the NATS client notices after up "
         "to 6 minutes, so that the router between them resets the connections in the end",
         "no call takes longer than documented; then both sides go on, and all values, qualities "
         "and time stamps become equal",
         &run_mute_servers},
        {3,
         "a token endpoint that refuses the connection, answers 401, HTML, nothing, a blank after "
         "the brace, another first key, no closing quote, in two pieces split at every byte, 1 "
         "MiB, a redirect, drop by drop, later than 5 s, with a self-signed certificate",
         "the documented exception and line each time within 7 s; the same object connects with a "
         "good endpoint afterwards",
         &run_token_endpoints},
        {4,
         "providers' processes killed and started again, and stopped for 30 s and continued, with "
         "a server that drops clients which do not answer, because the registry notices only lost "
         "connections; one stopped without anybody noticing",
         "the consumer is told of the loss and all values are bad; it is told of the return once "
         "and all values are read again; unnoticed, a read fails after 5 s and faults the "
         "connection",
         &run_provider_losses},
        {5,
         "the definition replaced under reading, writing and events",
         "no value under a wrong fingerprint; the last definition wins",
         &run_replacements},
        {6,
         "a registry that answers at once, twice, late or not at all, rejects, restarts",
         "accepted, rejected or timed out as documented; published again after a restart",
         &run_registries},
        {7,
         "every operation called from inside every callback",
         "each returns within 10 s",
         &run_calls_from_callbacks},
        {8,
         "objects destroyed during traffic, from callbacks of other objects, and disconnected by "
         "two threads at once",
         "no crash, no hang; no finding of a sanitizer",
         &run_destruction},
        {9,
         "10,000 connects and disconnects, 10,000 connections to a provider made and destroyed",
         "memory, files and threads stay as they are after the warm-up",
         &run_cycles},
        {10,
         "a callback that takes 1 s, at 10,000 events in a second",
         "memory stays within the limit of the NATS client; afterwards one read makes all values "
         "equal; the loss can be seen",
         &run_slow_callback},
        {11,
         "identifiers and paths that are empty, contain blanks, dots, wildcards, quotes, "
         "backslashes, 4 KiB, not UTF-8; 20,000 variables; an event above max_payload",
         "the documented outcome, no crash",
         &run_identifiers},
        {12,
         "limits of int64, NaN, infinities, -0.0, negative and huge durations, times before 1970 "
         "and in 2262, a clock set back by an hour",
         "every value arrives as it was set, durations in whole microseconds",
         &run_numbers},
        {13,
         "random sequences of operations and faults, against a model of the documented state "
         "machines",
         "every operation ends as the model says; after each quiet period all states, values, "
         "qualities and time stamps are those of the model",
         &run_random_sequences,
         &run_random_sequence},
        {17,
         "the server in use of a cluster of three killed, and started again when the clients have "
         "moved; a session is given the URL of one server, and the cluster tells it the others",
         "publishing and reading go on with another server within 10 s; all values, qualities and "
         "time stamps become equal, and the registry has the definition",
         &run_cluster},
    };
    return rows;
}

} // namespace arvenhold::corvel::hub::reliability
