// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Takes the place of the NATS client in programs that measure the library without a network: what
// is published goes nowhere, and costs next to nothing.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub::bench::null_nats {

/// A received message. Its bytes stand where the client puts them: right behind the subject and,
/// if there is one, the reply subject, which is no multiple of eight in most cases.
class incoming_message {
public:
    explicit incoming_message(
        std::string const& subject, std::string_view bytes, std::string const& reply = {});

    [[nodiscard]] std::string const& subject() const;
    [[nodiscard]] std::string const& reply() const;
    [[nodiscard]] std::string_view bytes() const;

private:
    std::string m_subject;
    std::string m_reply;
    std::vector<std::uint64_t> m_block;
    std::size_t m_position;
    std::size_t m_size;
};

/// Hands a message to every subscription of its subject, on this thread.
void deliver(incoming_message const& message);

/// Answers every request on `subject` from now on.
void answer_requests(std::string const& subject, std::string_view bytes);

/// Keeps a copy of what is published in `copy`; null for none, which is the default.
void keep_published(std::string* copy);

/// Returns a copy of what `work` has published last.
template <class Work>
std::string published_by(Work const& work) {
    std::string copy;
    keep_published(&copy);
    work();
    keep_published(nullptr);
    return copy;
}

} // namespace arvenhold::corvel::hub::bench::null_nats
