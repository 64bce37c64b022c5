// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What the page of `view` shows: the latest state of a hub, what happened to it, and its history. The
// thread that follows the hub changes it; those that answer browsers read it.

#pragma once

#include "corvelctl/followed_hub.hpp"
#include "corvelctl/view/value_history.hpp"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

/// Something that has happened, for the list of events.
struct hub_event {
    std::uint64_t sequence = 0;
    timestamp when;
    std::string kind; ///< A provider_event's name, hub_lost, hub_back, dropped, gap or write.
    std::string provider;
    std::string text;
};

/// Invariants:
/// 1. A browser that asks for everything behind the version that it has got, gets the latest state and
///    nothing twice, however long it waited; so nothing is ever queued for it.
/// 2. A variable keeps its number as long as its type; its place is not given to another one.
///
/// @par Thread safety
/// All operations may be called from any thread.
class hub_model final : public hub_receiver {
public:
    static constexpr std::size_t most_events = 1000;

    explicit hub_model(std::uint64_t most_history_bytes);

    // -- what the hub reports ---------------------------------------------------------------------

    void receive_values(std::vector<any_reading> const& now) override;
    void receive_notice(provider_notice const& notice) override;
    void receive_definition(std::string const& provider, known_definition const& now) override;
    void receive_hub_state(std::string const& why) override;
    void receive_dropped(std::uint64_t count) override;
    void finish_round(supervisor::clock::time_point now) override;

    [[nodiscard]] std::optional<supervisor::clock::time_point> get_next_time() const override {
        return std::nullopt;
    }

    [[nodiscard]] bool is_done() const override {
        return false;
    }

    /// Adds a value at a time, which need not be now.
    void set_value(any_reading const& reading, timestamp at);

    /// As receive_definition(), at a time that need not be now.
    void set_definition(std::string const& provider, known_definition const& now, timestamp at);

    /// Adds an event.
    void add_event(hub_event happened);

    // -- what browsers ask for --------------------------------------------------------------------

    /// Appends everything that has changed behind a version, as a JSON object.
    ///
    /// @return the version to ask with next.
    std::uint64_t append_changes(std::string& text, std::uint64_t behind) const;

    /// Waits until there is something behind a version, or the time has come, or close() was called.
    ///
    /// @return false after close().
    bool wait_for_changes(std::uint64_t behind, supervisor::clock::time_point limit) const;

    /// Appends points of the history as a JSON object.
    void append_history(std::string& text, value_history::query const& wanted) const;

    /// Returns the latest value of a variable; nothing if there is none.
    [[nodiscard]] std::optional<variable_value> find_value(
        std::string const& provider, std::string const& path) const;

    /// Makes all waits end.
    void close();

private:
    struct viewed_provider {
        std::string name;
        std::string state = "here";
        std::string text;
        timestamp since{};
        std::uint64_t version = 0;
        std::optional<known_definition> definition;
    };

    struct viewed_variable {
        std::uint32_t provider = 0;
        std::string path;
        std::size_t type = 0;
        std::string_view access; // empty if the definition does not have it
        bool gone = false;
        std::uint64_t shape_version = 0; // of everything above
        any_reading latest;
        std::uint64_t version = 0; // of the latest reading
    };

    using numbers = std::unordered_map<std::string, std::uint32_t>;

    std::uint32_t require_provider(std::string const& name);
    std::uint32_t require_variable(
        std::uint32_t provider, std::string const& path, std::size_t type);
    void define(std::uint32_t provider, known_definition const& now, timestamp at);
    void store(any_reading const& reading, timestamp at);
    void add_event_locked(hub_event happened);
    void append_providers(std::string& text, std::uint64_t behind) const;
    void append_variables(std::string& text, std::uint64_t behind) const;
    void append_values(std::string& text, std::uint64_t behind) const;
    void append_events(std::string& text, std::uint64_t behind) const;
    void append_hub(std::string& text) const;
    void append_held(std::string& text) const;

    mutable std::mutex m_mutex; // guards everything below
    mutable std::condition_variable m_changed;
    bool m_closed = false;
    std::uint64_t m_version = 0;
    std::uint64_t m_told_version = 0; // that those who wait may have seen
    std::string m_hub_loss;           // empty while the hub is there
    timestamp m_hub_since{};
    std::vector<viewed_provider> m_providers;
    numbers m_provider_numbers;
    std::vector<viewed_variable> m_variables;
    std::vector<numbers> m_variable_numbers; // by provider and path
    std::deque<hub_event> m_events;          // the sequence is the version
    value_history m_history;
};

} // namespace arvenhold::corvel::hub::ctl
