// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/c_handle.hpp"
#include "transport.hpp"
#include "update.h"
#include <hub/common.hpp>

#include <dds/dds.h>

#include <stdexcept>
#include <utility>

namespace arvenhold::corvel::hub::peers {

namespace {

constexpr auto topic_name = "press";
constexpr std::uint8_t number_tag = 3;
constexpr dds_duration_t write_limit = DDS_SECS(10);

using cyclone_qos = c_handle<dds_qos_t, dds_delete_qos>;
using cyclone_listener = c_handle<dds_listener_t, dds_delete_listener>;

dds_entity_t require(dds_return_t result) {
    if (result < 0) {
        throw std::runtime_error{dds_strretcode(result)};
    }
    return result;
}

double& number_in(peers_typed_value& value) {
    return value._u.number; // NOLINT(cppcoreguidelines-pro-type-union-access): as generated
}

cyclone_qos make_qos(delivery kind) {
    cyclone_qos qos{dds_create_qos()};
    auto const reliability =
        kind == delivery::acknowledged ? DDS_RELIABILITY_RELIABLE : DDS_RELIABILITY_BEST_EFFORT;
    dds_qset_reliability(qos.get(), reliability, write_limit);
    dds_qset_history(qos.get(), DDS_HISTORY_KEEP_ALL, 0);
    return qos;
}

// A participant takes everything that belongs to it along when it is deleted.
class cyclone_participant {
public:
    cyclone_participant()
        : m_participant{require(dds_create_participant(DDS_DOMAIN_DEFAULT, nullptr, nullptr))}
        , m_topic{require(
              dds_create_topic(m_participant, &peers_event_desc, topic_name, nullptr, nullptr))} {}

    cyclone_participant(cyclone_participant const&) = delete;
    cyclone_participant& operator=(cyclone_participant const&) = delete;

    ~cyclone_participant() {
        dds_delete(m_participant);
    }

    [[nodiscard]] dds_entity_t create_writer(delivery kind) const {
        return require(dds_create_writer(m_participant, m_topic, make_qos(kind).get(), nullptr));
    }

    void create_reader(delivery kind, dds_listener_t const* listener) const {
        require(dds_create_reader(m_participant, m_topic, make_qos(kind).get(), listener));
    }

private:
    dds_entity_t const m_participant;
    dds_entity_t const m_topic;
};

class cyclone_publisher : public publisher {
public:
    cyclone_publisher(settings const& chosen, delivery kind)
        : m_items(chosen.count)
        , m_writer{m_participant.create_writer(kind)} {
        for (auto& item : m_items) {
            item.id = static_cast<std::uint32_t>(&item - m_items.data()) + 1;
            item.value._d = number_tag;
            number_in(item.value) = static_cast<double>(item.id);
            item.quality = static_cast<std::uint8_t>(variable_quality::good);
        }
        m_event.fingerprint = 1;
        m_event.items._buffer = m_items.data();
        m_event.items._length = static_cast<std::uint32_t>(m_items.size());
    }

    void publish(update const& next) override {
        number_in(m_items.front().value) = static_cast<double>(next.number);
        m_event.time = next.sent.count();
        require(dds_write(m_writer, &m_event));
    }

private:
    std::vector<peers_item> m_items;
    peers_event m_event{};
    cyclone_participant m_participant;
    dds_entity_t m_writer;
};

class cyclone_subscriber : public subscriber {
public:
    cyclone_subscriber(update_handler handler, delivery kind)
        : m_handler{std::move(handler)}
        , m_listener{dds_create_listener(this)} {
        dds_lset_data_available(m_listener.get(), &receive);
        m_participant.create_reader(kind, m_listener.get());
    }

private:
    update_handler m_handler;
    cyclone_listener m_listener;
    cyclone_participant m_participant; // first to go, and the listener's thread with it

    static void receive(dds_entity_t reader, void* argument) {
        auto const& handler = static_cast<cyclone_subscriber*>(argument)->m_handler;
        void* sample = nullptr; // lent by the reader
        dds_sample_info_t information{};
        while (dds_take(reader, &sample, &information, 1, 1) > 0) {
            auto const& event = *static_cast<peers_event*>(sample);
            if (information.valid_data) {
                handler(
                    {static_cast<std::uint64_t>(number_in(event.items._buffer->value)),
                     std::chrono::nanoseconds{event.time}});
            }
            dds_return_loan(reader, &sample, 1);
        }
    }
};

} // namespace

transport cyclone_transport(delivery kind) {
    return {
        [kind](settings const& chosen) {
            return std::make_unique<cyclone_publisher>(chosen, kind);
        },
        [kind](settings const&, update_handler handler) {
            return std::make_unique<cyclone_subscriber>(std::move(handler), kind);
        }};
}

} // namespace arvenhold::corvel::hub::peers
