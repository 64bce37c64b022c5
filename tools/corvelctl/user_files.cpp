// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/user_files.hpp"

#include "corvelctl/exit_code.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <system_error>

namespace arvenhold::corvel::hub::ctl {

namespace {

constexpr mode_t only_owner = S_IRUSR | S_IWUSR;
constexpr mode_t anybody_else = S_IRWXG | S_IRWXO;

failure cannot(std::string const& verb, std::filesystem::path const& path, int reason) {
    return failure{
        exit_code::other,
        "cannot " + verb + " " + path.string() + ": " + std::generic_category().message(reason)};
}

std::filesystem::path find_base(char const* variable, char const* below_home) {
    auto const given = get_environment(variable);
    if (!given.empty()) {
        return given;
    }
    auto const home = get_environment("HOME");
    if (home.empty()) {
        throw failure{
            exit_code::usage,
            "no folder for the program's files: neither " + std::string{variable}
                + " nor HOME is set",
            "set HOME, or give --hub, --token-url, --client-id and --secret-file"};
    }
    return std::filesystem::path{home} / below_home;
}

std::optional<struct stat> find_status(std::filesystem::path const& path) {
    struct stat found {};
    if (::stat(path.c_str(), &found) != 0) {
        return std::nullopt;
    }
    return found;
}

// Nothing if there is no such file.
std::optional<std::string> find_text(std::filesystem::path const& path) {
    std::ifstream file{path, std::ios::binary};
    if (!file && errno == ENOENT) {
        return std::nullopt;
    }
    if (!file || std::filesystem::is_directory(path)) {
        throw cannot("read", path, file ? EISDIR : errno);
    }
    return std::string{std::istreambuf_iterator<char>{file}, {}};
}

std::string read_whole(std::filesystem::path const& path) {
    auto text = find_text(path);
    if (!text.has_value()) {
        throw cannot("read", path, ENOENT);
    }
    return *std::move(text);
}

// Replaces a file as a whole.
void replace_file(std::filesystem::path const& path, std::string_view text, mode_t mode) {
    auto const fresh = path.string() + ".new";
    auto const descriptor = open_private_file(fresh, O_WRONLY | O_CREAT | O_TRUNC);
    if (descriptor < 0) {
        throw cannot("write", path, errno);
    }
    ::fchmod(descriptor, mode); // a file of that name may have been there
    auto const written = ::write(descriptor, text.data(), text.size());
    auto const reason = errno;
    ::close(descriptor);
    if (written != static_cast<ssize_t>(text.size())) {
        ::unlink(fresh.c_str());
        throw cannot("write", path, written < 0 ? reason : ENOSPC);
    }
    if (::rename(fresh.c_str(), path.c_str()) != 0) {
        auto const refused = errno;
        ::unlink(fresh.c_str());
        throw cannot("write", path, refused);
    }
}

} // namespace

std::string get_environment(char const* name) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing changes the environment
    auto const* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

std::filesystem::path get_context_path() {
    return find_base("XDG_CONFIG_HOME", ".config") / "corvelctl" / "contexts.json";
}

std::filesystem::path get_dev_directory() {
    return find_base("XDG_STATE_HOME", ".local/state") / "corvelctl" / "dev";
}

std::filesystem::path get_view_key_path() {
    return find_base("XDG_STATE_HOME", ".local/state") / "corvelctl" / "view-key";
}

std::optional<std::string> read_private_file(std::filesystem::path const& path) {
    auto const status = find_status(path);
    if (!status.has_value()) {
        return std::nullopt;
    }
    if ((status->st_mode & anybody_else) != 0) {
        throw failure{
            exit_code::other,
            "refuse to use " + path.string() + ": others than its owner may read or write it",
            "make it private: chmod 600 " + path.string()};
    }
    return find_text(path); // another program may have removed it meanwhile
}

int open_private_file(std::filesystem::path const& path, int flags) {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): the kernel's interface
    return ::open(path.c_str(), flags | O_CLOEXEC, only_owner);
}

void write_private_file(std::filesystem::path const& path, std::string const& text) {
    std::error_code ignored;
    auto const folder = path.parent_path();
    if (std::filesystem::create_directories(folder, ignored)) {
        std::filesystem::permissions(folder, std::filesystem::perms::owner_all, ignored);
    }
    replace_file(path, text, only_owner);
}

void write_public_file(std::filesystem::path const& path, std::string_view text) {
    replace_file(path, text, only_owner | S_IRGRP | S_IROTH);
}

std::string read_named_file(std::string const& file, std::string const& cure) {
    try {
        return read_whole(file == "-" ? "/dev/stdin" : file);
    } catch (failure const& unreadable) {
        throw failure{exit_code::usage, unreadable.what(), cure};
    }
}

std::string read_secret(std::string const& path, std::string const& flag) {
    std::string secret;
    try {
        secret = read_whole(path);
    } catch (failure const& unreadable) {
        throw failure{
            exit_code::usage,
            "cannot use the secret file: " + std::string{unreadable.what()},
            "give a file that contains " + flag};
    }
    secret.erase(secret.find_last_not_of("\r\n") + 1);
    if (secret.empty()) {
        throw failure{
            exit_code::usage,
            "the secret file " + path + " is empty",
            "write the client secret into it, or give another file with --secret-file"};
    }
    return secret;
}

void check_ca_file(std::string const& path) {
    try {
        if (!path.empty()) {
            static_cast<void>(read_whole(path));
        }
    } catch (failure const& unreadable) {
        throw failure{
            exit_code::usage,
            "cannot use the file of authorities: " + std::string{unreadable.what()},
            "give a PEM file with --ca-file (CORVEL_CA_FILE)"};
    }
}

bool is_readable_by_others(std::filesystem::path const& path) {
    auto const status = find_status(path);
    return status.has_value() && S_ISREG(status->st_mode)
        && (status->st_mode & (S_IRGRP | S_IROTH)) != 0;
}

} // namespace arvenhold::corvel::hub::ctl
