// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/client_command.hpp"
#include "support/case_name.hpp"

#include <gmock/gmock.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace arvenhold::corvel::hub::dev {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t max_payload = 8;

// A command in a form that shows all of it.
struct shown {
    std::string operator()(connect_command const& command) const {
        return "connect with " + std::string{command.settings};
    }

    std::string operator()(publish_command const& command) const {
        return "publish on " + std::string{command.subject} + " for "
             + std::string{command.reply.empty() ? "nobody" : command.reply} + ": "
             + std::string{command.payload};
    }

    std::string operator()(subscribe_command const& command) const {
        return "subscribe to " + std::string{command.pattern} + " as " + std::string{command.id};
    }

    std::string operator()(unsubscribe_command const& command) const {
        return "unsubscribe " + std::string{command.id} + " after " + std::to_string(command.most);
    }

    std::string operator()(ping_command const& /*command*/) const {
        return "ping";
    }

    std::string operator()(pong_command const& /*command*/) const {
        return "pong";
    }

    std::string operator()(malformed_command const& command) const {
        return "malformed: " + std::string{command.reason};
    }
};

// All commands that are complete, up to the first one that is malformed.
void decode_all(command_decoder& decoder, std::vector<std::string>& decoded) {
    for (auto next = decoder.decode_next(); next.has_value(); next = decoder.decode_next()) {
        decoded.push_back(std::visit(shown{}, *next));
        if (std::holds_alternative<malformed_command>(*next)) {
            return;
        }
    }
}

std::vector<std::string> decode(std::string_view bytes) {
    command_decoder decoder{max_payload};
    decoder.append(bytes);
    std::vector<std::string> decoded;
    decode_all(decoder, decoded);
    return decoded;
}

struct command_case {
    char const* name;
    std::string bytes;
    std::string decoded;
};

class client_command_of_a_kind : public testing::TestWithParam<command_case> {};

TEST_P(client_command_of_a_kind, is_decoded) {
    EXPECT_THAT(decode(GetParam().bytes), ElementsAre(GetParam().decoded));
}

TEST_P(client_command_of_a_kind, is_the_same_byte_by_byte) {
    command_decoder decoder{max_payload};
    std::vector<std::string> decoded;
    for (auto const byte : GetParam().bytes) {
        if (decoded.empty()) {
            decoder.append({&byte, 1});
            decode_all(decoder, decoded);
        }
    }

    EXPECT_THAT(decoded, ElementsAre(GetParam().decoded));
}

INSTANTIATE_TEST_SUITE_P(
    well_formed,
    client_command_of_a_kind,
    testing::Values(
        command_case{"connect", "CONNECT {\"a\": 1}\r\n", "connect with {\"a\": 1}"},
        command_case{"lower_case", "connect {}\r\n", "connect with {}"},
        command_case{"publication", "PUB a.b 2\r\nhi\r\n", "publish on a.b for nobody: hi"},
        command_case{"request", "PUB a r 2\r\nhi\r\n", "publish on a for r: hi"},
        command_case{"empty_payload", "PUB a 0\r\n\r\n", "publish on a for nobody: "},
        command_case{"line_end_as_payload", "PUB a 2\r\n\r\n\r\n", "publish on a for nobody: \r\n"},
        command_case{
            "longest_payload", "PUB a 8\r\n12345678\r\n", "publish on a for nobody: 12345678"},
        command_case{"more_separators", "PUB  a\tr   2\r\nhi\r\n", "publish on a for r: hi"},
        command_case{"subscription", "SUB a.* 7\r\n", "subscribe to a.* as 7"},
        command_case{"end_of_subscription", "UNSUB 7\r\n", "unsubscribe 7 after 0"},
        command_case{"end_after_messages", "UNSUB 7 3\r\n", "unsubscribe 7 after 3"},
        command_case{"ping", "PING\r\n", "ping"},
        command_case{"pong", "PONG\r\n", "pong"},
        command_case{"without_carriage_return", "PING\n", "ping"},
        command_case{
            "longest_line",
            "CONNECT " + std::string(max_control_line - 8, 'x') + "\r\n",
            "connect with " + std::string(max_control_line - 8, 'x')}),
    case_name);

INSTANTIATE_TEST_SUITE_P(
    malformed,
    client_command_of_a_kind,
    testing::Values(
        command_case{"unknown", "HELLO\r\n", "malformed: Unknown Protocol Operation"},
        command_case{"empty_line", "\r\n", "malformed: Unknown Protocol Operation"},
        command_case{"beginning_of_a_name", "PIN\r\n", "malformed: Unknown Protocol Operation"},
        command_case{"longer_than_a_name", "PINGS\r\n", "malformed: Unknown Protocol Operation"},
        command_case{"neighbour_of_a_letter", "P)NG\r\n", "malformed: Unknown Protocol Operation"},
        command_case{
            "publication_with_headers",
            "HPUB a 12 12\r\n",
            "malformed: Unknown Protocol Operation"},
        command_case{
            "null_bytes", std::string(3, '\0') + "\r\n", "malformed: Unknown Protocol Operation"},
        command_case{"publication_without_size", "PUB a\r\n", "malformed: "},
        command_case{"publication_with_four_words", "PUB a b c 2\r\n", "malformed: "},
        command_case{"negative_size", "PUB a -1\r\n", "malformed: "},
        command_case{"size_that_is_no_number", "PUB a 2x\r\n", "malformed: "},
        command_case{"size_beyond_all_numbers", "PUB a 99999999999999999999\r\n", "malformed: "},
        command_case{
            "payload_that_is_too_long", "PUB a 9\r\n", "malformed: Maximum Payload Violation"},
        command_case{
            "payload_without_end", "PUB a 2\r\nhiXX", "malformed: Unknown Protocol Operation"},
        command_case{"subscription_without_id", "SUB a\r\n", "malformed: "},
        command_case{"queue_group", "SUB a group 7\r\n", "malformed: "},
        command_case{"end_of_no_subscription", "UNSUB\r\n", "malformed: "},
        command_case{"end_after_no_number", "UNSUB 7 many\r\n", "malformed: "},
        command_case{"end_with_three_words", "UNSUB 7 8 9\r\n", "malformed: "},
        command_case{
            "line_that_is_too_long",
            std::string(max_control_line + 2, 'x'),
            "malformed: maximum control line exceeded"}),
    case_name);

TEST(client_commands, are_decoded_one_by_one) {
    EXPECT_THAT(
        decode("PING\r\nPUB a 2\r\nhi\r\nSUB b 1\r\nPON"),
        ElementsAre("ping", "publish on a for nobody: hi", "subscribe to b as 1"));
}

TEST(client_commands, wait_for_the_rest) {
    EXPECT_THAT(decode(""), IsEmpty());
    EXPECT_THAT(decode("PING"), IsEmpty());
    EXPECT_THAT(decode("PUB a 2\r\nhi\r"), IsEmpty());
    EXPECT_THAT(decode(std::string(max_control_line + 1, 'x')), IsEmpty());
}

} // namespace
} // namespace arvenhold::corvel::hub::dev
