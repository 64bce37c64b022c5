// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A hub, provider sessions in processes of their own, and consumer sessions that follow everything
// while a witness looks at all that they show.

#pragma once

#include "dev_hub/child_process.hpp"
#include "dev_hub/cutting_proxy.hpp"
#include "dev_hub/dev_hub.hpp"
#include "reliability/reading_witness.hpp"
#include <hub/session/consumer_session.hpp>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace arvenhold::corvel::hub::reliability {

/// How much time the machine gets beyond what is documented.
struct world_limits {
    std::chrono::milliseconds recovery;      ///< From the end of the last cause on.
    std::chrono::milliseconds tolerance;     ///< For what is documented as shorter.
    std::chrono::milliseconds ping_interval; ///< Of all sessions.
};

struct world_size {
    unsigned providers = 1;
    unsigned watchers = 1;
    bool has_proxies = false; ///< Whether sessions reach the server through proxies.
};

/// Used by one thread.
class session_world {
public:
    using clock = std::chrono::steady_clock;

    /// Starts the hub and nothing else.
    session_world(world_limits const& limits, world_size const& size, std::uint64_t seed);

    session_world(session_world const&) = delete;
    session_world& operator=(session_world const&) = delete;
    ~session_world();

    void start_clients();
    void stop_clients();

    [[nodiscard]] dev::dev_hub& get_hub();
    [[nodiscard]] dev::cutting_proxy& get_watchers_proxy();
    [[nodiscard]] dev::cutting_proxy& get_providers_proxy();
    [[nodiscard]] world_limits const& get_limits() const;

    // Providers are numbered from 0 on.

    void start_provider(unsigned number, provider_shape shape = provider_shape::plain);
    void kill_provider(unsigned number);
    void suspend_provider(unsigned number);
    void resume_provider(unsigned number);

    /// From now on the hub knows only this secret.
    void rotate_secret(std::string const& secret);

    /// From now on the sessions know this secret.
    void tell_secret(std::string const& secret);

    /// From now on the values of all providers but this one must always be live; only demanded if
    /// the limits are those of a quiet machine.
    void require_others_live(unsigned number);

    /// Waits until no value of the provider is live.
    void await_stale(unsigned number);

    /// The last cause has ended: demands that everything is live and equal within the limit, and
    /// that nothing was shown that is wrong.
    ///
    /// @param documented  How long a value may be live after its provider has replaced or lost it.
    void demand_recovery(std::chrono::milliseconds documented);

    [[nodiscard]] std::chrono::milliseconds get_longest_recovery() const;
    [[nodiscard]] std::chrono::milliseconds get_longest_delay();

    /// Returns a number from 0 to `limit` - 1.
    std::uint64_t pick(std::uint64_t limit);

private:
    struct providing;
    struct watching;

    world_limits const m_limits;
    world_size const m_size;
    std::mt19937_64 m_random;
    shared_file m_secret;
    std::string m_secret_path = m_secret.get_path();
    reading_witness m_witness;
    dev::dev_hub m_hub;
    std::unique_ptr<dev::cutting_proxy> m_watchers_proxy;
    std::unique_ptr<dev::cutting_proxy> m_providers_proxy;
    std::vector<std::unique_ptr<providing>> m_providers;
    std::chrono::milliseconds m_longest_recovery{};

    std::mutex m_mutex; // guards the pointers
    std::vector<std::unique_ptr<watching>> m_watchers;
    std::atomic<bool> m_ending{false};
    std::thread m_looking;

    void look_again_and_again();
    bool is_recovered();
    [[nodiscard]] std::string url_through(dev::cutting_proxy const* proxy);
    std::string describe_watchers();
};

} // namespace arvenhold::corvel::hub::reliability
