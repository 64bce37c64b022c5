// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <array>
#include <cstddef>
#include <new>

namespace arvenhold::corvel::hub {

/// Holds an object of static storage whose destructor never runs, because threads of the NATS
/// client may use it until the process ends.
template <class Object>
class never_destroyed {
public:
    // NOLINTNEXTLINE(*-member-init): the object is constructed in the storage
    never_destroyed() {
        ::new (m_storage.data()) Object;
    }

    never_destroyed(never_destroyed const&) = delete;
    never_destroyed& operator=(never_destroyed const&) = delete;
    ~never_destroyed() = default;

    Object& operator*() {
        return *std::launder(static_cast<Object*>(static_cast<void*>(m_storage.data())));
    }

private:
    alignas(Object) std::array<std::byte, sizeof(Object)> m_storage;
};

} // namespace arvenhold::corvel::hub
