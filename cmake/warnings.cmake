# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

# The warnings that our own code compiles without. They are errors for developers only, so that a
# newer compiler does not break a user's build.
add_library(corvel_hub_warnings INTERFACE)

set(corvel_hub_common_warnings
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
    -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align -Wcast-qual -Wformat=2 -Wnull-dereference
    -Wdouble-promotion -Wimplicit-fallthrough -Wundef -Wextra-semi -Wmissing-declarations
    -Wswitch-enum -Wzero-as-null-pointer-constant)
set(corvel_hub_gcc_warnings
    -Wduplicated-cond -Wduplicated-branches -Wlogical-op -Wuseless-cast -Wsuggest-override)
# Where sizes have 32 bits, the casts to 32 bits that other processors need are useless.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    list(REMOVE_ITEM corvel_hub_gcc_warnings -Wuseless-cast)
endif()
set(corvel_hub_clang_warnings
    -Wdocumentation -Wreserved-identifier -Wshadow-all -Wextra-semi-stmt -Wunreachable-code)
# Test suites register themselves through global objects, so these two are for the library alone.
set(corvel_hub_clang_library_warnings -Wglobal-constructors -Wexit-time-destructors)

target_compile_options(corvel_hub_warnings INTERFACE
    ${corvel_hub_common_warnings}
    "$<$<CXX_COMPILER_ID:GNU>:${corvel_hub_gcc_warnings}>"
    "$<$<CXX_COMPILER_ID:Clang>:${corvel_hub_clang_warnings}>"
    "$<$<BOOL:${CORVEL_HUB_DEVELOPER_MODE}>:-Werror>")

add_library(corvel_hub_library_warnings INTERFACE)
target_link_libraries(corvel_hub_library_warnings INTERFACE corvel_hub_warnings)
target_compile_options(corvel_hub_library_warnings INTERFACE
    "$<$<CXX_COMPILER_ID:Clang>:${corvel_hub_clang_library_warnings}>")
