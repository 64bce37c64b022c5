// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "model/value_text.hpp"
#include <hub/incompatible_data_type.hpp>
#include <hub/provider_variable.hpp>

#include <utility>

namespace arvenhold::corvel::hub {

namespace {

// Intended: wider than a consumer's column.
constexpr int update_count_width = 19;

} // namespace

// Lets create() use one allocation for the object and its reference count although the constructor
// is private.
struct provider_variable::provider_variable_construction_enabler : provider_variable {
    provider_variable_construction_enabler(
        variable_id id,
        std::string path,
        variable_value& value,
        variable_permissions permissions,
        std::shared_ptr<modification_tracker> tracker)
        : provider_variable{id, std::move(path), value, permissions, std::move(tracker)} {}
};

provider_variable::provider_variable(
    variable_id id,
    std::string path,
    variable_value& value,
    variable_permissions permissions,
    std::shared_ptr<modification_tracker> tracker)
    : m_id{id}
    , m_permissions{permissions}
    , m_value{std::move(value)}
    , m_last_publish_timestamp{std::chrono::system_clock::now()}
    , m_tracker{std::move(tracker)}
    , m_path{std::move(path)} {
    m_tracker->insert(m_id);
}

std::shared_ptr<provider_variable> provider_variable::create(
    variable_id id,
    std::string const& path,
    variable_value& value,
    variable_permissions permissions,
    std::shared_ptr<modification_tracker> const& tracker) {
    return std::make_shared<provider_variable_construction_enabler>(
        id, path, value, permissions, tracker);
}

void provider_variable::set_value(variable_value value, timestamp when) {
    std::scoped_lock const lock{m_mutex};
    if (value.index() != m_value.index()) {
        throw incompatible_data_type{
            m_id, "set_value(): incompatible source data type", value.index(), m_value.index()};
    }
    m_value = std::move(value);
    record_change(when);
}

void provider_variable::set_quality(variable_quality quality, timestamp when) {
    std::scoped_lock const lock{m_mutex};
    m_quality = quality;
    record_change(when);
}

void provider_variable::record_change(timestamp when) {
    m_last_publish_timestamp = when;
    ++m_update_count;
    if (m_tracker_node.empty()) {
        m_tracker->insert(m_id);
    } else {
        m_tracker_node = m_tracker->insert(std::move(m_tracker_node)).node;
    }
}

variable_id provider_variable::get_id() const {
    return m_id;
}

std::string const& provider_variable::get_path() const {
    return m_path;
}

variable_permissions provider_variable::get_permissions() const {
    return m_permissions;
}

// Intended: a reference cannot be guarded, so the lock would promise what it does not keep.
variable_value const& provider_variable::get_value() CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
    return m_value;
}

std::tuple<variable_value, timestamp> provider_variable::get_value_with_timestamp() {
    std::scoped_lock const lock{m_mutex};
    return {m_value, m_last_publish_timestamp};
}

variable_quality provider_variable::get_quality() {
    std::scoped_lock const lock{m_mutex};
    return m_quality;
}

// For whoever holds the list's lock, without which no quality changes.
variable_quality provider_variable::get_listed_quality() const
    CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
    return m_quality;
}

timestamp provider_variable::get_last_publish_timestamp() {
    std::scoped_lock const lock{m_mutex};
    return m_last_publish_timestamp;
}

std::uint64_t provider_variable::get_update_count() {
    std::scoped_lock const lock{m_mutex};
    return m_update_count;
}

std::ostream& provider_variable::to_str(std::ostream& os) const {
    // Copied first: the stream is the application's and is not written to under the lock.
    auto const [value, quality, update_count, last_publish] = [this] {
        std::scoped_lock const lock{m_mutex};
        return std::tuple{m_value, m_quality, m_update_count, m_last_publish_timestamp};
    }();
    write_variable_line(
        os,
        {m_id,
         m_path,
         m_permissions,
         quality,
         value,
         update_count,
         update_count_width,
         last_publish});
    return os;
}

std::ostream& operator<<(std::ostream& os, provider_variable const& variable) {
    return variable.to_str(os);
}

} // namespace arvenhold::corvel::hub
