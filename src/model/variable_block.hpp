// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <utility>

namespace arvenhold::corvel::hub {

/// Variables side by side in one block of memory, which lives as long as any of them is used. They
/// are created, and later updated in their order, faster than scattered ones. Filled by one thread,
/// then shared and never changed. The first one begins a cache line.
///
/// A block of std::vector's would have to move its variables, which have a mutex and cannot.
template <class Variable>
class variable_block {
public:
    /// @param capacity  How many variables may be added.
    explicit variable_block(std::size_t capacity)
        : m_memory{std::make_shared<memory>(capacity)} {}

    /// Creates one more variable behind the others. Not allowed beyond the capacity.
    template <class... Arguments>
    std::shared_ptr<Variable> add(Arguments&&... arguments) {
        auto* const variable =
            std::construct_at(&place(size()), std::forward<Arguments>(arguments)...);
        ++m_memory->size;
        return {m_memory, variable};
    }

    [[nodiscard]] std::size_t size() const {
        return m_memory->size;
    }

    /// Returns the variable at `position`, which is below size(); valid as long as the block.
    [[nodiscard]] Variable& at(std::size_t position) const {
        return place(position);
    }

private:
    static constexpr std::size_t cache_line = 64;
    static_assert(alignof(Variable) <= cache_line);

    struct memory {
        explicit memory(std::size_t variables)
            : first{static_cast<Variable*>(
                ::operator new (variables * sizeof(Variable), std::align_val_t{cache_line}))} {}
        memory(memory const&) = delete;
        memory& operator=(memory const&) = delete;

        ~memory() {
            std::destroy_n(first, size);
            ::operator delete (first, std::align_val_t{cache_line});
        }

        Variable* const first;
        std::size_t size = 0;
    };

    std::shared_ptr<memory> m_memory;

    Variable& place(std::size_t position) const {
        return m_memory->first[position]; // NOLINT(*-pointer-arithmetic): counted from the start
    }
};

} // namespace arvenhold::corvel::hub
