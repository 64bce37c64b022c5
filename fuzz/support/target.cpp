// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "fuzz/support/target.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>

namespace arvenhold::corvel::hub::fuzz {

void require(bool holds, char const* what) {
    if (holds) {
        return;
    }
    // Not through the stream, which is switched off.
    static_cast<void>(std::fputs("Not as required: ", stderr));
    static_cast<void>(std::fputs(what, stderr));
    static_cast<void>(std::fputs("\n", stderr));
    std::abort();
}

namespace {

// The library composes its lines all the same; a stream without a buffer drops them.
void silence_streams() {
    std::cerr.rdbuf(nullptr);
    std::cout.rdbuf(nullptr);
}

} // namespace

} // namespace arvenhold::corvel::hub::fuzz

// NOLINTBEGIN(readability-identifier-naming): the fuzzer looks for these names
extern "C" int LLVMFuzzerInitialize(int* argument_count, char*** arguments);
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

extern "C" int LLVMFuzzerInitialize(int* /*argument_count*/, char*** /*arguments*/) {
    arvenhold::corvel::hub::fuzz::silence_streams();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    arvenhold::corvel::hub::fuzz::try_input(
        {static_cast<char const*>(static_cast<void const*>(data)), size});
    return 0;
}
// NOLINTEND(readability-identifier-naming)
