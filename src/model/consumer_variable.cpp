// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "model/consumer_variable_impl.hpp"

#include "model/value_text.hpp"
#include <hub/incompatible_data_type.hpp>
#include <hub/variable_read_only.hpp>

#include <algorithm>
#include <mutex>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

// Intended: narrower than a provider's column.
constexpr int update_count_width = 12;

} // namespace

// What create() allocates: the variable and its reference count in one piece.
struct consumer_variable::consumer_variable_construction_enabler : impl {
    using impl::impl;
};

consumer_variable::impl::impl(
    variable_id id,
    std::string_view path,
    variable_value& initial_value,
    variable_permissions permissions,
    impl* first_of_run)
    : m_value{std::move(initial_value)}
    , m_id{id}
    , m_mutex{first_of_run != nullptr ? first_of_run->m_own_mutex : m_own_mutex}
    , m_permissions{permissions}
    , m_path{path} {}

void consumer_variable::impl::apply_event(
    sliding_lock& lock,
    variable_quality quality,
    std::optional<value_view> const& value,
    timestamp when,
    std::uint64_t event_number) {
    lock.move_to(m_mutex);
    m_latest_event = std::max(m_latest_event, event_number);
    replace_item(quality, value, when);
}

void consumer_variable::impl::apply_reply(
    sliding_lock& lock,
    variable_quality quality,
    std::optional<value_view> const& value,
    timestamp when,
    std::uint64_t latest_event_at_request) {
    lock.move_to(m_mutex);
    if (m_latest_event > latest_event_at_request && when <= m_last_publish_timestamp) {
        // Taken for older than that event. If it is newer, with the same time, its change is still
        // pending at the provider and comes with the next event.
        ++m_update_count; // of every received item
        return;
    }
    replace_item(quality, value, when);
}

void consumer_variable::impl::replace_item(
    variable_quality quality, std::optional<value_view> const& value, timestamp when) {
    if (m_quality != quality) { // rarely; it lies beside what other threads look at
        m_quality = quality;
    }
    if (value) {
        replace_value(*value, when);
    } else {
        m_last_publish_timestamp = when;
        ++m_update_count;
    }
}

template <class Value>
void consumer_variable::impl::replace_value(Value const& value, timestamp when) {
    if (value.index() != m_value.index()) {
        // Intended: the text names set_value() for received values too.
        throw incompatible_data_type{
            m_id, "set_value(): incompatible source data type", value.index(), m_value.index()};
    }
    assign(m_value, value);
    m_last_publish_timestamp = when;
    ++m_update_count;
}

std::shared_ptr<consumer_variable> consumer_variable::create(
    variable_id id,
    std::string const& path,
    variable_value& value,
    variable_permissions permissions) {
    return std::make_shared<consumer_variable_construction_enabler>(id, path, value, permissions);
}

void consumer_variable::update_value(variable_value const& value, timestamp when) {
    auto& self = impl_of(*this);
    std::scoped_lock const lock{self.m_mutex};
    self.replace_value(value, when);
    self.m_latest_event = 0; // the time is no event's any more
}

void consumer_variable::update_quality(variable_quality quality) {
    auto& self = impl_of(*this);
    std::scoped_lock const lock{self.m_mutex};
    self.m_quality = quality;
}

void consumer_variable::set_value(variable_value const& value, timestamp when) {
    auto& self = impl_of(*this);
    std::scoped_lock const lock{self.m_mutex};
    // Intended: unlike on the provider's side, unknown permissions forbid the write.
    if (self.m_permissions != variable_permissions::read_write) {
        throw variable_read_only::for_variable(self.m_id);
    }
    self.replace_value(value, when);
    self.m_latest_event = 0; // the time is no event's any more
}

variable_id consumer_variable::get_id() const {
    return impl_of(*this).m_id;
}

std::string const& consumer_variable::get_path() const {
    return impl_of(*this).m_path;
}

variable_permissions consumer_variable::get_permissions() const {
    return impl_of(*this).m_permissions;
}

// Intended: a reference cannot be guarded, so the lock would promise what it does not keep.
variable_value const& consumer_variable::get_value() CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
    return impl_of(*this).m_value;
}

std::tuple<variable_value, timestamp> consumer_variable::get_value_with_timestamp() {
    auto& self = impl_of(*this);
    std::scoped_lock const lock{self.m_mutex};
    return {self.m_value, self.m_last_publish_timestamp};
}

variable_quality consumer_variable::get_quality() {
    auto& self = impl_of(*this);
    std::scoped_lock const lock{self.m_mutex};
    return self.m_quality;
}

timestamp consumer_variable::get_last_publish_timestamp() {
    auto& self = impl_of(*this);
    std::scoped_lock const lock{self.m_mutex};
    return self.m_last_publish_timestamp;
}

std::uint64_t consumer_variable::get_update_count() {
    auto& self = impl_of(*this);
    std::scoped_lock const lock{self.m_mutex};
    return self.m_update_count;
}

std::ostream& consumer_variable::to_str(std::ostream& os) const {
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

std::ostream& operator<<(std::ostream& os, consumer_variable const& variable) {
    return variable.to_str(os);
}

} // namespace arvenhold::corvel::hub
