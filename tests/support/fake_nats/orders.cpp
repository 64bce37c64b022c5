// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/fake_nats/orders.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace arvenhold::corvel::hub::fakes {

namespace {

constexpr std::array<std::string_view, 33> functions_that_can_fail{
    "natsOptions_Create",
    "natsOptions_SetURL",
    "natsOptions_SetName",
    "natsOptions_SetCustomInboxPrefix",
    "natsOptions_SetTokenHandler",
    "natsOptions_SetAllowReconnect",
    "natsOptions_SetReconnectedCB",
    "natsOptions_SetDisconnectedCB",
    "natsOptions_UseGlobalMessageDelivery",
    "natsOptions_SetWriteDeadline",
    "natsOptions_SetSendAsap",
    "natsOptions_SetServers",
    "natsOptions_SetNoRandomize",
    "natsOptions_SetMaxReconnect",
    "natsOptions_SetReconnectWait",
    "natsOptions_SetReconnectJitter",
    "natsOptions_SetReconnectBufSize",
    "natsOptions_SetFailRequestsOnDisconnect",
    "natsOptions_SetPingInterval",
    "natsOptions_SetMaxPingsOut",
    "natsOptions_SetTimeout",
    "natsOptions_SetSecure",
    "natsOptions_LoadCATrustedCertificates",
    "natsOptions_LoadCertificatesChain",
    "natsOptions_SetExpectedHostname",
    "nats_SetMessageDeliveryPoolSize",
    "natsConnection_Connect",
    "natsConnection_Subscribe",
    "natsConnection_Publish",
    "natsConnection_Request",
    "natsConnection_FlushTimeout",
    "natsSubscription_Unsubscribe",
    "natsSubscription_GetPending"};

// Their entry points in client.cpp run the actions.
constexpr std::array<std::string_view, 5> functions_with_actions{
    "natsConnection_Publish",
    "natsConnection_FlushTimeout",
    "natsSubscription_Unsubscribe",
    "natsMsg_GetDataLength",
    "natsMsg_Destroy"};

template <class Names>
bool contains(Names const& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

std::string unmet_script(std::string const& subject) {
    return "An ordered answer was not requested: " + subject;
}

std::string unmet_publication(std::string const& subject) {
    return "An ordered action did not run: nothing was published on " + subject;
}

} // namespace

bool can_fail(std::string_view function) {
    return contains(functions_that_can_fail, function);
}

bool can_run_action(std::string_view function) {
    return contains(functions_with_actions, function);
}

void orders::fail(std::string_view function, natsStatus status, std::size_t nth) {
    m_failures.push_back({std::string{function}, status, nth});
}

void orders::answer(std::string const& subject, fake_nats::request_answer const& answer) {
    replace_script(subject, {[answer](std::string const& /*bytes*/) { return answer; }, false});
}

void orders::answer(std::string const& subject, fake_nats::request_script script) {
    replace_script(subject, {std::move(script), true});
}

void orders::replace_script(
    std::string const& subject, reaction<fake_nats::request_script> script) {
    auto& kept = m_scripts[subject];
    if (kept.must_run) {
        m_replaced.push_back(unmet_script(subject));
    }
    kept = std::move(script);
}

void orders::act_when_published(std::string const& subject, publication_action action) {
    auto& kept = m_publication_actions[subject];
    if (kept.must_run) {
        m_replaced.push_back(unmet_publication(subject));
    }
    kept = {std::move(action), true};
}

void orders::act_when_called(std::string_view function, call_action action) {
    m_call_actions.push_back({std::string{function}, std::move(action)});
}

natsStatus orders::count_call(std::string_view function) {
    auto status = NATS_OK;
    for (auto failure = m_failures.begin(); failure != m_failures.end();) {
        if (failure->function == function && --failure->calls_left == 0) {
            status = failure->status;
            failure = m_failures.erase(failure);
        } else {
            ++failure;
        }
    }
    return status;
}

std::optional<fake_nats::request_script> orders::script_for(std::string const& subject) {
    auto const found = m_scripts.find(subject);
    if (found == m_scripts.end()) {
        return std::nullopt;
    }
    found->second.must_run = false;
    return found->second.action;
}

std::optional<orders::publication_action> orders::action_after(std::string const& subject) {
    auto const found = m_publication_actions.find(subject);
    if (found == m_publication_actions.end()) {
        return std::nullopt;
    }
    found->second.must_run = false;
    return found->second.action;
}

std::optional<orders::call_action> orders::action_in(std::string_view function) {
    auto const found =
        std::find_if(m_call_actions.begin(), m_call_actions.end(), [function](auto const& ordered) {
            return ordered.function == function;
        });
    if (found == m_call_actions.end()) {
        return std::nullopt;
    }
    auto action = std::move(found->action);
    m_call_actions.erase(found);
    return action;
}

std::vector<std::string> orders::drain_unmet() {
    auto unmet = std::exchange(m_replaced, {});
    for (auto const& failure : std::exchange(m_failures, {})) {
        unmet.push_back("An ordered failure did not happen: " + failure.function);
    }
    for (auto const& ordered : std::exchange(m_call_actions, {})) {
        unmet.push_back("An ordered action did not run: nobody called " + ordered.function);
    }
    for (auto& [subject, script] : m_scripts) {
        if (std::exchange(script.must_run, false)) {
            unmet.push_back(unmet_script(subject));
        }
    }
    for (auto& [subject, action] : m_publication_actions) {
        if (std::exchange(action.must_run, false)) {
            unmet.push_back(unmet_publication(subject));
        }
    }
    return unmet;
}

} // namespace arvenhold::corvel::hub::fakes
