// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "reliability/modelled_sessions.hpp"

#include "reliability/row.hpp"
#include "reliability/world.hpp"
#include "support/await.hpp"

#include <algorithm>
#include <array>
#include <future>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace arvenhold::corvel::hub::reliability {

namespace {

using std::chrono::milliseconds;

constexpr char const* provider_name = "boiler";

constexpr std::array<variable_quality, 5> qualities{
    variable_quality::bad,
    variable_quality::uncertain,
    variable_quality::uncertain_last_usable_value,
    variable_quality::uncertain_initial_value,
    variable_quality::good};

session_outcome outcome_of(write_refused const& refused) {
    switch (refused.get_reason()) {
    case write_refusal::provider_not_live:
        return session_outcome::finds_provider_not_live;
    case write_refusal::unknown_path:
        return session_outcome::finds_no_path;
    case write_refusal::read_only:
        return session_outcome::finds_read_only;
    case write_refusal::wrong_type:
    case write_refusal::too_many_waiting: // not reached: the model's writes wait for their outcome
        break;
    }
    return session_outcome::finds_wrong_type;
}

template <class Operation>
session_outcome outcome_of(Operation operation) {
    try {
        operation();
        return session_outcome::succeeds;
    } catch (write_refused const& refused) {
        return outcome_of(refused);
    } catch (std::invalid_argument const&) {
        return session_outcome::has_bad_argument;
    } catch (std::logic_error const&) {
        return session_outcome::breaks_order;
    }
}

timestamp system_now() {
    return std::chrono::system_clock::now();
}

session_settings make_settings(bool dispatches) {
    session_settings settings;
    settings.set_retry(milliseconds{50}, milliseconds{500})
        .set_handlers_wait_for_dispatch(dispatches);
    return settings;
}

class handler_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace

modelled_sessions::modelled_sessions()
    : m_provider{std::make_unique<provider_session>(provider_name, access())}
    , m_consumer{std::make_unique<consumer_session>("monitor", access())} {}

modelled_sessions::~modelled_sessions() = default;

provider_session_model const& modelled_sessions::get_provider_model() const {
    return m_provider_model;
}

consumer_session_model const& modelled_sessions::get_consumer_model() const {
    return m_consumer_model;
}

hub_access modelled_sessions::access() {
    hub_access chosen{
        m_hub.get_nats_server().get_url(),
        m_hub.get_token_endpoint().get_url(),
        "developer",
        "developer-secret",
        {}};
    // A registry that hangs is not waited for long.
    chosen.options.set_verdict_time_limit(std::chrono::seconds{5});
    return chosen;
}

timestamp modelled_sessions::next_time() {
    m_now += std::chrono::seconds{1};
    return m_now;
}

// Before the real operation, because its value may be shown before it returns.
void modelled_sessions::hold(std::string const& path, held_value const& held) {
    m_provider_model.variables.at(path).held = held;
    std::scoped_lock const lock{m_mutex};
    remember_locked(path, held);
}

void modelled_sessions::remember_locked(std::string const& path, held_value const& held) {
    m_ever_held[path].push_back(held);
}

// -- the provider session -------------------------------------------------------------------------

void modelled_sessions::replace_provider(bool dispatches) {
    m_provider.reset();
    m_requests.clear(); // of the session that has ended; answers have no effect
    m_provider_model = {};
    m_provider_model.dispatches = dispatches;
    m_provider =
        std::make_unique<provider_session>(provider_name, access(), make_settings(dispatches));
}

session_outcome modelled_sessions::declare(
    std::string const& path,
    variable_value const& value,
    variable_permissions permissions,
    write_answer answer) {
    auto const before = system_now();
    provider_session::write_handler handler;
    if (answer != write_answer::none) {
        handler = [this, answer, &owner = *m_provider](any_write_request request) {
            handle_request(owner, std::move(request), answer);
        };
    }
    auto const ended =
        outcome_of([&] { m_provider->declare_any(path, value, permissions, handler); });
    if (ended == session_outcome::succeeds) {
        m_provider_model.variables[path] = {{}, permissions, answer};
        hold(path, {value, variable_quality::uncertain_initial_value, {before, system_now()}});
    }
    return ended;
}

session_outcome modelled_sessions::keep_changes(std::string const& path, std::size_t limit) {
    return outcome_of([&] { m_provider->keep_changes(m_provider->find(path), limit); });
}

// One that is never called: a writable variable without a handler of its own gets its requests.
session_outcome modelled_sessions::set_common_handler() {
    return outcome_of([&] { m_provider->set_write_handler({}); });
}

session_outcome modelled_sessions::start_provider() {
    auto const ended = outcome_of([&] { m_provider->start(); });
    if (ended == session_outcome::succeeds) {
        m_provider_model.stage = session_stage::started;
    }
    return ended;
}

void modelled_sessions::stop_provider() {
    m_provider->stop();
    m_provider_model.stage = session_stage::stopped;
    m_requests.clear();
}

session_outcome modelled_sessions::set(
    std::string const& path, variable_value const& value, std::uint64_t quality) {
    auto const when = next_time();
    if (m_provider_model.set(path, value) == session_outcome::succeeds) {
        hold(path, {value, qualities.at(quality), {when, when}});
    }
    return outcome_of([&] { m_provider->find(path).set(value, qualities.at(quality), when); });
}

void modelled_sessions::set_quality(std::string const& path, std::uint64_t quality) {
    auto const when = next_time();
    auto held = m_provider_model.variables.at(path).held;
    held.quality = qualities.at(quality);
    held.when = {when, when};
    hold(path, held);
    m_provider->find(path).set_quality(held.quality, when);
}

session_outcome modelled_sessions::update(
    std::map<std::string, variable_value> const& values, std::uint64_t quality, bool succeeds) {
    auto const when = next_time();
    for (auto const& [path, value] : values) {
        if (succeeds) {
            hold(path, {value, qualities.at(quality), {when, when}});
        }
    }
    return outcome_of([&] {
        m_provider->update(
            [&](update_cycle& cycle) {
                for (auto const& [path, value] : values) {
                    cycle.set(m_provider->find(path), value, qualities.at(quality));
                }
            },
            when);
    });
}

void modelled_sessions::update_that_throws(std::string const& path) {
    auto const variable = m_provider->find(path);
    auto const changed = value_for(m_provider_model.variables.at(path).held.value.index(), 4711);
    try {
        m_provider->update([&](update_cycle& cycle) {
            cycle.set(variable, changed);
            throw handler_error{"the application has changed its mind"};
        });
    } catch (handler_error const&) {
        demand_same_values();
        return;
    }
    demand(false, "an exception does not leave update()");
}

void modelled_sessions::demand_same_values() {
    for (auto const& [path, variable] : m_provider_model.variables) {
        demand(
            m_provider->find(path).get() == variable.held.value,
            path + " has another value than the model");
    }
    demand(!m_provider->find("no such path"), "an unknown path is found");
}

bool modelled_sessions::has_request() const {
    std::scoped_lock const lock{m_mutex};
    return !m_requests.empty();
}

// Called in handlers.
void modelled_sessions::handle_request(
    provider_session const& owner, any_write_request request, write_answer answer) {
    auto const path = request.get_path();
    {
        std::scoped_lock const lock{m_mutex};
        ++m_handled[path];
        if (m_provider_model.dispatches && std::this_thread::get_id() != m_thread) {
            m_handler_failure = "a request was handled outside dispatch()";
        }
        if (answer == write_answer::later) {
            m_requests.push_back(std::move(request));
            return;
        }
    }
    switch (answer) {
    case write_answer::accept:
        request.accept();
        return;
    case write_answer::accept_as_it_is:
        request.accept_as(owner.find(path).get());
        return;
    case write_answer::throws:
        throw handler_error{"the handler has failed"};
    case write_answer::none:
    case write_answer::later:
    case write_answer::refuse:
        request.refuse("not now");
    }
}

void modelled_sessions::answer_request(std::uint64_t how) {
    std::unique_lock lock{m_mutex};
    auto request = std::move(m_requests.front());
    m_requests.erase(m_requests.begin());
    lock.unlock();
    auto const path = request.get_path();
    auto const wanted = request.get_wanted();
    // The time is that of the request's arrival.
    time_range const when{timestamp::min(), system_now()};
    switch (how) {
    case 0:
        hold(path, {wanted, variable_quality::good, when});
        request.accept();
        break;
    case 1:
        hold(path, {wanted, variable_quality::good, when});
        request.accept_as(wanted);
        break;
    case 2:
        request.refuse("too late");
        break;
    default:
        break; // destroyed without an answer
    }
}

// -- the consumer session -------------------------------------------------------------------------

void modelled_sessions::replace_consumer(bool dispatches, bool read_only) {
    m_consumer.reset();
    m_followings.clear();
    m_consumer_model = {};
    m_consumer_model.dispatches = dispatches;
    m_consumer_model.is_read_only = read_only;
    m_consumer = std::make_unique<consumer_session>(
        "monitor",
        access(),
        make_settings(dispatches),
        read_only ? variable_permissions::read_only : variable_permissions::read_write);
}

modelled_sessions::following& modelled_sessions::add_following() {
    return *m_followings.emplace_back(std::make_unique<following>());
}

// Called in handlers.
void modelled_sessions::see(following& seen, any_reading const& shown, bool dispatches) {
    std::scoped_lock const lock{m_mutex};
    seen.told[shown.path] = shown;
    ++m_calls;
    if (dispatches && std::this_thread::get_id() != m_thread) {
        m_handler_failure = "a change was handled outside dispatch()";
    }
    auto const& held = m_ever_held[shown.path];
    auto const was_held =
        std::ranges::any_of(held, [&shown](auto const& each) { return each.is_shown_by(shown); });
    if (shown.freshness == freshness::live && !was_held && m_handler_failure.empty()) {
        m_handler_failure = shown.path + " was live with what the provider never held";
    }
}

template <class T>
void modelled_sessions::follow_typed(std::string const& path) {
    auto& added = add_following();
    auto followed = m_consumer->follow<T>(provider_name, path);
    auto const untyped = [path](reading<T> const& now) {
        any_reading result;
        result.provider = provider_name;
        result.path = path;
        result.value = now.value;
        result.quality = now.quality;
        result.when = now.when;
        result.freshness = now.freshness;
        return result;
    };
    followed.on_change([this, &added, untyped, dispatches = m_consumer_model.dispatches](
                           reading<T> const& now) { see(added, untyped(now), dispatches); });
    added.now = [followed, untyped] {
        return std::vector{untyped(followed.now())};
    };
}

void modelled_sessions::follow(std::string const& path, std::size_t type) {
    m_consumer_model.followed.push_back({path, type});
    constexpr std::array follow_by_type{
        &modelled_sessions::follow_typed<bool>,
        &modelled_sessions::follow_typed<double>,
        &modelled_sessions::follow_typed<std::int64_t>,
        &modelled_sessions::follow_typed<std::string>,
        &modelled_sessions::follow_typed<timestamp>,
        &modelled_sessions::follow_typed<std::chrono::nanoseconds>};
    (this->*follow_by_type.at(type))(path);
}

void modelled_sessions::follow_all(std::string const& pattern, bool every_change) {
    m_consumer_model.followed.push_back({pattern});
    auto& added = add_following();
    auto const queue = every_change ? change_queue::every(1000) : change_queue::latest();
    auto followed = m_consumer->follow_all("**", pattern, queue);
    followed.on_batch([this, &added, dispatches = m_consumer_model.dispatches](auto const& batch) {
        for (auto const& now : batch) {
            see(added, now, dispatches);
        }
    });
    added.now = [followed] {
        return followed.now();
    };
}

session_outcome modelled_sessions::start_consumer() {
    auto const ended = outcome_of([&] { m_consumer->start(); });
    if (ended == session_outcome::succeeds) {
        m_consumer_model.stage = session_stage::started;
    }
    return ended;
}

void modelled_sessions::stop_consumer() {
    m_consumer->stop();
    m_consumer_model.stage = session_stage::stopped;
}

session_outcome modelled_sessions::write(
    std::string const& path, variable_value const& value, bool succeeds) {
    if (!succeeds) {
        return outcome_of([&] { m_consumer->write(provider_name, path, value); });
    }
    demand_settled(); // nothing else is in flight
    if (m_provider_model.variables.at(path).answer == write_answer::none) {
        return session_outcome::succeeds; // nothing would show that the request was refused
    }
    auto const count_of = [&] {
        std::scoped_lock const lock{m_mutex};
        return m_handled[path];
    };
    auto const handled = count_of();
    time_range const when{system_now(), system_now() + 2 * patience};
    apply_answer(path, value, when);
    auto const ended = outcome_of([&] { m_consumer->write(provider_name, path, value); });
    demand(
        await_with_dispatch([&] { return count_of() != handled; }),
        "the provider gets no request to write " + path);
    return ended;
}

session_outcome modelled_sessions::write_and_confirm(
    std::string const& path, variable_value const& value, bool succeeds) {
    if (!succeeds) {
        return outcome_of(
            [&] { m_consumer->write_and_confirm(provider_name, path, value, milliseconds{100}); });
    }
    demand_settled(); // nothing else is in flight, which could look like an answer
    auto const variable = m_provider_model.variables.at(path);
    auto const is_later = variable.answer == write_answer::later;
    auto const is_held = variable.answer == write_answer::accept || variable.held.value == value;
    auto const predicted = is_held ? write_outcome::confirmed : write_outcome::refused;
    time_range const when{system_now(), system_now() + 2 * patience};
    apply_answer(path, value, when);
    auto const limit = is_later ? milliseconds{500} : milliseconds{patience};
    auto written = std::async(std::launch::async, [&] {
        return m_consumer->write_and_confirm(provider_name, path, value, limit);
    });
    demand(
        await_with_dispatch(
            [&] { return written.wait_for(milliseconds{0}) == std::future_status::ready; }),
        "write_and_confirm() does not return");
    auto actual = predicted;
    auto const ended = outcome_of([&] { actual = written.get(); });
    // An event of an earlier change may still be in flight, and look like the answer.
    auto const is_unanswered = is_later && actual == write_outcome::not_confirmed;
    demand(
        actual == predicted || is_unanswered,
        "writing " + path + " ended with " + std::to_string(static_cast<int>(actual))
            + " instead of " + std::to_string(static_cast<int>(predicted)));
    return ended;
}

// What the provider will hold once it has answered.
void modelled_sessions::apply_answer(
    std::string const& path, variable_value const& wanted, time_range const& when) {
    auto const& variable = m_provider_model.variables.at(path);
    if (variable.answer == write_answer::accept) {
        hold(path, {wanted, variable_quality::good, when});
    } else if (variable.answer == write_answer::accept_as_it_is) {
        hold(path, {variable.held.value, variable_quality::good, when});
    }
}

void modelled_sessions::dispatch() {
    m_provider->dispatch();
    m_consumer->dispatch();
}

// -- causes ---------------------------------------------------------------------------------------

void modelled_sessions::toggle_server() {
    if (std::exchange(m_server_is_down, !m_server_is_down)) {
        m_hub.get_nats_server().start();
    } else {
        kill_server();
    }
}

// Waits until the sessions have noticed, because they are taken for settled otherwise.
void modelled_sessions::kill_server() {
    m_hub.get_nats_server().kill();
    auto const has_noticed = [this] {
        auto const provider_state = m_provider->get_status().state;
        auto const consumer_state = m_consumer->get_status().state;
        return provider_state != session_state::ready && consumer_state != session_state::ready;
    };
    demand(await_with_dispatch(has_noticed), "a session does not notice that the server is gone");
}

// Connections that exist are not affected, so the server restarts, too.
void modelled_sessions::toggle_tokens() {
    if (std::exchange(m_tokens_are_refused, !m_tokens_are_refused)) {
        m_hub.get_token_endpoint().answer_normally();
    } else {
        m_hub.get_token_endpoint().answer_with({401, "text/plain", {"no"}});
        kill_server();
        m_hub.get_nats_server().start();
        m_server_is_down = false;
    }
}

// A registry that restarts and then hangs may lose the definition of a provider that stays
// connected, which nobody can notice; so it hangs only when it knows the provider.
void modelled_sessions::toggle_registry() {
    auto& registry = m_hub.get_registry();
    if (std::exchange(m_registry_is_silent, !m_registry_is_silent)) {
        registry.speak_again();
        return;
    }
    auto const is_known = [&] {
        return m_provider->get_status().state != session_state::ready
            || registry.get_providers().count(provider_name) != 0;
    };
    demand(await_with_dispatch(is_known), "the registry does not know a provider that is ready");
    registry.go_silent();
}

// A provider that is ready announces its definition again, and the consumer session reads all values
// again. Waits until both have, for the same reason; does nothing if that could not be seen.
void modelled_sessions::restart_registry() {
    auto& registry = m_hub.get_registry();
    auto const is_ready = m_provider->get_status().state == session_state::ready;
    auto const is_followed = is_ready && m_consumer_model.stage == session_stage::started;
    auto const is_starting =
        !is_ready && m_provider_model.stage == session_stage::started && !m_tokens_are_refused;
    auto const is_seen = has_live_reading() && has_predicted_states();
    if (m_server_is_down || m_registry_is_silent || is_starting || (is_followed && !is_seen)) {
        return;
    }
    if (is_followed) {
        demand_settled(); // no other change is in flight
    }
    auto const calls = count_calls();
    registry.restart();
    auto const is_announced = [&] {
        return registry.get_providers().count(provider_name) != 0;
    };
    demand(
        !is_ready || await_with_dispatch(is_announced),
        "the provider does not announce its definition again");
    demand(
        !is_followed || await_with_dispatch([&] { return count_calls() != calls; }),
        "the consumer session does not notice that the definition is announced again");
}

bool modelled_sessions::has_live_reading() const {
    return std::ranges::any_of(m_followings, [](auto const& followed) {
        return std::ranges::any_of(followed->now(), [](any_reading const& shown) {
            return shown.freshness == freshness::live;
        });
    });
}

std::uint64_t modelled_sessions::count_calls() const {
    std::scoped_lock const lock{m_mutex};
    return m_calls;
}

void modelled_sessions::end_causes() {
    if (m_server_is_down) {
        toggle_server();
    }
    if (m_tokens_are_refused) {
        toggle_tokens();
    }
    if (m_registry_is_silent) {
        toggle_registry();
    }
}

// -- comparing ------------------------------------------------------------------------------------

bool modelled_sessions::await_with_dispatch(std::function<bool()> const& condition) {
    return await(
        [&] {
            dispatch();
            return condition();
        },
        patience);
}

void modelled_sessions::demand_settled() {
    auto const settled =
        await_with_dispatch([this] { return has_predicted_states() && is_shown() && is_told(); });
    {
        std::scoped_lock const lock{m_mutex};
        demand(m_handler_failure.empty(), m_handler_failure);
    }
    demand(settled, "the sessions do not become what the model says:" + describe());
    demand_same_values();
}

bool modelled_sessions::has_predicted_states() {
    constexpr std::array provider_states{
        session_state::connecting, session_state::ready, session_state::stopped};
    auto const wanted = provider_states.at(static_cast<std::size_t>(m_provider_model.stage));
    auto const state = m_consumer->get_status().state;
    if (m_provider->get_status().state != wanted) {
        return false;
    }
    switch (m_consumer_model.stage) {
    case session_stage::created:
        return state == session_state::connecting;
    case session_stage::stopped:
        return state == session_state::stopped;
    case session_stage::started:
        break;
    }
    // The session may not have looked at what is followed since shortly before.
    auto const is_attached =
        m_consumer->get_provider_status(provider_name).state == session_state::ready;
    return (state == session_state::ready) == m_consumer_model.is_ready(m_provider_model)
        && is_attached == m_consumer_model.is_attached(m_provider_model);
}

bool modelled_sessions::is_shown() {
    for (std::size_t number = 0; number < m_followings.size(); ++number) {
        if (!m_consumer_model.is_shown_by(number, m_provider_model, m_followings[number]->now())) {
            return false;
        }
    }
    return true;
}

// Whether handlers were called with what is shown; those of a stopped session no longer are.
bool modelled_sessions::is_told() {
    if (m_consumer_model.stage != session_stage::started) {
        return true;
    }
    return std::ranges::all_of(m_followings, [this](auto const& followed) {
        auto const now = followed->now();
        std::scoped_lock const lock{m_mutex};
        return std::ranges::all_of(now, [&](any_reading const& shown) {
            if (shown.freshness == freshness::never_received) {
                return true;
            }
            auto const told = followed->told.find(shown.path);
            if (told == followed->told.end() || told->second.freshness != shown.freshness) {
                return false;
            }
            // The last event before a loss may arrive after the handler was called with the loss.
            return shown.freshness == freshness::stale
                || (told->second.value == shown.value && told->second.quality == shown.quality
                    && told->second.when == shown.when);
        });
    });
}

std::string modelled_sessions::describe() {
    std::ostringstream text;
    text << " provider " << m_provider->get_status().text << ", consumer "
         << m_consumer->get_status().text << ", stages " << static_cast<int>(m_provider_model.stage)
         << ' ' << static_cast<int>(m_consumer_model.stage);
    for (std::size_t number = 0; number < m_followings.size(); ++number) {
        text << "; " << m_consumer_model.followed[number].paths << ':';
        for (auto const& shown : m_followings[number]->now()) {
            text << ' ' << shown.path << ' ' << static_cast<int>(shown.freshness);
        }
    }
    return text.str();
}

} // namespace arvenhold::corvel::hub::reliability
