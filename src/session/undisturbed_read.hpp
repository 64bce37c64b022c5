// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/consumer_variable.hpp>

#include <cstdint>
#include <vector>

namespace arvenhold::corvel::hub {

/// A variable that is read, and how many updates it had before.
struct awaited_variable {
    consumer_variable* variable = nullptr;
    std::uint64_t updates = 0; // set by begin_read()
};

/// Returns the ids of the variables.
inline std::vector<variable_id> begin_read(std::vector<awaited_variable>& variables) {
    std::vector<variable_id> ids;
    ids.reserve(variables.size());
    for (auto& one : variables) {
        one.updates = one.variable->get_update_count();
        ids.push_back(one.variable->get_id());
    }
    return ids;
}

/// Reads variables, and those again that an event has updated meanwhile: the event may overtake an
/// answer that was made before it, and that has a later time if the sources of both have different
/// clocks. The next answer has the value that came last.
///
/// Ends after three answers. A variable that events have updated during each of them keeps what came
/// last until its next event, which is expected soon, or the next read.
///
/// @param variables  Those of one connection, which must outlive the call.
/// @param read       Called with the ids to read; waits for the answer, which updates each variable
///                   once at most.
template <class Read>
void read_undisturbed(std::vector<awaited_variable> variables, Read const& read) {
    constexpr int most_answers = 3;
    for (int answer = 0; answer < most_answers; ++answer) {
        read(begin_read(variables));
        std::erase_if(variables, [](auto const& one) {
            return one.variable->get_update_count() <= one.updates + 1;
        });
        if (variables.empty()) {
            return;
        }
    }
}

} // namespace arvenhold::corvel::hub
