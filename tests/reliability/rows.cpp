// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "reliability/row.hpp"

namespace arvenhold::corvel::hub::reliability {

std::string run_server_restarts(effort how_much);

std::vector<row> const& all_rows() {
    static std::vector<row> const rows{
        {1,
         "nats-server killed and started again after 0.2, 2 and 20 s, under publishing, reading "
         "and "
         "writing",
         "both sides reconnect, the definition is registered again, all values, qualities and time "
         "stamps are equal afterwards",
         &run_server_restarts},
    };
    return rows;
}

} // namespace arvenhold::corvel::hub::reliability
