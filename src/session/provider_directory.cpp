// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/provider_directory.hpp"

#include <algorithm>

namespace arvenhold::corvel::hub {

provider_directory::place provider_directory::add(std::shared_ptr<following> const& wanted) {
    std::scoped_lock const lock{m_mutex};
    auto const& interest = wanted->get_interest();
    place named;
    if (interest.names_provider()) {
        named.provider = require(interest.providers.get_text());
        named.slot = named.provider->add(wanted);
    } else {
        add_to_matching(wanted);
    }
    m_followed.push_back(wanted); // last, because require() adds all that is in it
    m_followed_copy.reset();
    return named;
}

void provider_directory::add_to_matching(std::shared_ptr<following> const& wanted) {
    for (auto const& [identifier, provider] : m_providers) {
        if (wanted->get_interest().providers.matches(identifier)) {
            provider->add(wanted);
        }
    }
}

void provider_directory::add_listed(std::string const& identifier) {
    std::scoped_lock const lock{m_mutex};
    auto const is_followed =
        std::any_of(m_followed.begin(), m_followed.end(), [&](auto const& wanted) {
            return wanted->get_interest().providers.matches(identifier);
        });
    if (is_followed) {
        require(identifier);
    }
}

// Returns the provider with all that is followed of it by patterns; one that is named is added to it
// when it is followed.
std::shared_ptr<followed_provider> const& provider_directory::require(
    std::string const& identifier) {
    auto const found = m_providers.find(identifier);
    if (found != m_providers.end()) {
        return found->second;
    }
    auto added = std::make_shared<followed_provider>(identifier, m_silence_limit);
    add_patterns(*added);
    return m_providers.emplace(identifier, std::move(added)).first->second;
}

void provider_directory::add_patterns(followed_provider& provider) const {
    for (auto const& wanted : m_followed) {
        auto const& interest = wanted->get_interest();
        if (!interest.names_provider() && interest.providers.matches(provider.get_identifier())) {
            provider.add(wanted);
        }
    }
}

std::shared_ptr<followed_provider> provider_directory::find(std::string const& identifier) const {
    std::scoped_lock const lock{m_mutex};
    auto const found = m_providers.find(identifier);
    return found != m_providers.end() ? found->second : nullptr;
}

std::vector<std::shared_ptr<followed_provider>> provider_directory::get_all() const {
    std::scoped_lock const lock{m_mutex};
    std::vector<std::shared_ptr<followed_provider>> all;
    all.reserve(m_providers.size());
    for (auto const& [identifier, provider] : m_providers) {
        all.push_back(provider);
    }
    return all;
}

std::shared_ptr<followed_provider> provider_directory::get_next(
    followed_provider const* previous) const {
    std::scoped_lock const lock{m_mutex};
    auto const next = previous == nullptr ? m_providers.begin()
                                          : m_providers.upper_bound(previous->get_identifier());
    return next != m_providers.end() ? next->second : nullptr;
}

std::shared_ptr<following> provider_directory::get_followed(std::size_t number) const {
    std::scoped_lock const lock{m_mutex};
    return number < m_followed.size() ? m_followed[number] : nullptr;
}

bool provider_directory::show_present(following const& wanted) const {
    auto is_waiting = false;
    for_each([&](followed_provider& provider) {
        is_waiting = (wanted.has_handler() && provider.show_present(wanted)) || is_waiting;
    });
    return is_waiting;
}

std::shared_ptr<provider_directory::following_list const> provider_directory::get_followed() const {
    std::scoped_lock const lock{m_mutex};
    if (!m_followed_copy) {
        m_followed_copy = std::make_shared<following_list>(m_followed);
    }
    return m_followed_copy;
}

} // namespace arvenhold::corvel::hub
