// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A provider and a consumer as the comparisons need them.

#pragma once

#include <hub/hub.hpp>

#include <cstddef>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace arvenhold::corvel::hub::bench {

using new_values = std::vector<std::tuple<variable_id, variable_value>>;

/// Which values the variables have.
enum class content {
    doubles,
    mixed, ///< All six types in turn; texts of 32 characters.
};

/// Entries for `count` variables, whose paths have 32 characters.
std::vector<variable_definition_entry> make_entries(std::size_t count, content kind);

/// A provider "press" with `count` variables, connected and registered, with nothing pending.
class connected_provider {
public:
    connected_provider(std::size_t count, content kind);

    [[nodiscard]] variable_list& list() const;
    [[nodiscard]] std::size_t size() const;
    [[nodiscard]] variable_id first_id() const;

    /// A value for every variable, or for `count` of them, spread evenly.
    [[nodiscard]] new_values values() const;
    [[nodiscard]] new_values values(std::size_t count) const;

    /// The bytes of the event with all of them.
    [[nodiscard]] std::string change_event() const;

private:
    std::size_t m_count;
    content m_kind;
    std::unique_ptr<provider> m_provider;
    std::shared_ptr<variable_list> m_list;
};

/// A consumer "panel", connected, which can attach to a provider "press" with the given
/// definition and gets an empty reply when it asks for values.
class connected_consumer {
public:
    /// @param definition  The bytes of a reply to the request for the definition.
    explicit connected_consumer(std::string const& definition);

    [[nodiscard]] std::shared_ptr<provider_connection> attach();

private:
    consumer m_consumer{"panel", false, nullptr, nullptr};
};

/// The bytes of a reply to the request for a definition.
std::string make_definition_reply(
    std::vector<variable_definition_entry> const& entries, variable_id first_id);

inline constexpr definition_fingerprint fingerprint = 4711;
inline constexpr timestamp noon{std::chrono::nanoseconds{1'700'000'000'123'456'789}};

} // namespace arvenhold::corvel::hub::bench
