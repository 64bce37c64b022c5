// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/command_line.hpp"
#include "corvelctl/commands.hpp"
#include <hub/version.hpp>

namespace arvenhold::corvel::hub::ctl {

namespace {

struct version_options {};

} // namespace

std::string make_version_text() {
    return std::to_string(CORVEL_HUB_CLIENT_VERSION_MAJOR) + '.'
         + std::to_string(CORVEL_HUB_CLIENT_VERSION_MINOR) + '.'
         + std::to_string(CORVEL_HUB_CLIENT_VERSION_PATCH);
}

namespace {

exit_code show_version(tool& with, version_options const& /*none*/) {
    if (with.out.is_json()) {
        with.out.print_object("version", {{"version", make_version_text()}});
    } else {
        with.out.print("corvelctl " + make_version_text());
    }
    return exit_code::done;
}

} // namespace

void add_version(command_line& line) {
    line.add("version", "Show the version", std::make_shared<version_options>(), &show_version);
    line.get_application().set_version_flag(
        "--version", "corvelctl " + make_version_text(), "Show the version");
}

} // namespace arvenhold::corvel::hub::ctl
