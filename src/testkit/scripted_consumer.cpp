// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include <hub/testkit/scripted_consumer.hpp>

#include "testkit/change_signal.hpp"
#include "testkit/local_hub_impl.hpp"
#include "testkit/text.hpp"

#include <hub/session/names.hpp>
#include <hub/session/session_settings.hpp>

#include <algorithm>
#include <cstddef>
#include <deque>
#include <map>
#include <optional>
#include <stdexcept>
#include <utility>

namespace arvenhold::corvel::hub::testkit {
namespace {

constexpr std::size_t kept_readings = 10'000;

// Repairs sooner than in production, because a test waits for it.
session_settings make_settings() {
    return session_settings{}.set_retry(
        std::chrono::milliseconds{10}, std::chrono::milliseconds{100});
}

} // namespace

class scripted_consumer::impl {
public:
    impl(std::shared_ptr<local_hub::impl> hub, std::string name)
        : m_hub{std::move(hub)}
        , m_session{std::move(name), m_hub->make_peer_access(), make_settings()} {}

    impl(impl const&) = delete;
    impl(impl&&) = delete;
    impl& operator=(impl const&) = delete;
    impl& operator=(impl&&) = delete;

    // The handler uses the members that are destroyed before the session.
    ~impl() {
        m_session.stop();
    }

    void attach(std::string const& provider, std::chrono::milliseconds limit)
        CORVEL_HUB_EXCLUDES(m_mutex) {
        {
            std::scoped_lock const lock{m_mutex};
            if (m_followed) {
                throw std::logic_error{
                    "the scripted consumer is attached to " + m_provider + "; use another one for "
                    + provider};
            }
            m_provider = provider;
            m_followed = m_session.follow_all(provider, "**", change_queue::every(kept_readings));
            m_followed->on_batch([this](auto const& readings) { add(readings); });
        }
        m_session.set_status_handler([this](auto const&, auto const&) { m_received.raise(); });
        m_session.start();
        wait_until_live("the values of " + provider, limit);
    }

    void wait_until_live(std::string const& awaited, std::chrono::milliseconds limit) const {
        if (!look_until(m_received, limit, [this] { return is_live(); })) {
            throw expectation_failed{awaited, limit, describe_provider()};
        }
    }

    void wait_until_stale(std::chrono::milliseconds limit) const {
        if (!look_until(m_received, limit, [this] { return is_stale(); })) {
            throw expectation_failed{"stale values", limit, describe_provider()};
        }
    }

    [[nodiscard]] any_reading get_reading(std::string const& path) const {
        if (auto const found = find_reading(path)) {
            return *found;
        }
        throw expectation_failed{
            "a value of " + path, std::chrono::milliseconds::zero(), describe(path)};
    }

    [[nodiscard]] std::vector<any_reading> get_readings(std::string const& path) const
        CORVEL_HUB_EXCLUDES(m_mutex) {
        std::vector<any_reading> found;
        std::scoped_lock const lock{m_mutex};
        for (auto const& reading : m_readings) {
            if (reading.path == path) {
                found.push_back(reading);
            }
        }
        return found;
    }

    [[nodiscard]] any_reading wait_for_value(
        std::string const& path,
        variable_value const& value,
        std::chrono::milliseconds limit) const {
        auto const is_wanted = [&](any_reading const& now) {
            require_type(path, now.value, value);
            return now.freshness == freshness::live && now.value == value;
        };
        return wait_for_reading(path, path + " = " + text_of(value), is_wanted, limit);
    }

    [[nodiscard]] any_reading wait_for_reading(
        std::string const& path,
        std::string const& awaited,
        condition const& wanted,
        std::chrono::milliseconds limit) const {
        auto const found = look_until(m_received, limit, [&]() -> std::optional<any_reading> {
            auto reading = find_reading(path);
            return reading && wanted(*reading) ? reading : std::nullopt;
        });
        if (found) {
            return *found;
        }
        throw expectation_failed{awaited + " of " + get_provider(), limit, describe(path)};
    }

    void write(std::string const& path, variable_value value) {
        m_session.write(get_provider(), path, std::move(value));
    }

    write_outcome write_and_confirm(
        std::string const& path, variable_value value, std::chrono::milliseconds limit) {
        return m_session.write_and_confirm(get_provider(), path, std::move(value), limit);
    }

private:
    std::shared_ptr<local_hub::impl> const m_hub;
    consumer_session m_session;
    change_signal m_received;

    mutable std::mutex m_mutex;
    std::string m_provider CORVEL_HUB_GUARDED_BY(m_mutex);
    std::optional<followed_variables> m_followed CORVEL_HUB_GUARDED_BY(m_mutex);
    std::deque<any_reading> m_readings CORVEL_HUB_GUARDED_BY(m_mutex);
    std::map<std::string, any_reading> m_latest CORVEL_HUB_GUARDED_BY(m_mutex);

    void add(std::vector<any_reading> const& readings) CORVEL_HUB_EXCLUDES(m_mutex) {
        {
            std::scoped_lock const lock{m_mutex};
            for (auto const& reading : readings) {
                m_readings.push_back(reading);
                m_latest.insert_or_assign(reading.path, reading);
            }
            while (m_readings.size() > kept_readings) {
                m_readings.pop_front();
            }
        }
        m_received.raise();
    }

    static void require_type(
        std::string const& path, variable_value const& held, variable_value const& given) {
        auto const mismatch = find_mismatch(path, held, given);
        if (!mismatch.empty()) {
            throw std::invalid_argument{mismatch};
        }
    }

    [[nodiscard]] std::string get_provider() const CORVEL_HUB_EXCLUDES(m_mutex) {
        std::scoped_lock const lock{m_mutex};
        if (!m_followed) {
            throw std::logic_error{"the scripted consumer is not attached: call attach() first"};
        }
        return m_provider;
    }

    // What the handler has received last, so that get_readings() has it, too.
    [[nodiscard]] std::optional<any_reading> find_reading(std::string const& path) const
        CORVEL_HUB_EXCLUDES(m_mutex) {
        std::scoped_lock const lock{m_mutex};
        auto const found = m_latest.find(path);
        return found != m_latest.end() ? std::optional{found->second} : std::nullopt;
    }

    // Variables of an earlier definition do not count.
    [[nodiscard]] bool is_live() const {
        if (m_session.get_provider_status(get_provider()).state != session_state::ready) {
            return false;
        }
        auto const definition = m_session.get_definition(get_provider());
        return std::all_of(
            definition.variables.begin(), definition.variables.end(), [this](auto const& variable) {
                auto const reading = find_reading(variable.path);
                return reading && reading->freshness == freshness::live;
            });
    }

    [[nodiscard]] bool is_stale() const CORVEL_HUB_EXCLUDES(m_mutex) {
        std::scoped_lock const lock{m_mutex};
        return !m_latest.empty()
            && std::all_of(m_latest.begin(), m_latest.end(), [](auto const& entry) {
                   return entry.second.freshness == freshness::stale;
               });
    }

    [[nodiscard]] std::string describe(std::string const& path) const {
        if (auto const reading = find_reading(path)) {
            return path + " = " + text_of(*reading);
        }
        std::vector<std::string> paths;
        for (auto const& variable : m_session.get_definition(get_provider()).variables) {
            paths.push_back(variable.path);
        }
        return "no value of " + path + "; " + get_provider() + " has " + joined(paths) + "; "
             + describe_provider();
    }

    [[nodiscard]] std::string describe_provider() const {
        auto const status = m_session.get_provider_status(get_provider());
        auto const link = m_session.get_status();
        return get_provider() + " is " + std::string{name_of(status.state)} + " (" + status.text
             + "); the consumer is " + std::string{name_of(link.state)} + " (" + link.text + "); "
             + m_hub->describe_providers();
    }
};

scripted_consumer::scripted_consumer(local_hub& hub, std::string name)
    : m_impl{std::make_unique<impl>(hub.m_impl, std::move(name))} {}

scripted_consumer::~scripted_consumer() = default;

void scripted_consumer::attach(std::string const& provider, std::chrono::milliseconds limit) {
    m_impl->attach(provider, limit);
}

any_reading scripted_consumer::get_reading(std::string const& path) const {
    return m_impl->get_reading(path);
}

std::vector<any_reading> scripted_consumer::get_readings(std::string const& path) const {
    return m_impl->get_readings(path);
}

any_reading scripted_consumer::wait_for_value(
    std::string const& path, variable_value const& value, std::chrono::milliseconds limit) const {
    return m_impl->wait_for_value(path, value, limit);
}

any_reading scripted_consumer::wait_for_reading(
    std::string const& path,
    std::string const& awaited,
    condition const& wanted,
    std::chrono::milliseconds limit) const {
    return m_impl->wait_for_reading(path, path + " " + awaited, wanted, limit);
}

void scripted_consumer::wait_until_live(std::chrono::milliseconds limit) const {
    m_impl->wait_until_live("live values", limit);
}

void scripted_consumer::wait_until_stale(std::chrono::milliseconds limit) const {
    m_impl->wait_until_stale(limit);
}

void scripted_consumer::write(std::string const& path, variable_value value) {
    m_impl->write(path, std::move(value));
}

write_outcome scripted_consumer::write_and_confirm(
    std::string const& path, variable_value value, std::chrono::milliseconds limit) {
    return m_impl->write_and_confirm(path, std::move(value), limit);
}

} // namespace arvenhold::corvel::hub::testkit
