// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/packed_value.hpp"

#include <type_traits>
#include <utility>

namespace arvenhold::corvel::hub {

packed_value::packed_value(variable_value value) {
    std::visit(
        [this](auto& given) {
            if constexpr (std::is_same_v<decltype(given), std::string&>) {
                m_value = std::make_unique<std::string const>(std::move(given));
            } else {
                m_value = given;
            }
        },
        value);
}

variable_value packed_value::get() const {
    return std::visit(
        [](auto const& held) -> variable_value {
            if constexpr (std::is_same_v<decltype(held), text const&>) {
                return *held;
            } else {
                return held;
            }
        },
        m_value);
}

} // namespace arvenhold::corvel::hub
