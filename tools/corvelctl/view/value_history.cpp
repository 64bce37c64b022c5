// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/view/value_history.hpp"

#include "corvelctl/table.hpp"

#include <algorithm>
#include <bit>
#include <chrono>
#include <iterator>
#include <type_traits>
#include <utility>
#include <variant>

namespace arvenhold::corvel::hub::ctl {

namespace {

constexpr std::size_t text_type = 3; // index into variable_value

bool is_equal(variable_value const& one, variable_value const& other) {
    auto const* const number = std::get_if<double>(&one);
    auto const* const other_number = std::get_if<double>(&other);
    if (number != nullptr && other_number != nullptr) {
        // A NaN is equal to another one.
        return std::bit_cast<std::uint64_t>(*number) == std::bit_cast<std::uint64_t>(*other_number);
    }
    return one == other;
}

variable_value cut(variable_value value) {
    auto* const text = std::get_if<std::string>(&value);
    if (text != nullptr) {
        text->resize(cut_text(*text, value_history::longest_text).size());
    }
    return value;
}

} // namespace

value_history::value_history(std::uint64_t most_bytes)
    : m_limit{most_bytes} {}

void value_history::add(
    std::uint32_t variable, std::int64_t time, variable_value const& value, sample_status status) {
    if (m_variables.size() <= variable) {
        m_variables.resize(variable + std::size_t{1});
    }
    auto& known = m_variables[variable];
    history_point now{time, cut(value), status};
    if (known.latest.has_value()) {
        if (known.latest->status == status && is_equal(known.latest->value, now.value)) {
            return;
        }
        now.time = std::max(time, known.latest->time);
    }
    m_samples.push_back(
        {now.time,
         encode(now.value),
         variable,
         static_cast<std::uint8_t>(now.value.index()),
         status});
    known.latest = std::move(now);
    while (get_size_in_bytes() > m_limit && !m_samples.empty()) {
        drop_oldest();
    }
}

void value_history::drop_oldest() {
    auto const& oldest = m_samples.front();
    m_variables[oldest.variable].gone = decode(oldest);
    if (oldest.type == text_type) {
        m_text_bytes -= m_texts.front().size();
        m_texts.pop_front();
        ++m_first_text;
    }
    m_samples.pop_front();
    ++m_first;
}

std::uint64_t value_history::encode(variable_value const& value) {
    return std::visit(
        [this](auto const& typed) -> std::uint64_t {
            using type = std::decay_t<decltype(typed)>;
            if constexpr (std::is_same_v<type, std::string>) {
                m_texts.push_back(typed);
                m_text_bytes += typed.size();
                return m_first_text + m_texts.size() - 1;
            } else if constexpr (std::is_same_v<type, double>) {
                return std::bit_cast<std::uint64_t>(typed);
            } else if constexpr (std::is_same_v<type, timestamp>) {
                return static_cast<std::uint64_t>(typed.time_since_epoch().count());
            } else if constexpr (std::is_same_v<type, std::chrono::nanoseconds>) {
                return static_cast<std::uint64_t>(typed.count());
            } else {
                return static_cast<std::uint64_t>(typed);
            }
        },
        value);
}

history_point value_history::decode(sample const& stored) const {
    auto const number = static_cast<std::int64_t>(stored.bits);
    auto const make = [&]() -> variable_value {
        switch (stored.type) {
        case 0:
            return stored.bits != 0;
        case 1:
            return std::bit_cast<double>(stored.bits);
        case 2:
            return number;
        case text_type:
            return *std::next(
                m_texts.begin(), static_cast<std::ptrdiff_t>(stored.bits - m_first_text));
        case 4:
            return timestamp{std::chrono::nanoseconds{number}};
        default:
            return std::chrono::nanoseconds{number};
        }
    };
    return {stored.time, make(), stored.status};
}

std::vector<std::vector<history_point>> value_history::find(query const& wanted) const {
    auto const found = collect(wanted);
    std::vector<std::vector<history_point>> result(wanted.variables.size());
    for (std::size_t place = 0; place < result.size(); ++place) {
        auto& points = result[place];
        auto const before = find_before(wanted, wanted.variables[place], found[place]);
        if (before.has_value()) {
            points.push_back(*before);
        }
        for (auto const position : reduce(found[place].inside, wanted.most)) {
            points.push_back(decode(m_samples[position]));
        }
    }
    return result;
}

// The samples of each variable of the query.
std::vector<value_history::found_samples> value_history::collect(query const& wanted) const {
    std::vector<found_samples> found(wanted.variables.size());
    std::vector<found_samples*> places(m_variables.size());
    for (std::size_t place = 0; place < wanted.variables.size(); ++place) {
        if (wanted.variables[place] < places.size()) {
            places[wanted.variables[place]] = &found[place];
        }
    }
    auto const skipped = std::min<std::uint64_t>(
        m_samples.size(), std::max(wanted.after.value_or(0), m_first) - m_first);
    auto const begin = m_samples.begin();
    for (auto one = std::next(begin, static_cast<std::ptrdiff_t>(skipped)); one != m_samples.end();
         ++one) {
        auto* const of_variable = places[one->variable];
        if (of_variable == nullptr || one->time > wanted.to) {
            continue;
        }
        auto const position = static_cast<std::size_t>(one - begin);
        if (one->time < wanted.from) {
            of_variable->before = position;
        } else {
            of_variable->inside.push_back(position);
        }
    }
    return found;
}

// What a variable held when the span of the query began.
std::optional<history_point> value_history::find_before(
    query const& wanted, std::uint32_t variable, found_samples const& found) const {
    if (found.before.has_value()) {
        return decode(m_samples[*found.before]);
    }
    return wanted.after.has_value() || variable >= m_variables.size() ? std::nullopt
                                                                      : m_variables[variable].gone;
}

// Of each group of neighbours with the same status the first, the smallest, the largest and the last
// one stay.
value_history::positions value_history::reduce(positions const& all, std::size_t most) const {
    if (all.size() <= most) {
        return all;
    }
    constexpr std::size_t kept_of_group = 4;
    auto const size = (all.size() * kept_of_group + most - 1) / std::max<std::size_t>(most, 1);
    positions kept;
    std::size_t begin = 0;
    for (std::size_t index = 1; index <= all.size(); ++index) {
        if (index == all.size() || index - begin == size
            || m_samples[all[index]].status != m_samples[all[begin]].status) {
            append_extremes(kept, all, begin, index);
            begin = index;
        }
    }
    return kept;
}

void value_history::append_extremes(
    positions& kept, positions const& all, std::size_t begin, std::size_t end) const {
    auto smallest = begin;
    auto largest = begin;
    for (auto index = begin + 1; index < end; ++index) {
        if (get_number(all[index]) < get_number(all[smallest])) {
            smallest = index;
        }
        if (get_number(all[index]) > get_number(all[largest])) {
            largest = index;
        }
    }
    auto const middle = std::minmax(smallest, largest);
    auto last = begin;
    kept.push_back(all[begin]);
    for (auto const index : {middle.first, middle.second, end - 1}) {
        if (index != last) {
            kept.push_back(all[index]);
            last = index;
        }
    }
}

double value_history::get_number(std::size_t position) const {
    auto const& one = m_samples[position];
    return one.type == 1 ? std::bit_cast<double>(one.bits)
                         : static_cast<double>(static_cast<std::int64_t>(one.bits));
}

std::uint64_t value_history::get_sequence() const {
    return m_first + m_samples.size();
}

std::optional<std::int64_t> value_history::get_oldest_time() const {
    return m_samples.empty() ? std::nullopt : std::optional{m_samples.front().time};
}

std::size_t value_history::get_size_in_bytes() const {
    return m_samples.size() * sizeof(sample) + m_texts.size() * sizeof(std::string) + m_text_bytes;
}

std::uint64_t value_history::get_limit_in_bytes() const {
    return m_limit;
}

std::size_t value_history::get_sample_count() const {
    return m_samples.size();
}

} // namespace arvenhold::corvel::hub::ctl
