// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/value_text.hpp"

#include "corvelctl/time_text.hpp"
#include "dev_hub/base64_text.hpp"
#include <hub/names.hpp>

#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <optional>
#include <system_error>
#include <variant>

namespace arvenhold::corvel::hub::ctl {

namespace {

constexpr std::int64_t largest_exact = std::int64_t{1} << 53U; // that a double can count to

// What a value of each type looks like, for error texts.
template <class Type>
constexpr std::string_view examples{};
template <>
constexpr std::string_view examples<bool> = "true or false";
template <>
constexpr std::string_view examples<double> = "21.5, -3e4, nan or inf";
template <>
constexpr std::string_view examples<std::int64_t> = "42, -7 or 0x2A";
template <>
constexpr std::string_view examples<timestamp> =
    "2026-11-22T03:08:24Z or @ and nanoseconds since 1970";
template <>
constexpr std::string_view examples<std::chrono::nanoseconds> = "1.5s, 250ms or 3min";

template <class Type>
failure make_refusal(std::string_view text, std::string_view reason) {
    return failure{
        exit_code::refused_locally,
        '"' + std::string{text} + "\" is no " + std::string{type_name_of(Type{})}
            + std::string{reason},
        "write " + std::string{examples<Type>}};
}

bool has_decimal_comma(std::string_view text) {
    auto const comma = text.find(',');
    return comma != std::string_view::npos && text.find_first_not_of("+-0123456789", 0) == comma;
}

template <class Type>
std::string_view explain(std::string_view text) {
    return has_decimal_comma(text) ? ": it has a decimal comma where a point is needed" : "";
}

template <class Number>
void append_digits(std::string& text, Number number) {
    constexpr std::size_t longest = 32;
    std::array<char, longest> digits{};
    auto const end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    text.append(digits.data(), end);
}

std::string double_text(double value) {
    if (std::isnan(value)) {
        return "nan";
    }
    std::string text;
    append_digits(text, value);
    return text;
}

bool is_utf8(std::string const& text) {
    try {
        static_cast<void>(nlohmann::json(text).dump());
        return true;
    } catch (nlohmann::json::type_error const&) {
        return false;
    }
}

// The parsers, one for each type.

template <class Type>
parsed_value parse_as(std::string_view text);

template <>
parsed_value parse_as<bool>(std::string_view text) {
    if (text == "true" || text == "on" || text == "yes" || text == "1") {
        return {true, {}};
    }
    if (text == "false" || text == "off" || text == "no" || text == "0") {
        return {false, {}};
    }
    throw make_refusal<bool>(text, "");
}

template <>
parsed_value parse_as<double>(std::string_view text) {
    auto const digits = text.substr(text.starts_with('+') ? 1 : 0);
    auto const* const end = digits.data() + digits.size();
    double value = 0;
    auto const [stopped, error] = std::from_chars(digits.data(), end, value);
    if (error == std::errc::result_out_of_range && stopped == end) {
        throw make_refusal<double>(text, ": it is out of range");
    }
    if (error != std::errc{} || stopped != end) {
        throw make_refusal<double>(text, explain<double>(text));
    }
    return {value, {}};
}

// Hexadecimal numbers are bit patterns: 0xFFFFFFFFFFFFFFFF is -1, as in a variable that carries
// unsigned numbers.
std::optional<std::int64_t> parse_bits(std::string_view digits, std::errc& error) {
    std::uint64_t bits = 0;
    auto const* const end = digits.data() + digits.size();
    auto const result = std::from_chars(digits.data(), end, bits, 16);
    error = result.ec;
    if (result.ec != std::errc{} || result.ptr != end) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(bits);
}

std::optional<std::int64_t> parse_decimal(std::string_view digits, std::errc& error) {
    std::int64_t number = 0;
    auto const* const end = digits.data() + digits.size();
    auto const result = std::from_chars(digits.data(), end, number);
    error = result.ec;
    if (result.ec != std::errc{} || result.ptr != end) {
        return std::nullopt;
    }
    return number;
}

template <>
parsed_value parse_as<std::int64_t>(std::string_view text) {
    auto const digits = text.substr(text.starts_with('+') ? 1 : 0);
    std::errc error{};
    auto const number = digits.starts_with("0x") || digits.starts_with("0X")
                          ? parse_bits(digits.substr(2), error)
                          : parse_decimal(digits, error);
    if (number.has_value()) {
        return {*number, {}};
    }
    if (error == std::errc::result_out_of_range) {
        throw make_refusal<std::int64_t>(text, ": it does not fit into 64 bits");
    }
    throw make_refusal<std::int64_t>(text, explain<std::int64_t>(text));
}

template <>
parsed_value parse_as<std::string>(std::string_view text) {
    return {std::string{text}, {}};
}

template <>
parsed_value parse_as<timestamp>(std::string_view text) {
    auto const when = parse_time(text);
    if (!when.has_value()) {
        throw make_refusal<timestamp>(text, "");
    }
    return {*when, {}};
}

template <>
parsed_value parse_as<std::chrono::nanoseconds>(std::string_view text) {
    auto const parsed = parse_span(text);
    if (!parsed.has_value()) {
        throw make_refusal<std::chrono::nanoseconds>(text, explain<std::chrono::nanoseconds>(text));
    }
    auto const rest = parsed->span % std::chrono::microseconds{1};
    if (parsed->is_exact && rest == std::chrono::nanoseconds::zero()) {
        return {parsed->span, {}};
    }
    return {
        parsed->span,
        std::string{text}
            + " is finer than 1 microsecond; durations arrive in whole microseconds, as "
            + make_readable(parsed->span - rest)};
}

// A JSON number or Boolean in the place of text.
parsed_value parse_plain(nlohmann::json const& value, variable_value const& like) {
    if (value.is_boolean() && std::holds_alternative<bool>(like)) {
        return {value.get<bool>(), {}};
    }
    if (value.is_number() && std::holds_alternative<double>(like)) {
        return {value.get<double>(), {}};
    }
    if (value.is_number_integer() && !std::holds_alternative<bool>(like)) {
        return parse_value(value.dump(), like);
    }
    throw failure{
        exit_code::refused_locally, value.dump() + " is no " + std::string{type_name_of(like)}};
}

} // namespace

std::array<variable_value, std::variant_size_v<variable_value>> const& get_zeros() {
    static std::array<variable_value, std::variant_size_v<variable_value>> const zeros{
        {false, 0.0, std::int64_t{0}, std::string{}, timestamp{}, std::chrono::nanoseconds{}}};
    return zeros;
}

std::string make_text(variable_value const& value, bool utc) {
    struct {
        bool utc;
        std::string operator()(bool flag) const {
            return flag ? "true" : "false";
        }
        std::string operator()(double number) const {
            return double_text(number);
        }
        std::string operator()(std::int64_t number) const {
            return std::to_string(number);
        }
        std::string operator()(std::string const& text) const {
            return printable(text);
        }
        std::string operator()(timestamp when) const {
            return make_readable(when, utc);
        }
        std::string operator()(std::chrono::nanoseconds span) const {
            return make_readable(span);
        }
    } const render{utc};
    return std::visit(render, value);
}

void add_value(json_object& object, variable_value const& value) {
    auto& shown = object["value"];
    if (auto const* const flag = std::get_if<bool>(&value)) {
        shown = *flag;
    } else if (auto const* const number = std::get_if<double>(&value)) {
        shown = std::isfinite(*number) ? json_object(*number) : json_object(double_text(*number));
    } else if (auto const* const integer = std::get_if<std::int64_t>(&value)) {
        shown = *integer;
        if (*integer > largest_exact || *integer < -largest_exact) {
            object["value_text"] = std::to_string(*integer);
        }
    } else if (auto const* const text = std::get_if<std::string>(&value)) {
        shown = *text;
        if (!is_utf8(*text)) {
            object["value_base64"] = dev::make_base64(*text);
        }
    } else if (auto const* const when = std::get_if<timestamp>(&value)) {
        shown = make_rfc3339(*when);
    } else if (auto const* const span = std::get_if<std::chrono::nanoseconds>(&value)) {
        shown = make_seconds(*span);
    }
}

bool append_plain_value(std::string& text, variable_value const& value) {
    auto const* const number = std::get_if<double>(&value);
    if (number != nullptr && std::isfinite(*number)) {
        auto const begin = text.size();
        append_digits(text, *number);
        if (text.find_first_of(".e", begin) == std::string::npos) {
            text += ".0";
        }
        return true;
    }
    auto const* const integer = std::get_if<std::int64_t>(&value);
    if (integer != nullptr && *integer <= largest_exact && *integer >= -largest_exact) {
        append_digits(text, *integer);
        return true;
    }
    if (auto const* const flag = std::get_if<bool>(&value)) {
        text += *flag ? "true" : "false";
        return true;
    }
    return false;
}

parsed_value parse_value(std::string_view text, variable_value const& like) {
    return std::visit(
        [text](auto const& typed) { return parse_as<std::decay_t<decltype(typed)>>(text); }, like);
}

parsed_value parse_object(nlohmann::json const& object, variable_value const& like) {
    if (object.contains("value_base64")) {
        auto const bytes = dev::parse_base64(object["value_base64"].get<std::string>());
        if (!bytes.has_value() || !std::holds_alternative<std::string>(like)) {
            throw failure{exit_code::refused_locally, "\"value_base64\" is no base64 of a string"};
        }
        return {*bytes, {}};
    }
    if (object.contains("value_text")) {
        return parse_value(object["value_text"].get<std::string>(), like);
    }
    auto const& value = object.at("value");
    return value.is_string() ? parse_value(value.get<std::string>(), like)
                             : parse_plain(value, like);
}

bool is_same(variable_value const& written, variable_value const& held) {
    auto const* const number = std::get_if<double>(&written);
    auto const* const held_number = std::get_if<double>(&held);
    if (number != nullptr && held_number != nullptr && std::isnan(*number)) {
        return std::isnan(*held_number);
    }
    auto const* const span = std::get_if<std::chrono::nanoseconds>(&written);
    auto const* const held_span = std::get_if<std::chrono::nanoseconds>(&held);
    if (span != nullptr && held_span != nullptr) {
        using std::chrono::microseconds;
        return std::chrono::duration_cast<microseconds>(*span)
            == std::chrono::duration_cast<microseconds>(*held_span);
    }
    return written == held;
}

std::optional<double> find_number(variable_value const& value) {
    if (auto const* const number = std::get_if<double>(&value)) {
        return *number;
    }
    if (auto const* const integer = std::get_if<std::int64_t>(&value)) {
        return static_cast<double>(*integer);
    }
    return std::nullopt;
}

std::optional<double> find_measure(variable_value const& value) {
    if (auto const* const flag = std::get_if<bool>(&value)) {
        return *flag ? 1.0 : 0.0;
    }
    if (auto const* const span = std::get_if<std::chrono::nanoseconds>(&value)) {
        return std::chrono::duration<double>{*span}.count();
    }
    return find_number(value);
}

} // namespace arvenhold::corvel::hub::ctl
