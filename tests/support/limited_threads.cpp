// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/limited_threads.hpp"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <limits>

namespace arvenhold::corvel::hub {
namespace {

constexpr int unlimited = std::numeric_limits<int>::max();

// Not in the object, because any thread may start another one at any time.
// NOLINTNEXTLINE(*-avoid-non-const-global-variables): see above
constinit std::atomic<int> threads_left{unlimited};

bool refuses_thread() {
    return threads_left != unlimited && --threads_left < 0;
}

using starting = int(pthread_t*, pthread_attr_t const*, void* (*)(void*), void*);

// Where a sanitizer replaces the function, it has to hear of each thread.
starting* find_real() {
    auto* found = ::dlsym(RTLD_DEFAULT, "__interceptor_pthread_create");
    if (found == nullptr) {
        found = ::dlsym(RTLD_NEXT, "pthread_create");
    }
    return reinterpret_cast<starting*>(found);
}

} // namespace

limited_threads::limited_threads(int threads) {
    threads_left = threads;
}

limited_threads::~limited_threads() {
    threads_left = unlimited;
}

bool limited_threads::has_run_out() const {
    return threads_left < 0;
}

} // namespace arvenhold::corvel::hub

// The loader finds the program's function first.
#pragma GCC visibility push(default)

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): reserved names
extern "C" int pthread_create(
    pthread_t* thread, pthread_attr_t const* attributes, void* (*run)(void*), void* argument) {
    if (arvenhold::corvel::hub::refuses_thread()) {
        return EAGAIN;
    }
    return arvenhold::corvel::hub::find_real()(thread, attributes, run, argument);
}

#pragma GCC visibility pop
