// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/event_flag.hpp"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

namespace arvenhold::corvel::hub::ctl {

event_flag::event_flag()
    : m_descriptor{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)} {
    if (m_descriptor < 0) {
        throw std::system_error{errno, std::generic_category(), "cannot watch for events"};
    }
}

event_flag::~event_flag() {
    ::close(m_descriptor);
}

void event_flag::raise() const {
    std::uint64_t const one = 1;
    static_cast<void>(
        ::write(m_descriptor, &one, sizeof one) == 0); // cannot fail: the count is small
}

void event_flag::lower() const {
    std::uint64_t count = 0;
    static_cast<void>(::read(m_descriptor, &count, sizeof count) == 0);
}

int event_flag::get_descriptor() const {
    return m_descriptor;
}

} // namespace arvenhold::corvel::hub::ctl
