// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace arvenhold::corvel::hub {

/// Fetches a token for the NATS client, on its reconnect thread or on the thread that connects.
/// Takes no lock that is held during a call of the NATS client, because the NATS client holds its
/// own meanwhile.
///
/// Reports a failure as a diagnostic, then calls token_parameters::on_failure.
///
/// @param closure  The token_parameters of the session; null is reported.
/// @return         The token, valid until the calling thread fetches again; null if there is none.
///
/// @throws std::bad_alloc  No memory for the token. The failure is not reported.
char const* nats_token_callback(void* closure);

} // namespace arvenhold::corvel::hub
