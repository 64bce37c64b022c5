// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "reliability/session_faults.hpp"

#include "reliability/row.hpp"
#include "reliability/session_access.hpp"

#include <algorithm>
#include <functional>
#include <string>
#include <thread>

namespace arvenhold::corvel::hub::reliability {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds token_delay{3'000}; // longer than the time limit for connecting

// -- how long a value may be live that its provider has replaced or lost --------------------------

milliseconds after_a_break(world_limits const& /*limits*/) {
    return milliseconds{200};
}

milliseconds after_pings(world_limits const& limits) {
    return limits.ping_interval * (unanswered_pings + 1);
}

milliseconds after_a_probe(world_limits const& /*limits*/) {
    return session_probe_interval + milliseconds{5'500};
}

// The registry looks for lost providers every 0.5 s.
milliseconds after_a_report(world_limits const& /*limits*/) {
    return milliseconds{500} + milliseconds{200};
}

// -- faults ---------------------------------------------------------------------------------------

// The length of an outage is what is tested.
void wait(milliseconds outage) {
    std::this_thread::sleep_for(outage);
}

void begin_without_server(session_world& world, milliseconds outage) {
    world.stop_clients();
    auto& server = world.get_hub().get_nats_server();
    server.kill();
    world.start_clients();
    wait(outage);
    server.start();
}

void take_server_down(session_world& world, milliseconds outage) {
    auto& server = world.get_hub().get_nats_server();
    server.kill();
    wait(outage);
    server.start();
}

void freeze_server(session_world& world, milliseconds outage) {
    auto& server = world.get_hub().get_nats_server();
    server.freeze();
    wait(outage);
    server.thaw();
}

void cut(dev::cutting_proxy& proxy, milliseconds outage) {
    proxy.cut();
    wait(outage);
    proxy.repair();
}

void cut_watchers(session_world& world, milliseconds outage) {
    cut(world.get_watchers_proxy(), outage);
}

void cut_providers(session_world& world, milliseconds outage) {
    cut(world.get_providers_proxy(), outage);
}

void close_token_endpoint(session_world& world, milliseconds outage) {
    world.get_hub().get_token_endpoint().stop_listening();
    world.get_hub().get_nats_server().restart();
    wait(outage);
    world.get_hub().get_token_endpoint().listen_again();
}

void delay_tokens(session_world& world, milliseconds outage) {
    world.get_hub().get_token_endpoint().set_delay(token_delay);
    world.get_hub().get_nats_server().restart();
    wait(outage);
    world.get_hub().get_token_endpoint().set_delay(milliseconds{0});
}

void refuse_tokens(session_world& world, milliseconds outage) {
    world.get_hub().get_token_endpoint().answer_with({401, "text/plain", {"no"}});
    world.get_hub().get_nats_server().restart();
    wait(outage);
    world.get_hub().get_token_endpoint().answer_normally();
}

void rotate_secret(session_world& world, milliseconds outage) {
    auto const secret = "secret-" + std::to_string(world.pick(1'000'000));
    world.rotate_secret(secret);
    world.get_hub().get_nats_server().restart();
    wait(outage);
    world.tell_secret(secret);
}

void kill_provider(session_world& world, milliseconds outage) {
    auto const number = static_cast<unsigned>(world.pick(3));
    world.kill_provider(number);
    wait(milliseconds{world.pick(static_cast<std::uint64_t>(outage.count()))});
    world.start_provider(number);
}

void change_provider(session_world& world, milliseconds outage) {
    auto const number = static_cast<unsigned>(world.pick(3));
    world.kill_provider(number);
    wait(milliseconds{world.pick(static_cast<std::uint64_t>(outage.count()))});
    world.start_provider(number, static_cast<provider_shape>(world.pick(3)));
}

void suspend_provider(session_world& world, milliseconds outage) {
    auto const number = static_cast<unsigned>(world.pick(3));
    world.require_others_live(number);
    world.suspend_provider(number);
    wait(outage);
    world.await_stale(number);
    world.resume_provider(number);
}

void restart_registry(session_world& world, milliseconds outage) {
    world.get_hub().get_registry().restart();
    wait(milliseconds{world.pick(static_cast<std::uint64_t>(outage.count()))});
}

void silence_registry(session_world& world, milliseconds outage) {
    world.get_hub().get_registry().go_silent();
    world.get_hub().get_nats_server().restart();
    wait(outage);
    world.get_hub().get_registry().speak_again();
}

// -- all at once ----------------------------------------------------------------------------------

// One thing that happens, at a time after the begin of the fault.
struct happening {
    milliseconds when;
    std::function<void()> happen;
};

class happenings {
public:
    happenings(session_world& world, milliseconds longest)
        : m_world{world}
        , m_longest{longest} {}

    // Draws when a cause begins and how long it lasts.
    void add(std::function<void()> begin, std::function<void()> end) {
        auto const limit = static_cast<std::uint64_t>(m_longest.count());
        milliseconds const begins_at{m_world.pick(limit / 2)};
        milliseconds const ends_at = begins_at + milliseconds{100 + m_world.pick(limit)};
        m_all.push_back({begins_at, std::move(begin)});
        m_all.push_back({ends_at, std::move(end)});
    }

    void run() {
        std::ranges::stable_sort(m_all, {}, &happening::when);
        auto const begin = session_world::clock::now();
        for (auto const& each : m_all) {
            std::this_thread::sleep_until(begin + each.when);
            each.happen();
        }
    }

private:
    session_world& m_world;
    milliseconds const m_longest;
    std::vector<happening> m_all;
};

void add_server_fault(session_world& world, happenings& all) {
    auto& server = world.get_hub().get_nats_server();
    if (world.pick(2) == 0) {
        all.add([&server] { server.kill(); }, [&server] { server.start(); });
    } else {
        all.add([&server] { server.freeze(); }, [&server] { server.thaw(); });
    }
}

void add_token_fault(session_world& world, happenings& all) {
    auto& endpoint = world.get_hub().get_token_endpoint();
    switch (world.pick(3)) {
    case 0:
        all.add([&] { endpoint.stop_listening(); }, [&] { endpoint.listen_again(); });
        return;
    case 1:
        all.add([&] { endpoint.set_delay(token_delay); }, [&] { endpoint.set_delay({}); });
        return;
    default:
        all.add(
            [&] {
                endpoint.answer_with({401, "text/plain", {"no"}});
            },
            [&] { endpoint.answer_normally(); });
    }
}

void add_provider_faults(session_world& world, happenings& all) {
    auto const killed = static_cast<unsigned>(world.pick(3));
    auto const suspended = (killed + 1) % 3;
    auto const shape = static_cast<provider_shape>(world.pick(3));
    all.add(
        [&world, killed] { world.kill_provider(killed); },
        [&world, killed, shape] { world.start_provider(killed, shape); });
    all.add(
        [&world, suspended] { world.suspend_provider(suspended); },
        [&world, suspended] { world.resume_provider(suspended); });
}

void do_everything(session_world& world, milliseconds longest) {
    happenings all{world, longest};
    auto const secret = "secret-" + std::to_string(world.pick(1'000'000));
    auto& registry = world.get_hub().get_registry();
    auto& proxy = world.pick(2) == 0 ? world.get_watchers_proxy() : world.get_providers_proxy();
    add_server_fault(world, all);
    add_token_fault(world, all);
    add_provider_faults(world, all);
    all.add([&] { registry.go_silent(); }, [&] { registry.speak_again(); });
    all.add([&] { proxy.cut(); }, [&] { proxy.repair(); });
    all.add([&] { world.rotate_secret(secret); }, [&] { world.tell_secret(secret); });
    auto const restarts_registry = world.pick(2) == 0;
    all.run();
    if (restarts_registry) {
        registry.restart();
    }
}

} // namespace

std::vector<session_fault> const& all_session_faults() {
    static std::vector<session_fault> const faults{
        {"hub-absent", {}, &after_a_break, &begin_without_server, false},
        {"server-down", {}, &after_a_break, &take_server_down},
        {"server-frozen", {}, &after_pings, &freeze_server},
        {"watchers-cut", {.has_proxies = true}, &after_pings, &cut_watchers},
        {"providers-cut", {.has_proxies = true}, &after_a_probe, &cut_providers},
        {"token-down", {}, &after_a_break, &close_token_endpoint},
        {"token-slow", {}, &after_a_break, &delay_tokens},
        {"token-refused", {}, &after_a_break, &refuse_tokens},
        {"secret-rotated", {}, &after_a_break, &rotate_secret},
        {"provider-killed", {.providers = 3}, &after_a_report, &kill_provider},
        {"provider-changed", {.providers = 3}, &after_a_report, &change_provider},
        {"provider-hung", {.providers = 3}, &after_a_probe, &suspend_provider},
        {"registry-restarts", {.watchers = 2}, &after_a_break, &restart_registry},
        {"registry-silent", {.watchers = 2}, &after_a_break, &silence_registry},
        {"everything",
         {.providers = 3, .watchers = 2, .has_proxies = true},
         &after_a_probe,
         &do_everything,
         true,
         true}};
    return faults;
}

session_fault const& find_session_fault(std::string_view name) {
    auto const& faults = all_session_faults();
    auto const found = std::ranges::find(faults, name, &session_fault::name);
    demand(found != faults.end(), "no such fault: " + std::string{name});
    return *found;
}

} // namespace arvenhold::corvel::hub::reliability
