// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A program that receives the diagnostics of its sessions, and makes them report: handlers that
// throw, a refused write, an outage with refused tokens. Prints nothing unless a report is missing.

#include <hub/session/consumer_session.hpp>
#include <hub/session/provider_session.hpp>
#include <hub/testkit/testkit.hpp>

#include <chrono>
#include <exception>
#include <iostream>
#include <stdexcept>

namespace arvenhold::corvel::hub {

namespace {

session_settings quick_settings() {
    return session_settings{}.set_retry(
        std::chrono::milliseconds{50}, std::chrono::milliseconds{500});
}

class reporting_sessions {
public:
    reporting_sessions() {
        m_oven.declare<double>("temperature", 20.0);
        m_oven.declare<double>(
            "set_point", 60.0, writable, [](double wanted) { return wanted <= 300.0; });
        m_shown.on_change([](auto const& /*now*/) { throw std::runtime_error{"out of paper"}; });
        m_oven.start();
        m_watcher.start();
        wait_until_ready();
        m_reports.wait_for("watcher: a handler threw an exception: out of paper");
    }

    void refuse_a_write() {
        m_watcher.write("oven", "set_point", 400.0);
        m_reports.wait_for("oven: refused to write \"set_point\"");
    }

    void survive_an_outage_with_refused_tokens() {
        m_hub.begin_fault(testkit::fault::tokens_refused);
        m_hub.restart_server();
        m_reports.wait_for("Provider has lost connection to NATS server!");
        m_reports.wait_for("Consumer has lost connection to NATS server!");
        m_reports.wait_for("Client ID: oven");
        m_reports.wait_for("Client ID: watcher");
        m_hub.end_fault(testkit::fault::tokens_refused);
        wait_until_ready();
    }

    void stop() {
        m_watcher.stop();
        m_oven.stop();
    }

private:
    testkit::captured_diagnostics m_reports;
    testkit::local_hub m_hub;
    provider_session m_oven{"oven", m_hub.get_access("oven"), quick_settings()};
    consumer_session m_watcher{"watcher", m_hub.get_access("watcher"), quick_settings()};
    followed_variable<double> m_shown = m_watcher.follow<double>("oven", "temperature");

    void wait_until_ready() {
        testkit::wait_until(
            "both sessions are ready",
            [this] {
                return m_oven.get_status().state == session_state::ready
                    && m_watcher.get_status().state == session_state::ready;
            },
            std::chrono::seconds{30});
    }
};

} // namespace

} // namespace arvenhold::corvel::hub

int main() {
    try {
        arvenhold::corvel::hub::reporting_sessions sessions;
        sessions.refuse_a_write();
        sessions.survive_an_outage_with_refused_tokens();
        sessions.stop();
        return 0;
    } catch (std::exception const& error) {
        std::cerr << error.what() << std::endl;
        return 1;
    }
}
