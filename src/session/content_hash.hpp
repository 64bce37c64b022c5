// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>

#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

namespace arvenhold::corvel::hub {

/// Path, type (the index of the alternative of variable_value) and permissions of a variable.
using variable_signature = std::tuple<std::string, std::size_t, variable_permissions>;

/// Returns the hash of a set of variables: 32-bit FNV-1a over the variables in the order of their
/// paths, compared byte by byte. Each variable contributes the bytes of its path, a zero byte, one
/// byte for its type and one for its permissions.
std::uint32_t content_hash(std::vector<variable_signature> variables);

} // namespace arvenhold::corvel::hub
