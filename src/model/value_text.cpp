// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "model/value_text.hpp"

#include "model/stream_format.hpp"

#include <array>
#include <iomanip>

namespace arvenhold::corvel::hub {

namespace {

// Intended: "duratn" and "tstamp" are shortened so that all labels line up.
constexpr std::array<std::string_view, 6> type_labels{
    "bool   ",
    "double ",
    "int64  ",
    "string ",
    "tstamp ",
    "duratn ",
};
constexpr std::string_view valueless_label{"?????? "};

// Writes integers as texts of their own: a stream may be set to another base, and its locale may
// group digits.
class value_writer {
public:
    explicit value_writer(std::ostream& os)
        : m_os{os} {}

    void operator()(bool value) const {
        m_os << (value ? "true" : "false");
    }

    void operator()(double value) const {
        m_os << value;
    }

    void operator()(std::int64_t value) const {
        m_os << std::to_string(value);
    }

    void operator()(std::string const& value) const {
        m_os << value;
    }

    void operator()(timestamp value) const {
        (*this)(value.time_since_epoch());
    }

    void operator()(std::chrono::nanoseconds value) const {
        (*this)(std::int64_t{value.count()});
    }

private:
    std::ostream& m_os;
};

} // namespace

std::string_view type_label(variable_value const& value) {
    return value.valueless_by_exception() ? valueless_label : type_labels.at(value.index());
}

std::string_view read_only_mark(variable_permissions permissions) {
    return permissions == variable_permissions::read_only ? "y  " : "n  ";
}

// Intended: unknown permissions show as writable, although a consumer refuses to write them.
std::string_view permissions_text(variable_permissions permissions) {
    return permissions == variable_permissions::read_only ? "ro " : "rw ";
}

std::string_view quality_text(variable_quality quality) {
    switch (quality) {
    case variable_quality::bad:
        // Intended: one character shorter than the others; existing readers of dumps expect it.
        return "<       bad       >";
    case variable_quality::uncertain:
        return "<    uncertain    > ";
    case variable_quality::uncertain_last_usable_value:
        return "<unc last usbl val> ";
    case variable_quality::uncertain_initial_value:
        return "< unc initial val > ";
    case variable_quality::good:
        return "<      good       > ";
    }
    // Intended: an unknown quality leaves its column empty, so the rest of the line moves left.
    return "";
}

void write_value(std::ostream& os, variable_value const& value, int width) {
    os << type_label(value);
    if (!value.valueless_by_exception()) {
        os << std::setw(width);
        std::visit(value_writer{os}, value);
    }
}

void write_variable_line(std::ostream& os, variable_dump const& variable) {
    constexpr int id_width = 10;
    constexpr int path_width = 32;
    constexpr int value_width = 32;
    stream_format_guard const format{os};
    os << std::right << '[' << std::setw(id_width) << std::to_string(variable.id) << "] ";
    os << std::left << std::setw(path_width) << variable.path << ' ';
    os << permissions_text(variable.permissions) << quality_text(variable.quality);
    write_value(os, variable.value, value_width);
    os << '[' << std::right << std::setw(variable.update_count_width)
       << std::to_string(variable.update_count) << " @ "
       << std::to_string(variable.last_publish.time_since_epoch().count()) << ']';
}

} // namespace arvenhold::corvel::hub
