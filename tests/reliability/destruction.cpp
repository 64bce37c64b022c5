// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "reliability/row.hpp"
#include "reliability/world.hpp"

#include <atomic>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

namespace arvenhold::corvel::hub::reliability {

std::string run_destruction(effort how_much);

namespace {

constexpr std::size_t variable_count = 12;

timestamp now() {
    return std::chrono::system_clock::now();
}

// Repeats `work` on a thread of its own until destroyed; ignores what it throws.
class traffic {
public:
    explicit traffic(std::function<void()> work)
        : m_thread{[this, work = std::move(work)] {
            while (!m_stopped) {
                try {
                    work();
                } catch (std::exception const&) {
                    std::this_thread::yield();
                }
            }
        }} {}

    traffic(traffic const&) = delete;
    traffic& operator=(traffic const&) = delete;

    ~traffic() {
        m_stopped = true;
        m_thread.join();
    }

private:
    std::atomic<bool> m_stopped{false};
    std::thread m_thread;
};

// What callbacks destroy: objects of another pair than the calling one.
struct victims {
    std::unique_ptr<provider> doomed_provider;
    std::unique_ptr<consumer> doomed_consumer;
    std::shared_ptr<provider_connection> doomed_connection;
    std::atomic<bool> spent{false};

    static void destroy_all(
        definition_fingerprint /*fingerprint*/,
        std::vector<variable_id> /*changed*/,
        provider_connection& /*connection*/,
        void* user_data) {
        auto& self = *static_cast<victims*>(user_data);
        if (!self.spent.exchange(true)) {
            self.doomed_connection.reset();
            self.doomed_consumer.reset();
            self.doomed_provider.reset();
        }
    }
};

std::shared_ptr<variable_list> offer(provider& server, dev::dev_hub& hub) {
    provider_definition definition{variable_count};
    fill(definition, variable_count);
    auto list = server.register_provider_definition(definition);
    connect(server, hub);
    return list;
}

// Destroys a whole pair while other threads use its list, its connection and its handlers.
void destroy_under_traffic(dev::dev_hub& hub) {
    auto server = std::make_unique<provider>("falling");
    auto const list = offer(*server, hub);
    auto client = std::make_unique<consumer>("watching", false, nullptr, nullptr);
    connect(*client, hub);
    auto const connection = client->attach_to_provider("falling");
    auto const first = list->get_variables().begin()->first;

    traffic const publishing{[&] {
        list->publish(first, true, now());
    }};
    traffic const reading{[&] {
        connection->update_all_variables();
    }};
    traffic const judging{[&] {
        list->set_quality(first, variable_quality::uncertain, now());
    }};
    client.reset();
    server.reset();
}

void destroy_from_a_callback(dev::dev_hub& hub) {
    victims doomed;
    doomed.doomed_provider = std::make_unique<provider>("doomed");
    offer(*doomed.doomed_provider, hub);
    doomed.doomed_consumer = std::make_unique<consumer>("doomed", true, nullptr, nullptr);
    connect(*doomed.doomed_consumer, hub);
    doomed.doomed_connection = doomed.doomed_consumer->attach_to_provider("doomed");

    provider server{"calling"};
    auto const list = offer(server, hub);
    consumer client{"calling", false, nullptr, nullptr};
    connect(client, hub);
    auto const connection = client.attach_to_provider("calling");
    connection->set_variables_changed_callback(&victims::destroy_all, &doomed);
    while (!doomed.spent) {
        server.force_publish_all(now());
        std::this_thread::yield();
    }
}

void disconnect_from_two_threads(dev::dev_hub& hub) {
    provider server{"leaving"};
    offer(server, hub);
    consumer client{"leaving", false, nullptr, nullptr};
    connect(client, hub);
    auto const connection = client.attach_to_provider("leaving");
    auto const leave = [&] {
        connection->disconnect();
        client.disconnect();
        server.disconnect();
    };
    std::thread one{leave};
    std::thread two{leave};
    one.join();
    two.join();
}

} // namespace

std::string run_destruction(effort how_much) {
    auto const rounds = how_much == effort::full ? 1'000U : 20U;
    dev::dev_hub hub;
    for (unsigned round = 0; round < rounds; ++round) {
        destroy_under_traffic(hub);
        destroy_from_a_callback(hub);
        disconnect_from_two_threads(hub);
    }
    return std::to_string(rounds)
         + " rounds, each under traffic, from a callback of another object, and with disconnect "
           "from two threads at once";
}

} // namespace arvenhold::corvel::hub::reliability
