// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "reliability/session_world.hpp"

#include "reliability/row.hpp"
#include "reliability/session_access.hpp"
#include "reliability/world.hpp"
#include "support/await.hpp"

#include <csignal>

#include <algorithm>
#include <set>
#include <utility>

namespace arvenhold::corvel::hub::reliability {

namespace {

using std::chrono::milliseconds;

constexpr char const* first_secret = "secret-0";
constexpr milliseconds look_interval{20};
constexpr std::size_t kept_changes = 10'000;

std::string identifier_of(unsigned number) {
    return "provider-" + std::to_string(number);
}

} // namespace

struct session_world::providing {
    explicit providing(unsigned number)
        : identifier{identifier_of(number)} {}

    std::string const identifier;
    shared_file notes;
    std::optional<dev::child_process> process;
};

// The session ends before what its handlers use.
struct session_world::watching {
    watching(
        std::string name,
        hub_access const& access,
        session_settings const& settings,
        unsigned providers,
        reading_witness& looking)
        : session{std::move(name), access, settings}
        , latest{session.follow_all("**", "**")}
        , every{session.follow_all("**", "**", change_queue::every(kept_changes))} {
        for (unsigned number = 0; number < providers; ++number) {
            named.push_back(session.follow<std::int64_t>(identifier_of(number), "busy/2"));
        }
        latest.on_batch([&looking](auto const& shown) { looking.look_at(shown, clock::now()); });
        every.on_change(
            [&looking](any_reading const& shown) { looking.look_at({shown}, clock::now()); });
        session.start();
    }

    consumer_session session;
    followed_variables latest;
    followed_variables every;
    std::vector<followed_variable<std::int64_t>> named; // the session waits for these providers
};

session_world::session_world(world_limits const& limits, world_size const& size, std::uint64_t seed)
    : m_limits{limits}
    , m_size{size}
    , m_random{seed} {
    rotate_secret(first_secret);
    tell_secret(first_secret);
    if (size.has_proxies) {
        auto const port = m_hub.get_nats_server().get_port();
        m_watchers_proxy = std::make_unique<dev::cutting_proxy>(port);
        m_providers_proxy = std::make_unique<dev::cutting_proxy>(port);
    }
    for (unsigned number = 0; number < size.providers; ++number) {
        m_providers.push_back(std::make_unique<providing>(number));
        m_witness.add_provider(m_providers.back()->identifier, m_providers.back()->notes);
    }
    m_looking = std::thread{[this] {
        look_again_and_again();
    }};
}

session_world::~session_world() {
    m_ending = true;
    m_looking.join();
    stop_clients();
}

void session_world::start_clients() {
    for (unsigned number = 0; number < m_size.providers; ++number) {
        start_provider(number);
    }
    for (unsigned number = 0; number < m_size.watchers; ++number) {
        auto started = std::make_unique<watching>(
            "watcher-" + std::to_string(number),
            make_session_access(
                url_through(m_watchers_proxy.get()),
                m_hub.get_token_endpoint().get_url(),
                m_secret_path),
            make_session_settings(m_limits.ping_interval),
            m_size.providers,
            m_witness);
        std::scoped_lock const lock{m_mutex};
        m_watchers.push_back(std::move(started));
    }
}

void session_world::stop_clients() {
    std::vector<std::unique_ptr<watching>> ended;
    {
        std::scoped_lock const lock{m_mutex};
        ended.swap(m_watchers);
    }
    ended.clear();
    for (auto const& provider : m_providers) {
        provider->process.reset();
    }
}

void session_world::start_provider(unsigned number, provider_shape shape) {
    auto& provider = *m_providers.at(number);
    provider.process.reset();
    m_witness.note_start(provider.identifier, shape);
    provider.process.emplace(
        CORVEL_HUB_SESSION_PROVIDER_PROCESS,
        std::vector<std::string>{
            url_through(m_providers_proxy.get()),
            m_hub.get_token_endpoint().get_url(),
            provider.identifier,
            m_secret_path,
            std::to_string(m_limits.ping_interval.count()),
            std::to_string(static_cast<int>(shape)),
            provider.notes.get_path()});
    demand(
        provider.process->wait_until_output_contains("the provider runs", patience),
        "a provider's process does not start: " + provider.process->get_output());
}

void session_world::kill_provider(unsigned number) {
    auto& provider = *m_providers.at(number);
    m_witness.note_loss(provider.identifier);
    auto const output = provider.process->get_output();
    provider.process.reset();
    demand(output.find("Sanitizer") == std::string::npos, output);
}

void session_world::suspend_provider(unsigned number) {
    auto& provider = *m_providers.at(number);
    m_witness.note_loss(provider.identifier);
    provider.process->freeze();
}

void session_world::resume_provider(unsigned number) {
    auto& provider = *m_providers.at(number);
    m_witness.note_return(provider.identifier);
    provider.process->send_signal(SIGCONT);
}

dev::dev_hub& session_world::get_hub() {
    return m_hub;
}

dev::cutting_proxy& session_world::get_watchers_proxy() {
    return *m_watchers_proxy;
}

dev::cutting_proxy& session_world::get_providers_proxy() {
    return *m_providers_proxy;
}

world_limits const& session_world::get_limits() const {
    return m_limits;
}

void session_world::rotate_secret(std::string const& secret) {
    m_hub.get_token_endpoint().set_accepted_clients({{session_client, secret}});
}

void session_world::tell_secret(std::string const& secret) {
    m_secret.write(secret + '\n');
}

void session_world::require_others_live(unsigned number) {
    std::set<std::string> others;
    for (unsigned other = 0; m_limits.recovery < patience && other < m_size.providers; ++other) {
        if (other != number) {
            others.insert(identifier_of(other));
        }
    }
    m_witness.require_live(others);
}

void session_world::await_stale(unsigned number) {
    auto const identifier = identifier_of(number);
    auto const is_stale = [&](any_reading const& shown) {
        return shown.provider != identifier || shown.freshness != freshness::live;
    };
    demand(
        await(
            [&] {
                return std::ranges::all_of(m_watchers, [&](auto const& watcher) {
                    return std::ranges::all_of(watcher->latest.now(), is_stale);
                });
            },
            patience),
        "the values of " + identifier + " do not become stale");
}

void session_world::demand_recovery(milliseconds documented) {
    auto const begin = clock::now();
    auto const recovered = await([this] { return is_recovered(); }, patience);
    auto const lasted = std::chrono::duration_cast<milliseconds>(clock::now() - begin);
    m_witness.require_live({});
    m_witness.demand_truth(documented + m_limits.tolerance);
    demand(recovered, "not everything is live and equal after 60 s: " + describe_watchers());
    m_longest_recovery = std::max(m_longest_recovery, lasted);
    demand(
        lasted <= m_limits.recovery,
        "everything was live and equal only after " + std::to_string(lasted.count()) + " ms");
}

milliseconds session_world::get_longest_recovery() const {
    return m_longest_recovery;
}

milliseconds session_world::get_longest_delay() {
    return m_witness.get_longest_delay();
}

std::uint64_t session_world::pick(std::uint64_t limit) {
    return m_random() % limit;
}

void session_world::look_again_and_again() {
    while (!m_ending) {
        {
            std::scoped_lock const lock{m_mutex};
            for (auto const& watcher : m_watchers) {
                auto const before = clock::now();
                m_witness.look_at(watcher->latest.now(), before);
            }
        }
        std::this_thread::sleep_for(look_interval);
    }
}

bool session_world::is_recovered() {
    auto const held = m_witness.get_held();
    return std::ranges::all_of(m_watchers, [&](auto const& watcher) {
        return watcher->session.get_status().state == session_state::ready
            && reading_witness::is_equal(watcher->latest.now(), held);
    });
}

std::string session_world::url_through(dev::cutting_proxy const* proxy) {
    return proxy != nullptr ? proxy->get_url() : m_hub.get_nats_server().get_url();
}

std::string session_world::describe_watchers() {
    std::string text;
    for (auto const& watcher : m_watchers) {
        text += watcher->session.get_status().text + "; ";
        for (auto const& provider : m_providers) {
            text += provider->identifier + ' '
                  + watcher->session.get_provider_status(provider->identifier).text + "; ";
        }
    }
    return text;
}

} // namespace arvenhold::corvel::hub::reliability
