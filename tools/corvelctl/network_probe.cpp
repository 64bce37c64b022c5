// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/network_probe.hpp"

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <system_error>

namespace arvenhold::corvel::hub::ctl {

namespace {

using std::chrono::milliseconds;
using steady = std::chrono::steady_clock;

using address_list = std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)>;

address_list resolve(std::string const& host, std::string const& port) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    auto const status =
        ::getaddrinfo(host.c_str(), port.empty() ? nullptr : port.c_str(), &hints, &found);
    address_list addresses{found, &::freeaddrinfo};
    if (status != 0) {
        throw probe_failure{"the name " + host + " has no address: " + ::gai_strerror(status)};
    }
    return addresses;
}

std::string make_numeric(addrinfo const& address) {
    std::array<char, NI_MAXHOST> text{};
    ::getnameinfo(
        address.ai_addr,
        address.ai_addrlen,
        text.data(),
        static_cast<socklen_t>(text.size()),
        nullptr,
        0,
        NI_NUMERICHOST);
    return text.data();
}

bool is_ready(dev::file_descriptor const& socket, std::int16_t event, steady::time_point deadline) {
    auto const left = std::chrono::ceil<milliseconds>(deadline - steady::now());
    pollfd watched{.fd = socket.get(), .events = event, .revents = 0};
    return ::poll(&watched, 1, static_cast<int>(std::max(left, milliseconds{0}).count())) > 0;
}

// 0, or the number of the error.
int try_to_connect(
    dev::file_descriptor const& socket, addrinfo const& address, steady::time_point deadline) {
    if (socket.get() < 0) {
        return errno;
    }
    if (::connect(socket.get(), address.ai_addr, address.ai_addrlen) == 0) {
        return 0;
    }
    if (errno != EINPROGRESS) {
        return errno;
    }
    if (!is_ready(socket, POLLOUT, deadline)) {
        return ETIMEDOUT;
    }
    int error = 0;
    socklen_t size = sizeof error;
    ::getsockopt(socket.get(), SOL_SOCKET, SO_ERROR, &error, &size);
    return error;
}

std::string get_default_port(std::string_view scheme) {
    if (scheme == "http") {
        return "80";
    }
    return scheme == "https" ? "443" : "4222";
}

// Whether the fields that a diagnosis reads are of the types that a server sends.
bool is_greeting(nlohmann::json const& info) {
    nlohmann::json const samples{
        {"version", ""}, {"tls_required", false}, {"auth_required", false}, {"headers", false}};
    auto const items = samples.items();
    return info.is_object() && std::all_of(items.begin(), items.end(), [&info](auto const& sample) {
               auto const found = info.find(sample.key());
               return found == info.end() || found->type() == sample.value().type();
           });
}

} // namespace

std::string url_parts::get_address() const {
    return (host.find(':') == std::string::npos ? host : '[' + host + ']') + ':' + port;
}

url_parts split_url(std::string_view url) {
    url_parts parts;
    if (auto const end = url.find("://"); end != std::string_view::npos) {
        parts.scheme = url.substr(0, end);
        url.remove_prefix(end + 3);
    }
    auto authority = url.substr(0, url.find_first_of("/?#"));
    parts.path = url.substr(authority.size());
    if (auto const at = authority.rfind('@'); at != std::string_view::npos) {
        authority.remove_prefix(at + 1);
    }
    auto const bracket = authority.find(']');
    auto const colon = authority.find(':', bracket == std::string_view::npos ? 0 : bracket);
    auto const host = authority.substr(0, colon);
    parts.host = host.starts_with('[') ? host.substr(1, host.find(']') - 1) : host;
    parts.port = colon == std::string_view::npos ? get_default_port(parts.scheme)
                                                 : std::string{authority.substr(colon + 1)};
    return parts;
}

std::string look_up(std::string const& host) {
    std::string addresses;
    auto const found = resolve(host, {});
    for (auto const* address = found.get(); address != nullptr; address = address->ai_next) {
        addresses += (addresses.empty() ? "" : ", ") + make_numeric(*address);
    }
    return addresses;
}

dev::file_descriptor open_connection(url_parts const& server, milliseconds limit) {
    auto const deadline = steady::now() + limit;
    auto error = 0;
    auto const found = resolve(server.host, server.port);
    for (auto const* address = found.get(); address != nullptr; address = address->ai_next) {
        dev::file_descriptor socket{
            ::socket(address->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)};
        error = try_to_connect(socket, *address, deadline);
        if (error == 0) {
            return socket;
        }
    }
    throw probe_failure{
        server.get_address() + " accepts no connection: " + std::generic_category().message(error)};
}

nlohmann::json read_server_info(dev::file_descriptor const& connection, milliseconds limit) {
    constexpr std::string_view keyword = "INFO ";
    constexpr std::size_t longest = 65'536;
    auto const deadline = steady::now() + limit;
    std::string text;
    while (text.find('\n') == std::string::npos && text.size() < longest) {
        std::array<char, 4096> piece{};
        if (!is_ready(connection, POLLIN, deadline)) {
            throw probe_failure{"the server accepts connections, but sends nothing"};
        }
        auto const count = ::recv(connection.get(), piece.data(), piece.size(), 0);
        if (count <= 0) {
            throw probe_failure{"the server closes the connection without a greeting"};
        }
        text.append(piece.data(), static_cast<std::size_t>(count));
    }
    auto info = text.starts_with(keyword)
                  ? nlohmann::json::parse(text.substr(keyword.size()), nullptr, false)
                  : nlohmann::json{};
    if (!is_greeting(info)) {
        throw probe_failure{"the server does not speak as a NATS server does"};
    }
    return info;
}

} // namespace arvenhold::corvel::hub::ctl
