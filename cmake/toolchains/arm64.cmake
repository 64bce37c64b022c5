# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

# 64-bit Arm, as most controllers have it.
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(corvel_hub_triplet aarch64-linux-gnu)
set(corvel_hub_emulator qemu-aarch64-static)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
