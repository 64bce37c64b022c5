// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "runtime/c_handle.hpp"

#include <curl/curl.h>

namespace arvenhold::corvel::hub {

using curl_easy_handle = c_handle<CURL, curl_easy_cleanup>;
using curl_header_list = c_handle<curl_slist, curl_slist_free_all>;
using curl_text = c_handle<char, curl_free>;
using curl_url_handle = c_handle<CURLU, curl_url_cleanup>;

/// Keeps libcurl initialized during one transfer. At process exit a transfer may still be running
/// on a thread of the NATS client: libcurl is then not cleaned up, and no further transfer begins.
class curl_usage {
public:
    curl_usage();
    curl_usage(curl_usage const&) = delete;
    curl_usage& operator=(curl_usage const&) = delete;
    ~curl_usage();

    /// Returns whether libcurl may be used.
    bool is_granted() const;

    /// Forbids further use. Returns whether libcurl is unused, so that it may be cleaned up.
    static bool end_for_process();

private:
    bool const m_granted;
};

} // namespace arvenhold::corvel::hub
