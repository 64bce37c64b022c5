// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/damaged_bytes.hpp"

#include <array>
#include <cstdint>
#include <cstring>
#include <random>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

using word = std::uint32_t;

constexpr std::size_t random_message_count = 500;
constexpr word longest_random_message = 256;

std::string overwritten(std::string message, std::size_t at, word content) {
    std::memcpy(message.data() + at, &content, sizeof(content));
    return message;
}

struct placed_content {
    word content;
    std::size_t misalignment;
};

std::array<placed_content, 4> placed_contents(std::size_t at) {
    return {{{0xFFFFFFFF, 0}, {0x7FFFFFFF, 4}, {0, 1}, {static_cast<word>(at), 6}}};
}

// Not through a distribution, whose numbers differ between standard libraries.
word random_below(std::mt19937& generator, word limit) {
    return static_cast<word>(generator() % limit);
}

std::string random_bytes(std::mt19937& generator) {
    std::string message(random_below(generator, longest_random_message), '\0');
    for (auto& byte : message) {
        byte = static_cast<char>(generator());
    }
    return message;
}

// Most offsets and sizes of a message are small; so are its vtables' entries, two to a word.
std::string random_words(std::mt19937& generator) {
    constexpr word small = 33;
    std::string message(random_below(generator, longest_random_message), '\0');
    for (std::size_t at = 0; at + sizeof(word) <= message.size(); at += sizeof(word)) {
        auto const upper = generator() % 2 == 0 ? random_below(generator, small) : 0;
        message =
            overwritten(std::move(message), at, (upper << 16U) + random_below(generator, small));
    }
    return message;
}

} // namespace

std::vector<named_bytes> damaged_forms_of(std::string const& message) {
    std::vector<named_bytes> forms;
    for (std::size_t size = 0; size < message.size(); ++size) {
        forms.push_back({"the first " + std::to_string(size) + " bytes", message.substr(0, size)});
    }
    for (std::size_t at = 0; at + sizeof(word) <= message.size(); at += sizeof(word)) {
        for (auto const& [content, misalignment] : placed_contents(at)) {
            forms.push_back(
                {"the word at " + std::to_string(at) + " is " + std::to_string(content),
                 overwritten(message, at, content),
                 misalignment});
        }
    }
    return forms;
}

std::vector<named_bytes> random_messages() {
    std::mt19937 generator{20'261'121}; // NOLINT(cert-msc32-c,cert-msc51-cpp): repeatable
    std::vector<named_bytes> messages{
        {"12 bytes ff", std::string(shortest_message, '\xFF')},
        {"1000 bytes ff", std::string(1000, '\xFF')},
        {"1000 bytes 0", std::string(1000, '\0')}};
    for (std::size_t number = 0; number < random_message_count; ++number) {
        auto const name = " number " + std::to_string(number);
        messages.push_back({"bytes" + name, random_bytes(generator), number % 8});
        messages.push_back({"words" + name, random_words(generator), number % 8});
    }
    return messages;
}

} // namespace arvenhold::corvel::hub
