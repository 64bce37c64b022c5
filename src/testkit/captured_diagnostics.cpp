// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include <hub/testkit/captured_diagnostics.hpp>

#include "testkit/change_signal.hpp"
#include "testkit/text.hpp"

#include <algorithm>
#include <atomic>
#include <optional>
#include <stdexcept>

namespace arvenhold::corvel::hub::testkit {
namespace {

// NOLINTNEXTLINE(*-avoid-non-const-global-variables): the process has one callback
std::atomic<bool> is_capturing{false};

} // namespace

class captured_diagnostics::impl {
public:
    static void receive(diagnostic const& report, void* user_data) {
        auto& self = *static_cast<impl*>(user_data);
        self.add({report.severity, std::string{report.text}, std::string{report.client_name}});
    }

    [[nodiscard]] std::vector<captured_diagnostic> get() const CORVEL_HUB_EXCLUDES(m_mutex) {
        std::scoped_lock const lock{m_mutex};
        return m_captured;
    }

    void clear() CORVEL_HUB_EXCLUDES(m_mutex) {
        std::scoped_lock const lock{m_mutex};
        m_captured.clear();
    }

    [[nodiscard]] std::optional<captured_diagnostic> find(std::string const& fragment) const
        CORVEL_HUB_EXCLUDES(m_mutex) {
        std::scoped_lock const lock{m_mutex};
        for (auto const& captured : m_captured) {
            if (captured.text.find(fragment) != std::string::npos) {
                return captured;
            }
        }
        return std::nullopt;
    }

    change_signal added;

private:
    mutable std::mutex m_mutex;
    std::vector<captured_diagnostic> m_captured CORVEL_HUB_GUARDED_BY(m_mutex);

    void add(captured_diagnostic captured) CORVEL_HUB_EXCLUDES(m_mutex) {
        {
            std::scoped_lock const lock{m_mutex};
            m_captured.push_back(std::move(captured));
        }
        added.raise();
    }
};

captured_diagnostics::captured_diagnostics()
    : m_impl{std::make_unique<impl>()} {
    if (is_capturing.exchange(true)) {
        throw std::logic_error{"diagnostics are already captured by another captured_diagnostics"};
    }
    set_diagnostics_callback(&impl::receive, m_impl.get());
}

captured_diagnostics::~captured_diagnostics() {
    set_diagnostics_callback(nullptr, nullptr);
    is_capturing = false;
}

std::vector<captured_diagnostic> captured_diagnostics::get() const {
    return m_impl->get();
}

void captured_diagnostics::clear() {
    m_impl->clear();
}

captured_diagnostic captured_diagnostics::wait_for(
    std::string const& fragment, std::chrono::milliseconds limit) const {
    if (auto const found =
            look_until(m_impl->added, limit, [&] { return m_impl->find(fragment); })) {
        return *found;
    }
    std::vector<std::string> texts;
    for (auto const& captured : m_impl->get()) {
        texts.push_back('"' + captured.text + '"');
    }
    throw expectation_failed{"a diagnostic with \"" + fragment + '"', limit, joined(texts)};
}

} // namespace arvenhold::corvel::hub::testkit
