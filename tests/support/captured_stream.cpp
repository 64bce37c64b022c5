// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/captured_stream.hpp"

namespace arvenhold::corvel::hub {

captured_stream::captured_stream(std::ostream& stream)
    : m_stream{stream}
    , m_original{stream.rdbuf(this)} {}

captured_stream::~captured_stream() {
    m_stream.rdbuf(m_original);
}

std::string captured_stream::text() const {
    std::scoped_lock const lock{m_mutex};
    return m_text;
}

std::string captured_stream::flushed_text() const {
    std::scoped_lock const lock{m_mutex};
    return m_text.substr(0, m_flushed);
}

bool captured_stream::wait_until_flushed(
    std::string_view wanted, std::chrono::milliseconds limit) const {
    std::unique_lock lock{m_mutex};
    return m_written.wait_for(lock, limit, [&] {
        return std::string_view{m_text}.substr(0, m_flushed).find(wanted) != std::string_view::npos;
    });
}

std::streamsize captured_stream::xsputn(char const* text, std::streamsize size) {
    std::scoped_lock const lock{m_mutex};
    m_text.append(text, static_cast<std::size_t>(size));
    return size;
}

captured_stream::int_type captured_stream::overflow(int_type character) {
    if (!traits_type::eq_int_type(character, traits_type::eof())) {
        auto const single = traits_type::to_char_type(character);
        xsputn(&single, 1);
    }
    return traits_type::not_eof(character);
}

int captured_stream::sync() {
    std::scoped_lock const lock{m_mutex};
    m_flushed = m_text.size();
    m_written.notify_all();
    return 0;
}

} // namespace arvenhold::corvel::hub
