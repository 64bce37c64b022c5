// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

namespace arvenhold::corvel::hub::fuzz {

// Turns the fuzzer's bytes into any kind of table, and tables into the bytes that make them, for
// the corpus. One function for each type, pass(), says what follows what; it is given a source or
// a sink.

/// The fuzzer's bytes; zeros when they are used up.
class table_source {
public:
    explicit table_source(std::string_view bytes)
        : m_left{bytes} {}

    bool is_used_up() const {
        return m_left.empty();
    }

    template <class Number>
    void number(Number& number) {
        std::uint64_t bits = 0;
        auto const taken = take(sizeof(Number));
        std::memcpy(&bits, taken.data(), taken.size());
        std::memcpy(&number, &bits, sizeof(Number));
    }

    void text(std::string& text) {
        std::uint16_t size = 0;
        number(size);
        text = take(size);
    }

    /// Returns the number of elements that follow, of at least one byte each.
    std::size_t count(std::size_t /*present*/) {
        std::uint16_t wanted = 0;
        number(wanted);
        return std::min<std::size_t>(wanted, m_left.size());
    }

private:
    std::string_view m_left;

    std::string_view take(std::size_t size) {
        auto const taken = m_left.substr(0, size);
        m_left.remove_prefix(taken.size());
        return taken;
    }
};

/// The bytes from which a source makes what was passed.
class table_sink {
public:
    std::string const& bytes() const {
        return m_bytes;
    }

    template <class Number>
    void number(Number const& number) {
        m_bytes.append(static_cast<char const*>(static_cast<void const*>(&number)), sizeof(Number));
    }

    void text(std::string const& text) {
        number(static_cast<std::uint16_t>(text.size()));
        m_bytes.append(text);
    }

    std::size_t count(std::size_t present) {
        number(static_cast<std::uint16_t>(present));
        return present;
    }

private:
    std::string m_bytes;
};

template <class Bytes, class Number>
requires std::is_arithmetic_v<Number>
void pass(Bytes& bytes, Number& number) {
    bytes.number(number);
}

template <class Bytes>
void pass(Bytes& bytes, bool& flag) {
    auto number = static_cast<std::uint8_t>(flag ? 1 : 0);
    bytes.number(number);
    flag = number % 2 != 0;
}

template <class Bytes>
void pass(Bytes& bytes, std::string& text) {
    bytes.text(text);
}

template <class Bytes, class Part>
void pass(Bytes& bytes, std::optional<Part>& part);
template <class Bytes, class Part>
void pass(Bytes& bytes, std::vector<Part>& parts);
template <class Bytes, class... Parts>
void pass(Bytes& bytes, std::variant<Parts...>& part);

/// Passes several things, one after the other.
template <class Bytes, class... Parts>
void pass_all(Bytes& bytes, Parts&... parts) {
    (pass(bytes, parts), ...);
}

template <class Bytes, class Part>
void pass(Bytes& bytes, std::optional<Part>& part) {
    auto is_present = part.has_value();
    pass(bytes, is_present);
    if (!is_present) {
        return;
    }
    if (!part) {
        part.emplace();
    }
    pass(bytes, *part);
}

template <class Bytes, class Part>
void pass(Bytes& bytes, std::vector<Part>& parts) {
    parts.resize(bytes.count(parts.size()));
    for (auto& part : parts) {
        pass(bytes, part);
    }
}

/// Makes the chosen alternative the one that is held.
template <class Part, class... Parts>
void choose(std::variant<Parts...>& part) {
    if (!std::holds_alternative<Part>(part)) {
        part.template emplace<Part>();
    }
}

template <class Bytes, class... Parts>
void pass(Bytes& bytes, std::variant<Parts...>& part) {
    auto choice = static_cast<std::uint8_t>(part.index());
    bytes.number(choice);
    std::size_t alternative = 0;
    ((choice % sizeof...(Parts) == alternative++ ? choose<Parts>(part) : void()), ...);
    std::visit([&bytes](auto& chosen) { pass(bytes, chosen); }, part);
}

} // namespace arvenhold::corvel::hub::fuzz
