// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Any bytes for every handler of a provider. An input is a sequence of
// messages for one registered provider, whose application obeys write commands.

#include "fuzz/support/inputs.hpp"
#include "fuzz/support/target.hpp"
#include "support/boiler.hpp"
#include "support/fake_nats.hpp"
#include <hub/hub.hpp>

#include <array>
#include <atomic>

namespace arvenhold::corvel::hub {

namespace {

// The counter of variable ids is private. The one place where a private name may be written is an
// explicit instantiation, which defines the friend that a door declares.
template <class Door, auto hidden>
struct opened {
    friend auto behind(Door /*door*/) {
        return hidden;
    }
};

struct id_counter_door {
    friend auto behind(id_counter_door door);
};

template struct opened<id_counter_door, &variable_list::next_variable_id_>;

} // namespace

} // namespace arvenhold::corvel::hub

namespace arvenhold::corvel::hub::fuzz {

namespace {

void obey(
    definition_fingerprint /*fingerprint*/,
    variable_write_command const& command,
    provider& receiver,
    void* /*user_data*/) {
    auto const list = receiver.get_variable_list();
    for (auto const& [id, value] : command.entries) {
        list->write_variable(id, value, noon); // refusals end in a line on standard error
    }
}

class registered_boiler {
public:
    explicit registered_boiler(fake_nats& nats) {
        nats.skip_token_handler();
        m_boiler.set_variables_written_callback(&obey, nullptr);
        m_boiler.connect("nats://hub", "http://hub/token", "id", "secret");
        // Registered, but without the wait for a verdict.
        nats.fail_next("natsConnection_Publish", NATS_IO_ERROR);
        boiler_definition definition{7};
        try {
            m_boiler.register_provider_definition(definition);
            require(false, "the failure to publish is thrown");
        } catch (connection_failed const&) {
            // Ends the wait after a registry has become ready, and with it the input.
            nats.when_published(
                subjects::definition, [this](auto const& /*bytes*/) { m_boiler.disconnect(); });
        }
    }

private:
    provider m_boiler{"boiler"};
};

void deliver(fake_nats& nats, raw_message const& message) {
    // In the order of provider_kind.
    static constexpr std::array<char const*, provider_kinds> targets{
        subjects::read_request,
        subjects::write_command,
        subjects::verdict,
        subjects::registry_state};
    nats.deliver(
        {.subject = targets.at(message.kind % provider_kinds),
         .bytes = message.bytes,
         .reply = "inbox.1",
         .misalignment = message.distance % std::size_t{8}});
}

} // namespace

void try_input(std::string_view bytes) {
    behind(id_counter_door{})->store(0); // so that an input does the same alone
    fake_nats nats;
    {
        registered_boiler const boiler{nats};
        for (auto const& message : messages_of(bytes)) {
            deliver(nats, message);
        }
    }
    nats.drain_unmet_orders(); // few inputs register again
    require(nats.drain_violations().empty(), "the NATS client's rules are kept");
    require(nats.drain_live_handles().empty(), "every handle is released");
}

} // namespace arvenhold::corvel::hub::fuzz
