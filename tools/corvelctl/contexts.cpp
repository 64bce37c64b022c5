// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/contexts.hpp"

#include "corvelctl/near_names.hpp"
#include "corvelctl/user_files.hpp"

#include <array>
#include <utility>

namespace arvenhold::corvel::hub::ctl {

namespace {

constexpr std::array<std::pair<char const*, std::string connection_fields::*>, 5> keys{{
    {"hub", &connection_fields::server_url},
    {"token_url", &connection_fields::token_url},
    {"client_id", &connection_fields::client_id},
    {"secret_file", &connection_fields::secret_file},
    {"ca_file", &connection_fields::ca_file},
}};

connection_fields read_fields(nlohmann::json const& object) {
    connection_fields fields;
    for (auto const& [key, member] : keys) {
        fields.*member = object.value(key, "");
    }
    return fields;
}

json_object write_fields(connection_fields const& fields) {
    auto object = json_object::object();
    for (auto const& [key, member] : keys) {
        if (!(fields.*member).empty()) {
            object[key] = fields.*member;
        }
    }
    return object;
}

} // namespace

std::vector<std::string> contexts::get_names() const {
    std::vector<std::string> names;
    for (auto const& [name, fields] : by_name) {
        names.push_back(name);
    }
    return names;
}

connection_fields const& contexts::require(std::string const& name) const {
    auto const found = by_name.find(name);
    if (found == by_name.end()) {
        throw failure{
            exit_code::not_found,
            "no context \"" + name + '"' + ask_did_you_mean(name, get_names()),
            "see all contexts: corvelctl context list"};
    }
    return found->second;
}

contexts load_contexts() {
    contexts all;
    auto const path = get_context_path();
    auto const text = read_private_file(path);
    if (!text.has_value()) {
        return all;
    }
    try {
        auto const whole = nlohmann::json::parse(*text);
        all.current = whole.value("current", "");
        for (auto const& [name, object] : whole.at("contexts").items()) {
            all.by_name.emplace(name, read_fields(object));
        }
    } catch (nlohmann::json::exception const&) {
        throw failure{
            exit_code::other,
            "cannot understand " + path.string() + ": it is not a file of contexts",
            "move it away, and add the contexts again: corvelctl context add --help"};
    }
    return all;
}

void save_contexts(contexts const& all) {
    auto by_name = json_object::object();
    for (auto const& [name, fields] : all.by_name) {
        by_name[name] = write_fields(fields);
    }
    json_object const whole{{"v", 1}, {"current", all.current}, {"contexts", by_name}};
    constexpr int indentation = 2;
    write_private_file(get_context_path(), whole.dump(indentation) + '\n');
}

} // namespace arvenhold::corvel::hub::ctl
