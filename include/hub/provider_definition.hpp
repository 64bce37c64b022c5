// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>
#include <hub/detail/export.hpp>

#include <memory>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

namespace arvenhold::corvel::hub {

/// One variable of a definition: path, initial value, permissions. The initial value also fixes the
/// variable's data type.
using variable_definition_entry = std::tuple<std::string, variable_value, variable_permissions>;

/// The variables that a provider offers, and the fingerprint that identifies this version of them.
///
/// The application adds variables, finalizes the definition and registers it with a provider. A
/// finalized definition never changes again: another set of variables needs another definition with
/// another fingerprint.
///
/// @par Ownership
/// Belongs to the application, which may destroy it as soon as it has been registered.
///
/// @par Thread safety
/// All operations may be called from any thread, except that to_str() must not run while another
/// thread adds variables or registers the definition. Several providers may register the same
/// definition at once; each initial string then goes to one of them.
class CORVEL_HUB_API provider_definition {
public:
    /// The state, for the library's own use.
    class impl;

    /// Refers to an entry; valid as long as the definition.
    using iterator = std::vector<variable_definition_entry>::iterator;

    /// @param fingerprint  Identifies this version of the variables. The library neither computes
    ///                     it nor checks it against the contents. 0 means "none" to consumers and
    ///                     should not be chosen.
    explicit provider_definition(definition_fingerprint fingerprint);

    provider_definition(provider_definition const&) = delete;
    provider_definition& operator=(provider_definition const&) = delete;
    ~provider_definition();

    /// Adds one variable at the end.
    ///
    /// @param path           Any string; several variables may have the same one. A registry may be
    ///                       stricter.
    /// @param initial_value  The value until the first change; its alternative is the data type.
    /// @param permissions    What consumers may do with the variable.
    ///
    /// @throws operational_state_invalid  The definition is finalized. Nothing was added.
    void add_variable_definition(
        std::string const& path, variable_value initial_value, variable_permissions permissions);

    /// Adds a copy of each element at the end, in order.
    ///
    /// @param definitions  The variables to add; may be empty.
    ///
    /// @throws operational_state_invalid  The definition is finalized. Nothing was added.
    void bulk_add_variable_definitions(std::vector<variable_definition_entry> const& definitions);

    /// Forbids any further addition and allows the definition to be registered. Calling it again
    /// changes nothing.
    void finalize();

    /// Returns whether finalize() has been called.
    bool is_finalized() const;

    /// Returns the fingerprint given to the constructor.
    definition_fingerprint get_fingerprint() const;

    /// Returns the iterators of the first entry and of the end. They are valid as long as the
    /// definition, and must not be used while another thread registers it.
    ///
    /// Registering a definition moves the initial values out of its entries: strings are empty
    /// afterwards.
    ///
    /// @throws operational_state_invalid  The definition is not finalized.
    std::tuple<iterator, iterator> get_iterators();

    /// Writes a table of the entries to `os` and returns it.
    ///
    /// @param os  The stream; its format flags are left as they were.
    std::ostream& to_str(std::ostream& os) const;

private:
    friend class variable_list; // moves the initial values out under the lock

    std::unique_ptr<impl> const m_impl;
};

/// Writes what provider_definition::to_str() writes.
///
/// @param os          The stream to write to.
/// @param definition  The definition to write.
CORVEL_HUB_API std::ostream& operator<<(std::ostream& os, provider_definition const& definition);

} // namespace arvenhold::corvel::hub
