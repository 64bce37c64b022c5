// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/token_callback.hpp"

#include "runtime/diagnostics.hpp"
#include "runtime/never_destroyed.hpp"
#include "runtime/token_fetch.hpp"
#include <hub/detail/thread_annotations.hpp>

#include <mutex>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

// The latest token of any client of the process.
struct token_cache {
    std::mutex mutex;
    std::string token CORVEL_HUB_GUARDED_BY(mutex);
};

token_cache& auth_token() {
    static never_destroyed<token_cache> cache;
    return *cache;
}

// Returns a copy of the calling thread's own, because another client may replace the token at any
// time.
char const* keep(std::string token) {
#pragma GCC diagnostic push
#ifdef __clang__
#pragma GCC diagnostic ignored "-Wexit-time-destructors" // ends with its thread, not at exit
#endif
    thread_local std::string own_copy;
#pragma GCC diagnostic pop
    auto& cache = auth_token();
    std::scoped_lock const lock{cache.mutex};
    cache.token = std::move(token);
    own_copy = cache.token;
    return own_copy.c_str(); // NOLINT(clang-analyzer-cplusplus.InnerPointer): lives with its thread
}

} // namespace

char const* nats_token_callback(void* closure) {
    if (closure == nullptr) {
        report(diagnostic_severity::error, {}, {"nats_token_callback(): Received empty params"});
        return nullptr;
    }
    auto const& parameters = *static_cast<token_parameters const*>(closure);
    try {
        return keep(fetch_token(parameters));
    } catch (authentication_failed const& error) {
        report(
            diagnostic_severity::error,
            parameters.client_name,
            {"Failed to receive new NATS authentication token: ", error.what()});
        if (parameters.on_failure) {
            parameters.on_failure(error);
        }
        return nullptr;
    }
}

} // namespace arvenhold::corvel::hub
