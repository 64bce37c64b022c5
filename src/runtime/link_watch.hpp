// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "runtime/link_history.hpp"
#include <hub/connect_options.hpp>

#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace arvenhold::corvel::hub {

/// Whom to tell about a link.
struct link_listener {
    std::string client_name;       ///< For diagnostics only.
    void* owner_closure = nullptr; ///< The owner's right to be called back.
    link_callback callback = nullptr;
    void* user_data = nullptr;
};

/// Watches the link of one session on a thread of its own, and reports to the application.
///
/// The NATS client's own callbacks are not used: all of the process share one thread, on which a
/// provider may wait 15 s for a verdict.
///
/// 1. No lock is held while the link is read and while the application is called.
/// 2. After stop() no call begins; one that is running continues.
/// 3. The destructor waits for a reading, but for no call: the application may destroy the session
///    in it. A thread that is left behind in a call uses nothing of the session any more.
class link_watch {
public:
    /// Starts the thread, which waits for begin().
    ///
    /// @param read  Reads the link; called on the thread until stop() and the destructor.
    ///
    /// @throws std::system_error  There is no thread.
    link_watch(link_listener listener, std::function<link_reading()> read);

    link_watch(link_watch const&) = delete;
    link_watch& operator=(link_watch const&) = delete;
    ~link_watch();

    /// Begins to watch a link that is connected.
    void begin();

    /// Ends the watch. May be called from any thread, also in a call of the application.
    void stop();

private:
    class progress; // shared with the thread, which may outlive the watch

    std::shared_ptr<progress> const m_progress;
    std::thread m_thread;
};

} // namespace arvenhold::corvel::hub
