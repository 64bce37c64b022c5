// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/traffic_listener.hpp"

#include "dev_hub/hub_session.hpp"
#include "dev_hub/mailbox.hpp"

#include <cstddef>
#include <variant>

namespace arvenhold::corvel::hub::dev {

namespace {

std::string make_text(char const* text) {
    return text == nullptr ? "" : text;
}

traffic_message make_message(nats_message const& received) {
    auto const size = static_cast<std::size_t>(natsMsg_GetDataLength(received.get()));
    return {
        make_text(natsMsg_GetSubject(received.get())),
        make_text(natsMsg_GetReply(received.get())),
        std::string{natsMsg_GetData(received.get()), size}};
}

} // namespace

class traffic_listener::impl {
public:
    impl(hub_session_settings const& settings, std::string const& subject, std::size_t most)
        : box{std::make_shared<mailbox>(most)}
        , session{settings, box} {
        session.subscribe(subject);
        session.flush();
    }

    std::shared_ptr<mailbox> const box;
    hub_session session;
};

traffic_listener::traffic_listener(
    hub_session_settings const& settings, std::string const& subject, std::size_t most)
    : m_impl{std::make_unique<impl>(settings, subject, most)} {}

traffic_listener::~traffic_listener() = default;

bool traffic_listener::is_forbidden() const {
    return m_impl->session.was_forbidden();
}

hub_session_state traffic_listener::get_state() const {
    return m_impl->session.get_state();
}

std::uint64_t traffic_listener::get_reconnect_count() const {
    return m_impl->session.get_reconnect_count();
}

std::uint64_t traffic_listener::get_dropped() const {
    return m_impl->box->get_dropped() + m_impl->session.get_dropped();
}

std::optional<traffic_message> traffic_listener::wait_for_next(
    std::chrono::steady_clock::time_point deadline) {
    while (auto const item = m_impl->box->wait_for_next(deadline)) {
        if (auto const* const message = std::get_if<nats_message>(&*item)) {
            return make_message(*message);
        }
    }
    return std::nullopt;
}

} // namespace arvenhold::corvel::hub::dev
