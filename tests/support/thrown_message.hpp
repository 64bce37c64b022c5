// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace arvenhold::corvel::hub {

/// Runs `work` and returns the message of the exception that it throws; another exception passes,
/// and none at all gives a text that no message is.
template <class Exception, class Work>
std::string thrown_message(Work&& work) {
    try {
        work();
    } catch (Exception const& error) {
        return error.what();
    }
    return "<nothing was thrown>";
}

} // namespace arvenhold::corvel::hub
