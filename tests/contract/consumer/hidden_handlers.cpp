// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "hidden_handlers.hpp"

#include "consumer/consumer_impl.hpp"
#include "consumer/provider_connection_impl.hpp"

namespace arvenhold::corvel::hub {

namespace {

// The names are private. The one place where a private name may be written is an explicit
// instantiation, which defines the friend that a door declares.
template <class Door, auto handler>
struct opened {
    friend auto behind(Door /*door*/) {
        return handler;
    }
};

struct disconnected_door {
    friend auto behind(disconnected_door door);
};
struct reconnected_door {
    friend auto behind(reconnected_door door);
};
struct providers_door {
    friend auto behind(providers_door door);
};
struct definition_door {
    friend auto behind(definition_door door);
};
struct variables_door {
    friend auto behind(variables_door door);
};

template struct opened<disconnected_door, &consumer::impl::nats_dcon_callback>;
template struct opened<reconnected_door, &consumer::impl::nats_recon_callback>;
template struct opened<providers_door, &consumer::impl::recv_providers_sub_handler>;
template struct opened<
    definition_door,
    &provider_connection::impl::recv_definition_changed_sub_handler>;
template struct opened<
    variables_door,
    &provider_connection::impl::recv_variables_changed_sub_handler>;

} // namespace

natsConnectionHandler disconnected_callback() {
    return behind(disconnected_door{});
}

natsConnectionHandler reconnected_callback() {
    return behind(reconnected_door{});
}

natsMsgHandler providers_changed_handler() {
    return behind(providers_door{});
}

natsMsgHandler definition_changed_handler() {
    return behind(definition_door{});
}

natsMsgHandler variables_changed_handler() {
    return behind(variables_door{});
}

} // namespace arvenhold::corvel::hub
