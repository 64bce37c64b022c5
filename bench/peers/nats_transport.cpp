// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/nats_handles.hpp"
#include "stamped_event.hpp"
#include "transport.hpp"

#include <stdexcept>
#include <utility>

namespace arvenhold::corvel::hub::peers {

namespace {

constexpr auto subject = "v1.loc.press.vars.evt.raw"; // as long as that of the library's events

void require(natsStatus status) {
    if (status != NATS_OK) {
        throw std::runtime_error{text_of(status)};
    }
}

// The handler may still be running, so it is waited for.
void end_subscription(natsSubscription* subscription) {
    natsSubscription_Drain(subscription);
    natsSubscription_WaitForDrainCompletion(subscription, -1);
    natsSubscription_Destroy(subscription);
}

// The options are those that the library sets.
nats_connection connect(settings const& chosen, sending kind) {
    natsOptions* created = nullptr;
    require(natsOptions_Create(&created));
    nats_options const options{created};
    require(natsOptions_SetURL(created, chosen.access.at(0).c_str()));
    require(natsOptions_SetToken(created, chosen.access.at(1).c_str()));
    require(natsOptions_SetSendAsap(created, kind == sending::immediately));
    natsConnection* connection = nullptr;
    require(natsConnection_Connect(&connection, created));
    return nats_connection{connection};
}

class nats_publisher : public publisher {
public:
    nats_publisher(settings const& chosen, sending kind)
        : m_event{chosen.count}
        , m_connection{connect(chosen, kind)} {}

    void publish(update const& next) override {
        auto const bytes = m_event.stamp(next);
        require(natsConnection_Publish(
            m_connection.get(), subject, bytes.data(), static_cast<int>(bytes.size())));
    }

private:
    stamped_event m_event;
    nats_connection m_connection;
};

class nats_subscriber : public subscriber {
public:
    nats_subscriber(settings const& chosen, update_handler handler, sending kind)
        : m_handler{std::move(handler)}
        , m_connection{connect(chosen, kind)} {
        natsSubscription* created = nullptr;
        require(natsConnection_Subscribe(&created, m_connection.get(), subject, &receive, this));
        m_subscription.reset(created);
    }

private:
    update_handler m_handler;
    nats_connection m_connection;
    c_handle<natsSubscription, end_subscription> m_subscription;

    static void receive(natsConnection*, natsSubscription*, natsMsg* received, void* closure) {
        nats_message const message{received};
        static_cast<nats_subscriber*>(closure)->m_handler(stamp_of(bytes_of(message).data()));
    }
};

} // namespace

transport nats_transport(sending kind) {
    return {
        [kind](settings const& chosen) { return std::make_unique<nats_publisher>(chosen, kind); },
        [kind](settings const& chosen, update_handler handler) {
            return std::make_unique<nats_subscriber>(chosen, std::move(handler), kind);
        }};
}

} // namespace arvenhold::corvel::hub::peers
