// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Follows a hub until a command ends: hands on what a session receives, as one sequence of values,
// losses and returns, on the main thread.

#pragma once

#include "corvelctl/followed_selection.hpp"
#include "corvelctl/tool.hpp"
#include <hub/session/consumer_session.hpp>

#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

/// What happens to a provider as a whole.
enum class provider_event {
    here,               ///< Its values were read for the first time.
    lost,               ///< The registry does not list it, or the hub is lost.
    stale,              ///< Its values are not known to be current for another reason.
    back,               ///< All its values were read again.
    definition_changed, ///< It has other variables than before.
};

[[nodiscard]] std::string_view name_of(provider_event event);

struct provider_notice {
    std::string provider;
    provider_event event = provider_event::here;
    std::string text; ///< Why, in plain words; may be empty.
    timestamp when;   ///< By this computer's clock.
};

/// Receives what followed_hub hands on. What it throws ends followed_hub::run().
class hub_receiver {
public:
    hub_receiver() = default;
    hub_receiver(hub_receiver const&) = delete;
    hub_receiver& operator=(hub_receiver const&) = delete;
    virtual ~hub_receiver() = default;

    virtual void receive_values(std::vector<any_reading> const& now) = 0;

    virtual void receive_notice(provider_notice const& notice) = 0;

    /// A provider has a definition that was not received before. Comes before its values.
    virtual void receive_definition(std::string const& provider, known_definition const& now) = 0;

    /// @param why  Why the hub is lost; empty when it is back.
    virtual void receive_hub_state(std::string const& why) = 0;

    /// Changes came faster than they were received, and so many were dropped before the next values.
    virtual void receive_dropped(std::uint64_t count) = 0;

    /// Called when everything that has happened so far was received, and when the time of
    /// get_next_time() has come.
    virtual void finish_round(supervisor::clock::time_point now) = 0;

    [[nodiscard]] virtual std::optional<supervisor::clock::time_point> get_next_time() const = 0;

    [[nodiscard]] virtual bool is_done() const = 0;

    /// Returns what else ends the waiting when it is readable; finish_round() is called then.
    [[nodiscard]] virtual std::vector<int> get_descriptors() const {
        return {};
    }
};

class followed_hub {
public:
    /// Does not connect.
    ///
    /// @param queue        For the changes that wait while the receiver is busy.
    /// @param permissions  What the session asks for.
    ///
    /// @throws failure  As make_session_access().
    followed_hub(
        tool& with,
        followed_selection const& selected,
        change_queue queue,
        hub_receiver& to,
        variable_permissions permissions = variable_permissions::read_only);

    /// The same, and follows nothing before follow().
    followed_hub(tool& with, variable_permissions permissions, hub_receiver& to);

    followed_hub(followed_hub const&) = delete;
    followed_hub& operator=(followed_hub const&) = delete;
    ~followed_hub() = default;

    /// Follows more, with patterns as consumer_session::follow_all().
    void follow(std::string const& provider, std::string const& paths, change_queue queue);

    [[nodiscard]] consumer_session& get_session();

    /// Returns the latest readings of everything that is followed.
    [[nodiscard]] std::vector<any_reading> get_readings() const;

    /// Follows until the receiver is done, a signal comes, or the deadline has passed. The program ends
    /// soon afterwards, see supervisor::end_soon().
    ///
    /// @throws output_closed  Nobody reads standard output any more.
    exit_code run(std::optional<supervisor::clock::time_point> deadline);

private:
    struct followed_provider {
        bool was_ready = false;
        std::optional<provider_event> told;
        bool has_new_definition = true; // or may have
        known_definition definition;
    };

    void set_handlers();
    void guard(std::function<void()> const& handler);
    void handle_batch(std::vector<any_reading> const& now);
    void handle_status(std::string const& provider, session_status const& status);
    void handle_hub_status(session_status const& status);
    void look_at_definition(std::string const& provider, followed_provider& known);
    void tell(
        std::string const& provider,
        followed_provider& known,
        provider_event event,
        std::string const& text);
    void wait(std::optional<supervisor::clock::time_point> deadline) const;

    tool& m_tool;
    hub_receiver& m_receiver;
    bool m_keeps_all = false;
    bool m_is_hub_lost = false;
    std::map<std::string, followed_provider> m_providers;
    std::exception_ptr m_failed; // what a handler has thrown
    consumer_session m_session;
    std::vector<followed_variables> m_followed;
};

} // namespace arvenhold::corvel::hub::ctl
