// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/view/page_access.hpp"

#include "dev_hub/random_token.hpp"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace arvenhold::corvel::hub::ctl {

namespace {

bool is_numeric(std::string const& address) {
    std::array<unsigned char, sizeof(in6_addr)> bytes{};
    return ::inet_pton(AF_INET, address.c_str(), bytes.data()) == 1
        || ::inet_pton(AF_INET6, address.c_str(), bytes.data()) == 1;
}

std::string without_brackets(std::string_view name) {
    if (name.starts_with('[') && name.ends_with(']')) {
        name = name.substr(1, name.size() - 2);
    }
    return std::string{name};
}

bool is_wildcard(std::string_view listen) {
    return listen == "0.0.0.0" || listen == "::";
}

std::string make_authority(std::string const& name, std::uint16_t port) {
    auto const shown = name.find(':') == std::string::npos ? name : '[' + name + ']';
    return shown + ':' + std::to_string(port);
}

std::string_view get_authority(std::string_view url) {
    auto const slashes = url.find("//");
    return slashes == std::string_view::npos ? "" : url.substr(slashes + 2);
}

} // namespace

bool is_loopback(std::string_view listen) {
    return listen == "localhost" || listen == "::1" || listen.starts_with("127.");
}

std::string make_base_url(page_address const& address) {
    if (!address.public_url.empty()) {
        return address.public_url;
    }
    auto const& name =
        is_wildcard(address.listen) && !address.machine.empty() ? address.machine : address.listen;
    return "http://" + make_authority(name, address.port);
}

bool is_own_host(page_address const& address, std::string_view host) {
    if (!address.public_url.empty() && host == get_authority(address.public_url)) {
        return true;
    }
    auto const suffix = ':' + std::to_string(address.port);
    if (!host.ends_with(suffix)) {
        return false;
    }
    auto const name = without_brackets(host.substr(0, host.size() - suffix.size()));
    if (is_loopback(address.listen)) {
        return name == address.listen || name == "localhost"
            || (is_numeric(name) && is_loopback(name));
    }
    return is_numeric(name) || name == "localhost" || name == address.listen
        || (!address.machine.empty() && name == address.machine);
}

bool is_own_origin(page_address const& address, std::string_view origin, std::string_view host) {
    return origin == "http://" + std::string{host}
        || (!address.public_url.empty() && origin == address.public_url);
}

bool is_equal_secret(std::string_view one, std::string_view other) {
    if (one.size() != other.size()) {
        return false;
    }
    int difference = 0;
    for (std::size_t index = 0; index < one.size(); ++index) {
        difference |= one[index] ^ other[index];
    }
    return difference == 0;
}

page_door::page_door(
    page_address const& address, std::string key, std::string password, link_use use)
    : m_address{address}
    , m_cookie_name{"corvelctl-" + std::to_string(address.port)}
    , m_key{std::move(key)}
    , m_password{std::move(password)}
    , m_use{use}
    , m_token{use == link_use::none ? "" : dev::make_random_token()} {}

std::string page_door::make_link() const {
    auto const base = make_base_url(m_address) + '/';
    std::scoped_lock const lock{m_mutex};
    return m_token.empty() ? base : base + "?token=" + m_token;
}

bool page_door::has_key(std::string_view cookies) const {
    auto const wanted = m_cookie_name + '=';
    while (!cookies.empty()) {
        auto const end = cookies.find(';');
        auto const one = cookies.substr(0, end);
        if (one.starts_with(wanted) && is_equal_secret(one.substr(wanted.size()), m_key)) {
            return true;
        }
        cookies.remove_prefix(end == std::string_view::npos ? cookies.size() : end + 1);
        cookies.remove_prefix(std::min(cookies.find_first_not_of(' '), cookies.size()));
    }
    return false;
}

bool page_door::open_with_token(std::string_view token) {
    std::scoped_lock const lock{m_mutex};
    if (m_token.empty() || !is_equal_secret(token, m_token)) {
        return false;
    }
    if (m_use == link_use::once) {
        m_token.clear();
    }
    return true;
}

bool page_door::has_password() const {
    return !m_password.empty();
}

bool page_door::open_with_password(std::string_view password) const {
    return has_password() && is_equal_secret(password, m_password);
}

std::string page_door::make_cookie() const {
    auto const is_secure = m_address.public_url.starts_with("https:");
    return m_cookie_name + '=' + m_key + "; Path=/; HttpOnly; SameSite=Strict"
         + (is_secure ? "; Secure" : "");
}

} // namespace arvenhold::corvel::hub::ctl
