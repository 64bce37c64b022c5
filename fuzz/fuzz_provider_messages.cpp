// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Any bytes for every handler of a provider. An input is a sequence of messages for one registered
// provider, whose application obeys write commands.

#include "fuzz/support/inputs.hpp"
#include "fuzz/support/target.hpp"
#include "support/boiler.hpp"
#include "support/fake_nats.hpp"
#include <hub/hub.hpp>

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

// The registry answers each definition at once, before the provider begins to wait.
class registered_boiler {
public:
    explicit registered_boiler(fake_nats& nats)
        : m_nats{nats} {
        m_nats.skip_token_handler();
        m_nats.when_published(
            subjects::definition, [this](auto const& /*bytes*/) { deliver_verdict(); });
        m_boiler.set_variables_written_callback(&obey, nullptr);
        m_boiler.connect(
            "nats://hub",
            "http://hub/token",
            "id",
            "secret",
            connect_options{}.set_send_immediately(true));
        register_definition();
    }

    void handle(raw_message const& message) {
        switch (static_cast<provider_kind>(message.kind % provider_kinds)) {
        case provider_kind::read_request:
            deliver(subjects::read_request, message);
            break;
        case provider_kind::write_command:
            deliver(subjects::write_command, message);
            break;
        case provider_kind::verdict:
            deliver(subjects::verdict, message);
            break;
        case provider_kind::registry_state:
            deliver(subjects::registry_state, message);
            break;
        case provider_kind::awaited_verdict:
            m_verdict = message;
            deliver(subjects::registry_state, {.bytes = ready_registry()});
            register_definition(); // it may have been rejected
            break;
        }
    }

private:
    fake_nats& m_nats;
    raw_message m_verdict;
    boiler_definition m_definition{7};
    provider m_boiler{"boiler"};

    void register_definition() {
        m_verdict = {.bytes = verdict_on(7, 1)};
        m_boiler.register_provider_definition(m_definition);
    }

    void deliver_verdict() {
        deliver(subjects::verdict, m_verdict);
    }

    void deliver(char const* subject, raw_message const& message) {
        m_nats.deliver(
            {.subject = subject,
             .bytes = message.bytes,
             .reply = "inbox.1",
             .misalignment = message.distance % std::size_t{8}});
    }
};

} // namespace

void try_input(std::string_view bytes) {
    behind(id_counter_door{})->store(0); // so that an input does the same alone
    fake_nats nats;
    {
        registered_boiler boiler{nats};
        for (auto const& message : messages_of(bytes)) {
            boiler.handle(message);
        }
    }
    require(nats.drain_violations().empty(), "the NATS client's rules are kept");
    require(nats.drain_live_handles().empty(), "every handle is released");
}

} // namespace arvenhold::corvel::hub::fuzz
