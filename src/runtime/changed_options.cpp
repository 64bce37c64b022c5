// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/changed_options.hpp"

#include <chrono>
#include <cstdint>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

// How the NATS client takes a value. The setters of connect_options have checked the ranges.
int to_c(int value) {
    return value;
}

bool to_c(bool value) {
    return value;
}

int to_c(std::size_t value) {
    return static_cast<int>(value);
}

std::int64_t to_c(std::chrono::milliseconds value) {
    return value.count();
}

char const* to_c(std::string const& value) {
    return value.c_str();
}

class changed_options {
public:
    changed_options(natsOptions* options, connect_options const& chosen)
        : m_options{options}
        , m_chosen{chosen} {}

    template <class Getter, class Function>
    void set(Getter get, Function function) {
        if (m_result.status == NATS_OK && (m_chosen.*get)() != (m_defaults.*get)()) {
            m_result.status = function(m_options, to_c((m_chosen.*get)()));
        }
    }

    void set_jitter() {
        auto const plain = m_chosen.get_reconnect_jitter();
        auto const tls = m_chosen.get_reconnect_tls_jitter();
        if (m_result.status == NATS_OK
            && (plain != m_defaults.get_reconnect_jitter()
                || tls != m_defaults.get_reconnect_tls_jitter())) {
            m_result.status = natsOptions_SetReconnectJitter(m_options, to_c(plain), to_c(tls));
        }
    }

    void set_pool_size() {
        auto const size = m_chosen.get_delivery_pool_size();
        if (m_result.status == NATS_OK && size != m_defaults.get_delivery_pool_size()) {
            m_result.status = nats_SetMessageDeliveryPoolSize(size);
        }
    }

    void load_authorities() {
        load(m_chosen.get_tls_ca_file(), [this](char const* file) {
            return natsOptions_LoadCATrustedCertificates(m_options, file);
        });
    }

    void load_client_certificate() {
        load(m_chosen.get_tls_certificate_file(), [this](char const* file) {
            return natsOptions_LoadCertificatesChain(
                m_options, file, to_c(m_chosen.get_tls_key_file()));
        });
    }

    [[nodiscard]] options_result const& result() const {
        return m_result;
    }

private:
    natsOptions* m_options;
    connect_options const& m_chosen;
    connect_options const m_defaults;
    options_result m_result;

    template <class Load>
    void load(std::string const& file, Load load) {
        if (m_result.status != NATS_OK || file.empty()) {
            return;
        }
        m_result.status = load(file.c_str());
        if (m_result.status != NATS_OK) {
            m_result.refused_file = file;
        }
    }
};

} // namespace

options_result set_changed_options(natsOptions* options, connect_options const& chosen) {
    changed_options changed{options, chosen};
    changed.set(&connect_options::sends_immediately, &natsOptions_SetSendAsap);
    changed.set(&connect_options::get_reconnect_attempts, &natsOptions_SetMaxReconnect);
    changed.set(&connect_options::get_reconnect_wait, &natsOptions_SetReconnectWait);
    changed.set_jitter();
    changed.set(&connect_options::get_reconnect_buffer, &natsOptions_SetReconnectBufSize);
    changed.set(
        &connect_options::fails_requests_while_disconnected,
        &natsOptions_SetFailRequestsOnDisconnect);
    changed.set(&connect_options::get_ping_interval, &natsOptions_SetPingInterval);
    changed.set(&connect_options::get_unanswered_pings, &natsOptions_SetMaxPingsOut);
    changed.set(&connect_options::get_connect_time_limit, &natsOptions_SetTimeout);
    changed.set(&connect_options::is_tls_required, &natsOptions_SetSecure);
    changed.load_authorities();
    changed.load_client_certificate();
    changed.set(&connect_options::get_tls_host_name, &natsOptions_SetExpectedHostname);
    changed.set_pool_size();
    return changed.result();
}

natsStatus set_servers(
    natsOptions* options, std::string const& url, connect_options const& chosen) {
    auto const& further = chosen.get_further_servers();
    if (further.empty()) {
        return natsOptions_SetURL(options, url.c_str());
    }
    std::vector<char const*> servers{url.c_str()};
    for (auto const& server : further) {
        servers.push_back(server.c_str());
    }
    natsOptions_SetNoRandomize(options, !chosen.randomizes_servers());
    return natsOptions_SetServers(options, servers.data(), static_cast<int>(servers.size()));
}

} // namespace arvenhold::corvel::hub
