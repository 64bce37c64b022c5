// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "locks/asymmetric_fence.hpp"

#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace arvenhold::corvel::hub {

namespace {

bool membarrier(membarrier_cmd command) {
    return syscall(SYS_membarrier, command, 0, 0) == 0; // NOLINT(*-vararg): it has no C function
}

// Fails before Linux 4.14, and where a sandbox or an emulator does not have the call.
//
// Runs while the library is loaded. No global object, because the order of their constructors across
// files is not defined.
[[gnu::constructor]] void request_membarrier() {
#ifndef CORVEL_HUB_THREAD_SANITIZER // which does not know the call
    heavy_fence_reaches_all_threads = membarrier(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED);
#endif
}

} // namespace

// NOLINTNEXTLINE(*-avoid-non-const-global-variables): constant once the library is loaded
bool heavy_fence_reaches_all_threads = false;

bool heavy_fence() {
    if (!heavy_fence_reaches_all_threads) {
        __sync_synchronize();
        return true;
    }
    return membarrier(MEMBARRIER_CMD_PRIVATE_EXPEDITED);
}

} // namespace arvenhold::corvel::hub
