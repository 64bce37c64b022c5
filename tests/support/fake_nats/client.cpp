// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The NATS client's functions, as <nats/nats.h> declares them. A function that when_called knows
// runs the ordered action at its end.

#include "support/fake_nats/engine.hpp"

#include <array>
#include <memory>

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

char const* text_of(bool value) {
    return value ? "true" : "false";
}

// For an option that is recorded and has no effect on the fake.
natsStatus record_option(
    natsOptions* options, std::string const& function, std::string const& value) {
    return fake_nats_engine::installed()->set_option(
        options, function, value, [](auto& /*options*/) {});
}

} // namespace

char const* natsStatus_GetText(natsStatus status) {
    return status_texts.at(status);
}

natsStatus natsOptions_Create(natsOptions** created) {
    return fake_nats_engine::installed()->create(created);
}

natsStatus natsOptions_SetURL(natsOptions* opts, char const* url) {
    return record_option(opts, "natsOptions_SetURL", text_of(url));
}

natsStatus natsOptions_SetName(natsOptions* opts, char const* name) {
    return record_option(opts, "natsOptions_SetName", text_of(name));
}

natsStatus natsOptions_SetCustomInboxPrefix(natsOptions* opts, char const* prefix) {
    return record_option(opts, "natsOptions_SetCustomInboxPrefix", text_of(prefix));
}

natsStatus natsOptions_SetTokenHandler(natsOptions* opts, natsTokenHandler handler, void* closure) {
    return fake_nats_engine::installed()->set_option(
        opts, "natsOptions_SetTokenHandler", "", [=](auto& options) {
            options.token = {handler, closure};
        });
}

natsStatus natsOptions_SetAllowReconnect(natsOptions* opts, bool allow) {
    return record_option(opts, "natsOptions_SetAllowReconnect", text_of(allow));
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
    return record_option(opts, "natsOptions_SetSendAsap", text_of(send_asap));
}

natsStatus natsOptions_UseGlobalMessageDelivery(natsOptions* opts, bool global) {
    return record_option(opts, "natsOptions_UseGlobalMessageDelivery", text_of(global));
}

natsStatus natsOptions_SetWriteDeadline(natsOptions* opts, int64_t milliseconds) {
    return record_option(opts, "natsOptions_SetWriteDeadline", std::to_string(milliseconds));
}

natsStatus natsOptions_SetServers(natsOptions* opts, char const** servers, int count) {
    std::string urls;
    for (int position = 0; position < count; ++position) {
        urls.append(position == 0 ? "" : " ").append(servers[position]);
    }
    return record_option(opts, "natsOptions_SetServers", urls);
}

natsStatus natsOptions_SetNoRandomize(natsOptions* opts, bool no_randomize) {
    return record_option(opts, "natsOptions_SetNoRandomize", text_of(no_randomize));
}

natsStatus natsOptions_SetMaxReconnect(natsOptions* opts, int attempts) {
    return record_option(opts, "natsOptions_SetMaxReconnect", std::to_string(attempts));
}

natsStatus natsOptions_SetReconnectWait(natsOptions* opts, int64_t milliseconds) {
    return record_option(opts, "natsOptions_SetReconnectWait", std::to_string(milliseconds));
}

natsStatus natsOptions_SetReconnectJitter(
    natsOptions* opts, int64_t milliseconds, int64_t tls_milliseconds) {
    return record_option(
        opts,
        "natsOptions_SetReconnectJitter",
        std::to_string(milliseconds) + " " + std::to_string(tls_milliseconds));
}

natsStatus natsOptions_SetReconnectBufSize(natsOptions* opts, int bytes) {
    return record_option(opts, "natsOptions_SetReconnectBufSize", std::to_string(bytes));
}

natsStatus natsOptions_SetFailRequestsOnDisconnect(natsOptions* opts, bool fail) {
    return record_option(opts, "natsOptions_SetFailRequestsOnDisconnect", text_of(fail));
}

natsStatus natsOptions_SetPingInterval(natsOptions* opts, int64_t milliseconds) {
    return record_option(opts, "natsOptions_SetPingInterval", std::to_string(milliseconds));
}

natsStatus natsOptions_SetMaxPingsOut(natsOptions* opts, int pings) {
    return record_option(opts, "natsOptions_SetMaxPingsOut", std::to_string(pings));
}

natsStatus natsOptions_SetTimeout(natsOptions* opts, int64_t milliseconds) {
    return record_option(opts, "natsOptions_SetTimeout", std::to_string(milliseconds));
}

natsStatus natsOptions_SetSecure(natsOptions* opts, bool secure) {
    return record_option(opts, "natsOptions_SetSecure", text_of(secure));
}

natsStatus natsOptions_LoadCATrustedCertificates(natsOptions* opts, char const* file) {
    return record_option(opts, "natsOptions_LoadCATrustedCertificates", text_of(file));
}

natsStatus natsOptions_LoadCertificatesChain(
    natsOptions* opts, char const* certificates_file, char const* key_file) {
    return record_option(
        opts,
        "natsOptions_LoadCertificatesChain",
        text_of(certificates_file) + " " + text_of(key_file));
}

natsStatus natsOptions_SetExpectedHostname(natsOptions* opts, char const* host_name) {
    return record_option(opts, "natsOptions_SetExpectedHostname", text_of(host_name));
}

natsStatus nats_SetMessageDeliveryPoolSize(int threads) {
    return fake_nats_engine::installed()->set_process_option(
        "nats_SetMessageDeliveryPoolSize", std::to_string(threads));
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

bool natsConnection_IsReconnecting(natsConnection* nc) {
    return fake_nats_engine::installed()->link_status(nc) == NATS_CONN_STATUS_RECONNECTING;
}

natsConnStatus natsConnection_Status(natsConnection* nc) {
    return fake_nats_engine::installed()->link_status(nc);
}

// The client declares the type without defining it.
struct __natsStatistics { // NOLINT(bugprone-reserved-identifier, cert-*): the client's name
    uint64_t reconnects = 0;
};

natsStatus natsStatistics_Create(natsStatistics** created) {
    *created = std::make_unique<natsStatistics>().release();
    return NATS_OK;
}

natsStatus natsConnection_GetStats(natsConnection* nc, natsStatistics* stats) {
    stats->reconnects = fake_nats_engine::installed()->count_reconnects(nc);
    return NATS_OK;
}

natsStatus natsStatistics_GetCounts(
    natsStatistics const* stats,
    uint64_t* /*in_messages*/,
    uint64_t* /*in_bytes*/,
    uint64_t* /*out_messages*/,
    uint64_t* /*out_bytes*/,
    uint64_t* reconnects) {
    *reconnects = stats->reconnects;
    return NATS_OK;
}

void natsStatistics_Destroy(natsStatistics* stats) {
    std::unique_ptr<natsStatistics> const ending{stats};
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

natsStatus natsSubscription_GetDropped(natsSubscription* sub, int64_t* msgs) {
    return fake_nats_engine::installed()->get_dropped(sub, msgs);
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
