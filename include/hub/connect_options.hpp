// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/detail/export.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

namespace arvenhold::corvel::hub {

/// What happens to the link between a client and the server.
enum class link_event : std::uint32_t {
    lost = 0,             ///< The connection broke; the NATS client tries to reconnect.
    restored = 1,         ///< The client is connected again; its subscriptions are active again.
    closed = 2,           ///< The NATS client has given up. Only disconnect() and connect() help.
    messages_dropped = 3, ///< A callback was too slow, and messages for it were dropped.
};

/// Called when something happens to the link, see connect_options::set_link_callback().
///
/// Called on a thread of its own for each session, with no lock of this library held, one event
/// after the other and in their order. May call any operation of any object, and may destroy the
/// provider or the consumer. A std::exception that leaves the callback is written to standard
/// error.
///
/// @param event             What has happened.
/// @param dropped_messages  With `messages_dropped`, how many messages were dropped since the event
///                          before; otherwise 0.
/// @param user_data         As given with the callback; must stay valid until the destructor of the
///                          provider or consumer has returned.
using link_callback = void (*)(link_event event, std::uint64_t dropped_messages, void* user_data);

/// The client identifier and the client secret for one token (RFC 6749, section 4.4).
struct client_credentials {
    std::string client_id;     ///< The client identifier.
    std::string client_secret; ///< The client secret.
};

/// Returns the credentials for the next token, see connect_options::set_credentials_callback().
///
/// Called on the thread that fetches the token: the one that calls `connect`, with the lock of the
/// provider or consumer held, or a thread of the NATS client that holds the connection's lock. Must
/// return soon, because every operation of the client waits meanwhile, and must not call any
/// operation of a provider, a consumer or a connection. If it throws, there is no token: a
/// std::exception is written to standard error, `connect` fails, and a reconnecting provider is
/// marked failed.
///
/// @param user_data  As given with the callback; must stay valid until the destructor of the
///                   provider or consumer has returned.
using credentials_callback = client_credentials (*)(void* user_data);

/// Optional settings for connecting a provider or a consumer. The default values suit most
/// programs.
///
/// @code
/// boiler.connect(nats_url, token_url, id, secret,
///                connect_options{}.set_reconnect_attempts(connect_options::unlimited_attempts)
///                                 .set_ping_interval(std::chrono::seconds{5}));
/// @endcode
///
/// A setter throws std::invalid_argument for a value outside the range that its description gives;
/// the text names the option, the value and the range, and the options are unchanged. Each getter
/// returns what was set, or the default value.
///
/// The waits that the descriptions of other operations name are those of the default options.
///
/// @par Authorization errors
/// When the server refuses a client twice in a row, the NATS client closes the connection for good,
/// whatever the number of attempts, and no option prevents that. Only disconnect() and connect()
/// help; the link callback reports `closed`.
///
/// @par Thread safety
/// Like a value: an object must not be changed while another thread uses it. Copies are cheap and
/// independent. A returned reference is valid until the object is changed or destroyed.
class CORVEL_HUB_API connect_options {
public:
    // -- sending ----------------------------------------------------------------------------------

    /// Sets whether to send every message immediately.
    ///
    /// If false, the NATS client collects messages for up to a millisecond, and a message reaches
    /// its receiver after about 0.7 ms. If true, it takes about 0.1 ms, but each message costs a
    /// system call, about 3 microseconds instead of 0.2. While a server goes down, more
    /// publications fail with `IO Error`; each failure marks a provider failed or a connection
    /// `faulted`.
    ///
    /// Use it if a single change must arrive within a fraction of a millisecond and messages are
    /// few. Do not use it to send many values; send those in one message.
    ///
    /// @param send_immediately  false by default.
    connect_options& set_send_immediately(bool send_immediately);

    /// Returns whether every message is sent immediately.
    bool sends_immediately() const;

    /// Sets how long sending may wait for a server that accepts no data.
    ///
    /// Without a limit, `publish` and `disconnect` wait for as long as the server hangs or the
    /// network drops packets. With one, they fail with `Timeout` or `IO Error`, the connection
    /// breaks, and a provider is marked failed.
    ///
    /// @param deadline  Up to 24 h; 0, the default, for no limit.
    connect_options& set_write_deadline(std::chrono::milliseconds deadline);

    /// Returns how long sending may wait; 0 for no limit.
    std::chrono::milliseconds get_write_deadline() const;

    // -- reconnecting -----------------------------------------------------------------------------

    /// For set_reconnect_attempts(): the NATS client never gives up.
    static constexpr int unlimited_attempts = -1;

    /// Sets how often the NATS client tries to reconnect to each server before it gives up for
    /// good. Use unlimited_attempts for a program that nobody restarts.
    ///
    /// @param attempts  0 and more, or unlimited_attempts; 60 by default, which takes about two
    ///                  minutes while nothing listens on the server's port. With 0, the first loss
    ///                  ends the session.
    connect_options& set_reconnect_attempts(int attempts);

    /// Returns the number of attempts, or unlimited_attempts.
    int get_reconnect_attempts() const;

    /// Sets the wait between two attempts to reconnect to the same server. With one server it
    /// precedes the first attempt, too.
    ///
    /// A shorter wait ends an outage earlier. Each attempt fetches a token, so many clients with a
    /// short wait burden the token endpoint.
    ///
    /// @param wait  1 ms to 24 h; 2 s by default.
    connect_options& set_reconnect_wait(std::chrono::milliseconds wait);

    /// Returns the wait between two attempts.
    std::chrono::milliseconds get_reconnect_wait() const;

    /// Sets the maximum of the random time that is added to the wait. Longer ones spread the load
    /// if many clients lose one server.
    ///
    /// @param jitter      The maximum without TLS: 0 to 24 h; 100 ms by default.
    /// @param tls_jitter  The maximum with TLS: 0 to 24 h; 1 s by default.
    connect_options& set_reconnect_jitter(
        std::chrono::milliseconds jitter, std::chrono::milliseconds tls_jitter);

    /// Returns the maximum of the random time without TLS.
    std::chrono::milliseconds get_reconnect_jitter() const;

    /// Returns the maximum of the random time with TLS.
    std::chrono::milliseconds get_reconnect_tls_jitter() const;

    /// Sets how many bytes of publications are kept while the client is disconnected. They are sent
    /// after the reconnect, in one burst and as old as the outage was long. A publication that
    /// finds the buffer full fails with status 23, `Insufficient Buffer`, and marks a provider
    /// failed.
    ///
    /// Use 0, no buffer, if old values do harm: every publication during an outage then fails, and
    /// so does every request.
    ///
    /// @param bytes  0 to 2,147,483,647; 8,388,608 (8 MiB) by default.
    connect_options& set_reconnect_buffer(std::size_t bytes);

    /// Returns the size of the buffer in bytes; 0 for none.
    std::size_t get_reconnect_buffer() const;

    /// Sets whether requests fail at once with status 10, `Connection Disconnected`, while the
    /// client is disconnected. Otherwise they wait for the reconnect, up to the request time limit.
    /// A failed request faults its connection, so use it if a late answer is of no use.
    ///
    /// @param fail  false by default.
    connect_options& set_fail_requests_while_disconnected(bool fail);

    /// Returns whether requests fail at once while the client is disconnected.
    bool fails_requests_while_disconnected() const;

    // -- supervision of the link ------------------------------------------------------------------

    /// Sets the interval at which the NATS client pings the server.
    ///
    /// A server that hangs, or a network that drops packets, is noticed after the interval times
    /// one more than set_unanswered_pings(), by default 6 min. A shorter interval costs a small
    /// message each way.
    ///
    /// @param interval  1 ms to 24 h; 2 min by default.
    connect_options& set_ping_interval(std::chrono::milliseconds interval);

    /// Returns the interval between two pings.
    std::chrono::milliseconds get_ping_interval() const;

    /// Sets how many pings may be unanswered. The next one breaks the connection, and the NATS
    /// client reconnects.
    ///
    /// @param pings  1 to 2,147,483,647; 2 by default.
    connect_options& set_unanswered_pings(int pings);

    /// Returns how many pings may be unanswered.
    int get_unanswered_pings() const;

    /// Sets the callback for link events.
    ///
    /// An event is reported within about 0.1 s, no matter what other callbacks are doing. During
    /// an attempt to reconnect, which ends after the connect time limit or the token time limit,
    /// and during a publication that the server does not accept, events wait. After disconnect(),
    /// and after the destructor, no call begins, and neither is reported as `closed`. A call that
    /// is running then continues, and the destructor waits for it, except from the callback.
    ///
    /// `restored` comes as soon as the client is connected; a provider may still be waiting for the
    /// registry's verdict, a consumer for the list of providers.
    ///
    /// Costs a thread, and about ten short looks at the connection each second. If there is no
    /// thread, `connect` throws std::system_error, and nothing is connected.
    ///
    /// @param callback   The function to call; null, the default, for none.
    /// @param user_data  Passed to the callback unchanged.
    connect_options& set_link_callback(link_callback callback, void* user_data);

    /// Returns the callback for link events, null for none.
    link_callback get_link_callback() const;

    /// Returns the user pointer of the callback for link events.
    void* get_link_user_data() const;

    // -- time limits ------------------------------------------------------------------------------

    /// Sets how long a request may take. One that takes longer throws connection_failed with status
    /// 26 and faults its connection.
    ///
    /// @param limit  1 ms to 24 h; 5 s by default.
    connect_options& set_request_time_limit(std::chrono::milliseconds limit);

    /// Returns how long a request may take.
    std::chrono::milliseconds get_request_time_limit() const;

    /// Sets how long a provider waits for the registry's verdict on its definition. Has no effect
    /// on a consumer.
    ///
    /// After a reconnect, this wait delays the reconnected callbacks of all clients of the process.
    /// A limit below the registry's usual time to answer makes registering fail.
    ///
    /// @param limit  1 ms to 24 h; 15 s by default.
    connect_options& set_verdict_time_limit(std::chrono::milliseconds limit);

    /// Returns how long a provider waits for a verdict.
    std::chrono::milliseconds get_verdict_time_limit() const;

    /// Sets how long connecting to a server may take, the token request included. Also the limit
    /// for each attempt to reconnect.
    ///
    /// Use a longer one if the token endpoint is slow. The server has a limit of its own,
    /// `authorization { timeout }`, 2 s by default.
    ///
    /// @param limit  1 ms to 24 h; 2 s by default.
    connect_options& set_connect_time_limit(std::chrono::milliseconds limit);

    /// Returns how long connecting to a server may take.
    std::chrono::milliseconds get_connect_time_limit() const;

    /// Sets how long a token request may take. While the NATS client reconnects, every operation of
    /// the client may wait that long.
    ///
    /// @param limit  1 s to 24 h; 5 s by default.
    connect_options& set_token_time_limit(std::chrono::seconds limit);

    /// Returns how long a token request may take.
    std::chrono::seconds get_token_time_limit() const;

    // -- servers ----------------------------------------------------------------------------------

    /// Sets the name that the server shows for the client. Nothing but the server's lists and logs
    /// depends on it.
    ///
    /// @param name  Text without quotes, backslashes and control characters. By default, and for an
    ///              empty string, the provider's identifier or the consumer's name.
    connect_options& set_client_name(std::string name);

    /// Returns the name that the server shows; an empty string for the default.
    std::string const& get_client_name() const;

    /// Sets further servers of the cluster. The client tries them after the URL that is given to
    /// `connect`, in connecting and in reconnecting, besides those that the cluster announces. Use
    /// it if a client must be able to start while one of the servers is down.
    ///
    /// @param urls  URLs, none of them empty or of spaces only; none by default.
    connect_options& set_further_servers(std::vector<std::string> urls);

    /// Returns the URLs of further servers.
    std::vector<std::string> const& get_further_servers() const;

    /// Sets whether the servers, the one that is given to `connect` included, are tried in random
    /// order. Spreads many clients over a cluster. Has no effect without further servers.
    ///
    /// @param randomize  false by default.
    connect_options& set_randomize_servers(bool randomize);

    /// Returns whether the servers are tried in random order.
    bool randomizes_servers() const;

    // -- encryption -------------------------------------------------------------------------------

    /// Sets whether the client refuses a NATS server without TLS, for which a URL that begins with
    /// `tls://` is not enough. A server that requires TLS gets it anyway; its certificate and host
    /// name are always checked.
    ///
    /// @param required  false by default.
    connect_options& set_tls_required(bool required);

    /// Returns whether the client refuses a server without TLS.
    bool is_tls_required() const;

    /// Sets the authorities that may sign the NATS server's certificate, besides those of the
    /// system. Also requires TLS. If the file cannot be used, `connect` throws connection_failed with
    /// status 29 and the file's name, and opens nothing.
    ///
    /// @param file  Path of a PEM file; an empty string, the default, for none.
    connect_options& set_tls_ca_file(std::string file);

    /// Returns the file with the authorities; an empty string for none.
    std::string const& get_tls_ca_file() const;

    /// Sets the certificate with which the client identifies itself to the NATS server. Also
    /// requires TLS. Errors are as for set_tls_ca_file(); the name is that of the file that cannot
    /// be read, or both if the NATS client does not accept what is in them.
    ///
    /// @param certificate_file  Path of a PEM file with the client's certificate, then those of the
    ///                          authorities between it and the root; none by default.
    /// @param key_file          Path of a PEM file with the private key, without a password; given
    ///                          exactly if there is a certificate.
    connect_options& set_tls_client_certificate(std::string certificate_file, std::string key_file);

    /// Returns the file with the client's certificate; an empty string for none.
    std::string const& get_tls_certificate_file() const;

    /// Returns the file with the client's private key; an empty string for none.
    std::string const& get_tls_key_file() const;

    /// Sets the host name that the NATS server's certificate must have. Also requires TLS. Use it
    /// if URLs have addresses and certificates have names.
    ///
    /// @param host_name  The name of all servers. By default, and for an empty string, the one in
    ///                   the URL of each.
    connect_options& set_tls_host_name(std::string host_name);

    /// Returns the host name that the certificate must have; an empty string for the URL's.
    std::string const& get_tls_host_name() const;

    // -- token endpoint ---------------------------------------------------------------------------

    /// Sets whether to check the certificate and the host name of the token endpoint. It is off by
    /// default, because controllers present certificates that they have signed themselves. Use it
    /// wherever the endpoint has a certificate that can be checked: it protects the client secret.
    ///
    /// @param check    false by default.
    /// @param ca_file  Path of a PEM file with the only authorities that may have signed the
    ///                 certificate; an empty string for those of the system. Must be empty unless
    ///                 `check` is true. Errors are as for set_tls_ca_file(); a file that cannot be
    ///                 used any more when a token is requested gives none.
    connect_options& set_token_endpoint_check(bool check, std::string ca_file = {});

    /// Returns whether the certificate and the host name of the token endpoint are checked.
    bool checks_token_endpoint() const;

    /// Returns the file with the authorities for the token endpoint; an empty string for the
    /// system's.
    std::string const& get_token_ca_file() const;

    /// Sets the proxy for token requests. An endpoint without TLS shows the client secret to the
    /// proxy. Proxy variables of the environment have no effect either way.
    ///
    /// @param url  As `http://proxy:3128`, with one of the schemes `http`, `https`, `socks4`,
    ///             `socks4a`, `socks5` and `socks5h`, or none for `http`; an empty string, the
    ///             default, for no proxy. It is not repeated in the text of the exception, because
    ///             it may contain a password.
    connect_options& set_token_proxy(std::string url);

    /// Returns the URL of the proxy for token requests; an empty string for none.
    std::string const& get_token_proxy() const;

    /// Sets the callback that returns the credentials for every token request, in place of those
    /// that are given to `connect`. Use it if secrets are replaced while the program runs: the next
    /// reconnect takes the new one. credentials_callback says what the callback must not do.
    ///
    /// @param callback   The function to call; null, the default, for none.
    /// @param user_data  Passed to the callback unchanged.
    connect_options& set_credentials_callback(credentials_callback callback, void* user_data);

    /// Returns the callback for credentials, null for none.
    credentials_callback get_credentials_callback() const;

    /// Returns the user pointer of the callback for credentials.
    void* get_credentials_user_data() const;

    // -- threads ----------------------------------------------------------------------------------

    /// Sets how many threads deliver the messages of all consumers of the process that use this
    /// option. For consumers only: provider::connect throws std::invalid_argument, because a
    /// provider waits for a message while it handles another.
    ///
    /// Saves two threads for each attached provider. The cost: subscriptions that share a thread
    /// wait for each other, so a callback that blocks for 5 s keeps other connections, other
    /// consumers included, from being updated for 5 s. A callback must not wait for another one.
    /// The pool grows to the largest size that any consumer has set, and never shrinks.
    ///
    /// @param threads  1 to 1,024; 0, the default, for a thread for each subscription.
    connect_options& set_delivery_pool_size(int threads);

    /// Returns how many threads deliver messages; 0 for one for each subscription.
    int get_delivery_pool_size() const;

private:
    struct values;

    std::shared_ptr<values const> m_values; // null while everything has its default value

    CORVEL_HUB_INTERNAL values const& current() const;
    template <class Value>
    CORVEL_HUB_INTERNAL connect_options& set(Value values::*option, std::decay_t<Value> value);
};

} // namespace arvenhold::corvel::hub
