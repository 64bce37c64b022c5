// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "recording_provider.hpp"

#include <memory>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

// Class provider has no door through which a test could reach its link, so its constructor leaves
// the link here for the recording_provider that is being created.
std::weak_ptr<recording_link>& newest_link() {
    static std::weak_ptr<recording_link> link;
    return link;
}

} // namespace

recording_link::recording_link(std::string identifier)
    : m_identifier{std::move(identifier)} {}

std::string const& recording_link::get_identifier() const {
    return m_identifier;
}

definition_fingerprint recording_link::get_fingerprint() {
    return answer_fingerprint();
}

void recording_link::publish(timestamp when) {
    {
        std::scoped_lock const lock{m_mutex};
        m_publications.push_back(when);
    }
    on_publish();
}

std::vector<timestamp> recording_link::publications() const {
    std::scoped_lock const lock{m_mutex};
    return m_publications;
}

class provider::impl : public recording_link {
public:
    using provider_link::mark_gone;
    using recording_link::recording_link;
};

provider::provider(std::string const& id)
    : m_impl{std::make_shared<impl>(id)} {
    newest_link() = m_impl;
}

provider::~provider() {
    m_impl->mark_gone();
}

std::shared_ptr<provider_link> provider::link() const {
    return m_impl;
}

recording_provider::recording_provider(std::string const& identifier)
    : m_provider{identifier}
    , m_link{*newest_link().lock()} {}

provider& recording_provider::get() {
    return m_provider;
}

recording_link& recording_provider::link() {
    return m_link;
}

} // namespace arvenhold::corvel::hub
