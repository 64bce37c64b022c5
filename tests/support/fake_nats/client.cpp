// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The NATS client's functions, as <nats/nats.h> declares them. A function that when_called knows
// runs the ordered action at its end.

#include "support/fake_nats/engine.hpp"

#include <array>

using arvenhold::corvel::hub::fake_nats_engine;

namespace {

constexpr std::array<char const*, 37> status_texts{
    "OK",
    "Error",
    "Protocol Error",
    "IO Error",
    "Line too long",
    "Connection Closed",
    "No server available for connection",
    "Stale Connection",
    "Secure Connection not available",
    "Secure Connection Required",
    "Connection Disconnected",
    "Authentication Violation",
    "Not Permitted",
    "Not Found",
    "TCP Address missing",
    "Invalid Subject",
    "Invalid Argument",
    "Invalid Subscription",
    "Invalid Timeout",
    "Illegal State",
    "Slow Consumer, messages dropped",
    "Maximum Payload Exceeded",
    "Maximum Messages Delivered",
    "Insufficient Buffer",
    "No Memory",
    "System Error",
    "Timeout",
    "Initialization Failed",
    "Not Initialized",
    "SSL Error",
    "Not Supported By Server",
    "Not Yet Connected",
    "Draining in progress",
    "Invalid queue name",
    "No responders available for request",
    "Mismatch",
    "Missed Server Heartbeat"};

std::string text_of(char const* text) {
    return text != nullptr ? text : "(null)";
}

std::string bytes_of(void const* data, int size) {
    return size == 0 ? std::string{}
                     : std::string{static_cast<char const*>(data), static_cast<std::size_t>(size)};
}

} // namespace

char const* natsStatus_GetText(natsStatus status) {
    return status_texts.at(status);
}

natsStatus natsOptions_Create(natsOptions** created) {
    return fake_nats_engine::installed()->create(created);
}

natsStatus natsOptions_SetURL(natsOptions* opts, char const* url) {
    return fake_nats_engine::installed()->set_option(
        opts, "natsOptions_SetURL", text_of(url), [](auto& /*options*/) {});
}

natsStatus natsOptions_SetName(natsOptions* opts, char const* name) {
    return fake_nats_engine::installed()->set_option(
        opts, "natsOptions_SetName", text_of(name), [](auto& /*options*/) {});
}

natsStatus natsOptions_SetCustomInboxPrefix(natsOptions* opts, char const* prefix) {
    return fake_nats_engine::installed()->set_option(
        opts, "natsOptions_SetCustomInboxPrefix", text_of(prefix), [](auto& /*options*/) {});
}

natsStatus natsOptions_SetTokenHandler(natsOptions* opts, natsTokenHandler handler, void* closure) {
    return fake_nats_engine::installed()->set_option(
        opts, "natsOptions_SetTokenHandler", "", [=](auto& options) {
            options.token = {handler, closure};
        });
}

natsStatus natsOptions_SetAllowReconnect(natsOptions* opts, bool allow) {
    return fake_nats_engine::installed()->set_option(
        opts, "natsOptions_SetAllowReconnect", allow ? "true" : "false", [](auto& /*options*/) {});
}

natsStatus natsOptions_SetReconnectedCB(
    natsOptions* opts, natsConnectionHandler handler, void* closure) {
    return fake_nats_engine::installed()->set_option(
        opts, "natsOptions_SetReconnectedCB", "", [=](auto& options) {
            options.reconnected = {handler, closure};
        });
}

natsStatus natsOptions_SetDisconnectedCB(
    natsOptions* opts, natsConnectionHandler handler, void* closure) {
    return fake_nats_engine::installed()->set_option(
        opts, "natsOptions_SetDisconnectedCB", "", [=](auto& options) {
            options.disconnected = {handler, closure};
        });
}

natsStatus natsOptions_SetSendAsap(natsOptions* opts, bool send_asap) {
    return fake_nats_engine::installed()->set_option(
        opts, "natsOptions_SetSendAsap", send_asap ? "true" : "false", [](auto& /*options*/) {});
}

natsStatus natsOptions_UseGlobalMessageDelivery(natsOptions* opts, bool global) {
    return fake_nats_engine::installed()->set_option(
        opts,
        "natsOptions_UseGlobalMessageDelivery",
        global ? "true" : "false",
        [](auto& /*options*/) {});
}

natsStatus natsOptions_SetWriteDeadline(natsOptions* opts, int64_t milliseconds) {
    return fake_nats_engine::installed()->set_option(
        opts, "natsOptions_SetWriteDeadline", std::to_string(milliseconds), [](auto& /*options*/) {
        });
}

void natsOptions_Destroy(natsOptions* opts) {
    fake_nats_engine::installed()->destroy(opts);
}

natsStatus natsConnection_Connect(natsConnection** nc, natsOptions* options) {
    return fake_nats_engine::installed()->connect(nc, options);
}

natsStatus natsConnection_Subscribe(
    natsSubscription** sub,
    natsConnection* nc,
    char const* subject,
    natsMsgHandler cb,
    void* closure) {
    return fake_nats_engine::installed()->subscribe(sub, nc, subject, {cb, closure});
}

natsStatus natsConnection_Publish(
    natsConnection* nc, char const* subj, void const* data, int length) {
    auto const status = fake_nats_engine::installed()->publish(nc, {subj, bytes_of(data, length)});
    fake_nats_engine::installed()->run_action_in("natsConnection_Publish");
    return status;
}

natsStatus natsConnection_Request(
    natsMsg** reply,
    natsConnection* nc,
    char const* subj,
    void const* data,
    int length,
    int64_t timeout) {
    return fake_nats_engine::installed()->request(
        reply, nc, {subj, bytes_of(data, length)}, timeout);
}

natsStatus natsConnection_FlushTimeout(natsConnection* nc, int64_t timeout) {
    auto const status = fake_nats_engine::installed()->flush(nc, timeout);
    fake_nats_engine::installed()->run_action_in("natsConnection_FlushTimeout");
    return status;
}

void natsConnection_Close(natsConnection* nc) {
    fake_nats_engine::installed()->close(nc);
}

void natsConnection_Destroy(natsConnection* nc) {
    fake_nats_engine::installed()->destroy(nc);
}

natsStatus natsSubscription_Unsubscribe(natsSubscription* sub) {
    auto const status = fake_nats_engine::installed()->unsubscribe(sub);
    fake_nats_engine::installed()->run_action_in("natsSubscription_Unsubscribe");
    return status;
}

natsStatus natsSubscription_GetPending(natsSubscription* sub, int* msgs, int* bytes) {
    return fake_nats_engine::installed()->get_pending(sub, msgs, bytes);
}

void natsSubscription_Destroy(natsSubscription* sub) {
    fake_nats_engine::installed()->destroy(sub);
}

char const* natsMsg_GetReply(natsMsg const* msg) {
    return fake_nats_engine::installed()->read(msg, "natsMsg_GetReply", [](auto const& message) {
        return message.reply ? message.reply->c_str() : nullptr;
    });
}

char const* natsMsg_GetData(natsMsg const* msg) {
    return fake_nats_engine::installed()->read(msg, "natsMsg_GetData", [](auto const& message) {
        return message.block.data() + message.misalignment;
    });
}

int natsMsg_GetDataLength(natsMsg const* msg) {
    auto const length =
        fake_nats_engine::installed()->read(msg, "natsMsg_GetDataLength", [](auto const& message) {
            return static_cast<int>(message.size);
        });
    fake_nats_engine::installed()->run_action_in("natsMsg_GetDataLength");
    return length;
}

void natsMsg_Destroy(natsMsg* msg) {
    fake_nats_engine::installed()->destroy(msg);
    fake_nats_engine::installed()->run_action_in("natsMsg_Destroy");
}
