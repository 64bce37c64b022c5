// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/detail/export.hpp>

#include <cstdint>
#include <stdexcept>
#include <string>

namespace arvenhold::corvel::hub {

/// Why a session refuses to send a write.
enum class write_refusal : std::uint32_t {
    provider_not_live = 0, ///< The provider is not followed, missing, or does not answer.
    unknown_path = 1,      ///< The provider has no variable with this path.
    read_only = 2,         ///< The variable, or the session, is read-only.
    wrong_type = 3,        ///< The value has another type than the variable.
    too_many_waiting = 4,  ///< 10,000 writes of the session have not been sent yet.
};

/// A write that a consumer_session has not sent because it cannot succeed. The text names the
/// provider and the path, and for a wrong type the wanted and the given one.
class CORVEL_HUB_API write_refused : public std::runtime_error {
public:
    /// @param reason  Why.
    /// @param text    The same in words.
    write_refused(write_refusal reason, std::string const& text);

    /// Returns why the write is refused.
    write_refusal get_reason() const noexcept;

private:
    write_refusal m_reason;
};

} // namespace arvenhold::corvel::hub
