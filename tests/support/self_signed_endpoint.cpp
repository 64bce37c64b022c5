// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/self_signed_endpoint.hpp"

#include <httplib.h>

#include <thread>
#include <utility>

namespace arvenhold::corvel::hub {

class self_signed_endpoint::impl {
public:
    impl(std::string reply, certificate_files const& certificate) {
        m_server = std::make_unique<httplib::SSLServer>(
            certificate.certificate.c_str(), certificate.key.c_str());
        m_server->set_keep_alive_max_count(1);
        m_server->Post("/token", [reply](httplib::Request const&, httplib::Response& response) {
            response.set_content(reply, "application/json");
        });
        m_port = m_server->bind_to_any_port("127.0.0.1");
        m_listener = std::thread{[this] {
            m_server->listen_after_bind();
        }};
        // A stop before this point would be lost.
        while (!m_server->is_running()) {
            std::this_thread::yield();
        }
    }

    impl(impl const&) = delete;
    impl(impl&&) = delete;
    impl& operator=(impl const&) = delete;
    impl& operator=(impl&&) = delete;

    ~impl() {
        m_server->stop();
        m_listener.join();
    }

    [[nodiscard]] std::string get_url() const {
        return "https://127.0.0.1:" + std::to_string(m_port) + "/token";
    }

private:
    std::unique_ptr<httplib::SSLServer> m_server;
    int m_port = 0;
    std::thread m_listener;
};

self_signed_endpoint::self_signed_endpoint(std::string reply) {
    temporary_folder const folder; // the server has read the files when it is constructed
    m_impl = std::make_unique<impl>(std::move(reply), make_self_signed(folder, "another-host"));
}

self_signed_endpoint::self_signed_endpoint(std::string reply, certificate_files const& certificate)
    : m_impl{std::make_unique<impl>(std::move(reply), certificate)} {}

self_signed_endpoint::~self_signed_endpoint() = default;

std::string self_signed_endpoint::get_url() const {
    return m_impl->get_url();
}

} // namespace arvenhold::corvel::hub
