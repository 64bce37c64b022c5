// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>

namespace arvenhold::corvel::hub {

template <auto release>
struct c_deleter {
    template <class Resource>
    void operator()(Resource* resource) const noexcept {
        release(resource);
    }
};

/// Owns a resource of a C library and releases it with the given function; as small as a pointer.
template <class Resource, auto release>
using c_handle = std::unique_ptr<Resource, c_deleter<release>>;

} // namespace arvenhold::corvel::hub
