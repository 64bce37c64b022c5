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
bool request_membarrier() {
#ifdef CORVEL_HUB_THREAD_SANITIZER
    return false; // the sanitizer does not know the call
#else
    return membarrier(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED);
#endif
}

} // namespace

bool const heavy_fence_reaches_all_threads = request_membarrier();

bool heavy_fence() {
    if (!heavy_fence_reaches_all_threads) {
        __sync_synchronize();
        return true;
    }
    return membarrier(MEMBARRIER_CMD_PRIVATE_EXPEDITED);
}

} // namespace arvenhold::corvel::hub
