// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/child_process.hpp"
#include "reliability/row.hpp"
#include "reliability/world.hpp"
#include "support/await.hpp"
#include "support/odd_messages.hpp"
#include "support/raw_peer.hpp"
#include "support/thrown_message.hpp"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <future>
#include <list>
#include <optional>
#include <sstream>
#include <thread>
#include <vector>

namespace arvenhold::corvel::hub::reliability {

std::string run_provider_losses(effort how_much);

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// No definition of a provider has it.
constexpr definition_fingerprint foreign_fingerprint = 2;

milliseconds since(steady_clock::time_point begin) {
    return std::chrono::duration_cast<milliseconds>(steady_clock::now() - begin);
}

// A consumer that counts the lists of providers that it has handled.
class watching_consumer {
public:
    explicit watching_consumer(dev::dev_hub& hub)
        : m_hub{hub} {
        connect_again();
    }

    void connect_again() {
        m_consumer.disconnect();
        connect(m_consumer, m_hub);
    }

    [[nodiscard]] consumer& get_consumer() {
        return m_consumer;
    }

    [[nodiscard]] unsigned get_lists() const {
        return m_lists;
    }

private:
    dev::dev_hub& m_hub;
    std::atomic<unsigned> m_lists{0}; // counted by a thread of the NATS client
    consumer m_consumer{
        "watcher",
        true,
        [](auto /*identifiers*/, consumer& /*receiver*/, void* user_data) {
            ++static_cast<watching_consumer*>(user_data)->m_lists;
        },
        this};
};

// A provider in a process of its own, and the connection of a consumer here to it.
class watched_provider {
public:
    watched_provider(dev::dev_hub& hub, watching_consumer& watcher, std::string identifier)
        : m_hub{hub}
        , m_watcher{watcher}
        , m_identifier{std::move(identifier)} {
        start();
        attach();
        demand_values();
    }

    void attach() {
        m_connection = m_watcher.get_consumer().attach_to_provider(m_identifier);
        m_connection->set_event_callback(&count, this);
    }

    void kill_and_start() {
        m_process->send_signal(SIGKILL);
        demand(m_process->wait_until_ended(patience), "a killed process has not ended");
        demand_loss();
        auto const returns = m_returns.load();
        start();
        demand_return(returns);
    }

    void freeze() {
        m_process->freeze();
    }

    void thaw() {
        m_process->send_signal(SIGCONT);
    }

    void freeze_for(milliseconds duration) {
        auto const begin = steady_clock::now();
        freeze();
        demand_loss();
        std::this_thread::sleep_until(begin + duration); // the duration is what is tested
        auto const returns = m_returns.load();
        thaw();
        demand_return(returns);
    }

    // All values were read again, and are those of the process that runs now.
    void demand_values() {
        demand(
            await([this] { return has_values(); }, patience),
            m_identifier + ": not all values are good and those of the provider");
    }

    void demand_bad_values() {
        auto const variables = m_connection->get_current_variables().variables;
        demand(
            std::ranges::all_of(
                *variables,
                [](auto const& entry) {
                    return entry.second->get_quality() == variable_quality::bad;
                }),
            m_identifier + ": a value is not bad");
    }

    [[nodiscard]] provider_connection& get_connection() {
        return *m_connection;
    }

    [[nodiscard]] milliseconds get_longest_return() const {
        return m_longest_return;
    }

private:
    dev::dev_hub& m_hub;
    watching_consumer& m_watcher;
    std::string const m_identifier;
    raw_peer m_peer{m_hub.get_nats_server().get_url(), m_hub.get_nats_server().get_token()};
    std::uint64_t m_round = 0;
    std::optional<dev::child_process> m_process;
    std::shared_ptr<provider_connection> m_connection;
    std::atomic<unsigned> m_returns{0};        // counted by a thread of the NATS client
    std::atomic<unsigned> m_list_of_return{0}; // set before a return is counted
    std::atomic<unsigned> m_definition_updates{0};
    milliseconds m_longest_return{};

    static void count(
        provider_connection_event what, provider_connection& /*sender*/, void* user_data) {
        auto& self = *static_cast<watched_provider*>(user_data);
        if (what == provider_connection_event::provider_returned) {
            self.m_list_of_return = self.m_watcher.get_lists();
            ++self.m_returns;
        } else if (what == provider_connection_event::definition_updated) {
            ++self.m_definition_updates;
        }
    }

    void start() {
        m_process.emplace(
            CORVEL_HUB_PROVIDER_PROCESS,
            std::vector<std::string>{
                m_hub.get_nats_server().get_url(),
                m_hub.get_token_endpoint().get_url(),
                m_identifier,
                std::to_string(++m_round)});
        demand(
            m_process->wait_until_output_contains("the provider runs", patience),
            "a provider does not run: " + m_process->get_output());
    }

    [[nodiscard]] bool has_state(provider_connection_state state) {
        return m_connection->get_state() == state;
    }

    void demand_loss() {
        demand(
            await(
                [this] { return has_state(provider_connection_state::provider_unavailable); },
                patience),
            m_identifier + ": the consumer was not notified of the loss");
        demand_bad_values();
    }

    void demand_return(unsigned returns_before) {
        auto const begin = steady_clock::now();
        demand(
            await([&] { return m_returns == returns_before + 1; }, patience),
            m_identifier + ": the consumer was not notified of the return");
        // The list is handled once the values of all that have returned were read.
        demand(
            await([this] { return m_watcher.get_lists() > m_list_of_return; }, patience),
            m_identifier + ": reading after the return does not end");
        demand_values();
        m_longest_return = std::max(m_longest_return, since(begin));
        demand_verdict();
        let_verdict_be_taken();
        demand(
            has_state(provider_connection_state::connected) && m_returns == returns_before + 1,
            m_identifier + ": not connected, or notified of the return twice");
    }

    void demand_verdict() {
        demand(
            m_hub.get_log().wait_until_recorded(
                dev::event_kind::definition_accepted, m_identifier, m_returns + 1, patience),
            m_identifier + ": the definition was not registered again");
    }

    // The verdict on the returned provider's definition reaches the consumer as well, which reads
    // all values again. A provider that is lost at that moment would fault the connection. So a
    // definition of another fingerprint follows the verdict: when the connection holds it, the
    // thread that takes both is through with the verdict. A definition without variables makes the
    // consumer read nothing and call no callback; it only writes a line to standard error. Then the
    // provider's own definition follows, and the thread is through with that one when it reports
    // it.
    void let_verdict_be_taken() {
        auto const subject = "v1.loc.registry.providers." + m_identifier + ".def";
        flush_registry();
        m_peer.publish(
            subject + ".evt.changed",
            wire::provider_definition_changed_event(wire::provider_definition_table{
                .fingerprint = foreign_fingerprint,
                .variable_definitions = std::vector<wire::variable_definition_table>{},
                .valid = std::uint8_t{1}}));
        demand(
            await([this] { return get_fingerprint() == foreign_fingerprint; }, patience),
            m_identifier + ": the consumer has not taken a definition of another fingerprint");
        auto const updates = m_definition_updates.load();
        // The answer has the same bytes as an event.
        m_peer.publish(subject + ".evt.changed", m_peer.request(subject + ".qry.read", {}).bytes);
        demand(
            await([&] { return m_definition_updates > updates; }, patience),
            m_identifier + ": the consumer has not taken the provider's definition again");
    }

    // Afterwards everything that the registry has sent has reached the server.
    void flush_registry() {
        auto const answer = m_peer.request("v1.loc.registry.providers.qry.read", {});
        demand(answer.status == NATS_OK, "the registry does not answer");
    }

    [[nodiscard]] definition_fingerprint get_fingerprint() {
        return m_connection->get_current_variables().fingerprint;
    }

    [[nodiscard]] bool has_values() {
        auto const variables = m_connection->get_current_variables().variables;
        std::size_t position = 0;
        return !variables->empty() && std::ranges::all_of(*variables, [&](auto const& entry) {
            auto& copy = *entry.second;
            return copy.get_quality() == variable_quality::good
                && std::get<variable_value>(copy.get_value_with_timestamp())
                       == value_for(position++, m_round);
        });
    }
};

// The server disconnects a client that does not answer for a few seconds, so that the registry
// notices a provider that hangs as well. The server pings only clients that it has sent nothing to
// for an interval; the registry must not check as often.
dev::dev_hub_options watchful_hub() {
    dev::dev_hub_options options;
    options.nats_server.ping_interval = std::chrono::seconds{1};

    options.registry.probe_interval = milliseconds{2'000};
    options.registry.verdict_delay = milliseconds{50};
    return options;
}

struct amount {
    unsigned providers;
    unsigned losses_of_each; // every other one a kill
    milliseconds freeze_duration;
};

// Several providers at once. Each is killed and frozen in turn; half of them are killed first, the
// others frozen first.
milliseconds lose_noticed(amount const& wanted) {
    dev::dev_hub hub{watchful_hub()};
    watching_consumer watcher{hub};
    std::list<watched_provider> providers;
    for (unsigned number = 0; number < wanted.providers; ++number) {
        providers.emplace_back(hub, watcher, "provider-" + std::to_string(number));
    }
    std::vector<std::future<void>> running;
    unsigned first = 0;
    for (auto& provided : providers) {
        running.push_back(std::async(std::launch::async, [&provided, &wanted, first] {
            for (auto loss = first; loss < first + wanted.losses_of_each; ++loss) {
                if (loss % 2 == 0) {
                    provided.kill_and_start();
                } else {
                    provided.freeze_for(wanted.freeze_duration);
                }
            }
        }));
        ++first;
    }
    milliseconds longest{};
    for (auto& each : running) {
        each.get();
    }
    for (auto const& provided : providers) {
        longest = std::max(longest, provided.get_longest_return());
    }
    watcher.get_consumer().disconnect(); // before what the callbacks count in is gone
    return longest;
}

// Only the consumer that reads notices that the provider hangs.
milliseconds read_from_a_frozen_provider() {
    dev::dev_hub hub;
    watching_consumer watcher{hub};
    watched_provider provided{hub, watcher, "frozen"};
    provided.freeze();
    auto const begin = steady_clock::now();
    auto const thrown = thrown_message<connection_failed>(
        [&] { provided.get_connection().update_all_variables(); });
    auto const duration = since(begin);
    demand(
        thrown
            == "Consumer watcher: failed to read variables from a provider (related sujbect: "
               "v1.loc.frozen.vars.qry.read), NATS returns: 26 = Timeout\n",
        "reading from a frozen provider: " + thrown);
    demand(
        provided.get_connection().get_state() == provider_connection_state::faulted,
        "the connection to a frozen provider is not faulted");
    provided.demand_bad_values();
    provided.thaw();
    watcher.connect_again();
    provided.attach();
    provided.demand_values();
    watcher.get_consumer().disconnect();
    return duration;
}

} // namespace

std::string run_provider_losses(effort how_much) {
    auto const wanted = how_much == effort::full ? amount{10, 10, std::chrono::seconds{30}}
                                                 : amount{2, 1, milliseconds{0}};
    auto reading = std::async(std::launch::async, &read_from_a_frozen_provider);
    auto const longest_return = lose_noticed(wanted);
    std::ostringstream figures;
    figures << wanted.providers * wanted.losses_of_each / 2 << " kills and as many hangs of "
            << wanted.providers << " providers; longest from the start or SIGCONT to all values "
            << longest_return.count() << " ms; reading from one that hangs without notice failed "
            << "after " << reading.get().count() << " ms";
    return figures.str();
}

} // namespace arvenhold::corvel::hub::reliability
