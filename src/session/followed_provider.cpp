// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/followed_provider.hpp"

#include <algorithm>
#include <utility>

namespace arvenhold::corvel::hub {

followed_provider::followed_provider(std::string identifier)
    : m_identifier{std::move(identifier)} {}

std::string const& followed_provider::get_identifier() const {
    return m_identifier;
}

std::size_t followed_provider::add(std::shared_ptr<following> const& wanted) {
    std::scoped_lock const lock{m_mutex};
    auto const& interest = wanted->get_interest();
    m_followed.push_back(wanted);
    if (interest.type) {
        auto const position = add_slot(interest.paths.get_text(), interest.type);
        m_slots[position].subscribers.push_back({wanted});
        return position;
    }
    for (auto& present : m_slots) {
        if (!present.type && interest.paths.matches(present.path)) {
            present.subscribers.push_back({wanted});
        }
    }
    return 0;
}

std::size_t followed_provider::add_slot(std::string const& path, std::optional<std::size_t> type) {
    auto& added = m_slots.emplace_back();
    added.path = path;
    added.type = type;
    return m_slots.size() - 1;
}

// -- values ---------------------------------------------------------------------------------------

followed_provider::loss_count followed_provider::begin_reading() const {
    std::scoped_lock const lock{m_mutex};
    return m_freshness.begin_reading();
}

followed_provider::adoption followed_provider::adopt(
    attachment adopted, current_variables const& read, loss_count begun) {
    std::scoped_lock const lock{m_mutex};
    std::swap(m_attachment, adopted); // the old one goes after the lock
    m_variables = read;
    m_write.reset();
    auto slots = unbind_all();
    bind(slots);
    adoption result;
    result.change = compare(slots);
    copy_all_values();
    result.is_live = m_freshness.finish_reading(begun);
    notify(find_newly_live(slots));
    return result;
}

// Slots that were live before have told their handlers.
std::vector<std::size_t> followed_provider::find_newly_live(
    std::vector<rebound_slot> const& slots) const {
    std::vector<std::size_t> found;
    for (std::size_t position = 0; position < m_slots.size(); ++position) {
        auto const was_live = position < slots.size() && slots[position].was_live;
        if (!was_live && is_live(m_slots[position])) {
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
    ++m_activity;
    std::vector<std::size_t> slots;
    slots.reserve(changed.size());
    auto next = m_bindings.cbegin();
    for (auto const id : changed) {
        next = copy_changed(id, next, slots);
    }
    return m_freshness.is_live() && notify(slots);
}

// Returns the binding after those of the variable: that of the next one, if all have changed.
followed_provider::bindings::const_iterator followed_provider::copy_changed(
    variable_id changed, bindings::const_iterator bound, std::vector<std::size_t>& slots) {
    if (m_write && m_write->id == changed) {
        m_write->is_published = true; // the connection may hold what was written
        return bound;
    }
    show_to_watches(changed, true);
    if (bound == m_bindings.cend() || bound->id != changed) {
        bound = std::lower_bound(
            m_bindings.cbegin(), m_bindings.cend(), changed, [](auto const& one, variable_id id) {
                return one.id < id;
            });
    }
    for (; bound != m_bindings.cend() && bound->id == changed; ++bound) {
        copy_value(*bound);
        slots.push_back(bound->slot);
    }
    return bound;
}

bool followed_provider::refresh(provider_connection const* source) {
    std::scoped_lock const lock{m_mutex};
    if (source != m_attachment.connection.get()) {
        return false;
    }
    ++m_activity;
    std::vector<std::size_t> changed;
    for (auto const& bound : m_bindings) {
        auto const& shown = m_slots[bound.slot];
        auto const [value, when] = bound.variable->get_value_with_timestamp();
        auto const quality = bound.variable->get_quality();
        if (value != shown.value || when != shown.when || quality != shown.quality) {
            copy_value(bound);
            changed.push_back(bound.slot);
        }
    }
    return m_freshness.is_live() && notify(changed);
}

bool followed_provider::lose(clock::time_point now) {
    std::scoped_lock const lock{m_mutex};
    if (!m_freshness.lose(now)) {
        return false;
    }
    std::vector<std::size_t> lost;
    for (std::size_t position = 0; position < m_slots.size(); ++position) {
        if (m_slots[position].is_current) {
            lost.push_back(position);
        }
    }
    return notify(lost);
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

std::uint64_t followed_provider::get_activity() const {
    std::scoped_lock const lock{m_mutex};
    return m_activity;
}

// -- the definition -------------------------------------------------------------------------------

void followed_provider::bind(std::vector<rebound_slot>& slots) {
    slots_by_path existing;
    for (std::size_t position = 0; position < m_slots.size(); ++position) {
        existing.emplace(m_slots[position].path, position);
    }
    for (auto const& [id, variable] : m_variables) {
        if (variable) {
            bind_variable(existing, slots, variable);
        }
    }
    m_slots.shrink_to_fit(); // there may be very many, and they stay
    m_bindings.shrink_to_fit();
}

std::vector<followed_provider::rebound_slot> followed_provider::unbind_all() {
    m_bindings.clear();
    std::vector<rebound_slot> slots;
    slots.reserve(m_slots.size());
    for (auto& present : m_slots) {
        slots.push_back({present.is_bound, is_live(present), present.value.index(), {}});
        if (present.is_bound) {
            present.stale_since = m_freshness.get_stale_since();
        }
        present.is_bound = false;
        present.is_current = false;
    }
    return slots;
}

void followed_provider::bind_variable(
    slots_by_path const& existing,
    std::vector<rebound_slot>& slots,
    std::shared_ptr<consumer_variable> const& variable) {
    auto const& path = variable->get_path();
    auto const type = std::get<variable_value>(variable->get_value_with_timestamp()).index();
    auto has_untyped_slot = false;
    auto const [first, last] = existing.equal_range(path);
    for (auto found = first; found != last; ++found) {
        auto const& present = m_slots[found->second];
        auto& rebound = slots[found->second];
        rebound.given = rebound.given.value_or(type);
        has_untyped_slot = has_untyped_slot || !present.type;
        // Of several variables with one path, the one with the lowest id is shown.
        if (!present.is_bound && present.type.value_or(type) == type) {
            bind_slot(found->second, variable);
        }
    }
    if (!has_untyped_slot && is_found_by_a_pattern(path)) {
        bind_slot(add_found_slot(path), variable);
    }
}

void followed_provider::bind_slot(
    std::size_t position, std::shared_ptr<consumer_variable> const& variable) {
    m_slots[position].is_bound = true;
    m_bindings.push_back({variable->get_id(), position, variable});
}

std::size_t followed_provider::add_found_slot(std::string const& path) {
    auto const position = add_slot(path, std::nullopt);
    for (auto const& wanted : m_followed) {
        if (!wanted->get_interest().type && wanted->get_interest().paths.matches(path)) {
            m_slots[position].subscribers.push_back({wanted});
        }
    }
    return position;
}

bool followed_provider::is_found_by_a_pattern(std::string const& path) const {
    return std::any_of(m_followed.begin(), m_followed.end(), [&](auto const& wanted) {
        return !wanted->get_interest().type && wanted->get_interest().paths.matches(path);
    });
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
        if (rebound.was_bound && rebound.given && rebound.type_before != *rebound.given) {
            change.changed_types.push_back({present.path, rebound.type_before, *rebound.given});
        }
    }
    return change;
}

// Each absence is reported once. A variable that no definition has had yet is missing only if the
// application has named it.
void followed_provider::note_absence(
    slot& missing, rebound_slot const& earlier, definition_change& change) {
    auto const is_expected = missing.type.has_value() || earlier.was_bound;
    if (!is_expected || std::exchange(missing.is_absence_reported, true)) {
        return;
    }
    if (earlier.given) {
        change.changed_types.push_back(
            {missing.path, missing.type.value_or(earlier.type_before), *earlier.given});
    } else {
        change.vanished.push_back(missing.path);
    }
}

void followed_provider::copy_value(binding const& bound) {
    if (m_write && m_write->id == bound.id) {
        return; // the connection may hold what was written
    }
    auto& shown = m_slots[bound.slot];
    if (!shown.is_current && bound.variable->get_update_count() == 0) {
        return; // the provider did not send it
    }
    std::tie(shown.value, shown.when) = bound.variable->get_value_with_timestamp();
    shown.quality = bound.variable->get_quality();
    shown.is_received = true;
    shown.is_current = true;
}

void followed_provider::copy_all_values() {
    ++m_activity;
    for (auto const& bound : m_bindings) {
        copy_value(bound);
    }
    for (auto const& watch : m_watches) {
        if (auto const variable = m_variables.find(std::string_view{watch->get_path()})) {
            watch->see(std::get<variable_value>(variable->get_value_with_timestamp()), false);
        }
    }
}

// -- readings -------------------------------------------------------------------------------------

// The changes of one event reach a following together.
bool followed_provider::notify(std::vector<std::size_t> const& changed) {
    std::vector<change_group> groups;
    for (auto const position : changed) {
        add_changes(groups, position);
    }
    return deliver(groups);
}

bool followed_provider::deliver(std::vector<change_group>& groups) {
    for (auto& [wanted, changes] : groups) {
        wanted->add(std::move(changes));
    }
    return !groups.empty();
}

bool followed_provider::show_present(following const& wanted) {
    std::scoped_lock const lock{m_mutex};
    std::vector<change_group> groups;
    for (std::size_t position = 0; position < m_slots.size(); ++position) {
        if (m_slots[position].is_received) {
            add_present(groups, position, wanted);
        }
    }
    return deliver(groups);
}

void followed_provider::add_present(
    std::vector<change_group>& groups, std::size_t position, following const& wanted) {
    for (auto& receiver : m_slots[position].subscribers) {
        if (receiver.wanted.get() == &wanted && !receiver.is_waiting) {
            add_change(groups, position, receiver);
        }
    }
}

void followed_provider::add_changes(std::vector<change_group>& groups, std::size_t position) {
    for (auto& receiver : m_slots[position].subscribers) {
        if (receiver.wanted->has_handler()) {
            add_change(groups, position, receiver);
        }
    }
}

void followed_provider::add_change(
    std::vector<change_group>& groups, std::size_t position, subscriber& receiver) {
    auto const every = receiver.wanted->keeps_every_change();
    if (!every && std::exchange(receiver.is_waiting, true)) {
        ++receiver.skipped;
        return;
    }
    // There are few groups, and the one that was used last is mostly the one.
    auto const found = std::find_if(groups.rbegin(), groups.rend(), [&](auto const& group) {
        return group.first == receiver.wanted;
    });
    auto& group = found != groups.rend() ? *found : groups.emplace_back(receiver.wanted, 0);
    group.second.push_back({this, position, every ? save(m_slots[position]) : std::nullopt});
}

std::optional<saved_change> followed_provider::save(slot const& shown) const {
    return saved_change{
        shown.value, shown.quality, shown.when, m_freshness.begin_reading(), is_live(shown)};
}

bool followed_provider::is_live(slot const& shown) const {
    return shown.is_bound && shown.is_current && m_freshness.is_live();
}

followed_provider::clock::time_point followed_provider::get_stale_since(slot const& shown) const {
    return shown.is_bound ? m_freshness.get_stale_since() : shown.stale_since;
}

// All but the age of a stale reading.
void followed_provider::fill_reading(slot const& shown, any_reading& result) const {
    static_cast<reading<variable_value>&>(result) = {};
    result.provider = m_identifier;
    result.path = shown.path;
    if (shown.is_received) {
        result.value = shown.value;
        result.quality = shown.quality;
        result.when = shown.when;
        result.freshness = is_live(shown) ? freshness::live : freshness::stale;
    }
}

any_reading followed_provider::make_reading(slot const& shown, clock::time_point now) const {
    any_reading result;
    fill_reading(shown, result);
    if (result.freshness == freshness::stale) {
        result.stale_for = now - get_stale_since(shown);
    }
    return result;
}

any_reading followed_provider::get_reading(std::size_t position, clock::time_point now) const {
    std::scoped_lock const lock{m_mutex};
    return make_reading(m_slots.at(position), now);
}

std::vector<any_reading> followed_provider::get_readings(
    following const& wanted, clock::time_point now) const {
    std::scoped_lock const lock{m_mutex};
    std::vector<any_reading> result;
    for (auto const& shown : m_slots) {
        if (std::any_of(
                shown.subscribers.begin(), shown.subscribers.end(), [&](auto const& receiver) {
                    return receiver.wanted.get() == &wanted;
                })) {
            result.push_back(make_reading(shown, now));
        }
    }
    return result;
}

void followed_provider::take_reading(
    pending_change& change,
    following const& wanted,
    clock::time_point (*now)(),
    any_reading& result) {
    std::scoped_lock const lock{m_mutex};
    auto& shown = m_slots[change.slot];
    fill_reading(shown, result);
    if (change.saved) {
        auto& saved = *change.saved;
        result.value = std::move(saved.value);
        result.quality = saved.quality;
        result.when = saved.when;
        if (!saved.is_live || !m_freshness.is_live_since(saved.losses)) {
            result.freshness = freshness::stale;
        }
    } else {
        result.skipped = end_waiting(shown, wanted);
    }
    if (result.freshness == freshness::stale) {
        result.stale_for = now() - get_stale_since(shown);
    }
}

// Returns how many changes were skipped while one waited.
std::uint64_t followed_provider::end_waiting(slot& shown, following const& wanted) {
    for (auto& receiver : shown.subscribers) {
        if (receiver.wanted.get() == &wanted) {
            receiver.is_waiting = false;
            return std::exchange(receiver.skipped, 0);
        }
    }
    return 0;
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
    auto const is_published = m_write->is_published;
    m_write.reset();
    show_to_watches(written, is_published);
    std::vector<std::size_t> changed;
    for (auto const& bound : m_bindings) {
        if (bound.id == written) {
            copy_value(bound);
            changed.push_back(bound.slot);
        }
    }
    return m_freshness.is_live() && notify(changed);
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
