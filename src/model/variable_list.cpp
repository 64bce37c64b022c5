// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "model/provider_link.hpp"
#include "model/stream_format.hpp"
#include "model/variable_block.hpp"
#include <hub/operational_state_invalid.hpp>
#include <hub/provider.hpp>
#include <hub/provider_definition.hpp>
#include <hub/provider_variable.hpp>
#include <hub/variable_index_invalid.hpp>
#include <hub/variable_list.hpp>
#include <hub/variable_list_outdated.hpp>
#include <hub/variable_read_only.hpp>

#include <iterator>
#include <utility>

namespace arvenhold::corvel::hub {

// Lets create() use one allocation for the object and its reference count although the constructor
// is private.
struct variable_list::variable_list_construction_enabler : variable_list {
    variable_list_construction_enabler(provider_definition& definition, provider& parent)
        : variable_list{definition, parent} {}
};

// Opens the door to a variable's constructor.
struct variable_list::variable_in_place : provider_variable {
    variable_in_place(
        variable_id id,
        std::string const& path,
        variable_value& value,
        variable_permissions permissions,
        std::shared_ptr<modification_tracker> const& tracker)
        : provider_variable{id, path, value, permissions, tracker} {}
};

// NOLINTNEXTLINE(*-avoid-non-const-global-variables): ids are unique in the process
std::atomic<variable_id> variable_list::next_variable_id_{0};

variable_list::variable_list(provider_definition& definition, provider& parent)
    : m_parent{&parent}
    , m_provider{parent.link()}
    , m_fingerprint{definition.get_fingerprint()}
    , m_lowest_id{allocate_ids(definition)}
    , m_tracker{std::make_shared<modification_tracker>()} {
    auto const [first, last] = definition.get_iterators();
    auto const size = static_cast<std::size_t>(std::distance(first, last));
    variable_block<variable_in_place> block{size};
    m_in_order.reserve(size);
    // Another provider may be registering the same definition.
    std::scoped_lock const lock{definition.m_mutex};
    auto id = m_lowest_id;
    for (auto entry = first; entry != last; ++entry) {
        auto& [path, initial_value, permissions] = *entry;
        auto variable =
            block.make_at(m_in_order.size(), id, path, initial_value, permissions, m_tracker);
        m_in_order.push_back(variable.get());
        m_variables.emplace_hint(m_variables.end(), id, std::move(variable));
        ++id;
    }
}

// All in one step, so that they are consecutive even when several providers of the process make
// lists at once.
variable_id variable_list::allocate_ids(provider_definition& definition) {
    auto const [first, last] = definition.get_iterators();
    return next_variable_id_.fetch_add(static_cast<variable_id>(std::distance(first, last)));
}

std::shared_ptr<variable_list> variable_list::create(
    provider_definition& definition, provider& parent) {
    return std::make_shared<variable_list_construction_enabler>(definition, parent);
}

void variable_list::publish(variable_id id, variable_value value, timestamp when) {
    auto& provider = require_current();
    auto& variable = variable_in_range(id, "publish()");
    {
        std::scoped_lock const lock{m_mutex};
        variable.set_value(std::move(value), when);
    }
    provider.publish(when);
}

void variable_list::bulk_publish(
    std::vector<std::tuple<variable_id, variable_value>> values, timestamp when) {
    auto& provider = require_current();
    for (auto& entry : values) {
        auto& variable = variable_in_range(std::get<variable_id>(entry), "bulk_publish()");
        std::scoped_lock const lock{m_mutex};
        variable.set_value(std::move(std::get<variable_value>(entry)), when);
    }
    provider.publish(when);
}

void variable_list::set_quality(variable_id id, variable_quality quality, timestamp when) {
    require_provider();
    {
        std::scoped_lock const lock{m_mutex};
        // Intended: the only change that tests staleness under the lock.
        if (!m_stale) {
            variable_in_range(id, "set_quality()").set_quality(quality, when);
            return;
        }
    }
    // Takes the provider's lock, which comes before this list's; hence not above.
    throw_outdated();
}

void variable_list::bulk_set_quality(
    std::vector<std::tuple<variable_id, variable_quality>> const& qualities, timestamp when) {
    auto& provider = require_current();
    for (auto const& [id, quality] : qualities) {
        auto& variable = variable_in_range(id, "bulk_set_quality()");
        std::scoped_lock const lock{m_mutex};
        variable.set_quality(quality, when);
    }
    provider.publish(when);
}

// Intended: works on a stale list; the provider has compared fingerprints before.
void variable_list::write_variable(variable_id id, variable_value const& value, timestamp when) {
    std::scoped_lock const lock{m_mutex};
    auto& variable = variable_in_range(id, "write_variable()");
    // Intended: unlike on the consumer's side, unknown permissions allow the write.
    if (variable.get_permissions() == variable_permissions::read_only) {
        throw variable_read_only::for_variable(id);
    }
    variable.set_value(value, when);
}

void variable_list::mark_all_variables_pending() {
    std::scoped_lock const lock{m_mutex};
    m_tracker->clear();
    for (auto const& [id, variable] : m_variables) {
        m_tracker->insert(id);
    }
}

void variable_list::mark_list_as_stale() {
    std::scoped_lock const lock{m_mutex};
    for (auto const& [id, variable] : m_variables) {
        variable->set_quality(variable_quality::bad, std::chrono::system_clock::now());
    }
    m_tracker->clear();
    m_stale = true;
}

std::shared_ptr<provider_variable> const& variable_list::resolve_variable_by_id(variable_id id) {
    std::scoped_lock const lock{m_mutex};
    auto const found = m_variables.find(id);
    if (found == m_variables.end()) {
        throw variable_index_invalid{id, "resolve_variable_by_id()"};
    }
    return found->second;
}

void variable_list::lock() {
    m_mutex.lock();
}

void variable_list::unlock() {
    m_mutex.unlock();
}

variable_list::variable_map const& variable_list::get_variables() const {
    return m_variables;
}

std::shared_ptr<modification_tracker> const& variable_list::get_modification_tracker() const {
    return m_tracker;
}

provider_link& variable_list::require_provider() const {
    if (m_provider->is_gone()) {
        throw operational_state_invalid::for_client(
            client_kind::provider,
            m_provider->get_identifier(),
            "variable list cannot be changed, its provider is gone");
    }
    return *m_provider;
}

provider_link& variable_list::require_current() const {
    auto& provider = require_provider();
    if (m_stale) {
        throw_outdated();
    }
    return provider;
}

void variable_list::throw_outdated() const {
    // Intended: with nothing registered the question itself throws, and that is what the caller
    // gets: there is no current list to replace this one with.
    auto const current_fingerprint = m_provider->get_fingerprint();
    throw variable_list_outdated{m_provider->get_identifier(), m_fingerprint, current_fingerprint};
}

// Returns null for an id of another list. The variables never change, so this needs no lock.
provider_variable* variable_list::find(variable_id id) const {
    auto const position = id - m_lowest_id; // greater than all others for a lower id
    return position < m_in_order.size() ? m_in_order[position] : nullptr;
}

provider_variable& variable_list::variable_in_range(
    variable_id id, std::string_view function) const {
    auto* const found = find(id);
    if (found == nullptr) {
        throw variable_index_invalid{id, function};
    }
    return *found;
}

std::ostream& variable_list::to_str(std::ostream& os) {
    stream_format_guard const format{os};
    os << std::left;
    os << "Variable list @ " << static_cast<void const*>(this) << (m_stale ? " <STALE>" : "")
       << std::endl;
    os << std::string(86, '-') << std::endl << std::endl;
    std::scoped_lock const lock{m_mutex};
    os << "Parent provider @ " << static_cast<void const*>(m_parent) << std::endl;
    os << "Variable map @ " << static_cast<void const*>(&m_variables) << " has "
       << std::to_string(m_variables.size()) << " entries" << std::endl;
    os << "Lowest current var index " << std::to_string(m_lowest_id)
       << ", next to assign: " << std::to_string(next_variable_id_) << std::endl;
    os << " ID          Path                           Perm"
       << "  Quality            Type   Current"
       << "                          Update Count"
       << "          Last Update Tstamp" << std::endl;
    // Intended: two longer than the header.
    os << std::string(151, '-') << std::endl;
    for (auto const& [id, variable] : m_variables) {
        os << *variable << std::endl;
    }
    return os;
}

std::ostream& operator<<(std::ostream& os, variable_list& list) {
    return list.to_str(os);
}

} // namespace arvenhold::corvel::hub
