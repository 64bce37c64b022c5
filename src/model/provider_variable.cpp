// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "model/provider_variable_impl.hpp"

#include "model/value_text.hpp"
#include <hub/incompatible_data_type.hpp>

#include <mutex>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

// Intended: wider than a consumer's column.
constexpr int update_count_width = 19;

} // namespace

// What create() allocates: the variable and its reference count in one piece.
struct provider_variable::provider_variable_construction_enabler : impl {
    using impl::impl;
};

provider_variable::impl::impl(
    variable_id id,
    std::string path,
    variable_value& initial_value,
    variable_permissions permissions,
    std::shared_ptr<pending_set> pending)
    : m_id{id}
    , m_permissions{permissions}
    , m_value{std::move(initial_value)}
    , m_last_publish_timestamp{std::chrono::system_clock::now()}
    , m_pending{std::move(pending)}
    , m_path{std::move(path)} {
    m_pending->insert(m_id);
}

void provider_variable::impl::store_value(variable_value&& value, timestamp when) {
    std::scoped_lock const lock{m_mutex};
    if (value.index() != m_value.index()) {
        throw incompatible_data_type{
            m_id, "set_value(): incompatible source data type", value.index(), m_value.index()};
    }
    m_pending->insert(m_id);
    m_value = std::move(value);
    stamp(when);
}

void provider_variable::impl::store_quality(variable_quality quality, timestamp when) {
    std::scoped_lock const lock{m_mutex};
    m_pending->insert(m_id);
    m_quality = quality;
    stamp(when);
}

void provider_variable::impl::retire(timestamp when) {
    std::scoped_lock const lock{m_mutex};
    m_quality = variable_quality::bad;
    stamp(when);
}

void provider_variable::impl::stamp(timestamp when) {
    m_last_publish_timestamp = when;
    ++m_update_count;
}

// Unchecked: the lock that is held is the list's, which the analysis cannot know here.
provider_variable::impl::listed_state provider_variable::impl::get_listed_state() const
    CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
    return {m_value, m_quality, m_last_publish_timestamp};
}

std::shared_ptr<provider_variable> provider_variable::create(
    variable_id id,
    std::string const& path,
    variable_value& value,
    variable_permissions permissions,
    std::shared_ptr<modification_tracker> const& tracker) {
    return std::make_shared<provider_variable_construction_enabler>(
        id, path, value, permissions, std::make_shared<pending_set>(tracker));
}

void provider_variable::set_value(variable_value value, timestamp when) {
    impl_of(*this).store_value(std::move(value), when);
}

void provider_variable::set_quality(variable_quality quality, timestamp when) {
    impl_of(*this).store_quality(quality, when);
}

variable_id provider_variable::get_id() const {
    return impl_of(*this).m_id;
}

std::string const& provider_variable::get_path() const {
    return impl_of(*this).m_path;
}

variable_permissions provider_variable::get_permissions() const {
    return impl_of(*this).m_permissions;
}

// Intended: a reference cannot be guarded, so the lock would promise what it does not keep.
variable_value const& provider_variable::get_value() CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
    return impl_of(*this).m_value;
}

std::tuple<variable_value, timestamp> provider_variable::get_value_with_timestamp() {
    auto& self = impl_of(*this);
    std::scoped_lock const lock{self.m_mutex};
    return {self.m_value, self.m_last_publish_timestamp};
}

variable_quality provider_variable::get_quality() {
    auto& self = impl_of(*this);
    std::scoped_lock const lock{self.m_mutex};
    return self.m_quality;
}

timestamp provider_variable::get_last_publish_timestamp() {
    auto& self = impl_of(*this);
    std::scoped_lock const lock{self.m_mutex};
    return self.m_last_publish_timestamp;
}

std::uint64_t provider_variable::get_update_count() {
    auto& self = impl_of(*this);
    std::scoped_lock const lock{self.m_mutex};
    return self.m_update_count;
}

std::ostream& provider_variable::to_str(std::ostream& os) const {
    auto const& self = impl_of(*this);
    // Copied first: the stream is the application's and is not written to under the lock.
    auto const [value, quality, update_count, last_publish] = [&self] {
        std::scoped_lock const lock{self.m_mutex};
        return std::tuple{
            self.m_value, self.m_quality, self.m_update_count, self.m_last_publish_timestamp};
    }();
    write_variable_line(
        os,
        {self.m_id,
         self.m_path,
         self.m_permissions,
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
