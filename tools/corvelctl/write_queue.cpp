// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/write_queue.hpp"

#include <exception>

namespace arvenhold::corvel::hub::ctl {

namespace {

exit_code get_code(write_refusal reason) {
    switch (reason) {
    case write_refusal::unknown_path:
        return exit_code::not_found;
    case write_refusal::provider_not_live:
        return exit_code::unreachable;
    case write_refusal::read_only:
    case write_refusal::wrong_type:
    case write_refusal::too_many_waiting:
        break;
    }
    return exit_code::refused_locally;
}

} // namespace

write_queue::write_queue(consumer_session& session, std::chrono::milliseconds within)
    : m_session{session}
    , m_within{within} {
    m_thread = std::thread{[this] {
        run();
    }};
}

write_queue::~write_queue() {
    {
        std::scoped_lock const lock{m_mutex};
        m_ended = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

void write_queue::add(queued_write write) {
    ++m_missing;
    {
        std::scoped_lock const lock{m_mutex};
        m_waiting.push_back(std::move(write));
    }
    m_changed.notify_all();
}

std::vector<write_result> write_queue::take_results() {
    m_ready.lower();
    std::scoped_lock const lock{m_mutex};
    m_missing -= m_results.size();
    return std::exchange(m_results, {});
}

bool write_queue::is_busy() const {
    return m_missing > 0;
}

int write_queue::get_descriptor() const {
    return m_ready.get_descriptor();
}

void write_queue::run() {
    for (;;) {
        std::unique_lock lock{m_mutex};
        m_changed.wait(lock, [this] { return m_ended || !m_waiting.empty(); });
        if (m_ended) {
            return;
        }
        auto next = std::move(m_waiting.front());
        m_waiting.pop_front();
        lock.unlock();
        auto result = send(std::move(next));
        lock.lock();
        m_results.push_back(std::move(result));
        lock.unlock();
        m_ready.raise();
    }
}

write_result write_queue::send(queued_write write) const {
    write_result result{std::move(write), write_outcome::not_confirmed, std::nullopt};
    auto const& sent = result.write;
    try {
        result.outcome =
            m_session.write_and_confirm(sent.provider, sent.path, sent.value, m_within);
    } catch (write_refused const& refused) {
        result.failed = failure{get_code(refused.get_reason()), refused.what()};
    } catch (std::exception const& error) {
        result.failed = failure{exit_code::other, error.what()};
    }
    return result;
}

} // namespace arvenhold::corvel::hub::ctl
