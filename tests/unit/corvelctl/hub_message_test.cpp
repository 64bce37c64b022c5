// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/hub_message.hpp"

#include "protocol/definition_codec.hpp"
#include "protocol/registry_codec.hpp"
#include "protocol/variables_codec.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub::ctl {
namespace {

constexpr definition_fingerprint fingerprint = 7;

std::string get_bytes(message_builder const& builder) {
    auto const* const begin = builder.GetBufferPointer();
    return {begin, begin + builder.GetSize()};
}

std::string make_definition(std::string const& path = "a/b") {
    message_builder builder;
    definition_writer writer{builder};
    writer.add(3, path, 1.5, variable_permissions::read_write);
    writer.finish(fingerprint);
    return get_bytes(builder);
}

std::string make_change(definition_fingerprint of = fingerprint) {
    message_builder builder;
    variables_writer writer{builder};
    writer.add_change(3, 2.5, variable_quality::good);
    writer.add_change(4, std::string{"x\ny"}, variable_quality::bad);
    writer.finish_change_event(of, timestamp{std::chrono::seconds{1}});
    return get_bytes(builder);
}

std::string make_write() {
    message_builder builder;
    variables_writer writer{builder};
    writer.add_write(3, true);
    writer.finish_write_command(fingerprint);
    return get_bytes(builder);
}

TEST(message, is_known_by_its_subject) {
    for (auto const& [subject, kind, provider] :
         std::vector<std::tuple<std::string, std::string, std::string>>{
             {"v1.loc.a.b.vars.evt.changed", "change", "a.b"},
             {"v1.loc.a.vars.cmd.write", "write", "a"},
             {"v1.loc.a.vars.qry.read", "read request", "a"},
             {"v1.loc.a.def.evt.changed", "definition", "a"},
             {"v1.loc.registry.providers.a.def.evt.changed", "verdict", "a"},
             {"v1.loc.registry.providers.a.def.qry.read", "definition request", "a"},
             {"v1.loc.registry.providers.qry.read", "list request", ""},
             {"v1.loc.registry.providers.evt.changed", "provider list", ""},
             {"v1.loc.registry.state.evt.changed", "registry state", ""},
             {"_INBOX.x", "other", ""},
             {"", "other", ""}}) {
        auto const decoded = message_decoder{true}.decode(subject, {}, make_change());
        EXPECT_EQ(name_of(decoded.kind), kind) << subject;
        EXPECT_EQ(decoded.provider, provider) << subject;
    }
}

TEST(message, shows_ids_until_it_knows_paths) {
    message_decoder decoder{true};
    auto const change = [&](auto of) {
        return decoder.decode("v1.loc.p.vars.evt.changed", {}, make_change(of)).text;
    };
    EXPECT_EQ(change(fingerprint), "[3]=2.5 good, [4]=x\\ny bad");
    EXPECT_EQ(
        decoder.decode("v1.loc.p.def.evt.changed", {}, make_definition()).text,
        "1 variable, fingerprint 0x0000000000000007");
    EXPECT_EQ(change(fingerprint), "a/b=2.5 good, [4]=x\\ny bad");
    EXPECT_EQ(change(fingerprint + 1), "[3]=2.5 good, [4]=x\\ny bad");
    EXPECT_EQ(decoder.decode("v1.loc.p.vars.cmd.write", {}, make_write()).text, "a/b=true");
}

TEST(message, has_its_content_for_programs) {
    message_decoder decoder{true};
    EXPECT_EQ(
        decoder.decode("v1.loc.p.vars.evt.changed", {}, make_change())
            .content.at("items")[0]
            .dump(),
        R"({"id":3,"data_type":"double","value":2.5,"quality":"good",)"
        R"("time":"1970-01-01T00:00:01.000000000Z"})");
    EXPECT_EQ(
        decoder.decode("v1.loc.p.def.evt.changed", {}, make_definition()).content.dump(),
        R"({"fingerprint":"0x0000000000000007","variables":[{"path":"a/b","id":3,)"
        R"("data_type":"double","access":"read-write"}]})");
}

TEST(message, is_a_reply_if_its_request_was_seen) {
    message_decoder decoder{true};
    EXPECT_EQ(decoder.decode("_INBOX.1", {}, make_change()).kind, message_kind::other);
    message_builder builder;
    serialize_read_request(builder, {3});
    auto const request = decoder.decode("v1.loc.p.vars.qry.read", "_INBOX.1", get_bytes(builder));
    EXPECT_EQ(request.text, "[3]");
    EXPECT_EQ(decoder.decode("_INBOX.1", {}, make_change()).text, "[3]=2.5 good, [4]=x\\ny bad");
}

TEST(message, names_what_is_missing) {
    for (auto const& [subject, fault] : std::vector<std::pair<std::string, std::string>>{
             {"v1.loc.p.vars.evt.changed", "message data nullptr"},
             {"v1.loc.p.vars.cmd.write", "variables node is missing"},
             {"v1.loc.p.def.evt.changed", "message data nullptr"},
             {"v1.loc.registry.providers.evt.changed", "message data nullptr"},
             {"v1.loc.registry.state.evt.changed", "state changed event data is nullptr"}}) {
        EXPECT_EQ(message_decoder{true}.decode(subject, {}, "").fault, fault) << subject;
    }
}

// Every kind of message, with any bytes: nothing is thrown, and lines stay lines.
TEST(message, may_consist_of_any_bytes) {
    std::vector<std::string> messages{make_change(), make_definition("x\n\x1B"), make_write()};
    for (auto const& entry :
         std::filesystem::recursive_directory_iterator{CORVEL_HUB_FUZZ_CORPUS}) {
        if (entry.is_regular_file()) {
            std::ifstream file{entry.path(), std::ios::binary};
            messages.emplace_back(
                std::istreambuf_iterator<char>{file}, std::istreambuf_iterator<char>{});
        }
    }
    ASSERT_GT(messages.size(), 20U);
    std::size_t faults = 0;
    for (auto const& whole : messages) {
        for (std::size_t size = 0; size <= whole.size(); size += size / 16 + 1) {
            message_decoder decoder{true};
            for (auto const* const subject :
                 {"v1.loc.p.def.evt.changed",
                  "v1.loc.registry.providers.p.def.evt.changed",
                  "v1.loc.p.vars.evt.changed",
                  "v1.loc.p.vars.cmd.write",
                  "v1.loc.p.vars.qry.read",
                  "v1.loc.registry.providers.evt.changed",
                  "v1.loc.registry.state.evt.changed"}) {
                auto const decoded = decoder.decode(subject, {}, whole.substr(0, size));
                faults += static_cast<std::size_t>(!decoded.fault.empty());
                ASSERT_EQ(decoded.text.find_first_of("\n\x1B"), std::string::npos);
            }
        }
    }
    EXPECT_GT(faults, 1000U);
}

TEST(hex, shows_positions_digits_and_characters) {
    EXPECT_EQ(make_hex("A\x1F\xFF"), "411fff");
    EXPECT_EQ(make_hex_lines(""), "");
    EXPECT_EQ(
        make_hex_lines("0123456789abcdef\n"),
        "     0  30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66  0123456789abcdef\n"
        "    16  0a                                               .\n");
}

} // namespace
} // namespace arvenhold::corvel::hub::ctl
