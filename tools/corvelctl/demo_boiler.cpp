// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/demo_boiler.hpp"

#include <chrono>
#include <utility>

namespace arvenhold::corvel::hub::ctl {

namespace {

constexpr std::chrono::milliseconds interval{200};
constexpr std::chrono::hours since_last_service{24 * 41};

} // namespace

demo_boiler::demo_boiler(hub_access access)
    : m_session{"boiler", std::move(access)} {
    declare();
    m_session.start();
    m_thread = std::thread{[this] {
        run();
    }};
}

demo_boiler::~demo_boiler() {
    {
        std::scoped_lock const lock{m_mutex};
        m_ended = true;
    }
    m_changed.notify_all();
    m_thread.join();
    m_session.stop();
}

bool demo_boiler::wait_until_ready(std::chrono::milliseconds limit) const {
    return m_session.wait_until_ready(limit);
}

// The plant limits the set point and ignores unknown modes, so the answer is what it then has.
void demo_boiler::declare() {
    auto const now = m_plant.get_state();
    m_session.declare<double>("pressure_bar", now.pressure_bar);
    m_session.declare<double>("temperature_celsius", now.temperature_celsius);
    m_session.declare<std::int64_t>("level_mm", now.level_mm);
    m_session.declare<bool>("pump_running", now.pump_running);
    m_session.declare<std::chrono::nanoseconds>("cycle_duration", now.cycle_duration);
    m_session.declare<timestamp>(
        "last_service", timestamp{std::chrono::system_clock::now() - since_last_service});
    m_session.declare<double>(
        "set_point_celsius", now.set_point_celsius, writable, [this](write_request<double> wanted) {
            m_plant.set_set_point(wanted.get_wanted());
            wanted.accept_as(m_plant.get_state().set_point_celsius);
        });
    m_session.declare<std::string>(
        "mode", now.mode, writable, [this](write_request<std::string> wanted) {
            m_plant.set_mode(wanted.get_wanted());
            wanted.accept_as(m_plant.get_state().mode);
        });
    m_session.find("last_service").set_quality(variable_quality::good);
    m_session.find("set_point_celsius").set_quality(variable_quality::good);
    m_session.find("mode").set_quality(variable_quality::good);
}

void demo_boiler::run() {
    std::unique_lock lock{m_mutex};
    while (!m_changed.wait_for(lock, interval, [this] { return m_ended; })) {
        m_plant.advance(interval);
        publish();
    }
}

void demo_boiler::publish() {
    auto const now = m_plant.get_state();
    m_session.update([this, &now](update_cycle& cycle) {
        cycle.set(m_session.find("pressure_bar"), now.pressure_bar);
        cycle.set(m_session.find("temperature_celsius"), now.temperature_celsius);
        cycle.set(m_session.find("level_mm"), now.level_mm);
        cycle.set(m_session.find("pump_running"), now.pump_running);
        cycle.set(m_session.find("cycle_duration"), now.cycle_duration);
    });
}

} // namespace arvenhold::corvel::hub::ctl
