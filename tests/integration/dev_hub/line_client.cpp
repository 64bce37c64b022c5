// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "line_client.hpp"

#include "dev_hub/loopback_socket.hpp"
#include "support/raw_peer.hpp" // patience

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <chrono>
#include <cstdint>

namespace arvenhold::corvel::hub::dev {
namespace {

std::uint16_t port_of(std::string const& url) {
    return static_cast<std::uint16_t>(std::stoi(url.substr(url.rfind(':') + 1)));
}

// Removes the first line that begins like this, if it is there as a whole.
bool remove_line(std::string& received, std::string_view begin) {
    auto const at = received.find(begin);
    auto const end = received.find("\r\n", at);
    if (end == std::string::npos) {
        return false;
    }
    received.erase(at, end + 2 - at);
    return true;
}

} // namespace

line_client::line_client(std::string const& url)
    : m_socket{connect_to_loopback(port_of(url))} {}

void line_client::send(std::string_view bytes) {
    ::send(m_socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

std::string line_client::receive_through(std::string_view end) {
    while (m_received.find(end) == std::string::npos && !m_ended) {
        receive();
    }
    auto const position = m_received.find(end);
    auto const size = position == std::string::npos ? m_received.size() : position + end.size();
    auto const found = m_received.substr(0, size);
    m_received.erase(0, size);
    return found;
}

std::string line_client::receive_rest() {
    while (!m_ended) {
        receive();
    }
    return m_received;
}

void line_client::receive() {
    pollfd watched{.fd = m_socket.get(), .events = POLLIN, .revents = 0};
    auto const limit = static_cast<int>(std::chrono::milliseconds{patience}.count());
    if (::poll(&watched, 1, limit) == 0) {
        m_received += "(still open)";
        m_ended = true;
        return;
    }
    std::array<char, 65'536> piece{};
    auto const count = ::recv(m_socket.get(), piece.data(), piece.size(), MSG_DONTWAIT);
    if (count <= 0) {
        m_ended = true;
        return;
    }
    m_received.append(piece.data(), static_cast<std::size_t>(count));
    remove_line(m_received, "INFO ");
    while (remove_line(m_received, "PING")) {
    }
}

} // namespace arvenhold::corvel::hub::dev
