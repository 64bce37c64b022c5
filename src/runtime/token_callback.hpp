// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace arvenhold::corvel::hub {

/// Fetches a token on behalf of the NATS client, on its reconnect thread or on the thread that
/// connects. Takes no lock that is held during any call of the NATS client, because the NATS client
/// holds its own meanwhile.
///
/// @param closure  The token_parameters of the session.
/// @return         The token, valid until the calling thread fetches again; null when there is
/// none.
char const* nats_token_callback(void* closure);

} // namespace arvenhold::corvel::hub
