// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "reliability/row.hpp"
#include "reliability/world.hpp"
#include "support/await.hpp"

#include <atomic>
#include <memory>
#include <thread>

namespace arvenhold::corvel::hub::reliability {

std::string run_replacements(effort how_much);

namespace {

constexpr std::size_t variable_count = 8;
constexpr std::chrono::milliseconds replacement_interval{20};

timestamp now() {
    return std::chrono::system_clock::now();
}

// Every value of a definition is its fingerprint, so that a value under a wrong one shows.
variable_value value_of(definition_fingerprint fingerprint) {
    return static_cast<std::int64_t>(fingerprint);
}

// What a consumer's variable begins with, and may write before its first update.
variable_value const never_updated{std::int64_t{0}};

struct exchange_counts {
    std::atomic<std::uint64_t> events{0};
    std::atomic<std::uint64_t> reads{0};
    std::atomic<std::uint64_t> writes{0};
    std::atomic<std::uint64_t> wrong{0};

    [[nodiscard]] std::uint64_t total() const {
        return events + reads + writes;
    }
};

bool belongs(consumer_variable& variable, definition_fingerprint fingerprint) {
    auto const value = std::get<variable_value>(variable.get_value_with_timestamp());
    return value == value_of(fingerprint) || value == never_updated;
}

void check(current_variables const& current, exchange_counts& counts) {
    if (!current.variables) {
        return;
    }
    for (auto const& [id, variable] : *current.variables) {
        if (!belongs(*variable, current.fingerprint)) {
            ++counts.wrong;
        }
    }
}

void on_change(
    definition_fingerprint /*fingerprint*/,
    std::vector<variable_id> /*changed*/,
    provider_connection& connection,
    void* user_data) {
    auto& counts = *static_cast<exchange_counts*>(user_data);
    ++counts.events;
    check(connection.get_current_variables(), counts);
}

void on_written(
    definition_fingerprint fingerprint,
    variable_write_command const& command,
    provider& /*receiver*/,
    void* user_data) {
    auto& counts = *static_cast<exchange_counts*>(user_data);
    ++counts.writes;
    for (auto const& [id, value] : command.entries) {
        if (value != value_of(fingerprint) && value != never_updated) {
            ++counts.wrong;
        }
    }
}

class replacing_world {
public:
    replacing_world() {
        m_server.set_variables_written_callback(&on_written, &counts);
        connect(m_server, m_hub);
        replace_definition();
        connect(m_client, m_hub);
        attach();
    }

    void replace_definition() {
        provider_definition definition{++m_fingerprint};
        for (std::size_t position = 0; position < variable_count; ++position) {
            definition.add_variable_definition(
                "v" + std::to_string(position),
                value_of(m_fingerprint),
                variable_permissions::read_write);
        }
        definition.finalize();
        auto list = m_server.register_provider_definition(definition);
        std::scoped_lock const lock{m_mutex};
        m_list = std::move(list);
    }

    void publish() {
        auto const list = current_list();
        for (auto const& [id, variable] : list->get_variables()) {
            auto const [value, when] = variable->get_value_with_timestamp();
            list->publish(id, value, now());
        }
    }

    void read() {
        connection()->update_all_variables();
        ++counts.reads;
        check(connection()->get_current_variables(), counts);
    }

    void write() {
        auto const current = connection()->get_current_variables();
        if (current.variables && !current.variables->empty()) {
            connection()->write_variables(current.fingerprint, {current.variables->begin()->first});
        }
    }

    // A read that meets the moment of replacement may fault the connection: attach again.
    void attach_if_lost() {
        auto const state = connection()->get_state();
        if (state == provider_connection_state::faulted
            || state == provider_connection_state::disconnected) {
            m_client.disconnect();
            connect(m_client, m_hub);
            attach();
        }
    }

    bool attaches_if_lost() {
        try {
            attach_if_lost();
            return true;
        } catch (std::exception const&) {
            return false;
        }
    }

    bool has_settled() {
        auto const held = connection()->get_current_variables();
        return held.fingerprint == m_fingerprint && is_equal(*current_list(), *connection());
    }

    std::shared_ptr<provider_connection> connection() {
        std::scoped_lock const lock{m_mutex};
        return m_connection;
    }

    exchange_counts counts; // outlives the clients, whose callbacks use it

private:
    dev::dev_hub m_hub;
    std::mutex m_mutex;
    std::shared_ptr<variable_list> m_list;
    std::shared_ptr<provider_connection> m_connection;
    std::atomic<definition_fingerprint> m_fingerprint{0};
    provider m_server{"changing"};
    consumer m_client{"monitor", false, nullptr, nullptr};

    std::shared_ptr<variable_list> current_list() {
        std::scoped_lock const lock{m_mutex};
        return m_list;
    }

    void attach() {
        auto connection = m_client.attach_to_provider("changing");
        connection->set_variables_changed_callback(&on_change, &counts);
        std::scoped_lock const lock{m_mutex};
        m_connection = std::move(connection);
    }
};

template <class Work>
std::thread until(std::atomic<bool>& stopped, Work work) {
    return std::thread{[&stopped, work] {
        while (!stopped) {
            try {
                work();
            } catch (std::exception const&) { // NOLINT(bugprone-empty-catch): expected here
                // Refused, because the definition was replaced at this moment.
            }
            std::this_thread::sleep_for(std::chrono::milliseconds{1}); // the pace of the load
        }
    }};
}

} // namespace

std::string run_replacements(effort how_much) {
    auto const exchanges = how_much == effort::full ? 100'000U : 3'000U;
    replacing_world world;
    unsigned replacements = 0;
    {
        std::atomic<bool> stopped{false};
        auto publisher = until(stopped, [&] { world.publish(); });
        auto reader = until(stopped, [&] {
            world.attach_if_lost();
            world.read();
        });
        auto writer = until(stopped, [&] { world.write(); });
        while (world.counts.total() < exchanges) {
            world.replace_definition();
            ++replacements;
            std::this_thread::sleep_for(replacement_interval); // some exchanges for each
        }
        stopped = true;
        publisher.join();
        reader.join();
        writer.join();
    }
    demand(world.counts.wrong == 0, "a value appeared under the wrong fingerprint");
    // Attaching again may fail while the last definition is in flight.
    demand(await([&] { return world.attaches_if_lost(); }), "the consumer did not come back");
    world.publish();
    demand(await([&] { return world.has_settled(); }), "the last definition did not win");
    return std::to_string(world.counts.events) + " events, " + std::to_string(world.counts.reads)
         + " reads and " + std::to_string(world.counts.writes) + " writes over "
         + std::to_string(replacements) + " replacements of the definition";
}

} // namespace arvenhold::corvel::hub::reliability
