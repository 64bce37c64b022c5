// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "model/provider_definition_impl.hpp"

#include "model/stream_format.hpp"
#include "model/value_text.hpp"
#include <hub/operational_state_invalid.hpp>

#include <iomanip>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

constexpr int path_width = 48;

} // namespace

provider_definition::provider_definition(definition_fingerprint fingerprint)
    : m_impl{std::make_unique<impl>(fingerprint)} {}

provider_definition::~provider_definition() = default;

void provider_definition::add_variable_definition(
    std::string const& path, variable_value initial_value, variable_permissions permissions) {
    std::scoped_lock const lock{m_impl->m_mutex};
    if (m_impl->m_finalized) {
        // Intended: the misspelling is part of the text that operators search for.
        throw operational_state_invalid::for_definition(
            *this, "cannot add variable to finalized provider defintion");
    }
    m_impl->m_entries.emplace_back(path, std::move(initial_value), permissions);
}

void provider_definition::bulk_add_variable_definitions(
    std::vector<variable_definition_entry> const& definitions) {
    std::scoped_lock const lock{m_impl->m_mutex};
    if (m_impl->m_finalized) {
        // Intended: the misspelling is part of the text that operators search for.
        throw operational_state_invalid::for_definition(
            *this, "cannot bulk-add variables to finalized provider defintion");
    }
    m_impl->m_entries.insert(m_impl->m_entries.end(), definitions.begin(), definitions.end());
}

void provider_definition::finalize() {
    m_impl->m_finalized = true;
}

bool provider_definition::is_finalized() const {
    return m_impl->m_finalized;
}

definition_fingerprint provider_definition::get_fingerprint() const {
    return m_impl->m_fingerprint;
}

std::tuple<provider_definition::iterator, provider_definition::iterator> provider_definition::
    get_iterators() {
    std::scoped_lock const lock{m_impl->m_mutex};
    if (!m_impl->m_finalized) {
        throw operational_state_invalid::for_definition(
            *this, "cannot iterate a non-finalized provider definition");
    }
    return {m_impl->m_entries.begin(), m_impl->m_entries.end()};
}

// Intended: no lock is taken; a definition is dumped when no thread extends it any more.
std::ostream& provider_definition::to_str(std::ostream& os) const
    CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
    constexpr int rule_width = 86;
    std::string const rule(rule_width, '-');
    stream_format_guard const format{os};
    os << std::left;
    os << "Provider definition @ " << static_cast<void const*>(this) << ": fingerprint "
       << std::to_string(m_impl->m_fingerprint) << std::endl;
    os << rule << std::endl << std::endl;
    os << "Contains " << std::to_string(m_impl->m_entries.size()) << " variable definitions";
    if (m_impl->m_entries.empty()) {
        return os << std::endl << std::endl;
    }
    os << ':' << std::endl;
    // Spaces, whatever the stream fills its fields with.
    os << "Path" << std::string(45, ' ') << "RO Type   Initial" << std::endl;
    os << rule << std::endl;
    for (auto const& [path, initial_value, permissions] : m_impl->m_entries) {
        os << std::setw(path_width) << path << ' ' << read_only_mark(permissions);
        write_value(os, initial_value);
        os << std::endl;
    }
    return os;
}

std::ostream& operator<<(std::ostream& os, provider_definition const& definition) {
    return definition.to_str(os);
}

} // namespace arvenhold::corvel::hub
