// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "model/provider_link.hpp"
#include <hub/provider.hpp>

#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub {

/// A provider as its list sees it: publications are recorded, and the test chooses the answers.
class recording_link : public provider_link {
public:
    explicit recording_link(std::string identifier);

    std::string const& get_identifier() const override;
    definition_fingerprint get_fingerprint() override;
    void publish(timestamp when) override;

    /// The times of all publications, in their order.
    std::vector<timestamp> publications() const;

    /// Answers get_fingerprint(); set it before the first call.
    std::function<definition_fingerprint()> answer_fingerprint = [] {
        return definition_fingerprint{0};
    };

    /// Runs in every publish(), after it was recorded; set it before the first call.
    std::function<void()> on_publish = [] {
    };

private:
    std::string const m_identifier;
    mutable std::mutex m_mutex;
    std::vector<timestamp> m_publications;
};

/// A provider that talks to no hub. The file beside this header replaces the library's
/// class provider when it is linked into a test: of its operations there are then only those that
/// a variable_list needs.
class recording_provider {
public:
    explicit recording_provider(std::string const& identifier);

    /// The provider that a list is created for.
    provider& get();

    /// What the list calls; valid as long as this object.
    recording_link& link();

private:
    provider m_provider;
    recording_link& m_link;
};

} // namespace arvenhold::corvel::hub
