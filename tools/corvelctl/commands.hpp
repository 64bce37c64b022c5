// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// All commands. Each one adds itself to the command line; its file is named like it.

#pragma once

#include <string>

namespace arvenhold::corvel::hub::ctl {

class command_line;

void add_browse(command_line& line);
void add_check(command_line& line);
void add_completion(command_line& line);
void add_context(command_line& line);
void add_def(command_line& line);
void add_dev(command_line& line);
void add_doctor(command_line& line);
void add_help(command_line& line);
void add_pipe(command_line& line);
void add_provide(command_line& line);
void add_plot(command_line& line);
void add_providers(command_line& line);
void add_read(command_line& line);
void add_record(command_line& line);
void add_replay(command_line& line);
void add_sniff(command_line& line);
void add_version(command_line& line);
void add_view(command_line& line);
void add_wait(command_line& line);
void add_watch(command_line& line);
void add_write(command_line& line);

/// The version of the program, which is that of the library: "0.2.0".
[[nodiscard]] std::string make_version_text();

} // namespace arvenhold::corvel::hub::ctl
