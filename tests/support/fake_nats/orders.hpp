// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "support/fake_nats.hpp"

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub::fakes {

/// Returns whether fail_next knows the function.
bool can_fail(std::string_view function);

/// Returns whether when_called knows the function.
bool can_run_action(std::string_view function);

/// What a test has ordered: failures, answers and actions. Returns actions instead of running them,
/// because the engine's mutex guards this class and an action may call anything.
class orders {
public:
    using call_action = std::function<void()>;
    using publication_action = std::function<void(std::string const&)>;

    void fail(std::string_view function, natsStatus status, std::size_t nth);
    void answer(std::string const& subject, fake_nats::request_answer const& answer);
    void answer(std::string const& subject, fake_nats::request_script script);
    void act_when_published(std::string const& subject, publication_action action);
    void act_when_called(std::string_view function, call_action action);

    /// Counts a call for the ordered failures. Returns the status of the failure that is due, else
    /// NATS_OK.
    natsStatus count_call(std::string_view function);

    /// Returns the script that answers the next request; nothing if no one responds.
    std::optional<fake_nats::request_script> script_for(std::string const& subject);

    /// Returns the action that follows a publication; nothing without one.
    std::optional<publication_action> action_after(std::string const& subject);

    /// Returns the oldest action for the next call of a function, and forgets it; nothing without
    /// one.
    std::optional<call_action> action_in(std::string_view function);

    /// Returns the orders that were not met, and forgets all orders that had to be.
    std::vector<std::string> drain_unmet();

private:
    struct ordered_failure {
        std::string function;
        natsStatus status;
        std::size_t calls_left;
    };
    struct ordered_action {
        std::string function;
        call_action action;
    };
    template <class Action>
    struct reaction {
        Action action;
        bool must_run = false;
    };
    template <class Action>
    using reactions = std::map<std::string, reaction<Action>>;

    std::vector<ordered_failure> m_failures;
    std::vector<ordered_action> m_call_actions;
    reactions<fake_nats::request_script> m_scripts;
    reactions<publication_action> m_publication_actions;
    std::vector<std::string> m_replaced; // as drain_unmet() reports them

    void replace_script(std::string const& subject, reaction<fake_nats::request_script> script);
};

} // namespace arvenhold::corvel::hub::fakes
