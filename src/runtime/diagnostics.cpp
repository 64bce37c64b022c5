// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/diagnostics.hpp"

#include "runtime/never_destroyed.hpp"
#include <hub/detail/thread_annotations.hpp>

#include <atomic>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

// A callback of the application, with the number of threads that are inside it.
struct registration {
    registration(diagnostics_callback given_callback, void* given_user_data)
        : callback{given_callback}
        , user_data{given_user_data} {}

    diagnostics_callback const callback;
    void* const user_data;
    std::atomic<int> running{0}; // the thread that replaces the callback waits for 0 unlocked
};

struct current_registration {
    std::mutex mutex;
    std::shared_ptr<registration> value CORVEL_HUB_GUARDED_BY(mutex); // null without a callback
};

current_registration& current() {
    static never_destroyed<current_registration> instance;
    return *instance;
}

// The registration whose callback the calling thread is inside of.
// NOLINTNEXTLINE(*-avoid-non-const-global-variables): each thread has its own
thread_local registration const* entered_here = nullptr;

// One call of the application's callback, which can be replaced meanwhile.
class callback_call {
public:
    explicit callback_call(std::shared_ptr<registration> called)
        : m_called{std::move(called)} {
        entered_here = m_called.get();
    }

    callback_call(callback_call const&) = delete;
    callback_call& operator=(callback_call const&) = delete;

    ~callback_call() {
        entered_here = nullptr;
        m_called->running.fetch_sub(1);
        m_called->running.notify_all();
    }

private:
    std::shared_ptr<registration> const m_called;
};

// Counts the calling thread in before the registration can be replaced.
std::shared_ptr<registration> enter_current() {
    auto& shared = current();
    std::scoped_lock const lock{shared.mutex};
    if (shared.value) {
        shared.value->running.fetch_add(1);
    }
    return shared.value;
}

std::shared_ptr<registration> replace_current(std::shared_ptr<registration> next) {
    auto& shared = current();
    std::scoped_lock const lock{shared.mutex};
    return std::exchange(shared.value, std::move(next));
}

void wait_for_other_threads(registration const& replaced) {
    auto const own = entered_here == &replaced ? 1 : 0;
    for (auto running = replaced.running.load(); running > own; running = replaced.running.load()) {
        replaced.running.wait(running);
    }
}

std::string joined(std::initializer_list<std::string_view> pieces) {
    std::string text;
    for (auto const piece : pieces) {
        text.append(piece);
    }
    return text;
}

std::string_view without_line_ends(std::string_view text) {
    return text.substr(0, text.find_last_not_of('\n') + 1);
}

void print(diagnostic_severity severity, std::string line) {
    line.push_back('\n');
    auto& os = severity == diagnostic_severity::information ? std::cout : std::cerr;
    os.write(line.data(), static_cast<std::streamsize>(line.size())).flush();
}

void deliver(
    diagnostic_severity severity,
    std::string_view client_name,
    std::initializer_list<std::string_view> pieces) {
    if (entered_here != nullptr) {
        return; // caused by the callback, which could go on for ever
    }
    auto text = joined(pieces);
    auto const receiver = enter_current();
    if (!receiver) {
        print(severity, std::move(text));
        return;
    }
    callback_call const call{receiver};
    receiver->callback({severity, without_line_ends(text), client_name}, receiver->user_data);
}

} // namespace

void set_diagnostics_callback(diagnostics_callback callback, void* user_data) {
    std::shared_ptr<registration> next;
    if (callback != nullptr) {
        next = std::make_shared<registration>(callback, user_data);
    }
    if (auto const replaced = replace_current(std::move(next))) {
        wait_for_other_threads(*replaced);
    }
}

void report(
    diagnostic_severity severity,
    std::string_view client_name,
    std::initializer_list<std::string_view> pieces) noexcept {
    try {
        deliver(severity, client_name, pieces);
    } catch (...) { // NOLINT(bugprone-empty-catch): there is nobody left to report to
    }
}

void report_diagnostic(
    diagnostic_severity severity, std::string_view client_name, std::string_view text) noexcept {
    report(severity, client_name, {text});
}

} // namespace arvenhold::corvel::hub
