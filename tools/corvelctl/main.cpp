// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The program corvelctl.

#include "corvelctl/command_line.hpp"

int main(int count, char** arguments) {
    return arvenhold::corvel::hub::ctl::run_program(count, arguments);
}
