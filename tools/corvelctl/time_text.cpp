// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/time_text.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <iomanip>
#include <limits>
#include <sstream>
#include <system_error>

namespace arvenhold::corvel::hub::ctl {

namespace {

using std::chrono::nanoseconds;

constexpr nanoseconds second = std::chrono::seconds{1};
constexpr std::size_t digits_of_nanoseconds = 9;

struct unit {
    std::string_view name;
    nanoseconds length;
};

// From the largest to the smallest.
constexpr std::array<unit, 8> units{{
    {"d", std::chrono::hours{24}},
    {"h", std::chrono::hours{1}},
    {"min", std::chrono::minutes{1}},
    {"m", std::chrono::minutes{1}},
    {"s", second},
    {"ms", std::chrono::milliseconds{1}},
    {"us", std::chrono::microseconds{1}},
    {"ns", nanoseconds{1}},
}};

struct calendar_time {
    std::tm fields{};
    std::int64_t nanoseconds = 0; // of the second
};

calendar_time split(timestamp when, bool utc) {
    // Not std::chrono::floor(), which leaves the range of nanoseconds for the first of them.
    auto const count = when.time_since_epoch().count();
    auto seconds = std::time_t{count / second.count()};
    calendar_time result;
    result.nanoseconds = count % second.count();
    if (result.nanoseconds < 0) {
        --seconds;
        result.nanoseconds += second.count();
    }
    if (utc) {
        ::gmtime_r(&seconds, &result.fields);
    } else {
        ::localtime_r(&seconds, &result.fields);
    }
    return result;
}

std::string nine_digits(std::int64_t count) {
    auto digits = std::to_string(count);
    digits.insert(0, digits_of_nanoseconds - digits.size(), '0');
    return digits;
}

std::string format(std::tm const& fields, char const* pattern) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << std::put_time(&fields, pattern);
    return text.str();
}

// "1.5" for 1,500,000 of a unit of 1,000,000.
std::string make_decimal(nanoseconds span, nanoseconds of_unit) {
    auto const negative = span < nanoseconds::zero();
    // Unsigned, because the most negative number has no positive one.
    auto const count = negative ? 0 - static_cast<std::uint64_t>(span.count())
                                : static_cast<std::uint64_t>(span.count());
    auto const length = static_cast<std::uint64_t>(of_unit.count());
    auto text = (negative ? "-" : "") + std::to_string(count / length);
    auto const width = std::to_string(length).size() - 1;
    auto fraction = std::to_string(count % length);
    fraction.insert(0, width - std::min(width, fraction.size()), '0');
    fraction.erase(fraction.find_last_not_of('0') + 1);
    return fraction.empty() ? text : text + '.' + fraction;
}

// Reads the digits and nothing else.
template <class Number>
std::optional<Number> parse_digits(std::string_view text) {
    Number number{};
    auto const* const end = text.data() + text.size();
    auto const [stopped, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc{} || stopped != end || text.empty()) {
        return std::nullopt;
    }
    return number;
}

std::optional<int> parse_field(std::string_view text, std::size_t position, std::size_t width) {
    auto const field = text.substr(std::min(position, text.size()), width);
    auto const is_digit = [](char character) {
        return character >= '0' && character <= '9';
    };
    if (field.size() != width || !std::all_of(field.begin(), field.end(), is_digit)) {
        return std::nullopt;
    }
    return parse_digits<int>(field);
}

// "+01:00" or "Z"; local time ahead of UTC has "+".
std::optional<std::chrono::minutes> parse_offset(std::string_view text) {
    if (text == "Z" || text == "z") {
        return std::chrono::minutes{0};
    }
    constexpr std::size_t length = 6;
    if (text.size() != length || text[3] != ':' || (text[0] != '+' && text[0] != '-')) {
        return std::nullopt;
    }
    auto const hours = parse_field(text, 1, 2);
    auto const minutes = parse_field(text, 4, 2);
    if (!hours || !minutes || *hours > 23 || *minutes > 59) {
        return std::nullopt;
    }
    auto const offset = std::chrono::hours{*hours} + std::chrono::minutes{*minutes};
    return text[0] == '-' ? -offset : offset;
}

// The seconds since the epoch of "2026-11-22T03:08:24".
std::optional<std::chrono::seconds> parse_calendar(std::string_view text) {
    constexpr std::string_view separators = "--T::";
    constexpr std::array<std::size_t, 5> places{4, 7, 10, 13, 16};
    for (std::size_t index = 0; index < places.size(); ++index) {
        auto const character = text[places[index]];
        auto const is_space = index == 2 && (character == ' ' || character == 't');
        if (character != separators[index] && !is_space) {
            return std::nullopt;
        }
    }
    auto const year = parse_field(text, 0, 4);
    auto const month = parse_field(text, 5, 2);
    auto const day = parse_field(text, 8, 2);
    auto const hour = parse_field(text, 11, 2);
    auto const minute = parse_field(text, 14, 2);
    auto const seconds = parse_field(text, 17, 2);
    if (!year || !month || !day || !hour || !minute || !seconds) {
        return std::nullopt;
    }
    std::chrono::year_month_day const date{
        std::chrono::year{*year},
        std::chrono::month{static_cast<unsigned>(*month)},
        std::chrono::day{static_cast<unsigned>(*day)}};
    if (!date.ok() || *hour > 23 || *minute > 59 || *seconds > 60) {
        return std::nullopt;
    }
    return std::chrono::sys_days{date}.time_since_epoch() + std::chrono::hours{*hour}
         + std::chrono::minutes{*minute} + std::chrono::seconds{*seconds};
}

// ".123" as nanoseconds; removes it from the text.
std::optional<nanoseconds> parse_fraction(std::string_view& text) {
    if (text.empty() || text.front() != '.') {
        return nanoseconds::zero();
    }
    text.remove_prefix(1);
    auto const size = std::min(text.find_first_not_of("0123456789"), text.size());
    std::string digits{text.substr(0, size)};
    text.remove_prefix(size);
    if (digits.empty() || digits.size() > digits_of_nanoseconds) {
        return std::nullopt;
    }
    digits.append(digits_of_nanoseconds - digits.size(), '0');
    return nanoseconds{*parse_digits<std::int64_t>(digits)};
}

std::optional<timestamp> make_time(std::chrono::seconds seconds, nanoseconds fraction) {
    std::int64_t count = 0;
    if (__builtin_mul_overflow(seconds.count(), second.count(), &count)
        || __builtin_add_overflow(count, fraction.count(), &count)) {
        return std::nullopt;
    }
    return timestamp{nanoseconds{count}};
}

} // namespace

std::string make_rfc3339(timestamp when) {
    auto const time = split(when, true);
    return format(time.fields, "%Y-%m-%dT%H:%M:%S.") + nine_digits(time.nanoseconds) + 'Z';
}

std::string make_readable(timestamp when, bool utc) {
    auto const time = split(when, utc);
    auto digits = nine_digits(time.nanoseconds);
    while (digits.size() > 3 && digits.ends_with("000")) {
        digits.erase(digits.size() - 3);
    }
    return format(time.fields, "%Y-%m-%d %H:%M:%S.") + digits + (utc ? "Z" : "");
}

std::string make_short(timestamp when, bool utc) {
    auto const time = split(when, utc);
    auto const digits = nine_digits(time.nanoseconds).substr(0, 3);
    return format(time.fields, "%Y-%m-%d %H:%M:%S.") + digits + (utc ? "Z" : "");
}

std::chrono::duration<double> get_span(timestamp from, timestamp to) {
    using exact = std::chrono::duration<long double, std::nano>;
    return exact{to.time_since_epoch()} - exact{from.time_since_epoch()};
}

std::optional<timestamp> parse_time(std::string_view text) {
    if (text.starts_with('@')) {
        auto const count = parse_digits<std::int64_t>(text.substr(1));
        return count ? std::optional{timestamp{nanoseconds{*count}}} : std::nullopt;
    }
    constexpr std::size_t calendar_size = 19;
    if (text.size() <= calendar_size) {
        return std::nullopt;
    }
    auto const seconds = parse_calendar(text);
    auto rest = text.substr(calendar_size);
    auto const fraction = parse_fraction(rest);
    auto const offset = parse_offset(rest);
    if (!seconds || !fraction || !offset) {
        return std::nullopt;
    }
    return make_time(*seconds - *offset, *fraction);
}

std::string make_readable(nanoseconds span) {
    auto const fits = [span](unit const& one) {
        return one.length <= second && (span >= one.length || span <= -one.length);
    };
    auto const* const chosen = std::find_if(units.begin(), units.end(), fits);
    if (chosen == units.end()) {
        return "0s";
    }
    return make_decimal(span, chosen->length).append(chosen->name);
}

std::string make_seconds(nanoseconds span) {
    return make_decimal(span, second) + 's';
}

std::optional<parsed_span> parse_span(std::string_view text) {
    auto const negative = text.starts_with('-');
    text.remove_prefix(negative || text.starts_with('+') ? 1 : 0);
    auto const end_of_number = std::min(text.find_first_not_of("0123456789."), text.size());
    auto const number = text.substr(0, end_of_number);
    auto const name = text.substr(end_of_number);
    auto const* const found = std::find_if(
        units.begin(), units.end(), [name](unit const& one) { return one.name == name; });
    auto const point = std::min(number.find('.'), number.size());
    auto const whole = parse_digits<std::int64_t>(number.substr(0, point));
    auto const fraction = number.substr(std::min(point + 1, number.size()));
    if (found == units.end() || !whole || (point < number.size() && fraction.empty())) {
        return std::nullopt;
    }
    long double part = 0;
    if (!fraction.empty()) {
        auto const digits = parse_digits<std::uint64_t>(fraction);
        if (!digits) {
            return std::nullopt;
        }
        part = static_cast<long double>(*digits)
             / std::pow(10.0L, static_cast<long double>(fraction.size()))
             * static_cast<long double>(found->length.count());
    }
    auto const rounded = std::round(part);
    std::int64_t count = 0;
    if (__builtin_mul_overflow(*whole, found->length.count(), &count)
        || __builtin_add_overflow(count, static_cast<std::int64_t>(rounded), &count)) {
        return std::nullopt;
    }
    constexpr long double tolerance = 1e-3L; // the rounding of the division, in nanoseconds
    return parsed_span{
        nanoseconds{negative ? -count : count}, std::fabs(part - rounded) < tolerance};
}

} // namespace arvenhold::corvel::hub::ctl
