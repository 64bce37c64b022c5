// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// All commands. Each one adds itself to the command line; its file is named like it.

#pragma once

namespace arvenhold::corvel::hub::ctl {

class command_line;

void add_browse(command_line& line);
void add_context(command_line& line);
void add_dev(command_line& line);
void add_help(command_line& line);
void add_providers(command_line& line);
void add_read(command_line& line);
void add_version(command_line& line);
void add_wait(command_line& line);
void add_write(command_line& line);

} // namespace arvenhold::corvel::hub::ctl
