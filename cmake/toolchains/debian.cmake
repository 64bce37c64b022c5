# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

# What the toolchain files share: Debian's cross compiler, and a folder with the packages of the other
# machine, which packaging/make-sysroot fills. Programs run under qemu's user mode.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_CXX_COMPILER ${corvel_hub_triplet}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${corvel_hub_triplet})

list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES CORVEL_HUB_SYSROOT)
set(CMAKE_SYSROOT ${CORVEL_HUB_SYSROOT})
set(CMAKE_CROSSCOMPILING_EMULATOR ${corvel_hub_emulator};-L;${CORVEL_HUB_SYSROOT})
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CORVEL_HUB_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR}
    ${CORVEL_HUB_SYSROOT}/usr/lib/${corvel_hub_triplet}/pkgconfig:${CORVEL_HUB_SYSROOT}/usr/share/pkgconfig)

# The schema compiler is of this machine; everything else is of the other one.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
