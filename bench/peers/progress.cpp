// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "progress.hpp"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace arvenhold::corvel::hub::peers {

void progress::note(update const& arrival) {
    auto const time = now();
    delays.at(arrival.number % delays_kept) = (time - arrival.sent).count();
    arrived = time.count();
    ++received;
    latest = arrival.number;
}

std::chrono::nanoseconds now() {
    return std::chrono::steady_clock::now().time_since_epoch();
}

progress& map_progress(int file) {
    if (::ftruncate(file, sizeof(progress)) != 0) {
        throw std::system_error{errno, std::generic_category(), "cannot share memory"};
    }
    auto* const memory =
        ::mmap(nullptr, sizeof(progress), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory == MAP_FAILED) {
        throw std::system_error{errno, std::generic_category(), "cannot share memory"};
    }
    return *static_cast<progress*>(memory);
}

} // namespace arvenhold::corvel::hub::peers
