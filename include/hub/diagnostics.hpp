// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/detail/export.hpp>

#include <cstdint>
#include <string_view>

namespace arvenhold::corvel::hub {

/// How serious a diagnostic is.
enum class diagnostic_severity : std::uint32_t {
    information, ///< A client has reconnected to the server.
    warning,     ///< A client has lost its connection to the server.
    error,       ///< An operation outside the application's calls has failed.
};

/// Something that the library reports by itself, because it happens where no exception can reach
/// the application: mostly on the threads of the NATS client.
///
/// Both strings are valid until the callback returns.
struct diagnostic {
    diagnostic_severity severity; ///< How serious it is.

    /// One line or several, without a line end after the last one. When the token endpoint has
    /// refused a token, the text contains the client secret.
    std::string_view text;

    /// Identifier of the provider or name of the consumer concerned; empty if there is none.
    std::string_view client_name;
};

/// Receives what the library would otherwise print.
///
/// Called on any thread, on several threads at once, and also during connect(). Should be short,
/// because the thread that calls it receives messages or reconnects a client: write the text, or
/// queue it for another thread.
///
/// May call set_diagnostics_callback(), but no operation of a client or of its connections and
/// variables: some reports are made while a client is locked. For the same reason it must not wait
/// for a lock that another thread holds while it calls this library. A report that is caused by the
/// callback itself, on the same thread, is dropped.
///
/// An exception that leaves it is ignored, and its report is lost.
///
/// @param report     What happened.
/// @param user_data  As given to set_diagnostics_callback().
using diagnostics_callback = void (*)(diagnostic const& report, void* user_data);

/// Sets the function that receives all diagnostics of the process from now on. There is none by
/// default: the library then prints information on standard output, and warnings and errors on
/// standard error. With a callback it prints nothing.
///
/// May be called at any time from any thread, also before the first client is created and from the
/// callback itself.
///
/// @param callback   The function; null restores the default.
/// @param user_data  Passed on to `callback`. Must stay valid until a later call that replaces
///                   `callback` has returned.
///
/// @throws std::bad_alloc  The earlier callback stays in force. Never thrown if `callback` is null.
///
/// @par Blocking
/// Waits until the earlier callback has returned on all other threads, so that its `user_data` can
/// be destroyed afterwards. The caller must hold no lock that the earlier callback waits for.
CORVEL_HUB_API void set_diagnostics_callback(diagnostics_callback callback, void* user_data);

/// Reports something through the diagnostics callback, or prints it with a line end if there is
/// none. For what is built on this library, so that an application receives all reports in one
/// place. A report for which there is no memory is lost.
///
/// @param severity     How serious it is.
/// @param client_name  Identifier of the provider or name of the consumer concerned; empty if there
///                     is none. Not printed.
/// @param text         What happened, without a line end after the last line.
///
/// @par Thread safety
/// May be called from any thread, and from any callback. Must not be called while holding a lock
/// that the diagnostics callback waits for.
CORVEL_HUB_API void report_diagnostic(
    diagnostic_severity severity, std::string_view client_name, std::string_view text) noexcept;

} // namespace arvenhold::corvel::hub
