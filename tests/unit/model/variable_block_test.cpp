// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "model/variable_block.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

// Counts how many of its kind are alive; cannot be moved.
class counted {
public:
    counted(int number, int& alive)
        : m_number{number}
        , m_alive{alive} {
        if (number < 0) {
            throw std::invalid_argument{"negative"};
        }
        ++m_alive;
    }
    counted(counted const&) = delete;
    counted& operator=(counted const&) = delete;
    ~counted() {
        --m_alive;
    }

    [[nodiscard]] int number() const {
        return m_number;
    }

private:
    int m_number;
    int& m_alive;
};

class block_of_variables : public testing::Test {
protected:
    int alive = 0;
    std::optional<variable_block<counted>> block{3};
};

TEST_F(block_of_variables, has_them_in_the_order_of_their_creation) {
    auto const first = block->add(1, alive);
    auto const second = block->add(2, alive);

    EXPECT_EQ(block->size(), 2);
    EXPECT_EQ(&block->at(0), first.get());
    EXPECT_EQ(&block->at(1), second.get());
    EXPECT_EQ(second.get(), first.get() + 1);
    EXPECT_EQ(second->number(), 2);
}

TEST_F(block_of_variables, lives_as_long_as_any_of_them_is_used) {
    block->add(1, alive);
    auto second = block->add(2, alive);

    block.reset();
    EXPECT_EQ(alive, 2);

    second.reset();
    EXPECT_EQ(alive, 0);
}

TEST_F(block_of_variables, does_not_count_one_that_could_not_be_created) {
    block->add(1, alive);

    EXPECT_THROW(block->add(-1, alive), std::invalid_argument);
    EXPECT_EQ(block->size(), 1);

    EXPECT_EQ(block->add(2, alive).get(), &block->at(1));
    block.reset();
    EXPECT_EQ(alive, 0);
}

TEST_F(block_of_variables, begins_a_cache_line) {
    constexpr std::uintptr_t cache_line = 64;
    std::vector<variable_block<counted>> blocks;
    for (std::size_t capacity = 1; capacity < 20; ++capacity) {
        auto const first = blocks.emplace_back(capacity).add(1, alive);
        // NOLINTNEXTLINE(*-reinterpret-cast): the address itself
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(first.get()) % cache_line, 0);
    }
}

TEST_F(block_of_variables, may_be_empty) {
    EXPECT_EQ(variable_block<counted>{0}.size(), 0);
}

} // namespace

} // namespace arvenhold::corvel::hub
