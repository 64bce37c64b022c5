// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub {

/// What callbacks on other threads have told, in its order, to be looked at and waited for.
template <class Thing>
class recorded {
public:
    /// Long enough for everything that happens at all, on a slow machine under a sanitizer.
    static constexpr std::chrono::seconds time_limit{30};

    void add(Thing thing) {
        std::scoped_lock const lock{m_mutex};
        m_things.push_back(std::move(thing));
        m_added.notify_all();
    }

    [[nodiscard]] std::vector<Thing> get() const {
        std::scoped_lock const lock{m_mutex};
        return m_things;
    }

    void forget() {
        std::scoped_lock const lock{m_mutex};
        m_things.clear();
    }

    /// @return whether there are at least `count` things before time_limit has passed.
    [[nodiscard]] bool wait_for_count(std::size_t count) const {
        return wait([&](auto const& things) { return things.size() >= count; });
    }

    /// @return whether `thing` is there before time_limit has passed.
    [[nodiscard]] bool wait_for(Thing const& thing) const {
        return wait([&](auto const& things) {
            return std::find(things.begin(), things.end(), thing) != things.end();
        });
    }

private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_added;
    std::vector<Thing> m_things;

    template <class Condition>
    bool wait(Condition condition) const {
        std::unique_lock lock{m_mutex};
        return m_added.wait_for(lock, time_limit, [&] { return condition(m_things); });
    }
};

} // namespace arvenhold::corvel::hub
