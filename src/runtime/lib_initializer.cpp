// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include <hub/corvel_hub_client_lib_initializer.hpp>

#include "runtime/curl_handles.hpp"

#include <atomic>

namespace arvenhold::corvel::hub {

namespace {

// The number of running transfers, plus the mark once no further one may begin. Atomic because
// transfers begin on any thread, even while the process exits.
constexpr int ended_mark = 1 << 30;
// NOLINTNEXTLINE(*-avoid-non-const-global-variables): libcurl is initialized for the process
constinit std::atomic<int> curl_users{0};

// libcurl should be initialized while the process has one thread. That is likely only while
// libraries are loaded, so this is the one global object with a constructor.
#pragma GCC diagnostic push
#ifdef __clang__
#pragma GCC diagnostic ignored "-Wglobal-constructors"
#endif
// NOLINTNEXTLINE(cert-err58-cpp, *-avoid-non-const-global-variables): see above; does not throw
[[maybe_unused]] corvel_hub_client_lib_initializer* const initializer =
    &corvel_hub_client_lib_initializer::get_instance();
#pragma GCC diagnostic pop

} // namespace

corvel_hub_client_lib_initializer::corvel_hub_client_lib_initializer() {
    curl_global_init(CURL_GLOBAL_ALL);
}

corvel_hub_client_lib_initializer::~corvel_hub_client_lib_initializer() {
    if (curl_usage::end_for_process()) {
        curl_global_cleanup();
    }
}

corvel_hub_client_lib_initializer& corvel_hub_client_lib_initializer::get_instance() {
    // The destructor is intentional: it cleans libcurl up at process exit.
#pragma GCC diagnostic push
#ifdef __clang__
#pragma GCC diagnostic ignored "-Wexit-time-destructors"
#endif
    static corvel_hub_client_lib_initializer instance;
#pragma GCC diagnostic pop
    return instance;
}

curl_usage::curl_usage()
    : m_granted{curl_users.fetch_add(1) < ended_mark} {}

curl_usage::~curl_usage() {
    curl_users.fetch_sub(1);
}

bool curl_usage::is_granted() const {
    return m_granted;
}

bool curl_usage::end_for_process() {
    return curl_users.fetch_add(ended_mark) == 0;
}

} // namespace arvenhold::corvel::hub
