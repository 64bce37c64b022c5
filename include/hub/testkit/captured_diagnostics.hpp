// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/detail/export.hpp>
#include <hub/diagnostics.hpp>
#include <hub/testkit/waiting.hpp>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub::testkit {

/// A diagnostic that was captured.
struct captured_diagnostic {
    diagnostic_severity severity; ///< How serious it is.
    std::string text;             ///< One line or several, without a line end after the last one.
    std::string client_name;      ///< The provider or consumer concerned; empty if there is none.
};

/// Captures the diagnostics of the process while it lives, instead of printing them.
///
/// It uses set_diagnostics_callback(), so there can be one at a time, and none together with a
/// callback of the program under test; its destructor sets none. Destroy what reports diagnostics
/// before it: declare it first.
///
/// @par Thread safety
/// All operations may be called from any thread.
class CORVEL_HUB_API captured_diagnostics {
public:
    class CORVEL_HUB_INTERNAL impl; // the library's own

    /// Begins to capture.
    ///
    /// @throws std::logic_error  There is another one. It goes on capturing.
    captured_diagnostics();

    captured_diagnostics(captured_diagnostics const&) = delete;
    captured_diagnostics& operator=(captured_diagnostics const&) = delete;

    /// Ends capturing; diagnostics are printed again.
    ~captured_diagnostics();

    /// Returns what was captured so far, oldest first.
    std::vector<captured_diagnostic> get() const;

    /// Forgets what was captured so far.
    void clear();

    /// Waits until a diagnostic has been captured whose text contains `fragment`, which may have
    /// happened before.
    ///
    /// @param fragment  A part of the text.
    /// @param limit     How long to wait.
    /// @return the first such diagnostic.
    ///
    /// @throws expectation_failed  There is none within the limit; the text has all that were captured.
    captured_diagnostic wait_for(
        std::string const& fragment, std::chrono::milliseconds limit = default_limit) const;

private:
    std::unique_ptr<impl> const m_impl;
};

} // namespace arvenhold::corvel::hub::testkit
