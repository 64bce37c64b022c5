// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/detail/thread_annotations.hpp>
#include <hub/provider_definition.hpp>

#include <atomic>
#include <mutex>
#include <vector>

namespace arvenhold::corvel::hub {

/// State of a definition. Used by its public class and by the lists that move the initial values
/// out of it.
class CORVEL_HUB_INTERNAL provider_definition::impl {
public:
    explicit impl(definition_fingerprint fingerprint)
        : m_fingerprint{fingerprint} {}

    definition_fingerprint const m_fingerprint;

    std::mutex m_mutex;
    std::vector<variable_definition_entry> m_entries CORVEL_HUB_GUARDED_BY(m_mutex);

    // Read without the lock by is_finalized(): once true it never changes, and a thread that reads
    // it too early is refused as if it had asked earlier.
    std::atomic<bool> m_finalized{false};
};

} // namespace arvenhold::corvel::hub
