// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "reliability/modelled_hub.hpp"
#include "reliability/row.hpp"
#include "reliability/world.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <future>
#include <map>
#include <mutex>
#include <random>
#include <span>
#include <sstream>
#include <thread>

namespace arvenhold::corvel::hub::reliability {

std::string run_random_sequences(effort how_much);
std::string run_random_sequence(std::uint64_t seed);

namespace {

constexpr unsigned steps_per_sequence = 30;

// A hub's log of events grows, and each step searches it.
constexpr unsigned sequences_per_hub = 25;

constexpr char const* right_secret = "developer-secret";
constexpr char const* wrong_secret = "wrong";

constexpr std::array<variable_quality, 5> qualities{
    variable_quality::bad,
    variable_quality::uncertain,
    variable_quality::uncertain_last_usable_value,
    variable_quality::uncertain_initial_value,
    variable_quality::good};

struct step_counts {
    std::uint64_t succeeded = 0;
    std::uint64_t refused = 0;
};

using counts_by_step = std::map<std::string_view, step_counts>;

// Thirty steps that the seed chooses. Equal seeds give equal sequences.
class sequence {
public:
    sequence(shared_hub& services, std::uint64_t seed)
        : m_random{seed}
        , m_hub{services, seed} {}

    void run(counts_by_step& counts);

    // What was done so far, and how it ended.
    [[nodiscard]] std::string const& get_story() const {
        return m_story;
    }

private:
    struct step_kind {
        std::string_view name;
        unsigned weight;
        bool (sequence::*is_possible)() const; // null for always
        void (sequence::*run)();
    };

    static std::span<step_kind const> get_step_kinds();

    std::mt19937_64 m_random; // its numbers are the same everywhere, those of distributions are not
    modelled_hub m_hub;
    std::string m_story;
    outcome m_ended; // the latest step
    definition_fingerprint m_last_fingerprint = 0;

    std::uint64_t pick(std::uint64_t limit) {
        return m_random() % limit;
    }

    // True in one of `out_of` cases.
    bool happens_once(std::uint64_t out_of) {
        return pick(out_of) == 0;
    }

    step_kind const& draw_step();
    void note(std::string const& detail);
    void perform(
        std::function<void()> const& operation, std::function<outcome()> const& prediction);
    // For operations that are never refused.
    void perform_surely(
        std::function<void()> const& operation, std::function<void()> const& prediction);

    held_list const& pick_list();
    variable_id pick_id(list_model const& list);
    variable_value pick_value(list_model const& list, variable_id id);
    std::vector<new_value> pick_values(list_model const& list);
    variable_quality pick_quality();
    std::vector<new_quality> pick_qualities(list_model const& list);
    definition_fingerprint pick_fingerprint();
    std::vector<variable_id> pick_known_ids();
    [[nodiscard]] std::vector<variable_id> published_ids() const;

    [[nodiscard]] bool has_definition() const;
    [[nodiscard]] bool lacks_definition() const;
    [[nodiscard]] bool has_list() const;
    [[nodiscard]] bool has_connection() const;
    [[nodiscard]] bool may_exchange() const;
    [[nodiscard]] bool has_variables() const;
    [[nodiscard]] bool is_provider_connected() const;
    [[nodiscard]] bool is_provider_disconnected() const;
    [[nodiscard]] bool is_consumer_connected() const;
    [[nodiscard]] bool is_consumer_disconnected() const;
    [[nodiscard]] bool rejects() const;
    [[nodiscard]] bool judges_normally() const;
    [[nodiscard]] bool may_withdraw() const;
    [[nodiscard]] bool has_dead_connection() const;
    [[nodiscard]] bool has_live_connection() const;
    [[nodiscard]] bool may_receive_changes() const;
    [[nodiscard]] bool may_publish_during_a_read() const;
    [[nodiscard]] bool may_attach() const;
    [[nodiscard]] bool may_attach_with_success() const;

    void connect_provider();
    void connect_with_wrong_secret();
    void disconnect_provider();
    void replace_provider();
    void register_definition();
    void register_open_definition();
    void publish_pending();
    void force_publish_all();
    void publish_value();
    void bulk_publish();
    void set_quality();
    void bulk_set_quality();
    void write_into_list();
    void mark_all_pending();
    void reject_definitions();
    void judge_normally();
    void withdraw_definition();
    void forget_provider();
    void restart_registry();
    void connect_consumer();
    void connect_consumer_with_wrong_secret();
    void disconnect_consumer();
    void replace_consumer();
    void attach();
    void set_local_value();
    void read_variables();
    void update_all_variables();
    void write_variables();
    void request_definition();
    void disconnect_connection();
    void fault_connection();
    void fault_during_a_read();
    void publish_during_a_read();
    void receive_quality_alone();
};

std::span<sequence::step_kind const> sequence::get_step_kinds() {
    using s = sequence;
    // Weighted so that most of the time a provider is followed by a consumer.
    static constexpr std::array kinds{
        step_kind{"provider connect", 25, &s::is_provider_disconnected, &s::connect_provider},
        step_kind{"provider connect again", 1, &s::is_provider_connected, &s::connect_provider},
        step_kind{"provider connect, wrong secret", 1, nullptr, &s::connect_with_wrong_secret},
        step_kind{"provider disconnect", 2, nullptr, &s::disconnect_provider},
        step_kind{"provider replaced", 1, nullptr, &s::replace_provider},
        step_kind{"register a definition", 25, &s::lacks_definition, &s::register_definition},
        step_kind{"register another one", 5, &s::has_definition, &s::register_definition},
        step_kind{"register an open one", 1, nullptr, &s::register_open_definition},
        step_kind{"provider publish", 3, nullptr, &s::publish_pending},
        step_kind{"force_publish_all", 3, nullptr, &s::force_publish_all},
        step_kind{"list publish", 8, &s::has_list, &s::publish_value},
        step_kind{"bulk_publish", 5, &s::has_list, &s::bulk_publish},
        step_kind{"set_quality", 5, &s::has_list, &s::set_quality},
        step_kind{"bulk_set_quality", 5, &s::has_list, &s::bulk_set_quality},
        step_kind{"write_variable", 4, &s::has_list, &s::write_into_list},
        step_kind{"mark_all_variables_pending", 2, &s::has_list, &s::mark_all_pending},
        step_kind{"registry rejects", 2, nullptr, &s::reject_definitions},
        step_kind{"registry judges normally", 12, &s::rejects, &s::judge_normally},
        step_kind{"registry withdraws", 2, &s::may_withdraw, &s::withdraw_definition},
        step_kind{"registry forgets", 2, nullptr, &s::forget_provider},
        step_kind{"registry restart", 3, &s::judges_normally, &s::restart_registry},
        step_kind{"consumer connect", 25, &s::is_consumer_disconnected, &s::connect_consumer},
        step_kind{"consumer connect again", 1, &s::is_consumer_connected, &s::connect_consumer},
        step_kind{
            "consumer connect, wrong secret", 1, nullptr, &s::connect_consumer_with_wrong_secret},
        step_kind{"consumer disconnect", 1, nullptr, &s::disconnect_consumer},
        step_kind{"consumer gives up", 12, &s::has_dead_connection, &s::disconnect_consumer},
        step_kind{"consumer replaced", 1, nullptr, &s::replace_consumer},
        step_kind{"attach", 40, &s::may_attach_with_success, &s::attach},
        step_kind{"attach in any state", 2, &s::may_attach, &s::attach},
        step_kind{"set a local value", 4, &s::has_variables, &s::set_local_value},
        step_kind{"read_variables", 8, &s::may_exchange, &s::read_variables},
        step_kind{"read_variables in any state", 1, &s::has_connection, &s::read_variables},
        step_kind{"update_all_variables", 8, &s::may_exchange, &s::update_all_variables},
        step_kind{
            "update_all_variables in any state", 1, &s::has_connection, &s::update_all_variables},
        step_kind{"write_variables", 14, &s::may_exchange, &s::write_variables},
        step_kind{"write_variables in any state", 1, &s::has_connection, &s::write_variables},
        step_kind{"request the definition", 2, &s::has_connection, &s::request_definition},
        step_kind{"connection disconnect", 1, &s::has_connection, &s::disconnect_connection},
        step_kind{"connection fault", 1, &s::has_live_connection, &s::fault_connection},
        step_kind{"fault during a read", 1, &s::may_exchange, &s::fault_during_a_read},
        step_kind{
            "publish during a read", 8, &s::may_publish_during_a_read, &s::publish_during_a_read},
        step_kind{
            "change event without a time", 2, &s::may_receive_changes, &s::receive_quality_alone},
    };
    return kinds;
}

void sequence::run(counts_by_step& counts) {
    for (unsigned number = 1; number <= steps_per_sequence; ++number) {
        auto const& step = draw_step();
        m_story += "\n" + std::to_string(number) + ". " + std::string{step.name};
        (this->*step.run)();
        m_story += m_ended.succeeded() ? " - success" : " - " + m_ended.error;
        ++(m_ended.succeeded() ? counts[step.name].succeeded : counts[step.name].refused);
    }
}

sequence::step_kind const& sequence::draw_step() {
    std::vector<step_kind const*> possible;
    for (auto const& kind : get_step_kinds()) {
        if (kind.is_possible == nullptr || (this->*kind.is_possible)()) {
            possible.insert(possible.end(), kind.weight, &kind);
        }
    }
    return *possible[pick(possible.size())];
}

void sequence::note(std::string const& detail) {
    m_story += ", " + detail;
}

void sequence::perform(
    std::function<void()> const& operation, std::function<outcome()> const& prediction) {
    m_ended = m_hub.perform(operation, prediction);
}

void sequence::perform_surely(
    std::function<void()> const& operation, std::function<void()> const& prediction) {
    perform(operation, [&prediction] {
        prediction();
        return outcome{};
    });
}

// -- what is drawn --------------------------------------------------------------------------------

held_list const& sequence::pick_list() {
    auto const takes_older = m_hub.get_older_list().real && happens_once(8);
    auto const& list = takes_older ? m_hub.get_older_list() : m_hub.get_newest_list();
    note("list of " + std::to_string(list.model->fingerprint));
    return list;
}

// Rarely the first id after the list's.
variable_id sequence::pick_id(list_model const& list) {
    auto const count = list.variables.size();
    auto const position = happens_once(25) ? count : pick(count);
    auto const id = list.variables.begin()->first + static_cast<variable_id>(position);
    note("variable " + std::to_string(id));
    return id;
}

// Rarely one of the next type.
variable_value sequence::pick_value(list_model const& list, variable_id id) {
    std::size_t const position = id - list.variables.begin()->first;
    auto const is_wrong = happens_once(25);
    return value_for(is_wrong ? position + 1 : position, pick(1000));
}

std::vector<new_value> sequence::pick_values(list_model const& list) {
    std::vector<new_value> values;
    for (auto count = pick(4); count != 0; --count) {
        auto const id = pick_id(list);
        values.emplace_back(id, pick_value(list, id));
    }
    return values;
}

variable_quality sequence::pick_quality() {
    return qualities[pick(qualities.size())];
}

std::vector<new_quality> sequence::pick_qualities(list_model const& list) {
    std::vector<new_quality> chosen;
    for (auto count = pick(4); count != 0; --count) {
        auto const id = pick_id(list);
        chosen.emplace_back(id, pick_quality());
    }
    return chosen;
}

// That of the connection's definition, rarely another one.
definition_fingerprint sequence::pick_fingerprint() {
    auto const held = m_hub.model.get_connection()->fingerprint;
    auto const fingerprint = happens_once(12) ? held + 1 : held;
    note("fingerprint " + std::to_string(fingerprint));
    return fingerprint;
}

std::vector<variable_id> sequence::pick_known_ids() {
    std::vector<variable_id> ids;
    for (auto const& [id, variable] : m_hub.model.get_connection()->variables) {
        if (happens_once(2)) {
            note("variable " + std::to_string(id));
            ids.push_back(id);
        }
    }
    return ids;
}

// Those of the newest list that were published since they were defined. A definition takes its time
// from the system clock, which is ahead of the times here.
std::vector<variable_id> sequence::published_ids() const {
    std::vector<variable_id> ids;
    for (auto const& [id, variable] : m_hub.get_newest_list().model->variables) {
        if (variable.when && *variable.when <= m_hub.now()) {
            ids.push_back(id);
        }
    }
    return ids;
}

// -- what is possible -----------------------------------------------------------------------------

bool sequence::has_definition() const {
    return m_hub.model.get_provider().is_registered;
}

bool sequence::lacks_definition() const {
    return !has_definition();
}

bool sequence::has_list() const {
    return m_hub.get_newest_list().real != nullptr;
}

bool sequence::has_connection() const {
    return m_hub.model.get_connection() != nullptr;
}

bool sequence::may_exchange() const {
    return has_connection()
        && m_hub.model.get_connection()->state == provider_connection_state::connected;
}

bool sequence::has_variables() const {
    return has_connection() && !m_hub.model.get_connection()->variables.empty();
}

bool sequence::is_provider_connected() const {
    return m_hub.model.get_provider().is_connected;
}

bool sequence::is_provider_disconnected() const {
    return !is_provider_connected();
}

bool sequence::is_consumer_connected() const {
    return m_hub.model.get_consumer().is_connected;
}

bool sequence::is_consumer_disconnected() const {
    return !is_consumer_connected();
}

bool sequence::rejects() const {
    return m_hub.model.get_registry().rejects;
}

// After a restart a rejection and the list without the provider reach the consumer on two threads:
// whether it reads the values before the loss cannot be predicted.
bool sequence::judges_normally() const {
    return !rejects();
}

// A connected provider receives the event too, and treats it as a verdict if it comes late. Only a
// provider with a list shows that it has received it.
bool sequence::may_withdraw() const {
    auto const& provider = m_hub.model.get_provider();
    return !provider.is_connected || provider.list;
}

bool sequence::has_dead_connection() const {
    auto const& attached = m_hub.model.get_consumer().attached;
    return attached && !attached->is_live();
}

bool sequence::has_live_connection() const {
    return has_connection() && m_hub.model.get_connection()->is_live();
}

bool sequence::may_receive_changes() const {
    auto const& attached = m_hub.model.get_consumer().attached;
    return attached && attached->is_live() && !attached->variables.empty();
}

bool sequence::may_publish_during_a_read() const {
    auto const& provider = m_hub.model.get_provider();
    return may_exchange() && m_hub.model.get_connection() == m_hub.model.get_consumer().attached
        && provider.is_connected && provider.is_registered
        && provider.list->fingerprint == m_hub.model.get_connection()->fingerprint
        && !published_ids().empty();
}

bool sequence::may_attach() const {
    return !m_hub.model.attaching_takes_long();
}

bool sequence::may_attach_with_success() const {
    return is_consumer_connected() && is_provider_connected() && may_attach()
        && !m_hub.model.get_consumer().attached && m_hub.model.get_registry().known;
}

// -- the provider's application -------------------------------------------------------------------

void sequence::connect_provider() {
    perform(
        [&] { m_hub.connect_provider(right_secret); },
        [&] { return m_hub.model.connect_provider(); });
}

void sequence::connect_with_wrong_secret() {
    perform(
        [&] { m_hub.connect_provider(wrong_secret); },
        [&] { return m_hub.model.connect_provider_with_wrong_secret(); });
}

void sequence::disconnect_provider() {
    perform_surely(
        [&] { m_hub.get_provider().disconnect(); }, [&] { m_hub.model.disconnect_provider(); });
}

void sequence::replace_provider() {
    perform_surely([&] { m_hub.replace_provider(); }, [&] { m_hub.model.replace_provider(); });
}

void sequence::register_definition() {
    constexpr std::array<std::size_t, 3> sizes{7, 3, 1};
    auto const kind = pick(sizes.size());
    auto const values = pick(1000);
    auto const fingerprint = ++m_last_fingerprint;
    note(
        "definition " + std::string(1, "ABC"[kind]) + " as fingerprint "
        + std::to_string(fingerprint));
    perform(
        [&] { m_hub.register_definition(fingerprint, sizes[kind], values); },
        [&] { return m_hub.model.register_definition(m_hub.get_newest_list().model); });
}

void sequence::register_open_definition() {
    perform(
        [&] {
            provider_definition definition{m_last_fingerprint + 1};
            m_hub.get_provider().register_provider_definition(definition);
        },
        [&] { return m_hub.model.register_open_definition(); });
}

void sequence::publish_pending() {
    perform(
        [&] { m_hub.get_provider().publish(m_hub.now()); },
        [&] { return m_hub.model.publish(m_hub.now()); });
}

void sequence::force_publish_all() {
    perform(
        [&] { m_hub.get_provider().force_publish_all(m_hub.now()); },
        [&] { return m_hub.model.force_publish_all(m_hub.now()); });
}

void sequence::publish_value() {
    auto const& list = pick_list();
    auto const id = pick_id(*list.model);
    auto const value = pick_value(*list.model, id);
    perform(
        [&] { list.real->publish(id, value, m_hub.now()); },
        [&] {
            return m_hub.model.publish(*list.model, {id, value}, m_hub.now());
        });
}

void sequence::bulk_publish() {
    auto const& list = pick_list();
    auto const values = pick_values(*list.model);
    perform(
        [&] { list.real->bulk_publish(values, m_hub.now()); },
        [&] { return m_hub.model.bulk_publish(*list.model, values, m_hub.now()); });
}

void sequence::set_quality() {
    auto const& list = pick_list();
    auto const id = pick_id(*list.model);
    auto const quality = pick_quality();
    perform(
        [&] { list.real->set_quality(id, quality, m_hub.now()); },
        [&] {
            return m_hub.model.set_quality(*list.model, {id, quality}, m_hub.now());
        });
}

void sequence::bulk_set_quality() {
    auto const& list = pick_list();
    auto const chosen = pick_qualities(*list.model);
    perform(
        [&] { list.real->bulk_set_quality(chosen, m_hub.now()); },
        [&] { return m_hub.model.bulk_set_quality(*list.model, chosen, m_hub.now()); });
}

void sequence::write_into_list() {
    auto const& list = pick_list();
    auto const id = pick_id(*list.model);
    auto const value = pick_value(*list.model, id);
    perform(
        [&] { list.real->write_variable(id, value, m_hub.now()); },
        [&] {
            return m_hub.model.write_variable(*list.model, {id, value}, m_hub.now());
        });
}

void sequence::mark_all_pending() {
    auto const& list = pick_list();
    perform_surely(
        [&] { list.real->mark_all_variables_pending(); },
        [&] { hub_model::mark_all_variables_pending(*list.model); });
}

// -- the registry ---------------------------------------------------------------------------------

void sequence::reject_definitions() {
    perform_surely(
        [&] { m_hub.get_registry().reject(m_hub.get_provider_identifier()); },
        [&] { m_hub.model.reject_definitions(); });
}

void sequence::judge_normally() {
    perform_surely(
        [&] { m_hub.get_registry().judge_normally(); }, [&] { m_hub.model.judge_normally(); });
}

void sequence::withdraw_definition() {
    perform_surely(
        [&] { m_hub.get_registry().withdraw_definition(m_hub.get_provider_identifier()); },
        [&] { m_hub.model.withdraw_definition(); });
}

void sequence::forget_provider() {
    perform_surely(
        [&] { m_hub.get_registry().forget_provider(m_hub.get_provider_identifier()); },
        [&] { m_hub.model.forget_provider(); });
}

void sequence::restart_registry() {
    perform_surely([&] { m_hub.restart_registry(); }, [&] { m_hub.model.restart_registry(); });
}

// -- the consumer's application -------------------------------------------------------------------

void sequence::connect_consumer() {
    perform(
        [&] { m_hub.connect_consumer(right_secret); },
        [&] { return m_hub.model.connect_consumer(); });
}

void sequence::connect_consumer_with_wrong_secret() {
    perform(
        [&] { m_hub.connect_consumer(wrong_secret); },
        [&] { return m_hub.model.connect_consumer_with_wrong_secret(); });
}

void sequence::disconnect_consumer() {
    perform_surely(
        [&] { m_hub.get_consumer().disconnect(); }, [&] { m_hub.model.disconnect_consumer(); });
}

void sequence::replace_consumer() {
    auto const read_only = happens_once(4);
    note(read_only ? "read-only" : "read-write");
    perform_surely(
        [&] { m_hub.replace_consumer(read_only); },
        [&] { m_hub.model.replace_consumer(read_only); });
}

void sequence::attach() {
    perform([&] { m_hub.attach(); }, [&] { return m_hub.model.attach(); });
}

void sequence::set_local_value() {
    auto const& connection = *m_hub.model.get_connection();
    auto const chosen = std::next(
        connection.variables.begin(),
        static_cast<std::ptrdiff_t>(pick(connection.variables.size())));
    auto const id = chosen->first;
    auto const position = id - connection.variables.begin()->first;
    auto const value = value_for(happens_once(6) ? position + 1 : position, pick(1000));
    note("variable " + std::to_string(id));
    perform(
        [&] {
            auto const current = m_hub.get_connection().get_current_variables();
            current.variables->at(id)->set_value(value, m_hub.now());
        },
        [&] {
            return m_hub.model.set_local_value({id, value}, m_hub.now());
        });
}

void sequence::read_variables() {
    auto const fingerprint = pick_fingerprint();
    auto const ids = pick_known_ids();
    perform(
        [&] { m_hub.get_connection().read_variables(fingerprint, ids); },
        [&] { return m_hub.model.read_variables(fingerprint, ids); });
}

void sequence::update_all_variables() {
    perform(
        [&] { m_hub.get_connection().update_all_variables(); },
        [&] { return m_hub.model.update_all_variables(); });
}

void sequence::write_variables() {
    auto const fingerprint = pick_fingerprint();
    auto ids = pick_known_ids();
    if (happens_once(12)) {
        ids.push_back(0xffffffffU);
        note("an unknown variable");
    }
    perform(
        [&] { m_hub.get_connection().write_variables(fingerprint, ids); },
        [&] { return m_hub.model.write_variables(fingerprint, ids, m_hub.now()); });
}

void sequence::request_definition() {
    perform(
        [&] { m_hub.get_connection().request_provider_definition(); },
        [&] { return m_hub.model.request_provider_definition(); });
}

void sequence::disconnect_connection() {
    perform_surely(
        [&] { m_hub.get_connection().disconnect(); }, [&] { m_hub.model.disconnect_connection(); });
}

void sequence::fault_connection() {
    perform_surely(
        [&] { m_hub.get_connection().set_fault_state(); }, [&] { m_hub.model.fault_connection(); });
}

void sequence::fault_during_a_read() {
    auto was_too_late = false;
    perform(
        [&] {
            auto& connection = m_hub.get_connection();
            std::jthread const faulting{[&connection] {
                connection.set_fault_state();
            }};
            try {
                connection.update_all_variables();
            } catch (operational_state_invalid const&) {
                was_too_late = true;
                throw;
            }
        },
        [&] {
            auto read = was_too_late ? outcome{"operational_state_invalid", {}}
                                     : m_hub.model.update_all_variables();
            m_hub.model.fault_connection();
            return read;
        });
}

void sequence::publish_during_a_read() {
    auto const& list = m_hub.get_newest_list();
    auto const ids = published_ids();
    auto const id = ids[pick(ids.size())];
    auto const value = value_for(id - list.model->variables.begin()->first, pick(1000));
    note("variable " + std::to_string(id));
    perform_surely(
        [&] {
            auto publishing =
                std::async(std::launch::async, [&] { list.real->publish(id, value, m_hub.now()); });
            m_hub.get_connection().update_all_variables();
            publishing.get();
        },
        [&] {
            m_hub.model.publish_during_a_read(*list.model, {id, value}, m_hub.now());
        });
}

void sequence::receive_quality_alone() {
    auto const& variables = m_hub.model.get_consumer().attached->variables;
    auto const chosen =
        std::next(variables.begin(), static_cast<std::ptrdiff_t>(pick(variables.size())));
    auto const id = chosen->first;
    note("variable " + std::to_string(id));
    perform_surely(
        [&] { m_hub.send_uncertain_quality(id); },
        [&] {
            m_hub.model.receive_quality_alone({id, variable_quality::uncertain});
        });
}

// -- many sequences -------------------------------------------------------------------------------

void run_sequence(shared_hub& services, std::uint64_t seed, counts_by_step& counts) {
    sequence chosen{services, seed};
    try {
        chosen.run(counts);
    } catch (std::exception const& failure) {
        throw row_failure{
            "seed " + std::to_string(seed) + " (again: reliability 13 seed=" + std::to_string(seed)
            + ")" + chosen.get_story() + "\n" + failure.what()};
    }
}

// Runs sequences on several hubs at once, and ends with the first failure.
class sequence_runner {
public:
    explicit sequence_runner(std::uint64_t sequences)
        : m_sequences{sequences} {}

    void run(unsigned hubs) {
        {
            std::vector<std::jthread> threads;
            for (unsigned hub = 0; hub < hubs; ++hub) {
                threads.emplace_back([this] { work(); });
            }
        }
        demand(m_failure.empty(), m_failure);
    }

    [[nodiscard]] counts_by_step const& get_counts() const {
        return m_counts;
    }

private:
    std::uint64_t const m_sequences;
    std::atomic<std::uint64_t> m_last_seed{0};
    std::mutex m_mutex;
    counts_by_step m_counts;
    std::string m_failure;

    void work() {
        counts_by_step counts;
        try {
            while (m_last_seed < m_sequences) {
                run_on_one_hub(counts);
            }
        } catch (std::exception const& failure) {
            m_last_seed = m_sequences;
            std::scoped_lock const lock{m_mutex};
            m_failure = failure.what();
        }
        std::scoped_lock const lock{m_mutex};
        for (auto const& [step, count] : counts) {
            m_counts[step].succeeded += count.succeeded;
            m_counts[step].refused += count.refused;
        }
    }

    void run_on_one_hub(counts_by_step& counts) {
        shared_hub services;
        for (unsigned count = 0; count < sequences_per_hub; ++count) {
            auto const seed = ++m_last_seed;
            if (seed > m_sequences) {
                return;
            }
            run_sequence(services, seed, counts);
        }
    }
};

std::string describe(counts_by_step const& counts) {
    std::ostringstream text;
    for (auto const& [step, count] : counts) {
        text << "; " << step << ' ' << count.succeeded << '/' << count.refused;
    }
    return std::move(text).str();
}

} // namespace

std::string run_random_sequences(effort how_much) {
    auto const sequences = how_much == effort::full ? 2'000U : 40U;
    sequence_runner runner{sequences};
    runner.run(how_much == effort::full ? 8 : 4);
    return std::to_string(sequences) + " sequences of " + std::to_string(steps_per_sequence)
         + " steps; succeeded/refused" + describe(runner.get_counts());
}

std::string run_random_sequence(std::uint64_t seed) {
    shared_hub services;
    counts_by_step counts;
    run_sequence(services, seed, counts);
    return "the sequence of seed " + std::to_string(seed) + describe(counts);
}

} // namespace arvenhold::corvel::hub::reliability
