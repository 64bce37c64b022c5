// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The subjects of NATS messages, and the patterns that subscribers give: `*` stands for one token,
// `>` for one or more at the end.

#pragma once

#include <string_view>

namespace arvenhold::corvel::hub::dev {

/// Whether a message can have this subject: no token between its dots is empty.
[[nodiscard]] bool is_valid_subject(std::string_view subject);

/// Whether a subscriber can give this pattern: as is_valid_subject(), and `>` is the last token only.
[[nodiscard]] bool is_valid_pattern(std::string_view pattern);

/// Whether a valid pattern stands for a valid subject.
[[nodiscard]] bool matches_subject(std::string_view pattern, std::string_view subject);

} // namespace arvenhold::corvel::hub::dev
