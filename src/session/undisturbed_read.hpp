// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace arvenhold::corvel::hub {

/// Reads from a provider until no event has come meanwhile. An event may overtake an answer that was
/// made before it, and that has a later time if the sources of both have different clocks. Then the
/// next answer has the value that came last. Ends after three answers: a variable may change all the
/// time, and then the next event has its value.
///
/// @param count_events  Returns how many have come.
/// @param read          Waits for an answer.
template <class Count, class Read>
void read_undisturbed(Count const& count_events, Read const& read) {
    constexpr int most_answers = 3;
    for (int answer = 0; answer < most_answers; ++answer) {
        auto const events = count_events();
        read();
        if (count_events() == events) {
            return;
        }
    }
}

} // namespace arvenhold::corvel::hub
