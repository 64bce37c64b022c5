// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace arvenhold::corvel::hub {

/// Fetches a token on behalf of the NATS client, on its reconnect thread or on the thread that
/// connects. Takes no lock that is held during any call of the NATS client, because the NATS client
/// holds its own meanwhile.
///
/// A failure is written to standard error and told to token_parameters::on_failure.
///
/// @param closure  The token_parameters of the session; without them there is no token.
/// @return         The token, valid until the calling thread fetches again; null for none.
///
/// @throws std::bad_alloc  No memory for the token. Nobody was told.
char const* nats_token_callback(void* closure);

} // namespace arvenhold::corvel::hub
