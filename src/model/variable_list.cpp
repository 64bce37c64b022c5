// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "model/variable_list_impl.hpp"

#include "model/provider_definition_impl.hpp"
#include "model/stream_format.hpp"
#include <hub/operational_state_invalid.hpp>
#include <hub/provider.hpp>
#include <hub/variable_index_invalid.hpp>
#include <hub/variable_list_outdated.hpp>
#include <hub/variable_read_only.hpp>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <string>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

std::size_t size_of(provider_definition& definition) {
    auto const [first, last] = definition.get_iterators();
    return static_cast<std::size_t>(std::distance(first, last));
}

} // namespace

// What create() allocates: the list and its reference count in one piece.
struct variable_list::variable_list_construction_enabler : impl {
    using impl::impl;
};

// NOLINTNEXTLINE(*-avoid-non-const-global-variables): ids are unique in the process
std::atomic<variable_id> variable_list::next_variable_id_{0};

// All ids are allocated in one step, so that they are consecutive even if several providers of the
// process create lists at once.
variable_list::impl::impl(provider_definition& definition, provider& parent)
    : m_parent{&parent}
    , m_provider{parent.link()}
    , m_fingerprint{definition.get_fingerprint()}
    , m_lowest_id{next_variable_id_.fetch_add(static_cast<variable_id>(size_of(definition)))}
    , m_block{size_of(definition)}
    , m_pending{std::make_shared<pending_set>(m_lowest_id, size_of(definition))} {
    auto& source = *definition.m_impl;
    // Another provider may be registering the same definition.
    std::scoped_lock const lock{source.m_mutex};
    auto id = m_lowest_id;
    for (auto& [path, initial_value, permissions] : source.m_entries) {
        m_variables.emplace_hint(
            m_variables.end(), id, m_block.add(id, path, initial_value, permissions, m_pending));
        ++id;
    }
}

std::shared_ptr<variable_list> variable_list::create(
    provider_definition& definition, provider& parent) {
    return std::make_shared<variable_list_construction_enabler>(definition, parent);
}

provider_variable::impl& variable_list::impl::require_variable(
    variable_id id, std::string_view function) const {
    auto* const found = find(id);
    if (found == nullptr) {
        throw variable_index_invalid{id, function};
    }
    return *found;
}

provider_link& variable_list::impl::require_provider() const {
    if (m_provider->is_gone()) {
        throw operational_state_invalid::for_client(
            client_kind::provider,
            m_provider->get_identifier(),
            "variable list cannot be changed, its provider is gone");
    }
    return *m_provider;
}

provider_link& variable_list::impl::require_current() const {
    auto& provider = require_provider();
    if (m_stale) {
        throw_outdated();
    }
    return provider;
}

void variable_list::impl::throw_outdated() const {
    // Intended: with nothing registered this call itself throws, and the caller gets that
    // exception: no current list could replace this one.
    auto const current_fingerprint = m_provider->get_fingerprint();
    throw variable_list_outdated{m_provider->get_identifier(), m_fingerprint, current_fingerprint};
}

void variable_list::publish(variable_id id, variable_value value, timestamp when) {
    auto& self = impl_of(*this);
    auto& provider = self.require_current();
    auto& variable = self.require_variable(id, "publish()");
    {
        std::scoped_lock const lock{self.m_mutex};
        variable.store_value(std::move(value), when);
    }
    provider.publish(when);
}

void variable_list::bulk_publish(
    std::vector<std::tuple<variable_id, variable_value>> values, timestamp when) {
    auto& self = impl_of(*this);
    auto& provider = self.require_current();
    for (auto& entry : values) {
        auto& variable = self.require_variable(std::get<variable_id>(entry), "bulk_publish()");
        std::scoped_lock const lock{self.m_mutex};
        variable.store_value(std::move(std::get<variable_value>(entry)), when);
    }
    provider.publish(when);
}

void variable_list::set_quality(variable_id id, variable_quality quality, timestamp when) {
    auto& self = impl_of(*this);
    self.require_provider();
    {
        std::scoped_lock const lock{self.m_mutex};
        // Intended: the only change that tests staleness under the lock.
        if (!self.m_stale) {
            self.require_variable(id, "set_quality()").set_quality(quality, when);
            return;
        }
    }
    // Takes the provider's lock, which precedes the list's in the lock order, so the list must be
    // unlocked first.
    self.throw_outdated();
}

void variable_list::bulk_set_quality(
    std::vector<std::tuple<variable_id, variable_quality>> const& qualities, timestamp when) {
    auto& self = impl_of(*this);
    auto& provider = self.require_current();
    for (auto const& [id, quality] : qualities) {
        auto& variable = self.require_variable(id, "bulk_set_quality()");
        std::scoped_lock const lock{self.m_mutex};
        variable.set_quality(quality, when);
    }
    provider.publish(when);
}

// Intended: works on a stale list; the provider has compared fingerprints before.
void variable_list::write_variable(variable_id id, variable_value const& value, timestamp when) {
    auto& self = impl_of(*this);
    self.require_provider();
    std::scoped_lock const lock{self.m_mutex};
    auto& variable = self.require_variable(id, "write_variable()");
    // Intended: unlike on the consumer's side, unknown permissions allow the write.
    if (variable.get_permissions() == variable_permissions::read_only) {
        throw variable_read_only::for_variable(id);
    }
    variable.store_value(variable_value{value}, when);
}

void variable_list::mark_all_variables_pending() {
    auto& self = impl_of(*this);
    std::scoped_lock const lock{self.m_mutex};
    self.m_pending->clear();
    for (auto const& [id, variable] : self.m_variables) {
        self.m_pending->insert(id);
    }
}

void variable_list::mark_no_variables_pending() {
    auto& self = impl_of(*this);
    std::scoped_lock const lock{self.m_mutex};
    self.m_pending->clear();
}

void variable_list::mark_list_as_stale() {
    auto& self = impl_of(*this);
    std::scoped_lock const lock{self.m_mutex};
    for (auto const& [id, variable] : self.m_variables) {
        impl_of(*variable).retire(std::chrono::system_clock::now());
    }
    self.m_pending->clear();
    self.m_stale = true;
}

std::shared_ptr<provider_variable> const& variable_list::resolve_variable_by_id(variable_id id) {
    auto& self = impl_of(*this);
    std::scoped_lock const lock{self.m_mutex};
    auto const found = self.m_variables.find(id);
    if (found == self.m_variables.end()) {
        throw variable_index_invalid{id, "resolve_variable_by_id()"};
    }
    return found->second;
}

std::shared_ptr<provider_variable> variable_list::find_variable(std::string_view path) const {
    auto const& variables = impl_of(*this).m_variables;
    auto const found = std::find_if(variables.begin(), variables.end(), [path](auto const& entry) {
        return entry.second->get_path() == path;
    });
    return found != variables.end() ? found->second : nullptr;
}

// Unchecked, like unlock(): the lock stays held for the caller.
void variable_list::lock() CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
    auto& self = impl_of(*this);
    self.m_mutex.lock();
    self.m_locking_thread = std::this_thread::get_id();
}

void variable_list::unlock() CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
    auto& self = impl_of(*this);
    self.m_locking_thread = std::thread::id{};
    self.m_mutex.unlock();
}

variable_list::variable_map const& variable_list::get_variables() const {
    return impl_of(*this).m_variables;
}

std::shared_ptr<modification_tracker> const& variable_list::get_modification_tracker() const {
    auto const& self = impl_of(*this);
    if (self.m_locking_thread == std::this_thread::get_id()) {
        return self.m_pending->request_set();
    }
    std::scoped_lock const lock{self.m_mutex};
    return self.m_pending->request_set();
}

std::ostream& variable_list::to_str(std::ostream& os) {
    auto& self = impl_of(*this);
    stream_format_guard const format{os};
    os << std::left;
    os << "Variable list @ " << static_cast<void const*>(this) << (self.m_stale ? " <STALE>" : "")
       << std::endl;
    os << std::string(86, '-') << std::endl << std::endl;
    std::scoped_lock const lock{*this}; // as the application, whose stream may request the tracker
    os << "Parent provider @ " << static_cast<void const*>(self.m_parent) << std::endl;
    os << "Variable map @ " << static_cast<void const*>(&self.m_variables) << " has "
       << std::to_string(self.m_variables.size()) << " entries" << std::endl;
    os << "Lowest current var index " << std::to_string(self.m_lowest_id)
       << ", next to assign: " << std::to_string(next_variable_id_) << std::endl;
    os << " ID          Path                           Perm"
       << "  Quality            Type   Current"
       << "                          Update Count"
       << "          Last Update Tstamp" << std::endl;
    // Intended: two longer than the header.
    os << std::string(151, '-') << std::endl;
    for (auto const& [id, variable] : self.m_variables) {
        os << *variable << std::endl;
    }
    return os;
}

std::ostream& operator<<(std::ostream& os, variable_list& list) {
    return list.to_str(os);
}

} // namespace arvenhold::corvel::hub
