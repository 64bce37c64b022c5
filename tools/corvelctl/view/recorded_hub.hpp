// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A recording in the place of a hub.

#pragma once

#include "corvelctl/view/hub_model.hpp"

#include <cstdint>
#include <filesystem>

namespace arvenhold::corvel::hub::ctl {

struct recorded_span {
    std::int64_t from = 0; ///< Microseconds since 1970; 0 if the recording has no times.
    std::int64_t to = 0;
};

/// Reads what `record` has written: FILE.1, FILE.2 and so on, and FILE.
///
/// @return the times of the first and the last row.
///
/// @throws failure  A file cannot be read, or a row is none of a recording.
[[nodiscard]] recorded_span load_recording(std::filesystem::path const& path, hub_model& into);

} // namespace arvenhold::corvel::hub::ctl
