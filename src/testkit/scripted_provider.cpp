// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include <hub/testkit/scripted_provider.hpp>

#include "testkit/change_signal.hpp"
#include "testkit/local_hub_impl.hpp"
#include "testkit/text.hpp"

#include <hub/errors.hpp>
#include <hub/fingerprint.hpp>
#include <hub/provider.hpp>
#include <hub/provider_definition.hpp>
#include <hub/provider_variable.hpp>
#include <hub/variable_list.hpp>

#include <algorithm>
#include <cstddef>
#include <map>
#include <optional>
#include <stdexcept>
#include <utility>

namespace arvenhold::corvel::hub::testkit {
namespace {

constexpr std::chrono::seconds verdict_limit{10};
constexpr std::uint32_t definition_version = 1;

// What a variable is, wherever the provider is.
struct held_variable {
    std::string path;
    variable_permissions permissions;
    variable_value value;
    variable_quality quality;
    timestamp when;
};

held_variable make_held(offered_variable const& offered) {
    return {
        offered.path,
        offered.permissions,
        offered.initial,
        variable_quality::good,
        std::chrono::system_clock::now()};
}

bool is_same_path(held_variable const& held, std::string const& path) {
    return held.path == path;
}

std::string describe(received_write const& write) {
    return write.path + " = " + text_of(write.value)
         + (write.accepted ? " (accepted)" : " (refused)");
}

void set(provider_variable& variable, held_variable const& held) {
    variable.set_value(held.value, held.when);
    variable.set_quality(held.quality, held.when);
}

void set_all(variable_list& list, std::vector<held_variable> const& variables) {
    std::scoped_lock const lock{list};
    auto held = variables.begin();
    for (auto const& [id, variable] : list.get_variables()) { // in the order of the definition
        set(*variable, *held++);
    }
}

std::string without_line_end(std::string text) {
    text.erase(text.find_last_not_of('\n') + 1);
    return text;
}

} // namespace

// Two locks: m_life makes start, loss and return, and sending happen one at a time; it is held across
// calls of the core. m_mutex guards the script and is held only briefly, because the core's callback
// takes it.
class scripted_provider::impl : public returning_peer {
public:
    impl(std::shared_ptr<local_hub::impl> hub, std::string identifier)
        : m_hub{std::move(hub)}
        , m_access{m_hub->make_peer_access()}
        , m_identifier{std::move(identifier)} {
        m_access.options.set_reconnect_attempts(0).set_verdict_time_limit(verdict_limit);
    }

    impl(impl const&) = delete;
    impl(impl&&) = delete;
    impl& operator=(impl const&) = delete;
    impl& operator=(impl&&) = delete;

    ~impl() override {
        vanish();
    }

    void offer(offered_variable const& offered) CORVEL_HUB_EXCLUDES(m_life, m_mutex) {
        std::scoped_lock const life{m_life};
        if (m_should_be_there) {
            throw std::logic_error{
                m_identifier + " is on the hub, so offers() cannot add " + offered.path
                + ": use replace_definition()"};
        }
        std::scoped_lock const lock{m_mutex};
        add(m_variables, offered);
    }

    void start() CORVEL_HUB_EXCLUDES(m_life, m_mutex) {
        std::scoped_lock const life{m_life};
        if (!m_should_be_there || !is_there()) {
            enter();
            m_should_be_there = true;
        }
    }

    void vanish() CORVEL_HUB_EXCLUDES(m_life, m_mutex) {
        std::scoped_lock const life{m_life};
        m_should_be_there = false;
        leave();
    }

    void return_after(fault ended) override CORVEL_HUB_EXCLUDES(m_life, m_mutex) {
        std::scoped_lock const life{m_life};
        // The core notices later that the server was away.
        if (!m_should_be_there || (ended != fault::server_away && is_there())) {
            return;
        }
        try {
            enter();
        } catch (expectation_failed const&) {
            leave(); // another fault prevents it
        }
    }

    void hold(
        std::string const& path, variable_value value, variable_quality quality, timestamp when)
        CORVEL_HUB_EXCLUDES(m_life, m_mutex) {
        std::scoped_lock const life{m_life};
        auto const held = change(path, std::move(value), quality, when);
        if (m_provider != nullptr) {
            send(*m_provider, *m_list, held);
        }
    }

    void replace_definition(std::vector<offered_variable> const& offered)
        CORVEL_HUB_EXCLUDES(m_life, m_mutex) {
        std::vector<held_variable> variables;
        for (auto const& each : offered) {
            add(variables, each);
        }
        std::scoped_lock const life{m_life};
        {
            std::scoped_lock const lock{m_mutex};
            m_variables = std::move(variables);
        }
        if (m_provider == nullptr) {
            return;
        }
        try {
            register_variables();
        } catch (std::exception const& error) {
            throw make_failure(error);
        }
    }

    [[nodiscard]] variable_value get_value(std::string const& path) const
        CORVEL_HUB_EXCLUDES(m_mutex) {
        std::scoped_lock const lock{m_mutex};
        return find(path).value;
    }

    void set_refusal(std::string const& path, std::optional<refusal> which)
        CORVEL_HUB_EXCLUDES(m_mutex) {
        std::scoped_lock const lock{m_mutex};
        static_cast<void>(find(path));
        if (which) {
            m_refusals[path] = std::move(*which);
        } else {
            m_refusals.erase(path);
        }
    }

    [[nodiscard]] std::vector<received_write> get_writes() const CORVEL_HUB_EXCLUDES(m_mutex) {
        std::scoped_lock const lock{m_mutex};
        return m_writes;
    }

    received_write wait_for_write(
        std::string const& path, variable_value const& value, std::chrono::milliseconds limit)
        CORVEL_HUB_EXCLUDES(m_mutex) {
        require_type(path, value);
        std::vector<std::string> others;
        auto const found =
            look_until(m_written, limit, [&] { return look_for_write(path, value, others); });
        if (found) {
            return *found;
        }
        throw expectation_failed{
            "the write " + path + " = " + text_of(value) + " by a consumer of " + m_identifier,
            limit,
            others.empty() ? "no write of " + path : joined(others)};
    }

private:
    std::shared_ptr<local_hub::impl> const m_hub;
    hub_access m_access;
    std::string const m_identifier;
    change_signal m_written;

    std::mutex m_life;
    mutable std::mutex m_mutex CORVEL_HUB_ACQUIRED_AFTER(m_life);

    std::vector<held_variable> m_variables CORVEL_HUB_GUARDED_BY(m_mutex);
    std::map<std::string, refusal> m_refusals CORVEL_HUB_GUARDED_BY(m_mutex);
    std::vector<received_write> m_writes CORVEL_HUB_GUARDED_BY(m_mutex);
    // For each path, how many writes have been looked at.
    std::map<std::string, std::size_t> m_looked_at CORVEL_HUB_GUARDED_BY(m_mutex);

    bool m_should_be_there CORVEL_HUB_GUARDED_BY(m_life) = false;
    std::shared_ptr<variable_list> m_list CORVEL_HUB_GUARDED_BY(m_life);
    std::unique_ptr<provider> m_provider CORVEL_HUB_GUARDED_BY(m_life); // null while it is away

    static void add(std::vector<held_variable>& variables, offered_variable const& offered) {
        auto const is_taken = [&](held_variable const& held) {
            return is_same_path(held, offered.path);
        };
        if (std::any_of(variables.begin(), variables.end(), is_taken)) {
            throw std::logic_error{"there is a variable " + offered.path + " already"};
        }
        variables.push_back(make_held(offered));
    }

    // -- on the hub -------------------------------------------------------------------------------

    [[nodiscard]] bool is_there() const CORVEL_HUB_REQUIRES(m_life) {
        return m_provider != nullptr && m_provider->is_connected()
            && m_provider->is_definition_accepted();
    }

    void enter() CORVEL_HUB_REQUIRES(m_life) CORVEL_HUB_EXCLUDES(m_mutex) {
        leave();
        m_provider = std::make_unique<provider>(m_identifier);
        m_provider->set_variables_written_callback(&impl::receive, this);
        try {
            register_variables();
            set_all(*m_list, copy_variables());
            m_list->mark_no_variables_pending(); // consumers read them with their own times
            m_provider->connect(
                m_access.server_url,
                m_access.token_endpoint,
                m_access.client_id,
                m_access.client_secret,
                m_access.options);
        } catch (std::exception const& error) {
            leave();
            throw make_failure(error);
        }
    }

    // Waits for callbacks that are running, which take only m_mutex.
    void leave() CORVEL_HUB_REQUIRES(m_life) CORVEL_HUB_EXCLUDES(m_mutex) {
        m_provider.reset();
        m_list.reset();
    }

    void register_variables() CORVEL_HUB_REQUIRES(m_life) CORVEL_HUB_EXCLUDES(m_mutex) {
        provider_definition definition{make_fingerprint(definition_version)};
        for (auto const& held : copy_variables()) {
            definition.add_variable_definition(held.path, held.value, held.permissions);
        }
        definition.finalize();
        m_list = m_provider->register_provider_definition(definition);
    }

    [[nodiscard]] expectation_failed make_failure(std::exception const& error) const {
        return expectation_failed{
            "the scripted provider " + m_identifier + " on the hub, with an accepted definition",
            verdict_limit,
            without_line_end(error.what())};
    }

    static void send(provider& sender, variable_list& list, held_variable const& held) {
        auto const variable = list.find_variable(held.path);
        if (variable == nullptr) {
            return; // of a definition that has been replaced
        }
        {
            std::scoped_lock const lock{list};
            set(*variable, held);
        }
        try {
            sender.publish(held.when);
        } catch (std::exception const&) {
            // A fault keeps the provider away. It registers what it holds when it returns.
        }
    }

    // -- the script -------------------------------------------------------------------------------

    [[nodiscard]] std::vector<held_variable> copy_variables() const CORVEL_HUB_EXCLUDES(m_mutex) {
        std::scoped_lock const lock{m_mutex};
        return m_variables;
    }

    [[nodiscard]] held_variable const& find(std::string const& path) const
        CORVEL_HUB_REQUIRES(m_mutex) {
        std::vector<std::string> paths;
        for (auto const& held : m_variables) {
            if (held.path == path) {
                return held;
            }
            paths.push_back(held.path);
        }
        throw std::invalid_argument{
            m_identifier + " has no variable " + path + ", but " + joined(paths)};
    }

    void require_type(std::string const& path, variable_value const& value) const
        CORVEL_HUB_EXCLUDES(m_mutex) {
        std::scoped_lock const lock{m_mutex};
        auto const mismatch = find_mismatch(path, find(path).value, value);
        if (!mismatch.empty()) {
            throw std::invalid_argument{mismatch};
        }
    }

    // The new state of the variable.
    held_variable change(
        std::string const& path, variable_value value, variable_quality quality, timestamp when)
        CORVEL_HUB_EXCLUDES(m_mutex) {
        require_type(path, value);
        std::scoped_lock const lock{m_mutex};
        auto const position = static_cast<std::size_t>(&find(path) - m_variables.data());
        auto& held = m_variables[position];
        held.value = std::move(value);
        held.quality = quality;
        held.when = when;
        return held;
    }

    std::optional<received_write> look_for_write(
        std::string const& path, variable_value const& value, std::vector<std::string>& others)
        CORVEL_HUB_EXCLUDES(m_mutex) {
        std::scoped_lock const lock{m_mutex};
        for (auto& next = m_looked_at[path]; next < m_writes.size();) {
            auto const& write = m_writes[next++];
            if (write.path == path && write.value == value) {
                return write;
            }
            others.push_back(describe(write));
        }
        return std::nullopt;
    }

    // -- the core's callback ----------------------------------------------------------------------

    static void receive(
        definition_fingerprint /*fingerprint*/,
        variable_write_command const& command,
        provider& receiver,
        void* user_data) {
        auto& self = *static_cast<impl*>(user_data);
        auto const list = receiver.get_variable_list();
        for (auto const& [id, value] : command.entries) {
            auto const& variables = list->get_variables();
            auto const found = variables.find(id);
            auto const path = found != variables.end() ? found->second->get_path() : std::string{};
            self.answer(receiver, *list, {path, value, false});
        }
    }

    // Applies the write if nothing is against it, and sends what the variable holds then: the writer
    // sees it in either case.
    void answer(provider& receiver, variable_list& list, received_write write)
        CORVEL_HUB_EXCLUDES(m_mutex) {
        write.accepted = is_acceptable(write);
        if (write.accepted) {
            change(
                write.path, write.value, variable_quality::good, std::chrono::system_clock::now());
        }
        for (auto const& held : copy_variables()) {
            if (held.path == write.path) {
                send(receiver, list, held);
            }
        }
        {
            std::scoped_lock const lock{m_mutex};
            m_writes.push_back(std::move(write));
        }
        m_written.raise();
    }

    [[nodiscard]] bool is_acceptable(received_write const& write) const
        CORVEL_HUB_EXCLUDES(m_mutex) {
        std::optional<refusal> which;
        {
            std::scoped_lock const lock{m_mutex};
            auto const held = std::find_if(
                m_variables.begin(), m_variables.end(), [&](held_variable const& candidate) {
                    return is_same_path(candidate, write.path);
                });
            if (held == m_variables.end() || held->permissions == read_only
                || held->value.index() != write.value.index()) {
                return false;
            }
            auto const refused = m_refusals.find(write.path);
            if (refused != m_refusals.end()) {
                which = refused->second;
            }
        }
        return !which || (*which && !(*which)(write.value)); // an empty one refuses everything
    }
};

scripted_provider::scripted_provider(local_hub& hub, std::string identifier)
    : m_impl{std::make_shared<impl>(hub.m_impl, std::move(identifier))} {
    hub.m_impl->add_peer(m_impl);
}

scripted_provider::~scripted_provider() {
    m_impl->vanish(); // the hub may still hold a reference to it for a moment
}

void scripted_provider::offers(
    std::string const& path, variable_value initial, variable_permissions permissions) {
    m_impl->offer({path, std::move(initial), permissions});
}

void scripted_provider::start() {
    m_impl->start();
}

void scripted_provider::vanish() {
    m_impl->vanish();
}

void scripted_provider::holds(
    std::string const& path, variable_value value, variable_quality quality, timestamp when) {
    m_impl->hold(path, std::move(value), quality, when);
}

variable_value scripted_provider::get_value(std::string const& path) const {
    return m_impl->get_value(path);
}

void scripted_provider::replace_definition(std::vector<offered_variable> const& variables) {
    m_impl->replace_definition(variables);
}

void scripted_provider::refuses(std::string const& path, refusal which) {
    m_impl->set_refusal(path, std::move(which));
}

void scripted_provider::accepts(std::string const& path) {
    m_impl->set_refusal(path, std::nullopt);
}

received_write scripted_provider::wait_for_write(
    std::string const& path, variable_value const& value, std::chrono::milliseconds limit) {
    return m_impl->wait_for_write(path, value, limit);
}

std::vector<received_write> scripted_provider::get_writes() const {
    return m_impl->get_writes();
}

} // namespace arvenhold::corvel::hub::testkit
