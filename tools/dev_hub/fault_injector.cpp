// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/fault_injector.hpp"

#include "dev_hub/dev_hub_failure.hpp"
#include "dev_hub/event_log.hpp"
#include "dev_hub/nats_server.hpp"
#include "dev_hub/registry.hpp"
#include "dev_hub/start_thread.hpp"
#include "dev_hub/token_endpoint.hpp"

#include <algorithm>
#include <string>

namespace arvenhold::corvel::hub::dev {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds retry_interval{1};

fixed_answer make_refusal() {
    return {401, "application/json", {R"({"error":"invalid_client"})"}, false};
}

std::string name_of(fault_kind kind) {
    return std::string{get_name(kind)};
}

} // namespace

fault_injector::fault_injector(
    nats_server& server, token_endpoint& endpoint, registry& providers, event_log& log)
    : m_server{server}
    , m_endpoint{endpoint}
    , m_providers{providers}
    , m_log{log}
    , m_thread{start_thread([this] { run(); })} {}

fault_injector::~fault_injector() {
    {
        std::scoped_lock const lock{m_mutex};
        m_stopped = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

void fault_injector::begin(fault const& wanted) {
    {
        std::scoped_lock const lock{m_mutex};
        end_others_locked(wanted.kind);
        m_log.record(event_kind::fault_begun, name_of(wanted.kind), describe_begin(wanted));
        inject(wanted);
        auto const now = steady_clock::now();
        bool const ends_at_once = wanted.kind == fault_kind::server_restart;
        m_active.push_back({wanted.kind, ends_at_once ? now : now + wanted.duration});
        end_due_locked();
    }
    m_changed.notify_all();
}

void fault_injector::run() {
    std::unique_lock lock{m_mutex};
    while (!m_stopped) {
        end_due_locked();
        auto const next = std::min_element(
            m_active.begin(),
            m_active.end(),
            [](active_fault const& one, active_fault const& other) {
                return one.ends_at < other.ends_at;
            });
        if (next == m_active.end()) {
            m_changed.wait(lock);
        } else {
            auto const deadline = next->ends_at; // another thread may change the list meanwhile
            m_changed.wait_until(lock, deadline);
        }
    }
}

// Makes room for a fault of the same service.
void fault_injector::end_others_locked(fault_kind beginning) {
    auto const earlier =
        std::find_if(m_active.begin(), m_active.end(), [&](active_fault const& candidate) {
            return get_service(candidate.kind) == get_service(beginning);
        });
    if (earlier == m_active.end()) {
        return;
    }
    if (earlier->kind != beginning) {
        heal(earlier->kind);
        m_log.record(event_kind::fault_ended, name_of(earlier->kind), describe_end(earlier->kind));
    }
    m_active.erase(earlier);
}

void fault_injector::end_due_locked() {
    auto const ends_now = [this, now = steady_clock::now()](active_fault& candidate) {
        if (candidate.ends_at > now) {
            return false;
        }
        try {
            heal(candidate.kind);
        } catch (dev_hub_failure const& failure) {
            m_log.record(event_kind::fault_lasts, name_of(candidate.kind), failure.what());
            candidate.ends_at = now + retry_interval;
            return false;
        }
        m_log.record(
            event_kind::fault_ended, name_of(candidate.kind), describe_end(candidate.kind));
        return true;
    };
    for (auto candidate = m_active.begin(); candidate != m_active.end();) {
        candidate = ends_now(*candidate) ? m_active.erase(candidate) : candidate + 1;
    }
}

void fault_injector::inject(fault const& wanted) {
    switch (wanted.kind) {
    case fault_kind::nats_down:
    case fault_kind::server_restart:
        m_server.kill();
        break;
    case fault_kind::freeze:
        m_server.freeze();
        break;
    case fault_kind::half_open:
        m_server.cut();
        break;
    case fault_kind::token_down:
        m_endpoint.stop_listening();
        break;
    case fault_kind::token_slow:
        m_endpoint.set_delay(wanted.token_delay);
        break;
    case fault_kind::token_refuse:
        m_endpoint.answer_with(make_refusal());
        break;
    case fault_kind::registry_silent:
        m_providers.go_silent();
        break;
    case fault_kind::registry_reject:
        m_providers.reject_all();
        break;
    }
}

void fault_injector::heal(fault_kind kind) {
    switch (kind) {
    case fault_kind::nats_down:
    case fault_kind::server_restart:
        m_server.start();
        break;
    case fault_kind::freeze:
        m_server.thaw();
        break;
    case fault_kind::half_open:
        m_server.repair();
        break;
    case fault_kind::token_down:
        m_endpoint.listen_again();
        break;
    case fault_kind::token_slow:
        m_endpoint.set_delay(std::chrono::milliseconds::zero());
        break;
    case fault_kind::token_refuse:
        m_endpoint.answer_normally();
        break;
    case fault_kind::registry_silent:
        m_providers.speak_again();
        break;
    case fault_kind::registry_reject:
        m_providers.judge_normally();
        break;
    }
}

} // namespace arvenhold::corvel::hub::dev
