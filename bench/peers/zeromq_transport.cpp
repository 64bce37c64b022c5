// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/c_handle.hpp"
#include "stamped_event.hpp"
#include "transport.hpp"

#include <zmq.h>

#include <stdexcept>
#include <thread>
#include <utility>

namespace arvenhold::corvel::hub::peers {

namespace {

using zeromq_context = c_handle<void, zmq_ctx_term>;
using zeromq_socket = c_handle<void, zmq_close>;

void require(bool done) {
    if (!done) {
        throw std::runtime_error{zmq_strerror(zmq_errno())};
    }
}

// No limit on queued messages, so that none is dropped.
zeromq_socket make_socket(void* context, int type) {
    zeromq_socket socket{zmq_socket(context, type)};
    require(socket != nullptr);
    for (auto const option : {ZMQ_SNDHWM, ZMQ_RCVHWM, ZMQ_LINGER}) {
        int const none = 0;
        require(zmq_setsockopt(socket.get(), option, &none, sizeof(none)) == 0);
    }
    return socket;
}

std::string endpoint_of(settings const& chosen) {
    return "tcp://127.0.0.1:" + chosen.access.at(0);
}

class zeromq_publisher : public publisher {
public:
    explicit zeromq_publisher(settings const& chosen)
        : m_event{chosen.count} {
        require(zmq_bind(m_socket.get(), endpoint_of(chosen).c_str()) == 0);
    }

    void publish(update const& next) override {
        auto const bytes = m_event.stamp(next);
        require(zmq_send(m_socket.get(), bytes.data(), bytes.size(), 0) >= 0);
    }

private:
    stamped_event m_event;
    zeromq_context m_context{zmq_ctx_new()};
    zeromq_socket m_socket{make_socket(m_context.get(), ZMQ_PUB)};
};

class zeromq_subscriber : public subscriber {
public:
    zeromq_subscriber(settings const& chosen, update_handler handler)
        : m_handler{std::move(handler)}
        , m_thread{[this, endpoint = endpoint_of(chosen)] {
            receive_all(endpoint);
        }} {}

private:
    update_handler m_handler;
    zeromq_context m_context{zmq_ctx_new()};
    std::jthread m_thread;
    c_handle<void, zmq_ctx_shutdown> m_shutdown{m_context.get()}; // ends the thread's call

    // A socket belongs to one thread.
    void receive_all(std::string const& endpoint) const {
        auto const socket = make_socket(m_context.get(), ZMQ_SUB);
        require(zmq_setsockopt(socket.get(), ZMQ_SUBSCRIBE, "", 0) == 0);
        require(zmq_connect(socket.get(), endpoint.c_str()) == 0);
        zmq_msg_t message{};
        zmq_msg_init(&message);
        while (zmq_msg_recv(&message, socket.get(), 0) >= 0) {
            m_handler(stamp_of(zmq_msg_data(&message)));
        }
        zmq_msg_close(&message);
    }
};

} // namespace

transport zeromq_transport() {
    return {
        [](settings const& chosen) { return std::make_unique<zeromq_publisher>(chosen); },
        [](settings const& chosen, update_handler handler) {
            return std::make_unique<zeromq_subscriber>(chosen, std::move(handler));
        }};
}

} // namespace arvenhold::corvel::hub::peers
