// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/changed_options.hpp"

#include <chrono>
#include <cstdint>
#include <fstream>
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

bool is_readable(std::string const& file) {
    return std::ifstream{file}.is_open();
}

// The NATS client loads both at once, and does not say which one it cannot use.
std::string find_refused_file(std::string const& certificate, std::string const& key) {
    if (!is_readable(certificate)) {
        return certificate;
    }
    return is_readable(key) ? certificate + ", " + key : key;
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
        load_authorities_into(m_options, m_chosen.get_tls_ca_file());
    }

    // libcurl reads this file only after a server has been reached. Loading it into options that are
    // used for nothing else shows earlier whether it is usable.
    void try_token_authorities() {
        if (m_result.status != NATS_OK || m_chosen.get_token_ca_file().empty()) {
            return;
        }
        natsOptions* created = nullptr;
        m_result.status = natsOptions_Create(&created);
        nats_options const unused{created};
        load_authorities_into(created, m_chosen.get_token_ca_file());
    }

    void load_client_certificate() {
        auto const& certificate = m_chosen.get_tls_certificate_file();
        auto const& key = m_chosen.get_tls_key_file();
        if (m_result.status != NATS_OK || certificate.empty()) {
            return;
        }
        m_result.status =
            natsOptions_LoadCertificatesChain(m_options, to_c(certificate), to_c(key));
        if (m_result.status != NATS_OK) {
            m_result.refused_file = find_refused_file(certificate, key);
        }
    }

    [[nodiscard]] options_result const& result() const {
        return m_result;
    }

private:
    natsOptions* m_options;
    connect_options const& m_chosen;
    connect_options const m_defaults;
    options_result m_result;

    void load_authorities_into(natsOptions* options, std::string const& file) {
        if (m_result.status != NATS_OK || file.empty()) {
            return;
        }
        m_result.status = natsOptions_LoadCATrustedCertificates(options, to_c(file));
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
    changed.try_token_authorities();
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
