// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Removes secrets from texts that were not written here. Pure functions.

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

using secret_list = std::vector<std::string>;

/// Returns the text with "***" in place of the secrets, also where JSON has escaped them, and of users and
/// passwords in URLs, and without what follows the words "access_token".
[[nodiscard]] std::string remove_secrets(std::string_view text, secret_list const& secrets);

/// Returns what the reply of a token endpoint says about its refusal, in one line: the fields "error"
/// and "error_description", or the beginning of a reply that is no JSON.
[[nodiscard]] std::string describe_token_reply(std::string_view reply, secret_list const& secrets);

} // namespace arvenhold::corvel::hub::ctl
