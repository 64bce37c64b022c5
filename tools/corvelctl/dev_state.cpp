// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/dev_state.hpp"

#include "corvelctl/user_files.hpp"
#include "dev_hub/control.hpp"

#include <system_error>

namespace arvenhold::corvel::hub::ctl {

namespace {

std::filesystem::path get_state_path(std::filesystem::path const& directory) {
    return directory / "hub.json";
}

} // namespace

std::filesystem::path get_dev_secret_path(std::filesystem::path const& directory) {
    return directory / "secret";
}

std::filesystem::path get_dev_log_path(std::filesystem::path const& directory) {
    return directory / "log";
}

// A hub that was killed leaves its file behind, and its process number may belong to another program
// by now. Only the hub's own socket proves that it runs.
std::optional<dev_hub_state> find_dev_hub(std::filesystem::path const& directory) {
    auto const text = read_private_file(get_state_path(directory));
    if (!text.has_value()) {
        return std::nullopt;
    }
    dev_hub_state found;
    try {
        auto const object = nlohmann::json::parse(*text);
        found.connection.server_url = object.value("hub", "");
        found.connection.token_url = object.value("token_url", "");
        found.connection.client_id = object.value("client_id", "");
        found.server_port = object.value("port", std::uint16_t{0});
        found.process = object.value("pid", pid_t{-1});
        found.demo = object.value("demo", false);
    } catch (nlohmann::json::exception const&) {
        return std::nullopt; // another program has written it
    }
    found.connection.secret_file = get_dev_secret_path(directory).string();
    if (dev::find_hub_process(found.server_port) != found.process) {
        return std::nullopt;
    }
    return found;
}

void save_dev_hub(std::filesystem::path const& directory, dev_hub_state const& running) {
    json_object const object{
        {"v", 1},
        {"pid", running.process},
        {"port", running.server_port},
        {"hub", running.connection.server_url},
        {"token_url", running.connection.token_url},
        {"client_id", running.connection.client_id},
        {"demo", running.demo}};
    write_private_file(get_state_path(directory), object.dump() + '\n');
}

void forget_dev_hub(std::filesystem::path const& directory) {
    std::error_code ignored;
    std::filesystem::remove(get_state_path(directory), ignored);
    std::filesystem::remove(get_dev_secret_path(directory), ignored);
}

} // namespace arvenhold::corvel::hub::ctl
