// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "stamped_event.hpp"

#include "protocol/variables_codec.hpp"

#include <cstring>
#include <type_traits>

namespace arvenhold::corvel::hub::peers {

static_assert(std::is_trivially_copyable_v<update>);

stamped_event::stamped_event(std::size_t count) {
    message_builder builder{initial_builder_size};
    variables_writer writer{builder, count};
    for (std::size_t position = 0; position < count; ++position) {
        writer.add_change(
            static_cast<variable_id>(position + 1), double(position), variable_quality::good);
    }
    writer.finish_change_event(1, timestamp{std::chrono::nanoseconds{1'700'000'000'123'456'789}});
    m_bytes = finished_bytes(builder);
}

std::string_view stamped_event::stamp(update const& next) {
    std::memcpy(m_bytes.data(), &next, sizeof(next));
    return m_bytes;
}

update stamp_of(void const* bytes) {
    update read;
    std::memcpy(&read, bytes, sizeof(read));
    return read;
}

} // namespace arvenhold::corvel::hub::peers
