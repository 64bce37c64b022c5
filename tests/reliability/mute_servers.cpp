// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/cutting_proxy.hpp"
#include "reliability/load.hpp"
#include "reliability/row.hpp"
#include "reliability/world.hpp"
#include "support/await.hpp"

#include <algorithm>
#include <chrono>
#include <future>
#include <map>
#include <sstream>
#include <thread>

namespace arvenhold::corvel::hub::reliability {

std::string run_mute_servers(effort how_much);

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::size_t variable_count = 60;

using durations = std::map<std::string, milliseconds>;

// What the contracts in the headers promise. A publication waits while the NATS client tries to
// reconnect to a server that does not answer, 2 s at a time; so does a disconnect.
durations const& promised() {
    static durations const limits{
        {"publish", milliseconds{2'000}},
        {"write", milliseconds{2'000}},
        {"read", milliseconds{5'000}},
        {"attach", milliseconds{11'000}},
        {"provider::connect", milliseconds{17'000}},
        {"provider::disconnect", milliseconds{2'500}},
        {"consumer::connect", milliseconds{7'000}},
        {"consumer::disconnect", milliseconds{5'500}}};
    return limits;
}

// The machine may be busy with other work.
constexpr milliseconds tolerance{1'000};

class mute_world {
public:
    // Both applications reach the server through the proxy.
    mute_world()
        : m_proxy{m_hub.get_nats_server().get_port()}
        , m_providing{m_hub, "boiler", variable_count, {m_proxy.get_url()}}
        , m_consuming{m_hub, "monitor", "boiler", {m_proxy.get_url()}} {}

    void freeze_for(milliseconds outage) {
        auto& server = m_hub.get_nats_server();
        endure(
            outage, [&server] { server.freeze(); }, [&server] { server.thaw(); });
    }

    void cut_for(milliseconds outage) {
        endure(
            outage, [this] { m_proxy.cut(); }, [this] { m_proxy.repair(); });
    }

    [[nodiscard]] durations get_longest_calls() const {
        auto longest = m_providing.get_longest_calls().get();
        auto const others = m_consuming.get_longest_calls().get();
        longest.insert(others.begin(), others.end());
        return longest;
    }

    [[nodiscard]] milliseconds get_longest_recovery() const {
        return m_longest_recovery;
    }

private:
    dev::dev_hub m_hub;
    dev::cutting_proxy m_proxy;
    providing_application m_providing;
    consuming_application m_consuming;
    milliseconds m_longest_recovery{};

    template <class Begin, class End>
    void endure(milliseconds outage, Begin begin_fault, End end_fault) {
        {
            load const busy{m_providing, m_consuming};
            demand(await([&busy] { return busy.has_moved_on(0, 0); }, patience), "no load");
            begin_fault();
            std::this_thread::sleep_for(outage); // the length of the outage is what is tested
            auto const published = busy.published();
            auto const read = busy.read();
            auto const begin = steady_clock::now();
            end_fault();
            demand(
                await([&] { return busy.has_moved_on(published, read); }, patience),
                "publishing and reading did not continue after the fault");
            m_longest_recovery = std::max(
                m_longest_recovery,
                std::chrono::duration_cast<milliseconds>(steady_clock::now() - begin));
        }
        demand_equality();
    }

    // Everything changes once more while both sides are there.
    void demand_equality() {
        demand(
            become_equal(m_providing, m_consuming),
            "the values, qualities and time stamps do not become equal");
    }
};

void demand_promises(durations const& longest) {
    for (auto const& [operation, limit] : promised()) {
        auto const found = longest.find(operation);
        demand(
            found == longest.end() || found->second <= limit + tolerance,
            operation + " took too long");
    }
}

std::string to_text(durations const& longest) {
    std::ostringstream text;
    for (auto const& [operation, duration] : longest) {
        text << ", " << operation << ' ' << duration.count() << '/'
             << promised().at(operation).count();
    }
    return text.str();
}

struct fault {
    char const* name;
    void (mute_world::*endure)(milliseconds);
    milliseconds outage;
};

std::string run_fault(fault const& what, unsigned times) {
    mute_world world;
    for (unsigned time = 0; time < times; ++time) {
        (world.*what.endure)(what.outage);
    }
    auto const longest = world.get_longest_calls();
    demand_promises(longest);
    std::ostringstream figures;
    figures << what.name << ' ' << times << " times for " << what.outage.count()
            << " ms: work continued after at most " << world.get_longest_recovery().count()
            << " ms; calls in ms: longest/documented" << to_text(longest);
    return figures.str();
}

} // namespace

std::string run_mute_servers(effort how_much) {
    auto const full = how_much == effort::full;
    auto const times = full ? 5U : 1U;
    fault const freeze{
        "server frozen", &mute_world::freeze_for, milliseconds{full ? 5'000 : 1'000}};
    // Longer than a request takes, so that the consumer also tries to connect meanwhile.
    fault const cut{"connections cut", &mute_world::cut_for, milliseconds{full ? 8'000 : 1'000}};
    auto frozen = std::async(std::launch::async, run_fault, freeze, times);
    auto const lost = run_fault(cut, times);
    return frozen.get() + "; " + lost;
}

} // namespace arvenhold::corvel::hub::reliability
