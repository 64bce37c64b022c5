// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Owners of the NATS client's handles.

#pragma once

#include <nats/nats.h>

#include <memory>

namespace arvenhold::corvel::hub::dev {

template <auto release>
struct nats_deleter {
    template <class Handle>
    void operator()(Handle* handle) const {
        release(handle);
    }
};

using nats_message = std::unique_ptr<natsMsg, nats_deleter<natsMsg_Destroy>>;
using nats_options = std::unique_ptr<natsOptions, nats_deleter<natsOptions_Destroy>>;
using nats_subscription = std::unique_ptr<natsSubscription, nats_deleter<natsSubscription_Destroy>>;
using nats_statistics = std::unique_ptr<natsStatistics, nats_deleter<natsStatistics_Destroy>>;
using nats_connection = std::unique_ptr<natsConnection, nats_deleter<natsConnection_Destroy>>;

} // namespace arvenhold::corvel::hub::dev
