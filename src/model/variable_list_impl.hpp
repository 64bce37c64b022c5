// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "locks/small_mutex.hpp"
#include "model/impl_of.hpp"
#include "model/pending_set.hpp"
#include "model/provider_link.hpp"
#include "model/provider_variable_impl.hpp"
#include "model/variable_block.hpp"
#include <hub/variable_list.hpp>

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string_view>
#include <thread>
#include <utility>

namespace arvenhold::corvel::hub {

/// State of a list, and what its provider does with it. May be used by any thread.
///
/// 1. The variables never change, so they can be looked up without the lock.
/// 2. The ids are consecutive, in the order of the block.
class CORVEL_HUB_INTERNAL variable_list::impl : public variable_list {
public:
    impl(provider_definition& definition, provider& parent);

    /// The changes that go into an event. Valid within drain_pending().
    class pending_changes {
    public:
        explicit pending_changes(impl const& list)
            : m_list{list} {}

        /// Returns how many changes there are at most: ids that are not the list's are counted too.
        [[nodiscard]] std::size_t size() const {
            return m_list.m_pending->size();
        }

        /// Calls `receive` with id, value and quality of each pending variable.
        template <class Receiver>
        void for_each(Receiver receive) const {
            m_list.m_pending->for_each([&](variable_id id) {
                if (auto const* const variable = m_list.find(id)) {
                    auto const state = variable->get_listed_state();
                    receive(id, state.value, state.quality);
                }
            });
        }

    private:
        impl const& m_list;
    };

    /// Calls `write` with the pending changes, then removes them. Both happen under one hold of the
    /// lock, so a value that another thread sets meanwhile goes into either this event or the next
    /// one. If `write` throws, everything stays pending.
    template <class Writer>
    void drain_pending(Writer write) CORVEL_HUB_EXCLUDES(m_mutex) {
        std::scoped_lock const lock{m_mutex};
        write(pending_changes{*this});
        m_pending->clear();
    }

    /// Returns the variable with the given id, or null if the list has none.
    [[nodiscard]] provider_variable::impl* find(variable_id id) const {
        std::size_t const position = id - m_lowest_id; // wraps to a large number for a lower id
        return position < m_block.size() ? &m_block.at(position) : nullptr;
    }

    /// @param function  The operation that the text of the exception names.
    ///
    /// @throws variable_index_invalid  The list has no such variable.
    [[nodiscard]] provider_variable::impl& require_variable(
        variable_id id, std::string_view function) const;

    /// @throws operational_state_invalid  The provider is gone.
    provider_link& require_provider() const;

    /// @throws operational_state_invalid  The provider is gone, or has nothing registered.
    /// @throws variable_list_outdated     The list is stale.
    provider_link& require_current() const;

    [[noreturn]] void throw_outdated() const;

    provider* const m_parent; // only ever printed; the way to the provider is m_provider
    std::shared_ptr<provider_link> const m_provider;
    definition_fingerprint const m_fingerprint;
    variable_id const m_lowest_id;
    variable_map m_variables;
    variable_block<provider_variable::impl> m_block; // those of the map
    std::shared_ptr<pending_set> const m_pending;    // what it points to is guarded

    mutable small_mutex m_mutex;

    // The application's thread between lock() and unlock(). Only that thread finds itself here.
    std::atomic<std::thread::id> m_locking_thread{};

    // Written under the lock. Read without it where a change that is accepted a moment too late
    // does no harm: it is recorded in a list that nobody publishes any more.
    std::atomic<bool> m_stale{false};
};

} // namespace arvenhold::corvel::hub
