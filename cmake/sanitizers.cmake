# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

if(CORVEL_HUB_SANITIZE)
    add_compile_options(
        -fsanitize=${CORVEL_HUB_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${CORVEL_HUB_SANITIZE})
    if(CORVEL_HUB_SANITIZE MATCHES "thread")
        add_compile_definitions(CORVEL_HUB_THREAD_SANITIZER) # one name for both compilers
    endif()
    if(CORVEL_HUB_SANITIZE MATCHES "undefined" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # GCC's null checks of the sanitizer confuse this warning in the standard library's headers.
        add_compile_options(-Wno-null-dereference)
    endif()
endif()
