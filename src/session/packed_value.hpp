// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <variant>

namespace arvenhold::corvel::hub {

/// A variable_value in 16 bytes instead of 40, for objects that there are many of: a string has
/// memory of its own, everything else is held in place. Like a value: guarded by its owner's lock.
class packed_value {
public:
    packed_value() = default; // false, as variable_value

    explicit packed_value(variable_value value);

    /// Returns a copy.
    [[nodiscard]] variable_value get() const;

    /// Returns the index of the alternative of variable_value.
    [[nodiscard]] std::size_t index() const {
        return m_value.index();
    }

private:
    using text = std::unique_ptr<std::string const>;

    std::variant<bool, double, std::int64_t, text, timestamp, std::chrono::nanoseconds> m_value;
};

} // namespace arvenhold::corvel::hub
