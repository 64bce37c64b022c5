// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/followed_provider.hpp"

#include "session/same_value.hpp"

#include <algorithm>
#include <utility>

namespace arvenhold::corvel::hub {

followed_provider::followed_provider(std::string identifier, clock::duration silence_limit)
    : m_identifier{std::move(identifier)}
    , m_silence_limit{silence_limit} {}

std::string const& followed_provider::get_identifier() const {
    return m_identifier;
}

std::size_t followed_provider::add(std::shared_ptr<following> const& wanted) {
    std::scoped_lock const lock{m_mutex};
    auto const& interest = wanted->get_interest();
    auto const number = static_cast<followed_position>(m_followed.size());
    m_followed.push_back(wanted);
    if (interest.type) {
        auto const added = add_slot(
            std::make_shared<std::string const>(interest.paths.get_text()),
            static_cast<std::uint8_t>(*interest.type));
        subscribe(added, number);
        return added;
    }
    for (slot_position present = 0; present < m_slots.size(); ++present) {
        auto const& candidate = m_slots[present];
        if (candidate.type == any_type && interest.paths.matches(*candidate.path)) {
            subscribe(present, number);
        }
    }
    return 0;
}

followed_provider::slot_position followed_provider::add_slot(
    std::shared_ptr<std::string const> path, std::uint8_t type) {
    m_values.resize(m_slots.size() + 1); // also if an earlier call ended here
    auto& added = m_slots.emplace_back();
    added.path = std::move(path);
    added.type = type;
    return static_cast<slot_position>(m_slots.size() - 1);
}

void followed_provider::subscribe(slot_position position, followed_position wanted) {
    auto& first = m_slots[position].subscriptions;
    m_subscriptions.push_back({wanted, first});
    first = static_cast<subscription_position>(m_subscriptions.size() - 1);
}

// -- values ---------------------------------------------------------------------------------------

followed_provider::loss_count followed_provider::count_losses() const {
    std::scoped_lock const lock{m_mutex};
    return m_freshness.count_losses();
}

definition_change followed_provider::adopt(
    attachment adopted, current_variables const& read, loss_count begun) {
    std::scoped_lock const lock{m_mutex};
    std::swap(m_attachment, adopted); // the old one goes after the lock
    m_variables = read;
    m_write.reset();
    auto slots = unbind_all();
    bind(slots);
    auto change = compare(slots);
    m_active_at = recent_time();
    m_freshness.finish_reading(begun);
    copy_all_values();
    show_all_to_watches();
    notify(find_newly_live(slots));
    return change;
}

definition_change followed_provider::bind_again() {
    std::scoped_lock const lock{m_mutex};
    auto slots = unbind_all();
    bind(slots);
    auto change = compare(slots);
    copy_all_values();
    notify(find_newly_live(slots));
    return change;
}

// Slots that were live before have told their handlers.
std::vector<followed_provider::slot_position> followed_provider::find_newly_live(
    std::vector<rebound_slot> const& slots) const {
    std::vector<slot_position> found;
    for (slot_position position = 0; position < m_slots.size(); ++position) {
        if (!slots[position].was_live && is_live(m_slots[position])) {
            found.push_back(position);
        }
    }
    return found;
}

std::optional<bool> followed_provider::apply(
    provider_connection const* source,
    definition_fingerprint fingerprint,
    std::vector<variable_id> const& changed) {
    std::scoped_lock const lock{m_mutex};
    if (source != m_attachment.connection.get()) {
        return false; // replaced meanwhile, or all values are read before it is adopted
    }
    if (fingerprint != m_variables.fingerprint) {
        return std::nullopt;
    }
    m_active_at = recent_time();
    change_groups groups{*this};
    auto bound = m_bindings.cbegin();
    for (auto const id : changed) {
        if (!note_published(id)) {
            continue;
        }
        bound = find_bindings(id, bound);
        for (; is_of(bound, id); ++bound) {
            copy_change(groups, *bound, changed.size());
        }
    }
    return deliver(groups);
}

void followed_provider::copy_change(change_groups& groups, binding const& bound, std::size_t most) {
    if (copy_value(bound)) {
        add_changes(groups, bound.slot, most);
    }
}

// The expected ones are those after the bindings of the variable before: mostly all change.
followed_provider::bindings::const_iterator followed_provider::find_bindings(
    variable_id changed, bindings::const_iterator expected) const {
    if (is_of(expected, changed)) {
        return expected;
    }
    return std::lower_bound(
        m_bindings.cbegin(), m_bindings.cend(), changed, [](auto const& one, variable_id id) {
            return one.id < id;
        });
}

bool followed_provider::is_of(bindings::const_iterator bound, variable_id id) const {
    return bound != m_bindings.cend() && bound->id == id;
}

// Returns whether what the connection holds was published.
bool followed_provider::note_published(variable_id changed) {
    if (m_write && m_write->id == changed) {
        ++m_write->events; // the connection may hold what was written
        return false;
    }
    show_to_watches(changed, true);
    return true;
}

bool followed_provider::refresh(provider_connection const* source) {
    std::scoped_lock const lock{m_mutex};
    if (source != m_attachment.connection.get()) {
        return false;
    }
    m_active_at = recent_time();
    std::vector<slot_position> changed;
    for (auto const& bound : m_bindings) {
        auto const& shown = m_values[bound.slot];
        auto const [value, when] = bound.variable->get_value_with_timestamp();
        auto const quality = static_cast<std::uint16_t>(bound.variable->get_quality());
        auto const is_shown =
            is_same(value, shown.value.get()) && when == shown.when && quality == shown.quality;
        if (!is_shown && copy_value(bound)) {
            changed.push_back(bound.slot);
        }
    }
    return notify(changed);
}

bool followed_provider::lose(clock::time_point now) {
    std::scoped_lock const lock{m_mutex};
    return make_stale(now);
}

bool followed_provider::lose_if_silent(clock::time_point now) {
    std::scoped_lock const lock{m_mutex};
    auto const is_silent = m_freshness.is_live() && now - m_active_at > m_silence_limit;
    if (is_silent) {
        make_stale(m_active_at + m_silence_limit);
    }
    return is_silent;
}

bool followed_provider::make_stale(clock::time_point since) {
    auto const was_live = m_freshness.lose(since);
    m_losses = m_freshness.count_losses();
    if (!was_live) {
        return false;
    }
    change_groups groups{*this};
    for (slot_position position = 0; position < m_slots.size(); ++position) {
        if (m_slots[position].is_current) {
            add_changes(groups, position, m_slots.size());
        }
    }
    return deliver(groups);
}

bool followed_provider::is_live() const {
    std::scoped_lock const lock{m_mutex};
    return m_freshness.is_live();
}

attachment followed_provider::get_attachment() const {
    std::scoped_lock const lock{m_mutex};
    return m_attachment;
}

attachment followed_provider::release_attachment() {
    std::scoped_lock const lock{m_mutex};
    return std::exchange(m_attachment, {});
}

definition_fingerprint followed_provider::get_fingerprint() const {
    std::scoped_lock const lock{m_mutex};
    return m_variables.fingerprint;
}

known_definition followed_provider::get_definition() const {
    auto const adopted = [this] {
        std::scoped_lock const lock{m_mutex};
        return m_variables;
    }();
    known_definition known;
    known.fingerprint = adopted.fingerprint;
    known.variables.reserve(adopted.size());
    for (auto const& [id, variable] : adopted) {
        if (variable) {
            auto const value = std::get<variable_value>(variable->get_value_with_timestamp());
            known.variables.push_back(
                {id, variable->get_path(), value.index(), variable->get_permissions()});
        }
    }
    return known;
}

followed_provider::clock::time_point followed_provider::get_active_at() const {
    std::scoped_lock const lock{m_mutex};
    return m_active_at;
}

// -- the definition -------------------------------------------------------------------------------

void followed_provider::bind(std::vector<rebound_slot>& slots) {
    std::vector<std::shared_ptr<std::string const>> paths; // the keys, while slots get other ones
    slots_by_path existing;                                // and those of m_variables
    for (slot_position position = 0; position < m_slots.size(); ++position) {
        existing.emplace(*paths.emplace_back(m_slots[position].path), position);
    }
    for (auto const& [id, variable] : m_variables) {
        if (variable) {
            bind_variable(existing, slots, variable);
        }
    }
    m_slots.shrink_to_fit(); // there may be very many, and they stay
    m_values.shrink_to_fit();
    m_subscriptions.shrink_to_fit();
    m_bindings.shrink_to_fit();
}

std::vector<followed_provider::rebound_slot> followed_provider::unbind_all() {
    std::vector<rebound_slot> slots;
    slots.reserve(m_slots.size());
    for (auto& present : m_slots) {
        slots.push_back({present.is_bound, is_live(present), present.bound_type, {}});
        if (present.is_bound) {
            present.stale_since =
                m_freshness.is_live() ? clock::now() : m_freshness.get_stale_since();
        }
        present.is_bound = false;
        present.is_current = false;
    }
    m_bindings.clear();
    return slots;
}

void followed_provider::bind_variable(
    slots_by_path& existing,
    std::vector<rebound_slot>& slots,
    std::shared_ptr<consumer_variable> const& variable) {
    auto const type = std::get<variable_value>(variable->get_value_with_timestamp()).index();
    auto has_untyped_slot = false;
    auto const [first, last] = existing.equal_range(variable->get_path());
    for (auto found = first; found != last; ++found) {
        auto const& present = m_slots[found->second];
        auto& rebound = slots[found->second];
        rebound.given = rebound.given.value_or(type);
        has_untyped_slot = has_untyped_slot || present.type == any_type;
        // Of several variables with one path, the one with the lowest id is shown.
        if (!present.is_bound && (present.type == any_type || present.type == type)) {
            bind_slot(found->second, variable, type);
        }
    }
    if (has_untyped_slot) {
        return;
    }
    if (auto const added = add_found_slot(variable)) {
        slots.emplace_back(); // for this position
        existing.emplace(variable->get_path(), *added);
        bind_slot(*added, variable, type);
    }
}

// The path is the variable's own, which lives as long as the path is shown.
void followed_provider::bind_slot(
    slot_position position, std::shared_ptr<consumer_variable> const& variable, std::size_t type) {
    auto& bound = m_slots[position];
    bound.is_bound = true;
    bound.bound_type = type & 7U;
    bound.path = {variable, &variable->get_path()};
    m_bindings.push_back({variable->get_id(), position, variable.get()});
}

// Adds nothing unless the variable's path is wanted.
std::optional<followed_provider::slot_position> followed_provider::add_found_slot(
    std::shared_ptr<consumer_variable> const& variable) {
    auto const& path = variable->get_path();
    std::optional<slot_position> added;
    for (followed_position position = 0; position < m_followed.size(); ++position) {
        auto const& interest = m_followed[position]->get_interest();
        if (!interest.type && interest.paths.matches(path)) {
            added = added ? added : add_slot({variable, &path}, any_type);
            subscribe(*added, position);
        }
    }
    return added;
}

definition_change followed_provider::compare(std::vector<rebound_slot> const& slots) {
    definition_change change;
    change.provider = m_identifier;
    for (std::size_t position = 0; position < slots.size(); ++position) {
        auto& present = m_slots[position];
        auto const& rebound = slots[position];
        if (!present.is_bound) {
            note_absence(present, rebound, change);
            continue;
        }
        present.is_absence_reported = false;
        if (rebound.was_bound && rebound.type_before != present.bound_type) {
            change.changed_types.push_back(
                {*present.path, rebound.type_before, present.bound_type});
        }
    }
    return change;
}

// Each absence is reported once. A variable that no definition has had yet is missing only if the
// application has named it.
void followed_provider::note_absence(
    slot& missing, rebound_slot const& earlier, definition_change& change) {
    if (earlier.was_bound) { // frees the definition that the path belongs to
        missing.path = std::make_shared<std::string const>(*missing.path);
    }
    auto const is_expected = missing.type != any_type || earlier.was_bound;
    if (!is_expected || missing.is_absence_reported) {
        return;
    }
    missing.is_absence_reported = true;
    if (earlier.given) {
        auto const wanted = missing.type != any_type ? missing.type : earlier.type_before;
        change.changed_types.push_back({*missing.path, wanted, *earlier.given});
    } else {
        change.vanished.push_back(*missing.path);
    }
}

// Returns whether the value is shown. One that is received while nothing is live is read again.
bool followed_provider::copy_value(binding const& bound) {
    if (!m_freshness.is_live() || (m_write && m_write->id == bound.id)) {
        return false; // or the connection may hold what was written
    }
    auto& shown = m_slots[bound.slot];
    if (!shown.is_current && bound.variable->get_update_count() == 0) {
        return false; // the provider did not send it
    }
    auto [value, when] = bound.variable->get_value_with_timestamp();
    auto& latest = m_values[bound.slot];
    latest.value = packed_value{std::move(value)};
    latest.when = when;
    latest.quality = static_cast<std::uint16_t>(bound.variable->get_quality());
    if (!shown.is_current) {
        shown.is_received = true;
        shown.is_current = true;
    }
    return true;
}

void followed_provider::copy_all_values() {
    for (auto const& bound : m_bindings) {
        copy_value(bound);
    }
}

// -- readings -------------------------------------------------------------------------------------

// The changes of one event reach a following together.
bool followed_provider::notify(std::vector<slot_position> const& changed) {
    change_groups groups{*this};
    for (auto const position : changed) {
        add_changes(groups, position, changed.size());
    }
    return deliver(groups);
}

// Not analysed: the function that collects the changes holds the lock.
followed_provider::change_groups::~change_groups() CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
    for (auto const& [wanted, changes] : list) {
        for (auto const& change : changes) {
            owner.end_waiting(owner.m_slots[change.slot], *owner.m_followed[wanted]);
        }
    }
}

bool followed_provider::deliver(change_groups& groups) {
    for (auto& [wanted, changes] : groups.list) {
        m_followed[wanted]->add(*this, m_freshness.count_losses(), changes);
        changes.clear();
    }
    return !groups.list.empty();
}

bool followed_provider::show_present(following const& wanted) {
    std::scoped_lock const lock{m_mutex};
    change_groups groups{*this};
    for (slot_position position = 0; position < m_slots.size(); ++position) {
        auto const found = find_subscription(m_slots[position], wanted);
        if (found != no_subscription && m_slots[position].is_received
            && m_subscriptions[found].waiting == 0) {
            add_change(groups, position, m_subscriptions[found], m_slots.size());
        }
    }
    return deliver(groups);
}

void followed_provider::add_changes(
    change_groups& groups, slot_position position, std::size_t expected) {
    for (auto next = m_slots[position].subscriptions; next != no_subscription;) {
        auto& receiver = m_subscriptions[next];
        if (m_followed[receiver.wanted]->has_handler()) {
            add_change(groups, position, receiver, expected);
        }
        next = receiver.next;
    }
}

void followed_provider::add_change(
    change_groups& groups, slot_position position, subscription& receiver, std::size_t expected) {
    auto const keeps_all = m_followed[receiver.wanted]->keeps_every_change();
    if (!keeps_all && receiver.waiting > 0) {
        ++receiver.waiting;
        return;
    }
    // There are few groups, and the one that was used last is mostly the one.
    auto& list = groups.list;
    auto found = std::find_if(list.rbegin(), list.rend(), [&](auto const& group) {
        return group.wanted == receiver.wanted;
    });
    if (found == list.rend()) {
        list.push_back({receiver.wanted});
        found = list.rbegin();
        found->changes.reserve(expected);
    }
    auto& added = found->changes.emplace_back();
    receiver.waiting = keeps_all ? 0 : 1;
    added.slot = position;
    if (keeps_all) {
        auto const& latest = m_values[position];
        added.quality = latest.quality;
        added.is_live = is_live(m_slots[position]);
        added.when = latest.when;
        added.value = latest.value;
    }
}

// Counts changes of which no handler hears, besides one that waits.
void followed_provider::add_skipped(slot_position position, std::uint64_t count) {
    for (auto next = m_slots[position].subscriptions; next != no_subscription;) {
        auto& receiver = m_subscriptions[next];
        auto& wanted = *m_followed[receiver.wanted];
        if (wanted.keeps_every_change()) {
            wanted.add_dropped(wanted.has_handler() ? count : 0);
        } else if (receiver.waiting > 0) {
            receiver.waiting += count;
        }
        next = receiver.next;
    }
}

followed_provider::subscription_position followed_provider::find_subscription(
    slot const& shown, following const& wanted) const {
    auto found = shown.subscriptions;
    while (found != no_subscription && m_followed[m_subscriptions[found].wanted].get() != &wanted) {
        found = m_subscriptions[found].next;
    }
    return found;
}

bool followed_provider::is_live(slot const& shown) const {
    return shown.is_bound && shown.is_current && m_freshness.is_live();
}

followed_provider::clock::time_point followed_provider::get_stale_since(slot const& shown) const {
    return shown.is_bound ? m_freshness.get_stale_since() : shown.stale_since;
}

// All but the age of a stale reading.
void followed_provider::fill_reading(slot_position position, any_reading& result) const {
    auto const& shown = m_slots[position];
    auto const& latest = m_values[position];
    name_reading(shown, result);
    latest.value.copy_to(result.value);
    result.quality =
        shown.is_received ? static_cast<variable_quality>(latest.quality) : variable_quality::bad;
    result.when = latest.when;
    result.freshness = is_live(shown)    ? freshness::live
                     : shown.is_received ? freshness::stale
                                         : freshness::never_received;
}

void followed_provider::name_reading(slot const& shown, any_reading& result) const {
    result.provider = m_identifier;
    result.path = *shown.path;
    result.stale_for = {};
    result.skipped = 0;
}

// A loss may be later than the look at the clock.
any_reading followed_provider::make_reading(slot_position position, clock::time_point now) const {
    any_reading result;
    fill_reading(position, result);
    if (result.freshness == freshness::stale) {
        auto const age = now - get_stale_since(m_slots[position]);
        result.stale_for = std::max(age, clock::duration::zero());
    }
    return result;
}

any_reading followed_provider::get_reading(std::size_t position, clock::time_point now) const {
    std::scoped_lock const lock{m_mutex};
    return make_reading(static_cast<slot_position>(position), now);
}

std::vector<any_reading> followed_provider::get_readings(
    following const& wanted, clock::time_point now) const {
    std::scoped_lock const lock{m_mutex};
    std::vector<any_reading> result;
    for (slot_position position = 0; position < m_slots.size(); ++position) {
        if (find_subscription(m_slots[position], wanted) != no_subscription) {
            result.push_back(make_reading(position, now));
        }
    }
    return result;
}

void followed_provider::make_readings(
    waiting_changes::stretch const& taken,
    following const& wanted,
    clock::time_point (*now)(),
    std::span<any_reading> results) {
    std::scoped_lock const lock{m_mutex};
    auto const is_still_live = m_freshness.is_live_since(taken.losses);
    auto result = results.begin();
    for (auto const& change : taken.changes) {
        auto const& shown = m_slots[change.slot];
        if (wanted.keeps_every_change()) {
            name_reading(shown, *result);
            change.value.copy_to(result->value);
            result->quality = static_cast<variable_quality>(change.quality);
            result->when = change.when;
            result->freshness = change.is_live && is_still_live && is_live(shown)
                                  ? freshness::live
                                  : freshness::stale;
        } else {
            auto const skipped = end_waiting(shown, wanted); // first, also if memory runs out
            fill_reading(change.slot, *result);
            result->skipped = skipped;
        }
        if (result->freshness == freshness::stale) {
            result->stale_for = now() - get_stale_since(shown);
        }
        ++result;
    }
}

void followed_provider::drop_changes(
    waiting_changes::stretch const& taken, following const& wanted) {
    std::scoped_lock const lock{m_mutex};
    for (auto const& change : taken.changes) {
        end_waiting(m_slots[change.slot], wanted);
    }
}

// Returns how many changes were skipped while one waited.
std::uint64_t followed_provider::end_waiting(slot const& shown, following const& wanted) {
    auto const found = find_subscription(shown, wanted);
    auto const waiting = std::exchange(m_subscriptions[found].waiting, 0);
    return waiting == 0 ? 0 : waiting - 1; // none is counted if every change is kept
}

void followed_provider::update_freshness(
    any_reading& shown, loss_count losses, clock::time_point (*now)()) const {
    if (shown.freshness != freshness::live || losses == m_losses) {
        return;
    }
    std::scoped_lock const lock{m_mutex};
    shown.freshness = freshness::stale;
    shown.stale_for = now() - m_freshness.get_stale_since();
}

// -- writing --------------------------------------------------------------------------------------

void followed_provider::begin_write(variable_id written, std::shared_ptr<write_watch> watch) {
    std::scoped_lock const lock{m_mutex};
    m_write = active_write{written};
    if (watch && !watch->has_ended()) { // otherwise nobody removes it
        m_watches.push_back(std::move(watch));
    }
}

bool followed_provider::end_write(provider_connection const* source, variable_id written) {
    std::scoped_lock const lock{m_mutex};
    if (source != m_attachment.connection.get() || !m_write) {
        return false; // adopting the next connection ends the write
    }
    m_active_at = recent_time();
    auto const events = std::exchange(m_write, std::nullopt)->events;
    show_to_watches(written, events > 0);
    std::vector<slot_position> changed;
    for (auto const& bound : m_bindings) {
        if (bound.id == written && copy_value(bound)) {
            changed.push_back(bound.slot);
        }
    }
    auto const is_waited_for = notify(changed);
    if (events > 1) { // the last one is shown
        for (auto const position : changed) {
            add_skipped(position, events - 1);
        }
    }
    return is_waited_for;
}

void followed_provider::show_all_to_watches() {
    for (auto const& watch : m_watches) {
        if (auto const variable = m_variables.find(std::string_view{watch->get_path()})) {
            watch->see(std::get<variable_value>(variable->get_value_with_timestamp()), false);
        }
    }
}

void followed_provider::show_to_watches(variable_id changed, bool is_published) {
    if (m_watches.empty()) {
        return;
    }
    auto const variable = m_variables.find(changed);
    if (!variable) {
        return;
    }
    for (auto const& watch : m_watches) {
        if (watch->get_path() == variable->get_path()) {
            watch->see(
                std::get<variable_value>(variable->get_value_with_timestamp()), is_published);
        }
    }
}

void followed_provider::remove_watch(std::shared_ptr<write_watch> const& watch) {
    std::scoped_lock const lock{m_mutex};
    m_watches.erase(std::remove(m_watches.begin(), m_watches.end(), watch), m_watches.end());
}

} // namespace arvenhold::corvel::hub
