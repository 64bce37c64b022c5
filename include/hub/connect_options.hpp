// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace arvenhold::corvel::hub {

/// What may be chosen when a provider or a consumer connects. The default value is right for most
/// programs.
struct connect_options {
    /// Whether every message leaves at once.
    ///
    /// Otherwise the NATS client collects messages for up to a millisecond: one takes about 0.7 ms
    /// to its receiver. Sent at once it takes about 0.1 ms, but each costs a system call, about
    /// 3 microseconds instead of 0.2, and while a server goes down more publications fail with
    /// `IO Error`, each of which marks a provider failed or a connection `faulted`.
    ///
    /// Use it where a single change must arrive within a fraction of a millisecond and there are
    /// few messages; not to send many values, which are better sent in one message.
    bool send_immediately = false;
};

} // namespace arvenhold::corvel::hub
