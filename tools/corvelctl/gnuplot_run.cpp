// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/gnuplot_run.hpp"

#include "corvelctl/exit_code.hpp"
#include "dev_hub/child_process.hpp"

#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <string_view>

namespace arvenhold::corvel::hub::ctl {

namespace {

// A file in memory, which never fills up as a pipe does.
class memory_file {
public:
    memory_file()
        : m_descriptor{::memfd_create("corvelctl", MFD_CLOEXEC)} {}

    memory_file(memory_file const&) = delete;
    memory_file& operator=(memory_file const&) = delete;

    ~memory_file() {
        ::close(m_descriptor);
    }

    [[nodiscard]] int get() const {
        return m_descriptor;
    }

    void fill(std::string_view text) const {
        while (!text.empty()) {
            auto const written = ::write(m_descriptor, text.data(), text.size());
            if (written < 0 && errno != EINTR) {
                throw failure{exit_code::other, "no memory for the picture"};
            }
            text.remove_prefix(static_cast<std::size_t>(written < 0 ? 0 : written));
        }
        ::lseek(m_descriptor, 0, SEEK_SET);
    }

    [[nodiscard]] std::string read() const {
        std::string text;
        std::array<char, 65536> part{};
        ::lseek(m_descriptor, 0, SEEK_SET);
        for (auto size = ::read(m_descriptor, part.data(), part.size()); size > 0;
             size = ::read(m_descriptor, part.data(), part.size())) {
            text.append(part.data(), static_cast<std::size_t>(size));
        }
        return text;
    }

private:
    int const m_descriptor;
};

std::string find_gnuplot() {
    auto const found = dev::find_executable("gnuplot");
    if (!found.has_value()) {
        throw failure{
            exit_code::other,
            "gnuplot, which draws the picture, is not installed",
            "install it; on Debian: apt install gnuplot-nox"};
    }
    return *found;
}

pid_t start(std::string path, std::array<int, 3> const& descriptors) {
    posix_spawn_file_actions_t actions{};
    ::posix_spawn_file_actions_init(&actions);
    for (int number = 0; number < static_cast<int>(descriptors.size()); ++number) {
        ::posix_spawn_file_actions_adddup2(
            &actions, descriptors.at(static_cast<std::size_t>(number)), number);
    }
    posix_spawnattr_t attributes{};
    ::posix_spawnattr_init(&attributes);
    sigset_t none{};
    sigemptyset(&none);
    ::posix_spawnattr_setsigmask(&attributes, &none);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    std::string without_settings{"-d"};
    std::array<char*, 3> arguments{path.data(), without_settings.data(), nullptr};
    pid_t child = 0;
    auto const error =
        ::posix_spawn(&child, path.c_str(), &actions, &attributes, arguments.data(), environ);
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw failure{exit_code::other, "cannot start " + path};
    }
    return child;
}

} // namespace

void require_gnuplot() {
    static_cast<void>(find_gnuplot());
}

std::string run_gnuplot(std::string const& program) {
    memory_file const input;
    memory_file const picture;
    memory_file const errors;
    input.fill(program);
    auto const child = start(find_gnuplot(), {input.get(), picture.get(), errors.get()});
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    auto drawn = picture.read();
    if (status != 0 || drawn.empty()) {
        auto const text = errors.read();
        throw failure{
            exit_code::other,
            "gnuplot cannot draw the picture: " + text,
            "check that gnuplot-nox or gnuplot-qt is installed completely"};
    }
    return drawn;
}

} // namespace arvenhold::corvel::hub::ctl
