// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/view/hub_model.hpp"

#include "corvelctl/json_rows.hpp"
#include "corvelctl/output.hpp"
#include "corvelctl/time_text.hpp"
#include "corvelctl/value_text.hpp"
#include "corvelctl/variable_text.hpp"
#include "corvelctl/view/page_json.hpp"

#include <algorithm>
#include <chrono>
#include <set>
#include <utility>

namespace arvenhold::corvel::hub::ctl {

namespace {

using std::chrono::system_clock;

// A value whose time stamp is further from its arrival is drawn at its arrival: it has held for long,
// or the provider's clock differs.
constexpr std::chrono::seconds most_difference{2};
constexpr std::size_t shown_differences = 20; // paths of a replaced definition

sample_status status_of(any_reading const& reading) {
    if (reading.freshness != freshness::live) {
        return sample_status::stale;
    }
    if (reading.quality == variable_quality::good) {
        return sample_status::good;
    }
    return reading.quality == variable_quality::bad ? sample_status::bad : sample_status::uncertain;
}

timestamp find_drawn_time(any_reading const& reading, timestamp arrival) {
    auto const is_near = reading.freshness == freshness::live
                      && std::chrono::abs(get_span(reading.when, arrival)) < most_difference;
    return is_near ? reading.when : arrival;
}

bool is_same_shape(defined_variable const& one, defined_variable const& other) {
    return one.path == other.path && one.type == other.type && one.permissions == other.permissions;
}

void append_difference(
    std::string& text, std::size_t& count, char const* mark, defined_variable const& one) {
    if (++count > shown_differences) {
        return;
    }
    text += text.empty() ? "" : "\n";
    text += mark + one.path + "  " + std::string{get_type_name(one.type)} + ' '
          + make_text(one.permissions);
}

using by_path = std::map<std::string, defined_variable>;

by_path sort_by_path(known_definition const& definition) {
    by_path sorted;
    for (auto const& one : definition.variables) {
        sorted.emplace(one.path, one);
    }
    return sorted;
}

// One line for each path that differs.
std::string describe_difference(known_definition const& before, known_definition const& now) {
    auto const earlier = sort_by_path(before);
    auto const later = sort_by_path(now);
    std::string text;
    std::size_t count = 0;
    for (auto const& [path, one] : earlier) {
        auto const found = later.find(path);
        if (found == later.end() || !is_same_shape(one, found->second)) {
            append_difference(text, count, "- ", one);
        }
    }
    for (auto const& [path, one] : later) {
        auto const found = earlier.find(path);
        if (found == earlier.end() || !is_same_shape(one, found->second)) {
            append_difference(text, count, "+ ", one);
        }
    }
    if (count > shown_differences) {
        text += "\nand " + std::to_string(count - shown_differences) + " more";
    }
    return text;
}

} // namespace

hub_model::hub_model(std::uint64_t most_history_bytes)
    : m_history{most_history_bytes} {}

// -- what the hub reports -------------------------------------------------------------------------

void hub_model::receive_values(std::vector<any_reading> const& now) {
    auto const arrival = timestamp{system_clock::now()};
    std::scoped_lock const lock{m_mutex};
    ++m_version;
    for (auto const& reading : now) {
        store(reading, find_drawn_time(reading, arrival));
    }
}

void hub_model::set_value(any_reading const& reading, timestamp at) {
    std::scoped_lock const lock{m_mutex};
    ++m_version;
    store(reading, at);
}

void hub_model::store(any_reading const& reading, timestamp at) {
    if (reading.freshness == freshness::never_received) {
        return;
    }
    auto const number =
        require_variable(require_provider(reading.provider), reading.path, reading.value.index());
    auto& known = m_variables[number];
    known.latest = reading;
    known.version = m_version;
    m_history.add(number, to_microseconds(at), reading.value, status_of(reading));
}

std::uint32_t hub_model::require_provider(std::string const& name) {
    auto const [place, is_new] =
        m_provider_numbers.try_emplace(name, static_cast<std::uint32_t>(m_providers.size()));
    if (is_new) {
        viewed_provider added;
        added.name = name;
        added.since = system_clock::now();
        added.version = m_version;
        m_providers.push_back(std::move(added));
        m_variable_numbers.emplace_back();
    }
    return place->second;
}

std::uint32_t hub_model::require_variable(
    std::uint32_t provider, std::string const& path, std::size_t type) {
    auto const next = static_cast<std::uint32_t>(m_variables.size());
    auto const [place, is_new] = m_variable_numbers[provider].try_emplace(path, next);
    if (!is_new) {
        auto& known = m_variables[place->second];
        if (known.type == type) {
            return place->second;
        }
        known.gone = true;
        known.shape_version = m_version;
        place->second = next;
    }
    viewed_variable added;
    added.provider = provider;
    added.path = path;
    added.type = type;
    added.shape_version = m_version;
    added.latest.freshness = freshness::never_received;
    m_variables.push_back(std::move(added));
    return next;
}

void hub_model::receive_definition(std::string const& provider, known_definition const& now) {
    set_definition(provider, now, system_clock::now());
}

void hub_model::set_definition(
    std::string const& provider, known_definition const& now, timestamp at) {
    std::scoped_lock const lock{m_mutex};
    ++m_version;
    define(require_provider(provider), now, at);
}

void hub_model::define(std::uint32_t provider, known_definition const& now, timestamp at) {
    auto& owner = m_providers[provider];
    if (owner.definition.has_value()) {
        auto const difference = describe_difference(*owner.definition, now);
        if (!difference.empty()) {
            add_event_locked(
                {0,
                 at,
                 std::string{name_of(provider_event::definition_changed)},
                 owner.name,
                 difference});
        }
    }
    owner.definition = now;
    std::set<std::uint32_t> defined;
    for (auto const& one : now.variables) {
        auto const number = require_variable(provider, one.path, one.type);
        defined.insert(number);
        auto& known = m_variables[number];
        std::string_view const access =
            one.permissions == variable_permissions::read_write ? "read-write" : "read-only";
        if (known.access != access || known.gone) {
            known.access = access;
            known.gone = false;
            known.shape_version = m_version;
        }
    }
    for (auto const& [path, number] : m_variable_numbers[provider]) {
        auto& known = m_variables[number];
        if (!known.gone && !defined.contains(number)) {
            known.gone = true;
            known.shape_version = m_version;
        }
    }
}

void hub_model::receive_notice(provider_notice const& notice) {
    std::scoped_lock const lock{m_mutex};
    ++m_version;
    if (notice.event == provider_event::definition_changed) {
        return; // receive_definition() follows, and knows the difference
    }
    auto& known = m_providers[require_provider(notice.provider)];
    auto const is_back = notice.event == provider_event::back;
    known.state = is_back ? name_of(provider_event::here) : name_of(notice.event);
    known.text = notice.text;
    known.since = notice.when;
    known.version = m_version;
    add_event_locked(
        {0, notice.when, std::string{name_of(notice.event)}, notice.provider, notice.text});
}

void hub_model::receive_hub_state(std::string const& why) {
    std::scoped_lock const lock{m_mutex};
    ++m_version;
    m_hub_loss = why;
    m_hub_since = system_clock::now();
    add_event_locked({0, m_hub_since, why.empty() ? "hub_back" : "hub_lost", "", why});
}

void hub_model::receive_dropped(std::uint64_t count) {
    std::scoped_lock const lock{m_mutex};
    ++m_version;
    add_event_locked({0, system_clock::now(), "dropped", "", make_dropped_text(count, "change")});
}

void hub_model::add_event(hub_event happened) {
    {
        std::scoped_lock const lock{m_mutex};
        ++m_version;
        add_event_locked(std::move(happened));
        m_told_version = m_version;
    }
    m_changed.notify_all();
}

void hub_model::add_event_locked(hub_event happened) {
    happened.sequence = m_version;
    m_events.push_back(std::move(happened));
    if (m_events.size() > most_events) {
        m_events.pop_front();
    }
}

void hub_model::finish_round(supervisor::clock::time_point /*now*/) {
    {
        std::scoped_lock const lock{m_mutex};
        m_told_version = m_version;
    }
    m_changed.notify_all();
}

// -- what browsers ask for ------------------------------------------------------------------------

bool hub_model::wait_for_changes(std::uint64_t behind, supervisor::clock::time_point limit) const {
    std::unique_lock lock{m_mutex};
    m_changed.wait_until(lock, limit, [&] { return m_closed || m_told_version > behind; });
    return !m_closed;
}

void hub_model::close() {
    {
        std::scoped_lock const lock{m_mutex};
        m_closed = true;
    }
    m_changed.notify_all();
}

std::optional<variable_value> hub_model::find_value(
    std::string const& provider, std::string const& path) const {
    std::scoped_lock const lock{m_mutex};
    auto const owner = m_provider_numbers.find(provider);
    if (owner == m_provider_numbers.end()) {
        return std::nullopt;
    }
    auto const found = m_variable_numbers[owner->second].find(path);
    if (found == m_variable_numbers[owner->second].end()) {
        return std::nullopt;
    }
    return m_variables[found->second].latest.value;
}

std::uint64_t hub_model::append_changes(std::string& text, std::uint64_t behind) const {
    std::scoped_lock const lock{m_mutex};
    text += "{\"now\":" + std::to_string(to_microseconds(system_clock::now()));
    append_hub(text);
    append_held(text);
    append_providers(text, behind);
    append_variables(text, behind);
    append_values(text, behind);
    append_events(text, behind);
    text += '}';
    return m_version;
}

void hub_model::append_hub(std::string& text) const {
    text += R"(,"hub":{"lost":)";
    append_string(text, m_hub_loss);
    text += ",\"since\":" + std::to_string(to_microseconds(m_hub_since)) + '}';
}

void hub_model::append_held(std::string& text) const {
    text += R"(,"held":{"samples":)" + std::to_string(m_history.get_sample_count())
          + ",\"bytes\":" + std::to_string(m_history.get_size_in_bytes())
          + ",\"limit\":" + std::to_string(m_history.get_limit_in_bytes())
          + ",\"oldest\":" + std::to_string(m_history.get_oldest_time().value_or(0)) + '}';
}

void hub_model::append_providers(std::string& text, std::uint64_t behind) const {
    json_list list{text, "providers"};
    for (std::size_t number = 0; number < m_providers.size(); ++number) {
        auto const& one = m_providers[number];
        if (one.version > behind) {
            list.begin_element();
            text += '[' + std::to_string(number) + ',';
            append_string(text, one.name);
            text += ",\"" + one.state + "\",";
            append_string(text, one.text);
            text += ',' + std::to_string(to_microseconds(one.since)) + ']';
        }
    }
}

void hub_model::append_variables(std::string& text, std::uint64_t behind) const {
    json_list list{text, "variables"};
    for (std::size_t number = 0; number < m_variables.size(); ++number) {
        auto const& one = m_variables[number];
        if (one.shape_version > behind) {
            list.begin_element();
            text += '[' + std::to_string(number) + ',' + std::to_string(one.provider) + ',';
            append_string(text, one.path);
            text += ",\"";
            text += get_type_name(one.type);
            text += R"(",")";
            text += one.access;
            text += one.gone ? "\",true]" : "\",false]";
        }
    }
}

void hub_model::append_values(std::string& text, std::uint64_t behind) const {
    json_list list{text, "values"};
    for (std::size_t number = 0; number < m_variables.size(); ++number) {
        auto const& one = m_variables[number];
        if (one.version > behind) {
            list.begin_element();
            text += '[' + std::to_string(number) + ',';
            append_json_value(text, one.latest.value);
            text += ',' + std::to_string(static_cast<std::uint32_t>(one.latest.quality)) + ','
                  + std::to_string(to_microseconds(one.latest.when))
                  + (one.latest.freshness == freshness::live ? ",0]" : ",1]");
        }
    }
}

void hub_model::append_events(std::string& text, std::uint64_t behind) const {
    json_list list{text, "events"};
    for (auto const& one : m_events) {
        if (one.sequence > behind) {
            list.begin_element();
            text += '[' + std::to_string(one.sequence) + ','
                  + std::to_string(to_microseconds(one.when)) + ",\"" + one.kind + "\",";
            append_string(text, one.provider);
            text += ',';
            append_string(text, one.text);
            text += ']';
        }
    }
}

void hub_model::append_history(std::string& text, value_history::query const& wanted) const {
    std::unique_lock lock{m_mutex};
    auto const found = m_history.find(wanted);
    text += "{\"sequence\":" + std::to_string(m_history.get_sequence())
          + ",\"now\":" + std::to_string(to_microseconds(system_clock::now()));
    lock.unlock();
    json_list list{text, "series"};
    for (std::size_t place = 0; place < found.size(); ++place) {
        list.begin_element();
        text += '[' + std::to_string(wanted.variables[place]);
        for (auto const& point : found[place]) {
            text += ",[" + std::to_string(point.time) + ',';
            append_json_value(text, point.value);
            text += ',' + std::to_string(static_cast<unsigned>(point.status)) + ']';
        }
        text += ']';
    }
    list.end();
    text += '}';
}

} // namespace arvenhold::corvel::hub::ctl
