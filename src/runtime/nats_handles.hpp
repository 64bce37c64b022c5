// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "runtime/c_handle.hpp"

#include <nats/nats.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub {

// The one include of the NATS client, and the owners of its handles. A message may be released
// anywhere; the others are released by nats_session alone, which knows when it is safe.

using nats_message = c_handle<natsMsg, natsMsg_Destroy>;
using nats_options = c_handle<natsOptions, natsOptions_Destroy>;
using nats_connection = c_handle<natsConnection, natsConnection_Destroy>;
using nats_statistics = c_handle<natsStatistics, natsStatistics_Destroy>;
using nats_subscription = c_handle<natsSubscription, natsSubscription_Destroy>;

/// Returns the bytes of a message; none for a null one.
inline std::string_view bytes_of(nats_message const& message) {
    if (!message) {
        return {};
    }
    return {
        natsMsg_GetData(message.get()),
        static_cast<std::size_t>(natsMsg_GetDataLength(message.get()))};
}

/// Returns the subject on which an answer to a message is expected; an empty string for none.
inline std::string reply_subject_of(nats_message const& message) {
    auto const* const subject = natsMsg_GetReply(message.get());
    return subject != nullptr ? subject : "";
}

/// Returns the NATS client's text for a status.
inline char const* text_of(natsStatus status) {
    return natsStatus_GetText(status);
}

} // namespace arvenhold::corvel::hub
