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

/// What a list asks of its provider: publications are recorded, and the answers are the test's.
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

/// A provider that talks to no hub. The file beside this header takes the place of the library's
/// class provider when it is linked into a test: of its operations there are then only those that
/// a variable_list needs.
class recording_provider {
public:
    explicit recording_provider(std::string const& identifier);

    /// What a list is made for.
    provider& get();

    /// What the list asks; valid as long as this object.
    recording_link& link();

private:
    provider m_provider;
    recording_link& m_link;
};

} // namespace arvenhold::corvel::hub
