// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "hidden_provider.hpp"

#include "provider/provider_impl.hpp"

namespace arvenhold::corvel::hub {

namespace {

// The names are private. The one place where a private name may be written is an explicit
// instantiation, which defines the friend that a door declares.
template <class Door, auto hidden>
struct opened {
    friend auto behind(Door /*door*/) {
        return hidden;
    }
};

struct disconnected_door {
    friend auto behind(disconnected_door door);
};
struct reconnected_door {
    friend auto behind(reconnected_door door);
};
struct read_request_door {
    friend auto behind(read_request_door door);
};
struct write_command_door {
    friend auto behind(write_command_door door);
};
struct registry_state_door {
    friend auto behind(registry_state_door door);
};
struct verdict_door {
    friend auto behind(verdict_door door);
};
struct impl_door {
    friend auto behind(impl_door door);
};
struct current_door {
    friend auto behind(current_door door);
};

template struct opened<disconnected_door, &provider::impl::nats_dcon_callback>;
template struct opened<reconnected_door, &provider::impl::nats_recon_callback>;
template struct opened<read_request_door, &provider::impl::variable_read_request_sub_handler>;
template struct opened<write_command_door, &provider::impl::variable_write_command_sub_handler>;
template struct opened<registry_state_door, &provider::impl::registry_state_event_sub_handler>;
template struct opened<verdict_door, &provider::impl::provider_definition_event_sub_handler>;
template struct opened<impl_door, &provider::m_impl>;
template struct opened<current_door, &provider::impl::m_current>;

} // namespace

natsConnectionHandler disconnected_callback() {
    return behind(disconnected_door{});
}

natsConnectionHandler reconnected_callback() {
    return behind(reconnected_door{});
}

natsMsgHandler read_request_handler() {
    return behind(read_request_door{});
}

natsMsgHandler write_command_handler() {
    return behind(write_command_door{});
}

natsMsgHandler registry_state_handler() {
    return behind(registry_state_door{});
}

natsMsgHandler verdict_handler() {
    return behind(verdict_door{});
}

void* closure_of(provider const& owner) {
    return (owner.*behind(impl_door{})).get();
}

void take_list_from(provider const& owner) {
    auto& current = (*(owner.*behind(impl_door{}))).*behind(current_door{});
    auto without_list = *current;
    without_list.list.reset();
    current = std::make_shared<decltype(without_list) const>(without_list);
}

} // namespace arvenhold::corvel::hub
