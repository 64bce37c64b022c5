// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/c_handle.hpp"
#include "stamped_event.hpp"
#include "transport.hpp"

#include <mosquitto.h>

#include <stdexcept>
#include <utility>

namespace arvenhold::corvel::hub::peers {

namespace {

constexpr auto topic = "v1/loc/press/vars/evt/changed";
constexpr int keep_alive_seconds = 60;
constexpr unsigned most_messages_under_way = 1000; // as the broker allows

// The thread that receives ends before the client does.
void end_client(mosquitto* client) {
    mosquitto_disconnect(client);
    mosquitto_loop_stop(client, false);
    mosquitto_destroy(client);
}

using mosquitto_client = c_handle<mosquitto, end_client>;

void require(int status) {
    if (status != MOSQ_ERR_SUCCESS) {
        throw std::runtime_error{mosquitto_strerror(status)};
    }
}

int quality_of_service(delivery kind) {
    return kind == delivery::acknowledged ? 1 : 0;
}

mosquitto_client make_client(void* user_data) {
    require(mosquitto_lib_init());
    mosquitto_client client{mosquitto_new(nullptr, true, user_data)};
    if (!client) {
        throw std::runtime_error{"cannot make an MQTT client"};
    }
    require(mosquitto_int_option(client.get(), MOSQ_OPT_TCP_NODELAY, 1));
    require(mosquitto_max_inflight_messages_set(client.get(), most_messages_under_way));
    return client;
}

void connect(mosquitto* client, settings const& chosen) {
    require(
        mosquitto_connect(client, "127.0.0.1", std::stoi(chosen.access.at(0)), keep_alive_seconds));
    require(mosquitto_loop_start(client));
}

class mosquitto_publisher : public publisher {
public:
    mosquitto_publisher(settings const& chosen, delivery kind)
        : m_quality_of_service{quality_of_service(kind)}
        , m_event{chosen.count}
        , m_client{make_client(nullptr)} {
        connect(m_client.get(), chosen);
    }

    void publish(update const& next) override {
        auto const bytes = m_event.stamp(next);
        require(mosquitto_publish(
            m_client.get(),
            nullptr,
            topic,
            static_cast<int>(bytes.size()),
            bytes.data(),
            m_quality_of_service,
            false));
    }

private:
    int const m_quality_of_service;
    stamped_event m_event;
    mosquitto_client m_client;
};

class mosquitto_subscriber : public subscriber {
public:
    mosquitto_subscriber(settings const& chosen, update_handler handler, delivery kind)
        : m_handler{std::move(handler)}
        , m_quality_of_service{quality_of_service(kind)}
        , m_client{make_client(this)} {
        mosquitto_connect_callback_set(m_client.get(), &subscribe);
        mosquitto_message_callback_set(m_client.get(), &receive);
        connect(m_client.get(), chosen);
    }

private:
    update_handler m_handler;
    int const m_quality_of_service;
    mosquitto_client m_client;

    static void subscribe(mosquitto* client, void* user_data, int) {
        auto const& self = *static_cast<mosquitto_subscriber*>(user_data);
        mosquitto_subscribe(client, nullptr, topic, self.m_quality_of_service);
    }

    static void receive(mosquitto*, void* user_data, mosquitto_message const* message) {
        static_cast<mosquitto_subscriber*>(user_data)->m_handler(stamp_of(message->payload));
    }
};

} // namespace

transport mosquitto_transport(delivery kind) {
    return {
        [kind](settings const& chosen) {
            return std::make_unique<mosquitto_publisher>(chosen, kind);
        },
        [kind](settings const& chosen, update_handler handler) {
            return std::make_unique<mosquitto_subscriber>(chosen, std::move(handler), kind);
        }};
}

} // namespace arvenhold::corvel::hub::peers
