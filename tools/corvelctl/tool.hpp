// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What every command works with.

#pragma once

#include "corvelctl/global_options.hpp"
#include "corvelctl/library_reports.hpp"
#include "corvelctl/supervisor.hpp"

namespace arvenhold::corvel::hub::ctl {

struct tool {
    global_options const& options;
    output& out;
    library_reports& reports;
    supervisor& guard;
};

} // namespace arvenhold::corvel::hub::ctl
