// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/command_line.hpp"
#include "corvelctl/commands.hpp"
#include "corvelctl/definition_file.hpp"
#include "corvelctl/doctor_report.hpp"
#include "corvelctl/hub_client.hpp"
#include "corvelctl/network_probe.hpp"
#include "corvelctl/secrets.hpp"
#include "corvelctl/time_text.hpp"
#include "corvelctl/token_probe.hpp"
#include "corvelctl/user_files.hpp"
#include "corvelctl/variable_text.hpp"
#include "dev_hub/answer_count.hpp"
#include "dev_hub/dev_hub_failure.hpp"

#include <sys/utsname.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <set>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

namespace {

using std::chrono::milliseconds;
using std::chrono::system_clock;

constexpr std::chrono::seconds default_limit{30};
constexpr milliseconds step_limit{3000};
constexpr milliseconds token_limit{6000};
constexpr char const* scope = "hub.variables.readonly";

struct doctor_options {
    std::string bundle;
};

std::string make_seconds_text(std::chrono::duration<double> span) {
    constexpr double tenths = 10;
    auto text = std::to_string(std::round(span.count() * tenths) / tenths);
    return text.substr(0, text.find('.') + 2) + " s";
}

milliseconds elapsed_since(supervisor::clock::time_point begin) {
    return std::chrono::round<milliseconds>(supervisor::clock::now() - begin);
}

// The checks in their order. Each relies on what the earlier ones have found.
class doctor {
public:
    doctor(tool& with, doctor_report& report)
        : m_tool{with}
        , m_report{report} {}

    void run() {
        if (!find_settings()) {
            return;
        }
        check_servers();
        check_token();
        check_clock();
        check_hub();
        check_versions();
    }

private:
    [[nodiscard]] milliseconds limit(milliseconds most) const {
        return std::min(most, m_tool.guard.get_time_left() * 9 / 10);
    }

    bool find_settings() {
        try {
            m_settings = find_connection(m_tool.options);
        } catch (failure const& refused) {
            m_report.add_failed("settings", refused);
            return false;
        }
        m_report.hide(list_secrets(m_settings));
        m_report.attach(
            "connection",
            {{"hub", remove_secrets(m_settings.server_urls.front(), {})},
             {"token_url", remove_secrets(m_settings.token_url, {})},
             {"client_id", m_settings.client_id},
             {"secret_file", m_settings.secret_file},
             {"ca_file", m_settings.ca_file},
             {"origin", m_settings.origin}});
        if (is_readable_by_others(m_settings.secret_file)) {
            m_report.add_warning(
                "settings",
                "others may read the secret file " + m_settings.secret_file,
                "make it private: chmod 600 " + m_settings.secret_file);
        } else {
            m_report.add_good(
                "settings", "client \"" + m_settings.client_id + "\", from " + m_settings.origin);
        }
        return true;
    }

    // -- servers ----------------------------------------------------------------------------------

    void check_servers() {
        for (auto const& url : m_settings.server_urls) {
            auto const server = split_url(url);
            if (auto const connection = reach(server, "NATS server: ", "--hub")) {
                greet(*connection, server, url);
            }
        }
    }

    // Name and TCP; nothing if one of them fails.
    std::optional<dev::file_descriptor> reach(
        url_parts const& server, std::string const& label, std::string const& flag) {
        m_tool.guard.set_step("looking " + server.host + " up");
        try {
            m_report.add_good("name look-up", label + server.host + " is " + look_up(server.host));
        } catch (probe_failure const& failed) {
            m_report.add_failed(
                "name look-up",
                {exit_code::unreachable,
                 label + failed.what(),
                 "check the host name in " + flag + ", and the name servers of this machine"});
            return std::nullopt;
        }
        m_tool.guard.set_step("connecting to " + server.get_address());
        try {
            auto connection = open_connection(server, limit(step_limit));
            m_report.add_good("tcp", label + server.get_address() + " accepts connections");
            return connection;
        } catch (probe_failure const& failed) {
            m_report.add_failed(
                "tcp",
                {exit_code::unreachable,
                 label + failed.what(),
                 "check that the server runs, the port in " + flag
                     + ", and firewalls between here and there"});
            return std::nullopt;
        }
    }

    void greet(
        dev::file_descriptor const& connection, url_parts const& server, std::string const& url) {
        try {
            auto const info = read_server_info(connection, limit(step_limit));
            auto const has_tls = info.value("tls_required", false);
            m_report.add_good(
                "nats server",
                "nats-server " + info.value("version", "?") + " at " + server.get_address()
                    + (has_tls ? ", with TLS" : ", without TLS")
                    + (info.value("auth_required", false) ? "" : ", admits everybody"));
            m_encrypted = m_encrypted || has_tls;
            m_info = info;
            m_reached = url;
        } catch (probe_failure const& failed) {
            m_report.add_failed(
                "nats server",
                {exit_code::unreachable,
                 server.get_address() + ": " + failed.what(),
                 "check that the port in --hub is the NATS server's, and that the server does not "
                 "hang"});
        }
    }

    // -- token ------------------------------------------------------------------------------------

    void check_token() {
        if (!reach(split_url(m_settings.token_url), "token endpoint: ", "--token-url")
                 .has_value()) {
            m_report.add_skipped("token endpoint", "it cannot be reached");
            return;
        }
        m_tool.guard.set_step("waiting for a token");
        auto const begin = supervisor::clock::now();
        try {
            m_reply = request_token(m_settings, scope, limit(token_limit));
        } catch (probe_failure const& failed) {
            m_report.add_failed(
                "token endpoint",
                {exit_code::unreachable,
                 remove_secrets(m_settings.token_url, {}) + " gives " + failed.what(),
                 "check that it is the URL of the token endpoint, and that the endpoint works"});
            return;
        }
        if (m_reply->token.empty()) {
            report_refusal();
            return;
        }
        m_report.hide({m_reply->token});
        report_grant(elapsed_since(begin));
        if (!m_reply->is_readable_by_library) {
            m_report.add_failed(
                "token fields",
                {exit_code::refused,
                 "the library finds no token in the reply: it is not the first field, or there is "
                 "white space before it",
                 "let the token endpoint write the token first, and no white space"});
            return;
        }
        check_token_fields();
    }

    void report_refusal() {
        constexpr int http_not_found = 404;
        auto const text = "status " + std::to_string(m_reply->status)
                        + (m_reply->refusal.empty() ? "" : ": " + m_reply->refusal);
        m_report.add_failed(
            "token endpoint",
            {exit_code::refused,
             "no token for client \"" + m_settings.client_id + "\", " + text,
             m_reply->status == http_not_found
                 ? "check the path of --token-url"
                 : "check --client-id, and the secret in " + m_settings.secret_file});
    }

    // A NATS server waits for the token of a client that connects.
    void report_grant(milliseconds delay) {
        constexpr milliseconds patience_of_server{2000};
        auto const text = "a token after " + make_readable(delay);
        if (delay < patience_of_server / 2) {
            m_report.add_good("token endpoint", text);
            return;
        }
        auto const slow = text + "; a NATS server waits 2s for it";
        std::string const cure =
            "make the token endpoint faster; see its load, and that of its database";
        if (delay < patience_of_server) {
            m_report.add_warning("token endpoint", slow, cure);
        } else {
            m_report.add_failed("token endpoint", {exit_code::timed_out, slow, cure});
        }
    }

    void check_token_fields() {
        constexpr char const* check = "token fields";
        auto const granted = m_reply->scope.value_or(scope);
        if ((' ' + granted + ' ').find(std::string{' '} + scope + ' ') == std::string::npos) {
            m_report.add_failed(
                check,
                {exit_code::refused,
                 "the token has the scope \"" + granted + "\" instead of " + scope,
                 "let the token endpoint grant this scope to client \"" + m_settings.client_id
                     + '"'});
            return;
        }
        auto const lifetime = find_lifetime();
        constexpr std::chrono::seconds shortest{60};
        auto const scope_text = "scope " + std::string{scope};
        if (!lifetime.has_value()) {
            m_report.add_good(check, scope_text + ", expiry not stated");
        } else if (*lifetime <= std::chrono::seconds::zero()) {
            m_report.add_failed(
                check,
                {exit_code::refused,
                 "the token has expired when it arrives, " + make_readable(-*lifetime) + " ago",
                 "compare the clocks of this machine and of the token endpoint"});
        } else if (*lifetime < shortest) {
            m_report.add_warning(
                check,
                "the token expires after " + make_readable(*lifetime),
                "let the token endpoint grant tokens for an hour");
        } else {
            m_report.add_good(check, scope_text + ", expires after " + make_readable(*lifetime));
        }
    }

    [[nodiscard]] std::optional<std::chrono::seconds> find_lifetime() const {
        if (m_reply->expires_at.has_value()) {
            return std::chrono::floor<std::chrono::seconds>(
                *m_reply->expires_at - system_clock::now());
        }
        return m_reply->lifetime;
    }

    void check_clock() {
        constexpr char const* check = "clock";
        if (!m_reply.has_value() || !m_reply->sent_at.has_value()) {
            m_report.add_skipped(check, "the token endpoint does not send its time");
            return;
        }
        // The header counts whole seconds.
        constexpr milliseconds half_second{500};
        constexpr std::chrono::seconds most{2};
        std::chrono::duration<double> const ahead =
            system_clock::now() - (*m_reply->sent_at + half_second);
        if (std::chrono::abs(ahead) <= most) {
            m_report.add_good(check, "within 2 s of the token endpoint's");
            return;
        }
        m_report.add_failed(
            check,
            {exit_code::other,
             "this machine's clock is " + make_seconds_text(std::chrono::abs(ahead))
                 + (ahead.count() > 0 ? " ahead of" : " behind") + " the token endpoint's",
             "synchronise both clocks, for example with chrony"});
    }

    // -- hub --------------------------------------------------------------------------------------

    void check_hub() {
        if (m_reached.empty() || !m_reply.has_value() || m_reply->token.empty()) {
            m_report.add_skipped(
                "authorization",
                m_reached.empty() ? "there is no NATS server" : "there is no token");
            m_report.add_skipped("registry", "there is no connection");
            return;
        }
        try {
            hub_client client{m_tool, variable_permissions::read_only, limit(step_limit)};
            m_report.add_good("authorization", "the NATS server accepts the token");
            check_providers(client);
        } catch (registry_failure const& failed) {
            m_report.add_good("authorization", "the NATS server accepts the token");
            m_report.add_failed("registry", failed);
        } catch (failure const& failed) {
            m_report.add_failed("authorization", failed);
            m_report.add_skipped("registry", "there is no connection");
        }
    }

    void check_providers(hub_client& client) {
        auto const listed = client.get_providers();
        if (listed.empty()) {
            m_report.add_warning(
                "registry",
                "it lists no providers",
                "start one; on a development hub: corvelctl dev up --demo");
            return;
        }
        m_report.add_good("registry", "it lists " + make_count_text(listed.size(), "provider"));
        std::map<definition_fingerprint, defined_variables> known;
        for (auto const& provider : listed) {
            if (m_tool.guard.get_time_left() < step_limit + step_limit) {
                m_report.add_skipped("provider", provider + ": no time left; give --timeout 5min");
                continue;
            }
            try {
                check_provider(client, provider, known);
            } catch (failure const& failed) {
                m_report.add_failed("provider", failed);
            }
        }
        check_answers({listed.begin(), listed.end()});
    }

    void check_provider(
        hub_client& client,
        std::string const& provider,
        std::map<definition_fingerprint, defined_variables>& known) {
        auto const begin = supervisor::clock::now();
        auto const all = client.attach(provider)->get_current_variables();
        auto const took = make_readable(elapsed_since(begin));
        auto const definition = get_definition(all, provider);
        attach_definition(provider, all);
        auto const [same, is_first] = known.try_emplace(all.fingerprint, definition);
        if (!is_first && !compare_definitions(same->second, definition).empty()) {
            throw failure{
                exit_code::definition_changed,
                provider + " and " + same->second.source + " have the fingerprint "
                    + make_text(all.fingerprint) + " with other variables",
                "give each set of variables a fingerprint of its own"};
        }
        auto const text = provider + " answers after " + took + ", "
                        + make_count_text(definition.variables.size(), "variable");
        if (is_from_future(all)) {
            m_report.add_warning(
                "provider",
                text + "; its newest value is from the future",
                "synchronise the clock of the provider's machine and of this one");
        } else {
            m_report.add_good("provider", text);
        }
    }

    static bool is_from_future(current_variables const& all) {
        constexpr std::chrono::seconds tolerance{2};
        auto const latest = system_clock::now() + tolerance;
        return std::any_of(all.begin(), all.end(), [&](auto const& one) {
            return std::get<1>(one.second->get_value_with_timestamp()) > latest;
        });
    }

    void attach_definition(std::string const& provider, current_variables const& all) {
        m_report.attach(
            "fingerprint",
            {{"provider", provider},
             {"fingerprint", make_text(all.fingerprint)},
             {"variables", all.size()}});
        for (auto const& [id, variable] : all) {
            m_report.attach("variable", make_variable_object(provider, *variable));
        }
    }

    void check_answers(std::set<std::string> const& listed) {
        constexpr char const* check = "unique names";
        constexpr milliseconds patience{300};
        if (m_encrypted || !m_settings.ca_file.empty()) {
            m_report.add_skipped(check, "not checked on hubs with TLS");
            return;
        }
        std::map<std::string, std::size_t> counts;
        try {
            counts = dev::count_answers(m_reached, m_reply->token, "corvelctl", listed, patience);
        } catch (dev::dev_hub_failure const&) {
            m_report.add_skipped(check, "not checked: no second connection");
            return;
        }
        std::erase_if(counts, [](auto const& one) { return one.second < 2; });
        for (auto const& [provider, count] : counts) {
            m_report.add_failed(
                check,
                {exit_code::other,
                 std::to_string(count) + " programs answer as provider " + provider,
                 "end all but one, or give each an identifier of its own"});
        }
        if (counts.empty()) {
            m_report.add_good(check, "one program answers for each provider");
        }
    }

    void check_versions() {
        auto const text = "corvelctl " + make_version_text()
                        + (m_info.is_object() ? ", nats-server " + m_info.value("version", "?")
                                              : std::string{});
        if (m_info.is_object() && !m_info.value("headers", false)) {
            m_report.add_warning(
                "versions",
                text + "; requests to programs that have ended fail only after a timeout",
                "use nats-server 2.2 or newer");
        } else {
            m_report.add_good("versions", text);
        }
    }

    tool& m_tool;
    doctor_report& m_report;
    connection_settings m_settings;
    nlohmann::json m_info;    // of the server that was reached last
    std::string m_reached;    // its URL; empty if none was reached
    bool m_encrypted = false; // whether a server requires TLS
    std::optional<token_reply> m_reply;
};

std::string describe_system() {
    utsname system{};
    ::uname(&system);
    return std::string{std::data(system.sysname)} + ' ' + std::data(system.release) + ' '
         + std::data(system.machine);
}

exit_code examine(tool& with, doctor_options const& given) {
    with.guard.set_time(with.options.timeout.value_or(default_limit));
    doctor_report report{with};
    report.attach(
        "doctor", {{"time", make_rfc3339(system_clock::now())}, {"system", describe_system()}});
    doctor{with, report}.run();
    if (!given.bundle.empty()) {
        report.save(given.bundle);
        with.out.note("look through " + given.bundle + " before you pass it on");
    }
    return report.get_code();
}

} // namespace

void add_doctor(command_line& line) {
    auto const options = std::make_shared<doctor_options>();
    auto& command =
        line.add("doctor", "Find out what is wrong with a hub or the way to it", options, &examine);
    command
        .add_option(
            "--bundle",
            options->bundle,
            "Also write everything to a file for those who help you, without secrets")
        ->type_name("FILE");
    command.footer(
        "Checks settings, names, connections, token, clock, registry and providers, one line each, "
        "and\nwhat to do below each that fails. Ends with the code of the first that fails, within "
        "30s or\n--timeout.");
}

} // namespace arvenhold::corvel::hub::ctl
