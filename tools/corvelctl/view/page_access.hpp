// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Who may see the page of `view`. Any program on this machine can connect to its port, and any web site
// that the user visits can make the browser do so.

#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub::ctl {

/// How the page is reached.
struct page_address {
    std::string listen = "127.0.0.1"; ///< The address to listen on; numeric or a name.
    std::uint16_t port = 0;
    std::string machine;    ///< The name of this machine; empty if unknown.
    std::string public_url; ///< Where a proxy serves the page, without a path; empty for none.
};

/// Whether only programs on this machine can connect to the address.
[[nodiscard]] bool is_loopback(std::string_view listen);

/// "http://127.0.0.1:4290", the proxy's address if there is one.
[[nodiscard]] std::string make_base_url(page_address const& address);

/// Whether a request may be meant for this page, by its Host header. A web site whose name is made to
/// lead to this machine sends its own name, so only addresses and the names of this machine count.
[[nodiscard]] bool is_own_host(page_address const& address, std::string_view host);

/// Whether a page of this server has sent a request, by its Origin and Host headers.
[[nodiscard]] bool is_own_origin(
    page_address const& address, std::string_view origin, std::string_view host);

/// Compares in a time that depends only on the lengths.
[[nodiscard]] bool is_equal_secret(std::string_view one, std::string_view other);

/// The ways in, and the key that a browser keeps in a cookie afterwards.
///
/// @par Thread safety
/// All operations may be called from any thread.
class page_door {
public:
    enum class link_use {
        any_number, ///< The link works until the program ends.
        once,       ///< The first browser that opens it gets in.
        none,       ///< There is no link, only the password.
    };

    /// @param key       What the cookie contains.
    /// @param password  Empty for none.
    page_door(page_address const& address, std::string key, std::string password, link_use use);

    /// The address with the link's token, if there is a link.
    [[nodiscard]] std::string make_link() const;

    /// Whether the cookies of a request contain the key.
    ///
    /// @param cookies  The Cookie header.
    [[nodiscard]] bool has_key(std::string_view cookies) const;

    /// Whether the token of a link lets the browser in; uses the link up if it is for one use.
    [[nodiscard]] bool open_with_token(std::string_view token);

    [[nodiscard]] bool has_password() const;

    [[nodiscard]] bool open_with_password(std::string_view password) const;

    /// The Set-Cookie header for a browser that was let in.
    [[nodiscard]] std::string make_cookie() const;

private:
    page_address const m_address;
    std::string const m_cookie_name; // cookies are shared by all ports of a host
    std::string const m_key;
    std::string const m_password;
    link_use const m_use;
    mutable std::mutex m_mutex; // guards the token
    std::string m_token;        // empty when it is used up
};

} // namespace arvenhold::corvel::hub::ctl
