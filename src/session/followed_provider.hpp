// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What a session knows of one provider: the followed variables with their latest readings, and
// whether they are live. Values arrive on threads of the NATS client and of the session; the
// application asks from any thread.

#pragma once

#include "session/following.hpp"
#include "session/freshness_record.hpp"
#include "session/packed_value.hpp"
#include "session/write_watch.hpp"
#include <hub/detail/thread_annotations.hpp>
#include <hub/provider_connection.hpp>
#include <hub/session/consumer_session.hpp>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace arvenhold::corvel::hub {

/// A connection to a provider, and the consumer that it must not outlive.
struct attachment {
    std::shared_ptr<void> owner;
    std::shared_ptr<provider_connection> connection; // ends first
};

/// Invariants:
/// 1. A slot is bound while the adopted definition has its variable. Its value is what the
///    provider sent, never what was written locally.
/// 2. A reading is live only if the slot is bound, a value was received for it, and nothing was lost
///    since the latest read of all values began. A value that is not live stays as it was when it
///    became stale.
/// 3. Only callbacks of the adopted connection change readings.
/// 4. After a call of lose_if_silent() nothing is live that was silent for longer than the limit.
///
/// Functions that return `bool` return whether handlers have something to do, unless said otherwise.
class followed_provider {
public:
    using clock = freshness_record::clock;
    using loss_count = freshness_record::loss_count;

    /// @param silence_limit  How long values stay live after the latest event or read.
    followed_provider(std::string identifier, clock::duration silence_limit);

    followed_provider(followed_provider const&) = delete;
    followed_provider& operator=(followed_provider const&) = delete;
    ~followed_provider() = default;

    [[nodiscard]] std::string const& get_identifier() const;

    /// Follows the variables that `wanted` names, and those that it finds in the next definition.
    ///
    /// @return the slot of the variable that is wanted with its type; 0 for others.
    std::size_t add(std::shared_ptr<following> const& wanted) CORVEL_HUB_EXCLUDES(m_mutex);

    // -- values -----------------------------------------------------------------------------------

    /// Returns how many losses there were, for adopt().
    [[nodiscard]] loss_count count_losses() const CORVEL_HUB_EXCLUDES(m_mutex);

    /// Takes over a connection all of whose values were read.
    ///
    /// @param begun  What count_losses() returned before the read was requested.
    /// @return what the new definition changes for the followed variables.
    definition_change adopt(attachment adopted, current_variables const& read, loss_count begun)
        CORVEL_HUB_EXCLUDES(m_mutex);

    /// Shows what is followed since the definition was adopted. No sign of life: nothing is read.
    ///
    /// @return what the definition means for that.
    definition_change bind_again() CORVEL_HUB_EXCLUDES(m_mutex);

    /// Handles a change event of a connection.
    ///
    /// @return nothing if the definition is another one than the adopted.
    std::optional<bool> apply(
        provider_connection const* source,
        definition_fingerprint fingerprint,
        std::vector<variable_id> const& changed) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Takes over all values after a read of the connection.
    bool refresh(provider_connection const* source) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Makes all readings stale. Needs no memory unless a handler has something to do.
    bool lose(clock::time_point now) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Makes all readings stale if there was no sign of life for the silence limit.
    ///
    /// @return whether that is so since this call.
    bool lose_if_silent(clock::time_point now) CORVEL_HUB_EXCLUDES(m_mutex);

    [[nodiscard]] bool is_live() const CORVEL_HUB_EXCLUDES(m_mutex);

    [[nodiscard]] attachment get_attachment() const CORVEL_HUB_EXCLUDES(m_mutex);

    /// Returns the adopted connection, which no longer is.
    [[nodiscard]] attachment release_attachment() CORVEL_HUB_EXCLUDES(m_mutex);

    /// Returns the fingerprint of the adopted definition.
    [[nodiscard]] definition_fingerprint get_fingerprint() const CORVEL_HUB_EXCLUDES(m_mutex);

    /// Returns the adopted definition.
    [[nodiscard]] known_definition get_definition() const CORVEL_HUB_EXCLUDES(m_mutex);

    /// Returns when the latest event or read has brought values.
    [[nodiscard]] clock::time_point get_active_at() const CORVEL_HUB_EXCLUDES(m_mutex);

    // -- readings ---------------------------------------------------------------------------------

    /// Adds the present readings of a following's variables to what waits for its handler.
    bool show_present(following const& wanted) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Returns the latest reading of the slot at a position.
    [[nodiscard]] any_reading get_reading(std::size_t position, clock::time_point now) const
        CORVEL_HUB_EXCLUDES(m_mutex);

    /// Returns the readings of all variables of a following.
    [[nodiscard]] std::vector<any_reading> get_readings(
        following const& wanted, clock::time_point now) const CORVEL_HUB_EXCLUDES(m_mutex);

    /// Makes the readings for changes that have waited.
    ///
    /// @param taken    The changes.
    /// @param now      Called if a reading is stale, which few are.
    /// @param results  As many as there are changes. Replaced; keep the memory of their texts.
    void make_readings(
        waiting_changes::stretch const& taken,
        following const& wanted,
        clock::time_point (*now)(),
        std::span<any_reading> results) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Forgets changes for which no handler is called, as it would after make_readings().
    void drop_changes(waiting_changes::stretch const& taken, following const& wanted)
        CORVEL_HUB_EXCLUDES(m_mutex);

    /// Makes a live reading stale if something was lost after the change that has brought it. Costs
    /// next to nothing otherwise.
    ///
    /// @param losses  Those before the change.
    void update_freshness(any_reading& shown, loss_count losses, clock::time_point (*now)()) const
        CORVEL_HUB_EXCLUDES(m_mutex);

    // -- writing ----------------------------------------------------------------------------------

    /// Keeps what the connection holds for a variable from being shown, because it is about to be
    /// replaced by what is written. One write at a time.
    ///
    /// @param watch  Learns about the variable from now on; null if nobody waits.
    void begin_write(variable_id written, std::shared_ptr<write_watch> watch)
        CORVEL_HUB_EXCLUDES(m_mutex);

    /// The variable was read again after it was written.
    bool end_write(provider_connection const* source, variable_id written)
        CORVEL_HUB_EXCLUDES(m_mutex);

    /// Forgets a write for which nobody waits any more.
    void remove_watch(std::shared_ptr<write_watch> const& watch) CORVEL_HUB_EXCLUDES(m_mutex);

private:
    using slot_position = std::uint32_t;
    using followed_position = std::uint32_t;
    using subscription_position = std::uint32_t;

    static constexpr subscription_position no_subscription = -1U;
    static constexpr std::uint8_t any_type = 0xFF;

    // One following that wants the changes of a slot.
    struct subscription {
        followed_position wanted = 0;
        subscription_position next = no_subscription; // of the same slot
        std::uint64_t waiting = 0; // changes; the first one waits for the handler
    };

    // As small as possible: there may be a hundred thousand. An event changes nothing here once the
    // variable is current: the thread that runs the handlers looks at it for each change, and would
    // take it out of the cache of the thread that receives the next event.
    struct slot {
        std::shared_ptr<std::string const> path; // the definition's own while there is one
        clock::time_point stale_since{};         // once it is no longer bound
        subscription_position subscriptions = no_subscription;
        std::uint8_t type = any_type;    // the only one wanted
        std::uint8_t bound_type : 3 = 0; // of the variable that it was bound to last
        bool is_bound : 1 = false;
        bool is_received : 1 = false; // a value, at any time
        bool is_current : 1 = false;  // a value, since it was bound
        bool is_absence_reported : 1 = false;
    };

    // What a slot shows.
    struct slot_value {
        timestamp when{};
        [[no_unique_address]] packed_value value; // what follows lies in its padding
        std::uint16_t quality = 0;                // every variable_quality is below 65,536
    };

    static_assert(sizeof(slot_value) == 24);

    // A variable of the adopted definition and a slot that shows it.
    struct binding {
        variable_id id = 0;
        slot_position slot = 0;
        consumer_variable* variable = nullptr; // in m_variables
    };

    using bindings = std::vector<binding>;

    // A write that was sent, until the variable has been read again.
    struct active_write {
        variable_id id;
        std::size_t events = 0; // that have published it since
    };

    // What a slot was before a definition was adopted, and the type of its variable in that.
    struct rebound_slot {
        bool was_bound = false;
        bool was_live = false;
        std::size_t type_before = 0;
        std::optional<std::size_t> given{};
    };

    // The changes of one event for one following.
    struct change_group {
        followed_position wanted = 0;
        std::vector<waiting_change> changes{};
    };

    // Changes that are collected for handlers. What was not delivered, without memory, waits no longer,
    // or its variables would be silent from here on.
    struct change_groups {
        explicit change_groups(followed_provider& provider)
            : owner{provider} {}

        change_groups(change_groups const&) = delete;
        change_groups& operator=(change_groups const&) = delete;
        ~change_groups();

        followed_provider& owner;
        std::vector<change_group> list{};
    };

    using slots_by_path = std::unordered_multimap<std::string_view, slot_position>;

    std::string const m_identifier;
    clock::duration const m_silence_limit;
    std::atomic<loss_count> m_losses{0}; // those of m_freshness, for looks without the lock

    mutable std::mutex m_mutex;
    std::vector<std::shared_ptr<following>> m_followed CORVEL_HUB_GUARDED_BY(m_mutex);
    std::vector<slot> m_slots CORVEL_HUB_GUARDED_BY(m_mutex);
    std::vector<slot_value> m_values CORVEL_HUB_GUARDED_BY(m_mutex);          // those of m_slots
    std::vector<subscription> m_subscriptions CORVEL_HUB_GUARDED_BY(m_mutex); // chained by slot
    freshness_record m_freshness CORVEL_HUB_GUARDED_BY(m_mutex);
    attachment m_attachment CORVEL_HUB_GUARDED_BY(m_mutex);
    current_variables m_variables CORVEL_HUB_GUARDED_BY(m_mutex); // as adopted
    bindings m_bindings CORVEL_HUB_GUARDED_BY(m_mutex);           // ordered by id
    clock::time_point m_active_at CORVEL_HUB_GUARDED_BY(m_mutex);
    std::optional<active_write> m_write CORVEL_HUB_GUARDED_BY(m_mutex);
    std::vector<std::shared_ptr<write_watch>> m_watches CORVEL_HUB_GUARDED_BY(m_mutex);

    slot_position add_slot(std::shared_ptr<std::string const> path, std::uint8_t type)
        CORVEL_HUB_REQUIRES(m_mutex);
    void subscribe(slot_position position, followed_position wanted) CORVEL_HUB_REQUIRES(m_mutex);
    std::vector<rebound_slot> unbind_all() CORVEL_HUB_REQUIRES(m_mutex);
    void bind(std::vector<rebound_slot>& slots) CORVEL_HUB_REQUIRES(m_mutex);
    void bind_variable(
        slots_by_path& existing,
        std::vector<rebound_slot>& slots,
        std::shared_ptr<consumer_variable> const& variable) CORVEL_HUB_REQUIRES(m_mutex);
    void bind_slot(
        slot_position position,
        std::shared_ptr<consumer_variable> const& variable,
        std::size_t type) CORVEL_HUB_REQUIRES(m_mutex);
    std::optional<slot_position> add_found_slot(std::shared_ptr<consumer_variable> const& variable)
        CORVEL_HUB_REQUIRES(m_mutex);
    definition_change compare(std::vector<rebound_slot> const& slots) CORVEL_HUB_REQUIRES(m_mutex);
    static void note_absence(slot& missing, rebound_slot const& earlier, definition_change& change);
    [[nodiscard]] std::vector<slot_position> find_newly_live(
        std::vector<rebound_slot> const& slots) const CORVEL_HUB_REQUIRES(m_mutex);
    bool make_stale(clock::time_point since) CORVEL_HUB_REQUIRES(m_mutex);
    bool copy_value(binding const& bound) CORVEL_HUB_REQUIRES(m_mutex);
    void copy_change(change_groups& groups, binding const& bound, std::size_t most)
        CORVEL_HUB_REQUIRES(m_mutex);
    void copy_all_values() CORVEL_HUB_REQUIRES(m_mutex);
    bindings::const_iterator find_bindings(
        variable_id changed, bindings::const_iterator expected) const CORVEL_HUB_REQUIRES(m_mutex);
    [[nodiscard]] bool is_of(bindings::const_iterator bound, variable_id id) const
        CORVEL_HUB_REQUIRES(m_mutex);
    bool note_published(variable_id changed) CORVEL_HUB_REQUIRES(m_mutex);
    void show_to_watches(variable_id changed, bool is_published) CORVEL_HUB_REQUIRES(m_mutex);
    void show_all_to_watches() CORVEL_HUB_REQUIRES(m_mutex);
    bool deliver(change_groups& groups) CORVEL_HUB_REQUIRES(m_mutex);
    bool notify(std::vector<slot_position> const& changed) CORVEL_HUB_REQUIRES(m_mutex);
    void add_changes(change_groups& groups, slot_position position, std::size_t expected)
        CORVEL_HUB_REQUIRES(m_mutex);
    void add_change(
        change_groups& groups, slot_position position, subscription& receiver, std::size_t expected)
        CORVEL_HUB_REQUIRES(m_mutex);
    void add_skipped(slot_position position, std::uint64_t count) CORVEL_HUB_REQUIRES(m_mutex);
    [[nodiscard]] subscription_position find_subscription(
        slot const& shown, following const& wanted) const CORVEL_HUB_REQUIRES(m_mutex);
    std::uint64_t end_waiting(slot const& shown, following const& wanted)
        CORVEL_HUB_REQUIRES(m_mutex);
    [[nodiscard]] bool is_live(slot const& shown) const CORVEL_HUB_REQUIRES(m_mutex);
    [[nodiscard]] clock::time_point get_stale_since(slot const& shown) const
        CORVEL_HUB_REQUIRES(m_mutex);
    void fill_reading(slot_position position, any_reading& result) const
        CORVEL_HUB_REQUIRES(m_mutex);
    void name_reading(slot const& shown, any_reading& result) const CORVEL_HUB_REQUIRES(m_mutex);
    [[nodiscard]] any_reading make_reading(slot_position position, clock::time_point now) const
        CORVEL_HUB_REQUIRES(m_mutex);
};

} // namespace arvenhold::corvel::hub
