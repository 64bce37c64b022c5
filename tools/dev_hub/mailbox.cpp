// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/mailbox.hpp"

#include <map>
#include <utility>

namespace arvenhold::corvel::hub::dev {
namespace {

struct address_book {
    std::mutex mutex;
    std::uintptr_t last_number = 0;
    std::map<std::uintptr_t, std::shared_ptr<mailbox>> boxes;
};

// Never destroyed, because callbacks of the NATS client can come while the process ends.
address_book& get_address_book() {
    // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): it guards itself
    static auto& book = *std::make_unique<address_book>().release();
    return book;
}

std::uintptr_t enter(std::shared_ptr<mailbox> const& box) {
    auto& book = get_address_book();
    std::scoped_lock const lock{book.mutex};
    book.boxes.emplace(++book.last_number, box);
    return book.last_number;
}

} // namespace

void mailbox::post(mail item) {
    {
        std::scoped_lock const lock{m_mutex};
        if (m_items.size() >= m_most) {
            ++m_dropped;
            return;
        }
        m_items.push_back(std::move(item));
    }
    m_filled.notify_one();
}

std::uint64_t mailbox::get_dropped() const {
    std::scoped_lock const lock{m_mutex};
    return m_dropped;
}

std::optional<mail> mailbox::wait_for_next(std::chrono::steady_clock::time_point deadline) {
    std::unique_lock lock{m_mutex};
    if (!m_filled.wait_until(lock, deadline, [this] { return !m_items.empty(); })) {
        return {};
    }
    auto item = std::move(m_items.front());
    m_items.pop_front();
    return item;
}

mailbox_address::mailbox_address(std::shared_ptr<mailbox> const& box)
    : m_number{enter(box)} {}

mailbox_address::~mailbox_address() {
    auto& book = get_address_book();
    std::scoped_lock const lock{book.mutex};
    book.boxes.erase(m_number);
}

void* mailbox_address::get_closure() const {
    // NOLINTNEXTLINE(*-pro-type-reinterpret-cast, performance-no-int-to-ptr): never followed
    return reinterpret_cast<void*>(m_number);
}

std::shared_ptr<mailbox> mailbox_address::find(void* closure) {
    auto& book = get_address_book();
    std::scoped_lock const lock{book.mutex};
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): see get_closure()
    auto const entry = book.boxes.find(reinterpret_cast<std::uintptr_t>(closure));
    return entry != book.boxes.end() ? entry->second : nullptr;
}

} // namespace arvenhold::corvel::hub::dev
