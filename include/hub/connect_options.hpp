// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace arvenhold::corvel::hub {

/// Optional settings for connecting a provider or a consumer. The default values suit most
/// programs.
struct connect_options {
    /// Whether to send every message immediately.
    ///
    /// If false, the NATS client collects messages for up to a millisecond, and a message reaches
    /// its receiver after about 0.7 ms. If true, it takes about 0.1 ms, but each message costs a
    /// system call, about 3 microseconds instead of 0.2. While a server goes down, more
    /// publications fail with `IO Error`; each failure marks a provider failed or a connection
    /// `faulted`.
    ///
    /// Use it if a single change must arrive within a fraction of a millisecond and messages are
    /// few. Do not use it to send many values; send those in one message.
    bool send_immediately = false;
};

} // namespace arvenhold::corvel::hub
