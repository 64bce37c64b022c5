// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A hub, a provider session and a consumer session, each with a model that follows every operation
// that succeeds. Used by one thread; handlers run on those of the sessions.

#pragma once

#include "dev_hub/dev_hub.hpp"
#include "reliability/session_model.hpp"
#include <hub/session/consumer_session.hpp>
#include <hub/session/provider_session.hpp>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace arvenhold::corvel::hub::reliability {

class modelled_sessions {
public:
    modelled_sessions();
    modelled_sessions(modelled_sessions const&) = delete;
    modelled_sessions& operator=(modelled_sessions const&) = delete;
    ~modelled_sessions();

    [[nodiscard]] provider_session_model const& get_provider_model() const;
    [[nodiscard]] consumer_session_model const& get_consumer_model() const;

    // Operations return how the real one has ended.

    void replace_provider(bool dispatches);
    session_outcome declare(
        std::string const& path,
        variable_value const& value,
        variable_permissions permissions,
        write_answer answer);
    session_outcome keep_changes(std::string const& path, std::size_t limit);
    session_outcome set_common_handler();
    session_outcome start_provider();
    void stop_provider();
    session_outcome set(
        std::string const& path, variable_value const& value, std::uint64_t quality);
    void set_quality(std::string const& path, std::uint64_t quality);

    /// @param succeeds  What the model predicts, because handlers may be faster than the return.
    session_outcome update(
        std::map<std::string, variable_value> const& values, std::uint64_t quality, bool succeeds);
    void update_that_throws(std::string const& path);

    /// Throws row_failure if a variable has another value than the model.
    void demand_same_values();

    [[nodiscard]] bool has_request() const;

    /// Answers the oldest request that waits; `how` is 0 to 3.
    void answer_request(std::uint64_t how);

    void replace_consumer(bool dispatches, bool read_only);
    void follow(std::string const& path, std::size_t type);
    void follow_all(std::string const& pattern, bool every_change);
    session_outcome start_consumer();
    void stop_consumer();

    /// @param succeeds  What the model predicts; waits then until the request was handled.
    session_outcome write(std::string const& path, variable_value const& value, bool succeeds);

    /// The same, and compares the outcome with the prediction.
    session_outcome write_and_confirm(
        std::string const& path, variable_value const& value, bool succeeds);

    [[nodiscard]] bool has_live_reading() const;

    /// Runs waiting handlers of both sessions.
    void dispatch();

    void toggle_server();
    void toggle_tokens();
    void toggle_registry();
    /// Restarts the registry unless that could not be noticed now.
    void restart_registry();
    void end_causes();

    /// Throws row_failure unless states and readings become those of the models, and if a handler
    /// was ever called with a live value that the provider did not hold, or on a wrong thread.
    void demand_settled();

private:
    // A followed set with what its handler was called with.
    struct following {
        std::function<std::vector<any_reading>()> now;
        std::map<std::string, any_reading> told; // the last ones by path
        bool is_told_everything = false;         // no value can have come before the handler
    };

    dev::dev_hub m_hub;
    bool m_server_is_down = false;
    bool m_tokens_are_refused = false;
    bool m_registry_is_silent = false;

    provider_session_model m_provider_model;
    consumer_session_model m_consumer_model;
    timestamp m_now{std::chrono::nanoseconds{1'700'000'000'123'456'789}};

    mutable std::mutex m_mutex; // guards what handlers use, down to m_handler_failure
    std::map<std::string, std::vector<held_value>> m_ever_held;
    std::vector<any_write_request> m_requests;
    std::map<std::string, unsigned> m_handled; // write requests, by path
    std::vector<std::unique_ptr<following>> m_followings;
    std::uint64_t m_calls = 0; // of handlers, with a reading
    std::string m_handler_failure;

    std::thread::id const m_thread = std::this_thread::get_id();
    std::unique_ptr<provider_session> m_provider;
    std::unique_ptr<consumer_session> m_consumer;

    [[nodiscard]] hub_access access();
    timestamp next_time();
    void kill_server();
    [[nodiscard]] std::uint64_t count_calls() const;
    void hold(std::string const& path, held_value const& held);
    void remember_locked(std::string const& path, held_value const& held);
    void handle_request(
        provider_session const& owner, any_write_request request, write_answer answer);
    void apply_answer(
        std::string const& path, variable_value const& wanted, time_range const& when);
    void see(following& seen, any_reading const& shown, bool dispatches);
    bool await_with_dispatch(std::function<bool()> const& condition);
    bool is_shown();
    bool is_told();
    bool has_predicted_states();
    [[nodiscard]] std::string describe();
    template <class T>
    void follow_typed(std::string const& path);
    following& add_following();
};

} // namespace arvenhold::corvel::hub::reliability
