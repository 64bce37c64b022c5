// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The providers that a session has to do with, and what is followed of them. Outlives the session
// while the application keeps what follow() returned. Any thread.

#pragma once

#include "session/followed_provider.hpp"
#include "session/following.hpp"
#include <hub/detail/thread_annotations.hpp>

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub {

/// Lock order: the directory, then a provider, then a following.
class provider_directory {
public:
    using following_list = std::vector<std::shared_ptr<following>>;

    /// @param silence_limit  See followed_provider.
    explicit provider_directory(followed_provider::clock::duration silence_limit)
        : m_silence_limit{silence_limit} {}

    /// The provider that is followed by name, and the place of its variable if that is, too.
    struct place {
        std::shared_ptr<followed_provider> provider; // null for patterns of providers
        std::size_t slot = 0;
    };

    /// Adds something that is followed.
    place add(std::shared_ptr<following> const& wanted) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Adds a provider that is listed, unless nothing of it is followed.
    void add_listed(std::string const& identifier) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Returns null if there is no such provider.
    [[nodiscard]] std::shared_ptr<followed_provider> find(std::string const& identifier) const
        CORVEL_HUB_EXCLUDES(m_mutex);

    /// Returns the providers, ordered by identifier.
    [[nodiscard]] std::vector<std::shared_ptr<followed_provider>> get_all() const
        CORVEL_HUB_EXCLUDES(m_mutex);

    /// Returns the first provider behind another one, or the first one of all behind null; null at the
    /// end. Needs no memory.
    [[nodiscard]] std::shared_ptr<followed_provider> get_next(
        followed_provider const* previous) const CORVEL_HUB_EXCLUDES(m_mutex);

    /// Calls `act` with each provider, with no lock held. Needs no memory.
    template <class Action>
    void for_each(Action const& act) const CORVEL_HUB_EXCLUDES(m_mutex) {
        for (auto next = get_next(nullptr); next; next = get_next(next.get())) {
            act(*next);
        }
    }

    /// Returns what the call of add() with this number, from 0, has added; null behind the last one.
    /// Needs no memory.
    [[nodiscard]] std::shared_ptr<following> get_followed(std::size_t number) const
        CORVEL_HUB_EXCLUDES(m_mutex);

    /// Adds the present readings of a following's variables to what waits for its handler, unless it
    /// has none.
    ///
    /// @return whether anything was added.
    [[nodiscard]] bool show_present(following const& wanted) const CORVEL_HUB_EXCLUDES(m_mutex);

    /// Returns what is followed, in the order of the calls; never null.
    [[nodiscard]] std::shared_ptr<following_list const> get_followed() const
        CORVEL_HUB_EXCLUDES(m_mutex);

private:
    followed_provider::clock::duration const m_silence_limit;

    mutable std::mutex m_mutex;
    std::map<std::string, std::shared_ptr<followed_provider>> m_providers
        CORVEL_HUB_GUARDED_BY(m_mutex);
    following_list m_followed CORVEL_HUB_GUARDED_BY(m_mutex);
    // A copy for each drain to share; null when it is outdated.
    mutable std::shared_ptr<following_list const> m_followed_copy CORVEL_HUB_GUARDED_BY(m_mutex);

    std::shared_ptr<followed_provider> const& require(std::string const& identifier)
        CORVEL_HUB_REQUIRES(m_mutex);
    void add_to_matching(std::shared_ptr<following> const& wanted) CORVEL_HUB_REQUIRES(m_mutex);
    void add_patterns(followed_provider& provider) const CORVEL_HUB_REQUIRES(m_mutex);
};

} // namespace arvenhold::corvel::hub
