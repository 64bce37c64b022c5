// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include <hub/testkit/local_hub.hpp>

#include "dev_hub/dev_hub_failure.hpp"
#include "dev_hub/in_process_server.hpp"
#include "dev_hub/nats_server.hpp"
#include "testkit/local_hub_impl.hpp"
#include "testkit/text.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace arvenhold::corvel::hub::testkit {
namespace {

constexpr std::chrono::milliseconds late_token{3000};

std::unique_ptr<dev::message_server> make_server(server_kind kind, dev::event_log& log) {
    if (kind == server_kind::in_process) {
        return std::make_unique<dev::in_process_server>(log);
    }
    return std::make_unique<dev::nats_server>(dev::nats_server_options{}, log);
}

std::unique_ptr<dev::message_server> run_program(
    std::string const& server_program, dev::event_log& log) {
    dev::nats_server_options options;
    options.executable = server_program;
    return std::make_unique<dev::nats_server>(std::move(options), log);
}

dev::token_endpoint_options admit_nobody() {
    dev::token_endpoint_options options;
    options.accepted_clients.clear();
    return options;
}

dev::registry_options make_quick_registry() {
    dev::registry_options options;
    // A verdict that comes sooner can precede the wait for it on a busy machine.
    options.verdict_delay = std::chrono::milliseconds{50};
    options.probe_interval = std::chrono::milliseconds{50};
    return options;
}

// The hub's own exceptions are not part of the interface.
template <class Work>
auto with_public_failure(Work work) {
    try {
        return work();
    } catch (dev::dev_hub_failure const& failure) {
        throw hub_unavailable{failure.what()};
    }
}

void require_plain(std::string const& client_id) {
    constexpr auto allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_.";
    if (client_id.empty() || client_id.find_first_not_of(allowed) != std::string::npos) {
        throw std::invalid_argument{
            "a client id consists of letters, digits, '-', '_' and '.', unlike \"" + client_id
            + '"'};
    }
}

} // namespace

local_hub::impl::impl(server_factory const& make_server)
    : m_server{make_server(m_log)}
    , m_token_endpoint{admit_nobody(), m_server->get_token(), m_log}
    , m_registry{m_server->get_url(), m_server->get_token(), make_quick_registry(), m_log} {}

hub_access local_hub::impl::make_access(std::string const& client_id, bool is_peer) {
    dev::client_credentials credentials{client_id, "secret-of-" + client_id};
    std::scoped_lock const lock{m_mutex};
    auto const is_same = [&](client const& known) {
        return known.credentials == credentials;
    };
    if (std::none_of(m_clients.begin(), m_clients.end(), is_same)) {
        m_clients.push_back({credentials, is_peer});
        admit_clients();
    }
    return {
        m_server->get_url(),
        m_token_endpoint.get_url(),
        credentials.client_id,
        credentials.client_secret,
        {}};
}

hub_access local_hub::impl::make_peer_access() {
    unsigned number = 0;
    {
        std::scoped_lock const lock{m_mutex};
        number = ++m_peer_count;
    }
    return make_access("testkit-peer-" + std::to_string(number), true);
}

void local_hub::impl::add_peer(std::weak_ptr<returning_peer> const& peer) {
    std::scoped_lock const lock{m_mutex};
    m_peers.push_back(peer);
}

void local_hub::impl::begin_fault(fault begun) {
    std::scoped_lock const lock{m_mutex};
    m_faults.insert(begun);
    inject(begun);
}

void local_hub::impl::end_fault(fault ended) {
    if (end_if_begun(ended)) {
        bring_peers_back(ended);
    }
}

bool local_hub::impl::end_if_begun(fault ended) {
    std::scoped_lock const lock{m_mutex};
    if (!m_faults.contains(ended)) {
        return false;
    }
    heal(ended);
    m_faults.erase(ended);
    return true;
}

void local_hub::impl::end_all_faults() {
    // The server last, so that its return finds everything else in order.
    for (auto const each :
         {fault::definitions_rejected,
          fault::registry_silent,
          fault::tokens_refused,
          fault::tokens_late,
          fault::token_endpoint_away,
          fault::server_frozen,
          fault::server_away}) {
        end_fault(each);
    }
}

void local_hub::impl::restart_server() {
    {
        std::scoped_lock const lock{m_mutex};
        m_server->kill();
        m_faults.erase(fault::server_frozen);
        m_faults.insert(fault::server_away); // until it runs
    }
    end_fault(fault::server_away);
}

dev::registry const& local_hub::impl::get_registry() const {
    return m_registry;
}

std::vector<std::string> local_hub::impl::get_history() const {
    std::vector<std::string> lines;
    for (auto const& event : m_log.get_events()) {
        lines.push_back(dev::describe(event));
    }
    return lines;
}

std::string local_hub::impl::describe_providers() const {
    auto const providers = get_registry().get_providers();
    return "the hub has the providers " + joined({providers.begin(), providers.end()}, "(none)");
}

void local_hub::impl::inject(fault begun) {
    switch (begun) {
    case fault::server_away:
        m_server->kill();
        break;
    case fault::server_frozen:
        m_server->freeze();
        break;
    case fault::token_endpoint_away:
        m_token_endpoint.stop_listening();
        break;
    case fault::tokens_late:
        m_token_endpoint.set_delay(late_token);
        break;
    case fault::tokens_refused:
        admit_clients();
        break;
    case fault::registry_silent:
        m_registry.go_silent();
        break;
    case fault::definitions_rejected:
        m_registry.reject_all();
        break;
    }
}

void local_hub::impl::heal(fault ended) {
    switch (ended) {
    case fault::server_away:
        m_server->start();
        m_faults.erase(fault::server_frozen); // ended with the process that was frozen
        break;
    case fault::server_frozen:
        m_server->thaw();
        break;
    case fault::token_endpoint_away:
        m_token_endpoint.listen_again();
        break;
    case fault::tokens_late:
        m_token_endpoint.set_delay(std::chrono::milliseconds::zero());
        break;
    case fault::tokens_refused:
        m_faults.erase(ended);
        admit_clients();
        break;
    case fault::registry_silent:
        m_registry.speak_again();
        break;
    case fault::definitions_rejected:
        m_registry.judge_normally();
        break;
    }
}

void local_hub::impl::admit_clients() {
    bool const refuses_programs = m_faults.contains(fault::tokens_refused);
    std::vector<dev::client_credentials> admitted;
    for (auto const& known : m_clients) {
        if (known.is_peer || !refuses_programs) {
            admitted.push_back(known.credentials);
        }
    }
    m_token_endpoint.set_accepted_clients(std::move(admitted));
}

// Without the lock: a peer that returns may wait for the registry.
void local_hub::impl::bring_peers_back(fault ended) {
    std::vector<std::weak_ptr<returning_peer>> peers;
    {
        std::scoped_lock const lock{m_mutex};
        peers = m_peers;
    }
    for (auto const& weak : peers) {
        if (auto const peer = weak.lock()) {
            peer->return_after(ended);
        }
    }
}

std::string why_unavailable(std::string const& server_program) {
    return dev::explain_missing_server(server_program).value_or("");
}

local_hub::local_hub(server_kind server)
    : m_impl{with_public_failure([&] {
        return std::make_shared<impl>([&](auto& log) { return make_server(server, log); });
    })} {}

local_hub::local_hub(std::string const& server_program)
    : m_impl{with_public_failure([&] {
        return std::make_shared<impl>([&](auto& log) { return run_program(server_program, log); });
    })} {}

local_hub::~local_hub() = default;

hub_access local_hub::get_access(std::string const& client_id) {
    require_plain(client_id);
    return m_impl->make_access(client_id, false);
}

std::set<std::string> local_hub::get_providers() const {
    return m_impl->get_registry().get_providers();
}

void local_hub::wait_until_listed(
    std::string const& provider, std::chrono::milliseconds limit) const {
    if (!m_impl->get_registry().wait_until_provider_listed(provider, limit)) {
        throw expectation_failed{
            "the provider " + provider + " on the hub", limit, m_impl->describe_providers()};
    }
}

void local_hub::wait_until_gone(
    std::string const& provider, std::chrono::milliseconds limit) const {
    if (!m_impl->get_registry().wait_until_provider_gone(provider, limit)) {
        throw expectation_failed{
            "the loss of the provider " + provider, limit, m_impl->describe_providers()};
    }
}

std::vector<std::string> local_hub::get_history() const {
    return m_impl->get_history();
}

void local_hub::begin_fault(fault begun) {
    m_impl->begin_fault(begun);
}

void local_hub::end_fault(fault ended) {
    with_public_failure([&] { m_impl->end_fault(ended); });
}

void local_hub::end_all_faults() {
    with_public_failure([&] { m_impl->end_all_faults(); });
}

void local_hub::restart_server() {
    with_public_failure([&] { m_impl->restart_server(); });
}

} // namespace arvenhold::corvel::hub::testkit
