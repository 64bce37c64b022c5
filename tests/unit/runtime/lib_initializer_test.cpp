// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include <hub/corvel_hub_client_lib_initializer.hpp>

#include <curl/curl.h>
#include <gmock/gmock.h>

#include <dlfcn.h>

#include <cstdlib>
#include <iostream>
#include <latch>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

struct recorded_call {
    int count = 0;
    long flags = 0;
};

// Written before main() begins.
// NOLINTNEXTLINE(*-avoid-non-const-global-variables): see above
constinit recorded_call set_up{};

template <class Function>
Function* real_function(char const* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

} // namespace

// These two come before libcurl's own: the loader finds the program first.
#pragma GCC visibility push(default)

CURLcode curl_global_init(long flags) {
    ++set_up.count;
    set_up.flags = flags;
    return real_function<CURLcode(long)>("curl_global_init")(flags);
}

void curl_global_cleanup() {
    std::cerr << "libcurl is torn down\n";
    real_function<void()>("curl_global_cleanup")();
}

#pragma GCC visibility pop

namespace arvenhold::corvel::hub {

namespace {

recorded_call const set_up_before_main = set_up;

TEST(lib_initializer, has_set_libcurl_up_once_before_main) {
    EXPECT_EQ(set_up_before_main.count, 1);
    EXPECT_EQ(set_up_before_main.flags, 3);
}

TEST(lib_initializer, is_one_object_for_all_threads) {
    constexpr int count = 8;
    std::latch begin{count};
    std::vector<corvel_hub_client_lib_initializer*> seen(count);
    std::vector<std::jthread> threads;
    for (auto& instance : seen) {
        threads.emplace_back([&] {
            begin.arrive_and_wait();
            instance = &corvel_hub_client_lib_initializer::get_instance();
        });
    }
    threads.clear();

    EXPECT_THAT(seen, testing::Each(&corvel_hub_client_lib_initializer::get_instance()));
    EXPECT_EQ(set_up.count, 1);
}

TEST(lib_initializer, cannot_be_copied_or_made) {
    EXPECT_FALSE(std::is_copy_constructible_v<corvel_hub_client_lib_initializer>);
    EXPECT_FALSE(std::is_copy_assignable_v<corvel_hub_client_lib_initializer>);
    EXPECT_FALSE(std::is_default_constructible_v<corvel_hub_client_lib_initializer>);
}

TEST(lib_initializer, tears_libcurl_down_when_the_process_exits) {
    EXPECT_EXIT(std::exit(0), testing::ExitedWithCode(0), "^libcurl is torn down\n$");
}

} // namespace

} // namespace arvenhold::corvel::hub
