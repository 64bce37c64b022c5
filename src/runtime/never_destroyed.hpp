// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <new>

namespace arvenhold::corvel::hub {

/// Holds an object of static storage whose destructor never runs, because threads of the NATS
/// client may use it until the very end of the process.
template <class Object>
class never_destroyed {
public:
    never_destroyed() {
        ::new (static_cast<void*>(m_storage)) Object;
    }

    never_destroyed(never_destroyed const&) = delete;
    never_destroyed& operator=(never_destroyed const&) = delete;
    ~never_destroyed() = default;

    Object& operator*() {
        return *std::launder(reinterpret_cast<Object*>(m_storage));
    }

private:
    alignas(Object) unsigned char m_storage[sizeof(Object)];
};

} // namespace arvenhold::corvel::hub
