// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/view/page_access.hpp"

#include <gmock/gmock.h>

#include <string>

namespace {

using namespace arvenhold::corvel::hub::ctl;
using testing::HasSubstr;
using testing::StartsWith;

page_address make_address(std::string const& listen, std::string const& public_url = "") {
    return {listen, 4290, "plc-office", public_url};
}

TEST(the_host_header, may_be_an_address_of_this_machine) {
    auto const address = make_address("127.0.0.1");
    for (auto const* const host : {"127.0.0.1:4290", "localhost:4290", "[::1]:4290"}) {
        EXPECT_TRUE(is_own_host(address, host)) << host;
    }
}

TEST(the_host_header, must_not_name_another_server) {
    auto const address = make_address("127.0.0.1");
    for (auto const* const host :
         {"",
          "evil.example:4290",
          "127.0.0.1.evil.example:4290",
          "127.0.0.1:80",
          "127.0.0.1",
          "192.168.0.7:4290",
          "plc-office:4290"}) {
        EXPECT_FALSE(is_own_host(address, host)) << host;
    }
}

TEST(the_host_header, may_be_any_address_or_the_name_if_others_can_connect) {
    auto const address = make_address("0.0.0.0");
    EXPECT_TRUE(is_own_host(address, "192.168.0.7:4290"));
    EXPECT_TRUE(is_own_host(address, "plc-office:4290"));
    EXPECT_FALSE(is_own_host(address, "evil.example:4290"));
}

TEST(the_host_header, may_be_that_of_the_proxy) {
    auto const address = make_address("127.0.0.1", "https://hub.example.com");
    EXPECT_TRUE(is_own_host(address, "hub.example.com"));
    EXPECT_FALSE(is_own_host(address, "hub.example.com.evil.example"));
}

TEST(the_origin_header, must_be_that_of_the_page) {
    auto const address = make_address("127.0.0.1", "https://hub.example.com");
    EXPECT_TRUE(is_own_origin(address, "http://127.0.0.1:4290", "127.0.0.1:4290"));
    EXPECT_TRUE(is_own_origin(address, "https://hub.example.com", "hub.example.com"));
    EXPECT_FALSE(is_own_origin(address, "http://127.0.0.1:80", "127.0.0.1:4290"));
    EXPECT_FALSE(is_own_origin(address, "null", "127.0.0.1:4290"));
    EXPECT_FALSE(is_own_origin(address, "", "127.0.0.1:4290"));
}

TEST(a_door, opens_for_the_key_among_other_cookies) {
    page_door const door{make_address("127.0.0.1"), "0123", "", page_door::link_use::any_number};
    EXPECT_TRUE(door.has_key("corvelctl-4290=0123"));
    EXPECT_TRUE(door.has_key("other=1; corvelctl-4290=0123; last=2"));
    EXPECT_FALSE(door.has_key(""));
    EXPECT_FALSE(door.has_key("corvelctl-4290="));
    EXPECT_FALSE(door.has_key("corvelctl-4290=01234"));
    EXPECT_FALSE(door.has_key("corvelctl-4291=0123"));
    EXPECT_FALSE(door.has_key("xcorvelctl-4290=0123; ;;"));
}

std::string token_of(page_door const& door) {
    auto const link = door.make_link();
    return link.substr(link.find('=') + 1);
}

TEST(a_door, opens_for_its_link) {
    page_door door{make_address("127.0.0.1"), "0123", "", page_door::link_use::any_number};
    EXPECT_THAT(door.make_link(), StartsWith("http://127.0.0.1:4290/?token="));
    EXPECT_FALSE(door.open_with_token(""));
    EXPECT_FALSE(door.open_with_token(token_of(door) + "0"));
    EXPECT_TRUE(door.open_with_token(token_of(door)));
    EXPECT_TRUE(door.open_with_token(token_of(door)));
}

TEST(a_door, opens_once_for_a_link_for_one_use) {
    page_door door{make_address("0.0.0.0"), "0123", "", page_door::link_use::once};
    auto const token = token_of(door);
    EXPECT_TRUE(door.open_with_token(token));
    EXPECT_FALSE(door.open_with_token(token));
    EXPECT_FALSE(door.open_with_token(""));
}

TEST(a_door, opens_for_its_password_alone_if_it_has_one) {
    page_door door{make_address("0.0.0.0"), "0123", "open", page_door::link_use::none};
    EXPECT_EQ(door.make_link(), "http://plc-office:4290/");
    EXPECT_FALSE(door.open_with_token(""));
    EXPECT_FALSE(door.open_with_password(""));
    EXPECT_TRUE(door.open_with_password("open"));
}

TEST(a_door, never_opens_for_a_password_that_it_does_not_have) {
    page_door const door{make_address("127.0.0.1"), "0123", "", page_door::link_use::any_number};
    EXPECT_FALSE(door.open_with_password(""));
}

TEST(the_cookie, is_kept_from_scripts_and_other_sites) {
    page_door const plain{make_address("127.0.0.1"), "0123", "", page_door::link_use::any_number};
    EXPECT_EQ(plain.make_cookie(), "corvelctl-4290=0123; Path=/; HttpOnly; SameSite=Strict");
    page_door const proxied{
        make_address("127.0.0.1", "https://hub.example.com"),
        "0123",
        "",
        page_door::link_use::once};
    EXPECT_THAT(proxied.make_cookie(), HasSubstr("; Secure"));
}

} // namespace
