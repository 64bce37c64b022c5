// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/poll_thread.hpp"

#include "dev_hub/dev_hub_failure.hpp"
#include "dev_hub/start_thread.hpp"

#include <sys/eventfd.h>

#include <utility>

namespace arvenhold::corvel::hub::dev {
namespace {

file_descriptor make_wake() {
    file_descriptor made{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
    if (made.get() < 0) {
        throw dev_hub_failure{"the process has too many open files"};
    }
    return made;
}

} // namespace

poll_thread::poll_thread(std::function<poll_round()> serve)
    : m_serve{std::move(serve)}
    , m_wake{make_wake()}
    , m_thread{start_thread([this] { run(); })} {}

poll_thread::~poll_thread() {
    m_ending = true;
    wake();
    m_thread.join();
}

void poll_thread::wake() {
    ::eventfd_write(m_wake.get(), 1);
}

void poll_thread::run() {
    for (;;) {
        eventfd_t ignored = 0;
        ::eventfd_read(m_wake.get(), &ignored);
        if (m_ending) { // looked at behind the read, which may have taken the last wake
            return;
        }
        auto round = m_serve();
        round.watched.push_back({.fd = m_wake.get(), .events = POLLIN, .revents = 0});
        ::poll(round.watched.data(), round.watched.size(), static_cast<int>(round.limit.count()));
    }
}

} // namespace arvenhold::corvel::hub::dev
