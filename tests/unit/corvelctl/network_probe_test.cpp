// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/network_probe.hpp"

#include "support/case_name.hpp"

#include <gmock/gmock.h>

#include <string>

namespace arvenhold::corvel::hub::ctl {
namespace {

struct url_case {
    std::string name;
    std::string url;
    std::string host;
    std::string port;
    std::string path;
    std::string address;
};

class url : public testing::TestWithParam<url_case> {};

TEST_P(url, is_split) {
    auto const parts = split_url(GetParam().url);

    EXPECT_EQ(parts.host, GetParam().host);
    EXPECT_EQ(parts.port, GetParam().port);
    EXPECT_EQ(parts.path, GetParam().path);
    EXPECT_EQ(parts.get_address(), GetParam().address);
}

INSTANTIATE_TEST_SUITE_P(
    every_form,
    url,
    testing::Values(
        url_case{"complete", "nats://plc:4223", "plc", "4223", "", "plc:4223"},
        url_case{"without_port", "tls://plc", "plc", "4222", "", "plc:4222"},
        url_case{"http", "http://plc/token", "plc", "80", "/token", "plc:80"},
        url_case{"https", "https://plc/a/b?c=:1", "plc", "443", "/a/b?c=:1", "plc:443"},
        url_case{"credentials", "nats://me:se@cret@plc:1", "plc", "1", "", "plc:1"},
        url_case{"ipv6", "nats://[::1]:4222", "::1", "4222", "", "[::1]:4222"},
        url_case{"ipv6_without_port", "nats://[::1]", "::1", "4222", "", "[::1]:4222"},
        url_case{"empty_port", "nats://plc:", "plc", "", "", "plc:"},
        url_case{"nothing", "", "", "4222", "", ":4222"}),
    case_name);

} // namespace
} // namespace arvenhold::corvel::hub::ctl
