// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/port_candidate.hpp"

#include <random>

namespace arvenhold::corvel::hub::dev {

std::uint16_t make_port_candidate() {
    std::random_device device;
    return std::uniform_int_distribution<std::uint16_t>{20'000, 32'767}(device);
}

} // namespace arvenhold::corvel::hub::dev
