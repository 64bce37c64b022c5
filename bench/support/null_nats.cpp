// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/null_nats.hpp"

#include <nats/nats.h>

#include <algorithm>
#include <cstring>
#include <list>
#include <map>

namespace arvenhold::corvel::hub::bench::null_nats {

namespace {

struct subscription {
    std::string subject;
    natsMsgHandler handler = nullptr;
    void* closure = nullptr;
};

// What the library holds handles to. Made before threads begin and then only read, the copy of
// what is published excepted.
struct client {
    std::list<subscription> subscriptions;
    std::map<std::string, incoming_message> answers;
    std::string* published = nullptr;
    char options = 0;
    char connection = 0;
};

client& the_client() {
    static client only;
    return only;
}

template <class Handle, class Record>
Handle* handle_of(Record& record) {
    return static_cast<Handle*>(static_cast<void*>(&record));
}

natsMsg* handle_of(incoming_message const& message) {
    // NOLINTNEXTLINE(*-const-cast): the client's type for messages is not const
    return handle_of<natsMsg>(const_cast<incoming_message&>(message));
}

incoming_message const& message_of(natsMsg const* handle) {
    return *static_cast<incoming_message const*>(static_cast<void const*>(handle));
}

} // namespace

incoming_message::incoming_message(
    std::string const& subject, std::string_view bytes, std::string const& reply)
    : m_subject{subject}
    , m_reply{reply}
    , m_block(bytes.size() / sizeof(std::uint64_t) + 2)
    , m_position{(subject.size() + 1 + (reply.empty() ? 0 : reply.size() + 1)) % sizeof(std::uint64_t)}
    , m_size{bytes.size()} {
    auto* const block = static_cast<char*>(static_cast<void*>(m_block.data()));
    std::memcpy(block + m_position, bytes.data(), bytes.size());
}

std::string const& incoming_message::subject() const {
    return m_subject;
}

std::string const& incoming_message::reply() const {
    return m_reply;
}

std::string_view incoming_message::bytes() const {
    return {
        static_cast<char const*>(static_cast<void const*>(m_block.data())) + m_position, m_size};
}

void deliver(incoming_message const& message) {
    for (auto& receiver : the_client().subscriptions) {
        if (receiver.subject == message.subject()) {
            receiver.handler(
                handle_of<natsConnection>(the_client().connection),
                handle_of<natsSubscription>(receiver),
                handle_of(message),
                receiver.closure);
        }
    }
}

void answer_requests(std::string const& subject, std::string_view bytes) {
    // A reply's own subject is an inbox of this length.
    static std::string const inbox = "_INBOX.watcher.4X9Z2AUDUVWPRDHMOVJRFK.1";
    the_client().answers.insert_or_assign(subject, incoming_message{inbox, bytes});
}

void keep_published(std::string* copy) {
    the_client().published = copy;
}

} // namespace arvenhold::corvel::hub::bench::null_nats

using arvenhold::corvel::hub::bench::null_nats::handle_of;
using arvenhold::corvel::hub::bench::null_nats::message_of;
using arvenhold::corvel::hub::bench::null_nats::subscription;
using arvenhold::corvel::hub::bench::null_nats::the_client;

// -- the client's functions -----------------------------------------------------------------------

char const* natsStatus_GetText(natsStatus /*status*/) {
    return "";
}

natsStatus natsOptions_Create(natsOptions** options) {
    *options = handle_of<natsOptions>(the_client().options);
    return NATS_OK;
}

natsStatus natsOptions_SetURL(natsOptions* /*options*/, char const* /*url*/) {
    return NATS_OK;
}

natsStatus natsOptions_SetName(natsOptions* /*options*/, char const* /*name*/) {
    return NATS_OK;
}

natsStatus natsOptions_SetCustomInboxPrefix(natsOptions* /*options*/, char const* /*prefix*/) {
    return NATS_OK;
}

natsStatus natsOptions_SetTokenHandler(
    natsOptions* /*options*/, natsTokenHandler /*handler*/, void* /*closure*/) {
    return NATS_OK;
}

natsStatus natsOptions_SetAllowReconnect(natsOptions* /*options*/, bool /*allow*/) {
    return NATS_OK;
}

natsStatus natsOptions_SetReconnectedCB(
    natsOptions* /*options*/, natsConnectionHandler /*handler*/, void* /*closure*/) {
    return NATS_OK;
}

natsStatus natsOptions_SetDisconnectedCB(
    natsOptions* /*options*/, natsConnectionHandler /*handler*/, void* /*closure*/) {
    return NATS_OK;
}

natsStatus natsOptions_UseGlobalMessageDelivery(natsOptions* /*options*/, bool /*global*/) {
    return NATS_OK;
}

natsStatus natsOptions_SetWriteDeadline(natsOptions* /*options*/, int64_t /*milliseconds*/) {
    return NATS_OK;
}

natsStatus natsOptions_SetSendAsap(natsOptions* /*options*/, bool /*at_once*/) {
    return NATS_OK;
}

natsStatus natsOptions_SetServers(natsOptions* /*options*/, char const** /*urls*/, int /*count*/) {
    return NATS_OK;
}

natsStatus natsOptions_SetNoRandomize(natsOptions* /*options*/, bool /*as_given*/) {
    return NATS_OK;
}

natsStatus natsOptions_SetMaxReconnect(natsOptions* /*options*/, int /*attempts*/) {
    return NATS_OK;
}

natsStatus natsOptions_SetReconnectWait(natsOptions* /*options*/, int64_t /*milliseconds*/) {
    return NATS_OK;
}

natsStatus natsOptions_SetReconnectJitter(
    natsOptions* /*options*/, int64_t /*milliseconds*/, int64_t /*with_tls*/) {
    return NATS_OK;
}

natsStatus natsOptions_SetReconnectBufSize(natsOptions* /*options*/, int /*bytes*/) {
    return NATS_OK;
}

natsStatus natsOptions_SetFailRequestsOnDisconnect(natsOptions* /*options*/, bool /*fail*/) {
    return NATS_OK;
}

natsStatus natsOptions_SetPingInterval(natsOptions* /*options*/, int64_t /*milliseconds*/) {
    return NATS_OK;
}

natsStatus natsOptions_SetMaxPingsOut(natsOptions* /*options*/, int /*pings*/) {
    return NATS_OK;
}

natsStatus natsOptions_SetTimeout(natsOptions* /*options*/, int64_t /*milliseconds*/) {
    return NATS_OK;
}

natsStatus natsOptions_SetSecure(natsOptions* /*options*/, bool /*secure*/) {
    return NATS_OK;
}

natsStatus natsOptions_LoadCATrustedCertificates(natsOptions* /*options*/, char const* /*file*/) {
    return NATS_OK;
}

natsStatus natsOptions_LoadCertificatesChain(
    natsOptions* /*options*/, char const* /*file*/, char const* /*key_file*/) {
    return NATS_OK;
}

natsStatus natsOptions_SetExpectedHostname(natsOptions* /*options*/, char const* /*name*/) {
    return NATS_OK;
}

natsStatus nats_SetMessageDeliveryPoolSize(int /*threads*/) {
    return NATS_OK;
}

bool natsConnection_IsReconnecting(natsConnection* /*connection*/) {
    return false;
}

natsConnStatus natsConnection_Status(natsConnection* /*connection*/) {
    return NATS_CONN_STATUS_CONNECTED;
}

natsStatus natsConnection_GetStats(natsConnection* /*connection*/, natsStatistics* /*counts*/) {
    return NATS_OK;
}

natsStatus natsStatistics_Create(natsStatistics** /*counts*/) {
    return NATS_OK;
}

natsStatus natsStatistics_GetCounts(
    natsStatistics const* /*counts*/,
    uint64_t* /*in_messages*/,
    uint64_t* /*in_bytes*/,
    uint64_t* /*out_messages*/,
    uint64_t* /*out_bytes*/,
    uint64_t* /*reconnects*/) {
    return NATS_OK;
}

void natsStatistics_Destroy(natsStatistics* /*counts*/) {}

natsStatus natsSubscription_GetDropped(natsSubscription* /*subscription*/, int64_t* /*messages*/) {
    return NATS_OK;
}

void natsOptions_Destroy(natsOptions* /*options*/) {}

natsStatus natsConnection_Connect(natsConnection** connection, natsOptions* /*options*/) {
    *connection = handle_of<natsConnection>(the_client().connection);
    return NATS_OK;
}

natsStatus natsConnection_Subscribe(
    natsSubscription** made,
    natsConnection* /*connection*/,
    char const* subject,
    natsMsgHandler handler,
    void* closure) {
    *made = handle_of<natsSubscription>(
        the_client().subscriptions.emplace_back(subscription{subject, handler, closure}));
    return NATS_OK;
}

natsStatus natsConnection_Publish(
    natsConnection* /*connection*/, char const* /*subject*/, void const* bytes, int size) {
    if (the_client().published != nullptr) {
        the_client().published->assign(
            static_cast<char const*>(bytes), static_cast<std::size_t>(size));
    }
    return NATS_OK;
}

natsStatus natsConnection_Request(
    natsMsg** reply,
    natsConnection* /*connection*/,
    char const* subject,
    void const* /*bytes*/,
    int /*size*/,
    std::int64_t /*limit*/) {
    auto const found = the_client().answers.find(subject);
    if (found == the_client().answers.end()) {
        return NATS_NO_RESPONDERS;
    }
    *reply = handle_of(found->second);
    return NATS_OK;
}

natsStatus natsConnection_FlushTimeout(natsConnection* /*connection*/, std::int64_t /*limit*/) {
    return NATS_OK;
}

void natsConnection_Close(natsConnection* /*connection*/) {}

void natsConnection_Destroy(natsConnection* /*connection*/) {}

natsStatus natsSubscription_Unsubscribe(natsSubscription* ended) {
    the_client().subscriptions.remove_if(
        [ended](auto& candidate) { return handle_of<natsSubscription>(candidate) == ended; });
    return NATS_OK;
}

natsStatus natsSubscription_GetPending(
    natsSubscription* /*subscription*/, int* messages, int* bytes) {
    *messages = 0;
    *bytes = 0;
    return NATS_OK;
}

void natsSubscription_Destroy(natsSubscription* /*subscription*/) {}

char const* natsMsg_GetData(natsMsg const* message) {
    return message_of(message).bytes().data();
}

int natsMsg_GetDataLength(natsMsg const* message) {
    return static_cast<int>(message_of(message).bytes().size());
}

char const* natsMsg_GetReply(natsMsg const* message) {
    return message_of(message).reply().c_str();
}

void natsMsg_Destroy(natsMsg* /*message*/) {}
