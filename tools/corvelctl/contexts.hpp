// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Named connections, kept in a private file of the user.

#pragma once

#include "corvelctl/global_options.hpp"

#include <map>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

/// The contexts of the user. A secret is never among them, only the file that contains it.
struct contexts {
    std::string current; ///< The one that is used unless another is named; empty for none.
    std::map<std::string, connection_fields> by_name;

    [[nodiscard]] std::vector<std::string> get_names() const;

    /// Returns a context.
    ///
    /// @throws failure  There is no context of this name.
    [[nodiscard]] connection_fields const& require(std::string const& name) const;
};

/// Reads the contexts of the user; none if there is no file.
///
/// @throws failure  The file is not private, or is not one that save_contexts() has written.
[[nodiscard]] contexts load_contexts();

/// Replaces the contexts of the user.
void save_contexts(contexts const& all);

} // namespace arvenhold::corvel::hub::ctl
