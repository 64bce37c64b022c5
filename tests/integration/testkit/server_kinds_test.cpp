// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A program cannot see which kind of server it is tested on.

#include "playing.hpp"
#include "support/finalized_definition.hpp"

#include <hub/session/consumer_session.hpp>
#include <hub/session/names.hpp>
#include <hub/session/provider_session.hpp>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub::testkit {
namespace {

using outcomes = std::vector<std::string>;

session_settings make_quick_settings() {
    return session_settings{}
        .set_retry(std::chrono::milliseconds{10}, std::chrono::milliseconds{100})
        .set_ping(std::chrono::milliseconds{200}, 1);
}

/// A provider session and a consumer session that follows it, and what becomes of them.
class play_of_sessions {
public:
    explicit play_of_sessions(server_kind kind)
        : m_hub{kind} {}

    outcomes const& run() {
        enter();
        write();
        lose_the_server(fault::server_away);
        lose_the_server(fault::server_frozen);
        restart_without_tokens();
        lose_the_provider();
        return m_seen;
    }

private:
    local_hub m_hub;
    outcomes m_seen;
    double m_last_speed = 1.0;
    std::optional<provider_session> m_pump;
    variable_handle<double> m_speed = enter_pump();
    consumer_session m_panel{"panel", m_hub.get_access("panel"), make_quick_settings()};
    followed_variable<double> m_shown = m_panel.follow<double>("pump", "speed");

    variable_handle<double> enter_pump() {
        m_pump.emplace("pump", m_hub.get_access("pump"), make_quick_settings());
        m_pump->declare<double>(
            "target", 0.0, writable, [](double wanted) { return wanted < 100.0; });
        return m_pump->declare<double>("speed", m_last_speed);
    }

    template <class Session>
    void note(std::string const& what, Session const& session) {
        auto const status = session.get_status();
        m_seen.push_back(
            what + ": " + std::string{name_of(status.state)} + ", "
            + std::string{name_of(status.reason)} + ", " + status.text);
    }

    void wait_for_speed(double value, freshness wanted) {
        wait_until(
            "the speed",
            [&] {
                auto const now = m_shown.now();
                return now.value == value && now.freshness == wanted;
            },
            patience);
        m_seen.push_back("speed " + std::string{name_of(wanted)});
        m_seen.push_back(std::to_string(static_cast<int>(m_shown.now().quality)));
    }

    void enter() {
        m_pump->start();
        EXPECT_TRUE(m_pump->wait_until_ready(patience));
        note("pump", *m_pump);
        m_panel.start();
        EXPECT_TRUE(m_panel.wait_until_ready(patience));
        note("panel", m_panel);
        wait_for_speed(m_last_speed, freshness::live);
    }

    void write() {
        for (auto const wanted : {50.0, 150.0}) {
            m_seen.emplace_back(
                name_of(m_panel.write_and_confirm("pump", "target", wanted, patience)));
        }
        m_seen.push_back(
            thrown_message<write_refused>([&] { m_panel.write("pump", "speed", 2.0); }));
    }

    template <class Session>
    void wait_for(std::string const& what, Session const& session, session_reason reason) {
        auto const awaited = what + " with the reason " + std::string{name_of(reason)};
        wait_until(
            awaited, [&] { return session.get_status().reason == reason; }, patience);
        m_seen.push_back(awaited);
    }

    void lose_the_server(fault lost) {
        m_hub.begin_fault(lost);
        wait_for("pump", *m_pump, session_reason::link_lost);
        wait_for_speed(m_last_speed, freshness::stale);
        m_last_speed += 1.0;
        m_speed.set(m_last_speed);
        m_hub.end_fault(lost);
        wait_for_speed(m_last_speed, freshness::live);
    }

    void restart_without_tokens() {
        m_hub.begin_fault(fault::tokens_refused);
        m_hub.restart_server();
        wait_for("pump", *m_pump, session_reason::access_denied);
        wait_for("panel", m_panel, session_reason::access_denied);
        m_hub.end_fault(fault::tokens_refused);
        wait_for_speed(m_last_speed, freshness::live);
    }

    void lose_the_provider() {
        m_pump.reset();
        m_hub.wait_until_gone("pump", patience);
        wait_for_speed(m_last_speed, freshness::stale);
    }
};

TEST(server_kinds, are_the_same_for_sessions) {
    captured_diagnostics const silence;

    auto const with_nats_server = play_of_sessions{server_kind::nats_server}.run();
    auto const in_process = play_of_sessions{server_kind::in_process}.run();

    EXPECT_EQ(in_process, with_nats_server);
}

bool is_reachable(local_hub& hub) {
    consumer client{"client", true, nullptr, nullptr};
    return thrown_message<connection_failed>([&] { connect(client, hub.get_access()); })
        == thrown_message<connection_failed>([] {});
}

// What the core reports when something is wrong, but for the port.
outcomes fail_in_every_way(server_kind kind) {
    local_hub hub{kind};
    outcomes seen;
    auto const note_failure = [&](std::string const& name) {
        consumer client{name, true, nullptr, nullptr};
        auto text = thrown_message<connection_failed>([&] { connect(client, hub.get_access()); });
        auto const url = hub.get_access().server_url;
        seen.push_back(text.replace(text.find(url), url.size(), "<hub>"));
    };
    for (auto const each :
         {fault::server_away,
          fault::server_frozen,
          fault::token_endpoint_away,
          fault::tokens_late,
          fault::tokens_refused}) {
        hub.begin_fault(each);
        note_failure("client");
        hub.end_fault(each);
        wait_until(
            "the hub", [&] { return is_reachable(hub); }, patience);
    }
    note_failure("client\""); // does not fit into the JSON of the NATS client
    provider large{"large"};
    connect(large, hub.get_access());
    finalized_definition definition{7, {{"text", std::string{}, variable_permissions::read_only}}};
    auto const list = large.register_provider_definition(definition);
    auto const id = list->find_variable("text")->get_id();
    seen.push_back(thrown_message<connection_failed>(
        [&] { list->publish(id, std::string(9'000'000, 'x'), std::chrono::system_clock::now()); }));
    consumer client{"client", true, nullptr, nullptr};
    connect(client, hub.get_access());
    seen.push_back(
        thrown_message<serialization_fault>([&] { client.attach_to_provider("nobody"); }));
    return seen;
}

TEST(server_kinds, are_the_same_for_errors) {
    captured_diagnostics const silence;

    auto const with_nats_server = fail_in_every_way(server_kind::nats_server);
    auto const in_process = fail_in_every_way(server_kind::in_process);

    EXPECT_EQ(in_process, with_nats_server);
}

} // namespace
} // namespace arvenhold::corvel::hub::testkit
