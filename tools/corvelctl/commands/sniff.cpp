// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/command_line.hpp"
#include "corvelctl/commands.hpp"
#include "corvelctl/failures.hpp"
#include "corvelctl/hub_client.hpp"
#include "corvelctl/hub_message.hpp"
#include "corvelctl/network_probe.hpp"
#include "corvelctl/secrets.hpp"
#include "corvelctl/time_text.hpp"
#include "corvelctl/token_probe.hpp"
#include "dev_hub/dev_hub_failure.hpp"
#include "dev_hub/hub_session.hpp"
#include "dev_hub/traffic_listener.hpp"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <utility>

namespace arvenhold::corvel::hub::ctl {

namespace {

using clock = supervisor::clock;

constexpr char const* scope = "hub.variables.readonly";
constexpr std::size_t queue_limit = 100'000; // messages

struct sniff_options {
    std::string subject = "v1.loc.>";
    bool hex = false;
    std::optional<std::uint64_t> count;
    std::optional<std::chrono::milliseconds> span;
};

// The NATS client would accept wrong ones, or name no reason.
void require_subject(std::string const& subject) {
    auto const has_empty_token = ('.' + subject + '.').find("..") != std::string::npos;
    if (has_empty_token || subject.find_first_of(" \t\r\n") != std::string::npos) {
        throw failure{
            exit_code::usage,
            '"' + subject + "\" is no subject: it has white space, or nothing between two dots",
            "write v1.loc.boiler.>, or leave it out; * stands for one token, > for all that "
            "follow"};
    }
}

std::string obtain_token(tool& with, connection_settings const& settings) {
    with.guard.set_step("waiting for a token");
    auto const endpoint = remove_secrets(settings.token_url, {});
    token_reply reply;
    try {
        reply = request_token(settings, scope, with.guard.get_time_left());
    } catch (probe_failure const& failed) {
        throw failure{
            exit_code::unreachable,
            "the token endpoint " + endpoint + " gives " + failed.what(),
            "check --token-url; see what is wrong: corvelctl doctor"};
    }
    if (reply.token.empty()) {
        throw failure{
            exit_code::refused,
            "the token endpoint " + endpoint + " gives no token to client \"" + settings.client_id
                + "\": status " + std::to_string(reply.status)
                + (reply.refusal.empty() ? "" : ": " + reply.refusal),
            "check --client-id, the secret in " + settings.secret_file
                + ", and the path of --token-url"};
    }
    with.reports.hide({reply.token});
    return reply.token;
}

std::unique_ptr<dev::traffic_listener> listen(tool& with, sniff_options const& given) {
    require_subject(given.subject);
    auto const settings = prepare_connection(with);
    auto const token = obtain_token(with, settings);
    auto const server = remove_secrets(settings.server_urls.front(), {});
    with.guard.set_step("connecting to " + server);
    std::unique_ptr<dev::traffic_listener> listener;
    try {
        listener = std::make_unique<dev::traffic_listener>(
            dev::hub_session_settings{settings.server_urls, token, "corvelctl", settings.ca_file},
            given.subject,
            queue_limit);
    } catch (dev::hub_connection_failure const& failed) {
        throw explain_status(
            failed.get_nats_status(), remove_secrets(failed.what(), {token}), settings);
    } catch (dev::dev_hub_failure const& failed) {
        throw failure{
            exit_code::unreachable,
            "cannot listen to \"" + given.subject + "\" at " + server + ": "
                + remove_secrets(failed.what(), {token}),
            "see what is wrong: corvelctl doctor"};
    }
    if (listener->is_forbidden()) {
        throw failure{
            exit_code::refused,
            "the server does not allow a client with the scope " + std::string{scope}
                + " to listen to \"" + given.subject + '"',
            "name a subject that consumers may listen to, as v1.loc.PROVIDER.vars.evt.changed"};
    }
    return listener;
}

class sniffer {
public:
    sniffer(tool& with, sniff_options const& given)
        : m_tool{with}
        , m_options{given}
        , m_decoder{with.options.utc} {}

    void show(dev::traffic_message const& message) {
        auto const when = timestamp{std::chrono::system_clock::now()};
        auto const decoded = m_decoder.decode(message.subject, message.reply, message.bytes);
        if (m_tool.out.is_json()) {
            m_tool.out.print_object("message", make_object(message, decoded, when));
        } else {
            m_tool.out.print(make_lines(message, decoded, when));
        }
        ++m_shown;
    }

    [[nodiscard]] bool is_done() const {
        return m_options.count.has_value() && m_shown >= *m_options.count;
    }

private:
    json_object make_object(
        dev::traffic_message const& message, decoded_message const& decoded, timestamp when) const {
        json_object object{
            {"time", make_rfc3339(when)},
            {"subject", message.subject},
            {"kind", name_of(decoded.kind)},
            {"size", message.bytes.size()}};
        if (!message.reply.empty()) {
            object["reply"] = message.reply;
        }
        if (!decoded.provider.empty()) {
            object["provider"] = decoded.provider;
        }
        object["content"] = decoded.content;
        if (!decoded.fault.empty()) {
            object["fault"] = decoded.fault;
        }
        if (m_options.hex) {
            object["hex"] = make_hex(message.bytes);
        }
        return object;
    }

    std::string make_lines(
        dev::traffic_message const& message, decoded_message const& decoded, timestamp when) const {
        auto const micros = std::chrono::floor<std::chrono::microseconds>(when);
        auto line = make_readable(micros, m_tool.options.utc) + "  " + printable(message.subject)
                  + "  " + m_tool.out.paint(name_of(decoded.kind), colour::bold);
        if (!decoded.text.empty()) {
            line += "  " + decoded.text;
        }
        if (!decoded.fault.empty()) {
            line += "  " + m_tool.out.paint("malformed: " + printable(decoded.fault), colour::red);
        }
        return line + '\n' + (m_options.hex ? make_hex_lines(message.bytes) : "");
    }

    tool& m_tool;
    sniff_options const& m_options;
    message_decoder m_decoder;
    std::uint64_t m_shown = 0;
};

// Says once that the link is lost, and once that it is back.
class link_notes {
public:
    explicit link_notes(output& out)
        : m_output{out} {}

    void look(dev::traffic_listener const& listener) {
        auto const state = listener.get_state();
        if (state == dev::hub_session_state::closed) {
            throw failure{
                exit_code::unreachable,
                "the hub is lost, and does not accept the token any more",
                "start again: corvelctl sniff"};
        }
        // An outage may be over before anybody looks.
        auto const is_new = listener.get_reconnect_count() != m_count;
        auto const is_connected = state == dev::hub_session_state::connected;
        if (!m_is_lost && (is_new || !is_connected)) {
            m_output.note("the hub is lost");
            m_is_lost = true;
        }
        if (m_is_lost && is_connected) {
            m_output.note("the hub is back");
            m_is_lost = false;
            m_count = listener.get_reconnect_count();
        }
    }

private:
    output& m_output;
    bool m_is_lost = false;
    std::uint64_t m_count = 0; // of restored links
};

// Says once a second how many messages were dropped.
class loss_notes {
public:
    explicit loss_notes(output& out)
        : m_output{out} {}

    void look(dev::traffic_listener const& listener) {
        if (clock::now() >= m_next) {
            finish(listener);
        }
    }

    void finish(dev::traffic_listener const& listener) {
        constexpr std::chrono::seconds interval{1};
        m_next = clock::now() + interval;
        auto const all = listener.get_dropped();
        if (auto const dropped = all - std::exchange(m_known, all); dropped > 0) {
            m_output.warn(
                make_dropped_text(dropped, "message") + "; name a subject that has fewer");
        }
    }

private:
    output& m_output;
    clock::time_point m_next{};
    std::uint64_t m_known = 0;
};

// Nobody would notice it while there are no messages.
void require_reader() {
    pollfd watched{STDOUT_FILENO, 0, 0};
    if (::poll(&watched, 1, 0) > 0 && (watched.revents & POLLERR) != 0) {
        throw output_closed{};
    }
}

exit_code sniff(tool& with, sniff_options const& given) {
    constexpr std::chrono::milliseconds interval{100};
    auto const listener = listen(with, given);
    with.guard.last_until_signal();
    if (given.subject.find_first_of(".*>") == std::string::npos) {
        with.out.note(
            "only messages with the whole subject \"" + given.subject
            + "\" are shown; for a provider: corvelctl sniff 'v1.loc." + given.subject + ".>'");
    }
    sniffer shown{with, given};
    link_notes notes{with.out};
    loss_notes losses{with.out};
    auto const end = given.span.has_value() ? clock::now() + *given.span : clock::time_point::max();
    std::optional<exit_code> signalled;
    while (!shown.is_done() && !signalled.has_value() && clock::now() < end) {
        if (auto const message = listener->wait_for_next(std::min(clock::now() + interval, end))) {
            shown.show(*message);
        } else {
            notes.look(*listener);
            require_reader();
        }
        losses.look(*listener);
        signalled = with.guard.wait_for_signal(clock::time_point{});
    }
    losses.finish(*listener);
    with.guard.end_soon(signalled.value_or(exit_code::done));
    return signalled.value_or(exit_code::done);
}

} // namespace

void add_sniff(command_line& line) {
    auto const options = std::make_shared<sniff_options>();
    auto& command = line.add("sniff", "Show the messages on a hub", options, &sniff);
    command.add_option(
        "SUBJECT", options->subject, "What to listen to, with * and > of NATS; v1.loc.> if none");
    command.add_flag("--hex", options->hex, "Also show the bytes");
    command.add_option("--count", options->count, "End after so many messages")
        ->type_name("COUNT")
        ->check(make_number_check(1, std::numeric_limits<std::uint64_t>::max()));
    add_duration(
        command,
        "--for",
        [options = options.get()](auto span) { options->span = span; },
        "End after this time");
    command.footer(
        "Only listens, and disturbs nobody. Paths are shown once a definition was seen, ids "
        "before. "
        "'>' also\nshows replies. Malformed messages are shown as far as they can be decoded.\n\n"
        "It asks for the scope hub.variables.readonly. A hub whose server limits what this scope "
        "may\n"
        "listen to may allow only what consumers need: v1.loc.PROVIDER.vars.evt.changed,\n"
        "v1.loc.registry.providers.PROVIDER.def.evt.changed, "
        "v1.loc.registry.providers.evt.changed.\n\n"
        "Examples:\n"
        "  corvelctl sniff\n"
        "  corvelctl sniff v1.loc.boiler.vars.cmd.write --hex\n"
        "  corvelctl sniff '>' --for 10s -j");
}

} // namespace arvenhold::corvel::hub::ctl
