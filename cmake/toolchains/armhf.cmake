# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

# 32-bit Arm (ARMv7) with a floating-point unit.
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi) # or GCC notes at many calls what GCC 7 has changed
set(corvel_hub_triplet arm-linux-gnueabihf)
set(corvel_hub_emulator qemu-arm-static)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
