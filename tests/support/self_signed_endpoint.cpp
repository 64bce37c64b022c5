// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/self_signed_endpoint.hpp"

#include "dev_hub/child_process.hpp"

#include <httplib.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <thread>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

// Removed with everything in it.
class temporary_folder {
public:
    temporary_folder() {
        auto name = (std::filesystem::temp_directory_path() / "corvel-hub-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error{"There is no temporary folder"};
        }
        m_path = name;
    }

    temporary_folder(temporary_folder const&) = delete;
    temporary_folder(temporary_folder&&) = delete;
    temporary_folder& operator=(temporary_folder const&) = delete;
    temporary_folder& operator=(temporary_folder&&) = delete;

    ~temporary_folder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }

    [[nodiscard]] std::string file(char const* name) const {
        return m_path / name;
    }

private:
    std::filesystem::path m_path;
};

void make_certificate(std::string const& certificate, std::string const& key) {
    auto const program = dev::find_executable("openssl");
    if (!program) {
        throw std::runtime_error{"openssl is not installed"};
    }
    dev::child_process const openssl{
        *program,
        {"req",
         "-x509",
         "-newkey",
         "rsa:2048",
         "-nodes",
         "-days",
         "1",
         "-subj",
         "/CN=another-host",
         "-keyout",
         key,
         "-out",
         certificate}};
    if (!openssl.wait_until_ended(std::chrono::seconds{30}) || openssl.get_exit_code() != 0) {
        throw std::runtime_error{"openssl made no certificate: " + openssl.get_output()};
    }
}

} // namespace

class self_signed_endpoint::impl {
public:
    explicit impl(std::string reply) {
        make_certificate(m_folder.file("certificate"), m_folder.file("key"));
        m_server = std::make_unique<httplib::SSLServer>(
            m_folder.file("certificate").c_str(), m_folder.file("key").c_str());
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
    temporary_folder const m_folder;
    std::unique_ptr<httplib::SSLServer> m_server;
    int m_port = 0;
    std::thread m_listener;
};

self_signed_endpoint::self_signed_endpoint(std::string reply)
    : m_impl{std::make_unique<impl>(std::move(reply))} {}

self_signed_endpoint::~self_signed_endpoint() = default;

std::string self_signed_endpoint::get_url() const {
    return m_impl->get_url();
}

} // namespace arvenhold::corvel::hub
