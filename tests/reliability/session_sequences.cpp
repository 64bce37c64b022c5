// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/child_process.hpp"
#include "reliability/modelled_sessions.hpp"
#include "reliability/row.hpp"
#include "reliability/world.hpp"

#include <algorithm>
#include <array>
#include <iostream>
#include <memory>
#include <random>
#include <span>
#include <sstream>
#include <thread>
#include <utility>

namespace arvenhold::corvel::hub::reliability {

std::string run_session_sequences(effort how_much);
std::string run_session_sequence(std::uint64_t seed);

namespace {

constexpr unsigned steps_per_sequence = 80;
constexpr std::size_t type_count = std::variant_size_v<variable_value>;

constexpr std::array<char const*, 6> paths{"a", "b", "group/a", "group/b", "group/c", "alone"};
constexpr std::array<char const*, 4> patterns{"**", "group/*", "a", "none/*"};

// Steps that the seed chooses. Equal seeds give equal steps, but not equal timing.
class session_sequence {
public:
    explicit session_sequence(std::uint64_t seed)
        : m_random{seed} {}

    void run() {
        replace_provider();
        replace_consumer();
        for (unsigned step = 0; step < steps_per_sequence; ++step) {
            auto const& chosen = draw_step();
            m_story += std::string{"\n"} + chosen.name;
            (this->*chosen.run)();
        }
        m_story += "\nthe end";
        settle();
    }

    [[nodiscard]] std::string const& get_story() const {
        return m_story;
    }

    [[nodiscard]] std::string get_counts() const {
        return std::to_string(m_succeeded) + ' ' + std::to_string(m_refused) + ' '
             + std::to_string(m_settled);
    }

private:
    struct step_kind {
        char const* name;
        unsigned weight;
        bool (session_sequence::*is_possible)() const; // null for always
        void (session_sequence::*run)();
    };

    static std::span<step_kind const> get_step_kinds();

    std::mt19937_64 m_random;
    modelled_sessions m_real;
    std::string m_story;
    bool m_is_settled = false; // nothing was begun that is not completed
    std::uint64_t m_succeeded = 0;
    std::uint64_t m_refused = 0;
    std::uint64_t m_settled = 0;

    std::uint64_t pick(std::uint64_t limit) {
        return m_random() % limit;
    }

    bool happens_once(std::uint64_t out_of) {
        return pick(out_of) == 0;
    }

    step_kind const& draw_step();
    void compare(session_outcome predicted, session_outcome actual);
    std::string pick_path();
    std::string pick_declared_path();
    variable_value pick_value_for(std::string const& path);
    variable_value pick_value();

    [[nodiscard]] bool has_new_provider() const;
    [[nodiscard]] bool has_ended_provider() const;
    [[nodiscard]] bool has_new_consumer() const;
    [[nodiscard]] bool has_ended_consumer() const;
    [[nodiscard]] bool may_settle() const;
    [[nodiscard]] bool has_variables() const;
    [[nodiscard]] bool may_write() const;
    [[nodiscard]] bool has_request() const;

    void replace_provider();
    void declare();
    void keep_changes();
    void set_common_handler();
    void start_provider();
    void stop_provider();
    void set();
    void set_quality();
    void update();
    void update_that_throws();
    void get();
    void answer();
    void replace_consumer();
    void follow();
    void follow_all();
    void start_consumer();
    void stop_consumer();
    void write();
    void write_and_confirm();
    void dispatch();
    void toggle_server();
    void toggle_tokens();
    void toggle_registry();
    void restart_registry();
    void settle();
};

std::span<session_sequence::step_kind const> session_sequence::get_step_kinds() {
    using s = session_sequence;
    static constexpr std::array kinds{
        step_kind{"another provider session", 20, &s::has_ended_provider, &s::replace_provider},
        step_kind{"another provider session at any time", 1, nullptr, &s::replace_provider},
        step_kind{"declare", 8, &s::has_new_provider, &s::declare},
        step_kind{"declare at any time", 1, nullptr, &s::declare},
        step_kind{"keep changes", 2, &s::has_variables, &s::keep_changes},
        step_kind{"set the common handler", 1, nullptr, &s::set_common_handler},
        step_kind{"start the provider", 15, &s::has_new_provider, &s::start_provider},
        step_kind{"start the provider at any time", 1, nullptr, &s::start_provider},
        step_kind{"stop the provider", 1, nullptr, &s::stop_provider},
        step_kind{"set", 10, &s::has_variables, &s::set},
        step_kind{"set a quality", 4, &s::has_variables, &s::set_quality},
        step_kind{"update", 6, &s::has_variables, &s::update},
        step_kind{"update that throws", 2, &s::has_variables, &s::update_that_throws},
        step_kind{"get", 2, nullptr, &s::get},
        step_kind{"answer a request", 15, &s::has_request, &s::answer},
        step_kind{"another consumer session", 20, &s::has_ended_consumer, &s::replace_consumer},
        step_kind{"another consumer session at any time", 1, nullptr, &s::replace_consumer},
        step_kind{"follow", 2, nullptr, &s::follow},
        step_kind{"follow all", 2, nullptr, &s::follow_all},
        step_kind{"start the consumer", 15, &s::has_new_consumer, &s::start_consumer},
        step_kind{"start the consumer at any time", 1, nullptr, &s::start_consumer},
        step_kind{"stop the consumer", 1, nullptr, &s::stop_consumer},
        step_kind{"write", 15, &s::may_write, &s::write},
        step_kind{"write and confirm", 15, &s::may_write, &s::write_and_confirm},
        step_kind{"dispatch", 3, nullptr, &s::dispatch},
        step_kind{"the server ends or returns", 2, nullptr, &s::toggle_server},
        step_kind{"tokens are refused or given", 1, nullptr, &s::toggle_tokens},
        step_kind{"the registry hangs or answers", 1, nullptr, &s::toggle_registry},
        step_kind{"the registry restarts", 1, nullptr, &s::restart_registry},
        step_kind{"everything settles", 15, &s::may_settle, &s::settle}};
    return kinds;
}

session_sequence::step_kind const& session_sequence::draw_step() {
    auto const kinds = get_step_kinds();
    for (;;) {
        auto const& drawn = kinds[pick(kinds.size())];
        auto const is_possible = drawn.is_possible == nullptr || (this->*drawn.is_possible)();
        if (is_possible && pick(20) < drawn.weight) {
            return drawn;
        }
    }
}

void session_sequence::compare(session_outcome predicted, session_outcome actual) {
    ++(actual == session_outcome::succeeds ? m_succeeded : m_refused);
    demand(
        predicted == actual,
        "ended with " + std::to_string(static_cast<int>(actual)) + " instead of "
            + std::to_string(static_cast<int>(predicted)));
}

// -- choosing -------------------------------------------------------------------------------------

std::string session_sequence::pick_path() {
    std::string path{paths.at(pick(paths.size()))};
    m_story += ' ' + path;
    return path;
}

std::string session_sequence::pick_declared_path() {
    auto const& variables = m_real.get_provider_model().variables;
    auto const chosen =
        std::next(variables.begin(), static_cast<std::ptrdiff_t>(pick(variables.size())));
    m_story += ' ' + chosen->first;
    return chosen->first;
}

// Rarely one of another type.
variable_value session_sequence::pick_value_for(std::string const& path) {
    auto const& variables = m_real.get_provider_model().variables;
    auto const found = variables.find(path);
    if (found == variables.end() || happens_once(12)) {
        return pick_value();
    }
    return value_for(found->second.held.value.index(), pick(1000));
}

variable_value session_sequence::pick_value() {
    auto const type = pick(type_count);
    return value_for(type, pick(1000));
}

// -- what is possible -----------------------------------------------------------------------------

bool session_sequence::has_new_provider() const {
    return m_real.get_provider_model().stage == session_stage::created;
}

bool session_sequence::has_ended_provider() const {
    return m_real.get_provider_model().stage == session_stage::stopped;
}

bool session_sequence::has_new_consumer() const {
    return m_real.get_consumer_model().stage == session_stage::created;
}

bool session_sequence::has_ended_consumer() const {
    return m_real.get_consumer_model().stage == session_stage::stopped;
}

// Otherwise there is nothing that was begun.
bool session_sequence::may_settle() const {
    return !m_is_settled && !has_new_provider() && !has_new_consumer();
}

bool session_sequence::has_variables() const {
    return !m_real.get_provider_model().variables.empty();
}

// Otherwise the outcome depends on how far a repair has come; without a live value nothing shows
// which provider session the consumer session is attached to.
bool session_sequence::may_write() const {
    if (m_real.get_consumer_model().stage != session_stage::started) {
        return true;
    }
    auto const is_provided = m_real.get_provider_model().stage == session_stage::started;
    return m_is_settled && (!is_provided || m_real.has_live_reading());
}

bool session_sequence::has_request() const {
    return m_real.has_request();
}

// -- the provider session -------------------------------------------------------------------------

void session_sequence::replace_provider() {
    m_is_settled = false;
    m_real.replace_provider(happens_once(3));
    for (auto count = 1 + pick(4); count != 0; --count) {
        declare();
    }
}

void session_sequence::declare() {
    auto const path = pick_path();
    auto const value = pick_value();
    auto const answer = static_cast<write_answer>(pick(6));
    auto const permissions = answer == write_answer::none || happens_once(8)
                               ? variable_permissions::read_only
                               : variable_permissions::read_write;
    auto const chosen = happens_once(6) ? variable_permissions::read_write : permissions;
    auto const predicted =
        m_real.get_provider_model().declare(path, chosen, answer != write_answer::none);
    compare(predicted, m_real.declare(path, value, chosen, answer));
}

void session_sequence::keep_changes() {
    auto const limit = pick(4);
    auto const predicted = m_real.get_provider_model().keep_changes(limit);
    compare(predicted, m_real.keep_changes(pick_declared_path(), limit));
}

void session_sequence::set_common_handler() {
    auto const predicted = m_real.get_provider_model().keep_changes(1); // refused at the same times
    compare(predicted, m_real.set_common_handler());
}

void session_sequence::start_provider() {
    m_is_settled = false;
    auto const predicted = m_real.get_provider_model().start();
    compare(predicted, m_real.start_provider());
}

void session_sequence::stop_provider() {
    m_is_settled = false;
    m_real.stop_provider();
}

void session_sequence::set() {
    auto const path = pick_declared_path();
    auto const value = pick_value_for(path);
    auto const predicted = m_real.get_provider_model().set(path, value);
    compare(predicted, m_real.set(path, value, pick(5)));
}

void session_sequence::set_quality() {
    m_real.set_quality(pick_declared_path(), pick(5));
}

void session_sequence::update() {
    std::map<std::string, variable_value> values;
    auto predicted = session_outcome::succeeds;
    for (auto count = 1 + pick(4); count != 0; --count) {
        auto const path = pick_declared_path();
        auto const value = pick_value_for(path);
        values[path] = value;
    }
    for (auto const& [path, value] : values) {
        if (m_real.get_provider_model().set(path, value) != session_outcome::succeeds) {
            predicted = session_outcome::has_bad_argument;
        }
    }
    compare(predicted, m_real.update(values, pick(5), predicted == session_outcome::succeeds));
}

void session_sequence::update_that_throws() {
    m_real.update_that_throws(pick_declared_path());
}

void session_sequence::get() {
    m_real.demand_same_values();
}

void session_sequence::answer() {
    m_real.answer_request(pick(4));
}

// -- the consumer session -------------------------------------------------------------------------

void session_sequence::replace_consumer() {
    m_is_settled = false;
    m_real.replace_consumer(happens_once(3), happens_once(6));
}

void session_sequence::follow() {
    m_is_settled = false;
    auto const path = pick_path();
    auto const& variables = m_real.get_provider_model().variables;
    auto const found = variables.find(path);
    auto const type = found == variables.end() || happens_once(4)
                        ? pick(type_count)
                        : found->second.held.value.index();
    m_real.follow(path, type);
}

void session_sequence::follow_all() {
    m_is_settled = false;
    std::string const pattern{patterns.at(pick(patterns.size()))};
    m_story += ' ' + pattern;
    m_real.follow_all(pattern, happens_once(2));
}

void session_sequence::start_consumer() {
    m_is_settled = false;
    auto const predicted = m_real.get_consumer_model().start();
    compare(predicted, m_real.start_consumer());
}

void session_sequence::stop_consumer() {
    m_is_settled = false;
    m_real.stop_consumer();
}

void session_sequence::write() {
    auto const path = pick_path();
    auto const value = pick_value_for(path);
    auto const predicted =
        m_real.get_consumer_model().write(m_real.get_provider_model(), path, value);
    compare(predicted, m_real.write(path, value, predicted == session_outcome::succeeds));
}

void session_sequence::write_and_confirm() {
    auto const path = pick_path();
    auto const value = pick_value_for(path);
    auto const predicted =
        m_real.get_consumer_model().write(m_real.get_provider_model(), path, value);
    compare(
        predicted, m_real.write_and_confirm(path, value, predicted == session_outcome::succeeds));
}

void session_sequence::dispatch() {
    m_real.dispatch();
}

// -- causes ---------------------------------------------------------------------------------------

void session_sequence::toggle_server() {
    m_is_settled = false;
    m_real.toggle_server();
}

void session_sequence::toggle_tokens() {
    m_is_settled = false;
    m_real.toggle_tokens();
}

void session_sequence::toggle_registry() {
    m_is_settled = false;
    m_real.toggle_registry();
}

void session_sequence::restart_registry() {
    m_is_settled = false;
    m_real.restart_registry();
}

void session_sequence::settle() {
    m_real.end_causes();
    m_real.demand_settled();
    m_is_settled = true;
    ++m_settled;
}

// -- the row --------------------------------------------------------------------------------------

struct sequence_counts {
    std::uint64_t succeeded = 0;
    std::uint64_t refused = 0;
    std::uint64_t settled = 0;
};

// A sequence in a process of its own, which does not share the pace of its connects with others.
class running_sequence {
public:
    explicit running_sequence(std::uint64_t seed)
        : m_seed{seed}
        , m_process{"/proc/self/exe", {"25", "seed=" + std::to_string(seed)}} {}

    void add_to(sequence_counts& all) {
        auto const ended = m_process.wait_until_ended(std::chrono::minutes{15});
        auto const output = m_process.get_output();
        demand(
            ended && m_process.get_exit_code() == 0,
            "seed " + std::to_string(m_seed) + ": " + output);
        std::istringstream counts{output.substr(output.rfind("counts: ") + 8)};
        sequence_counts own;
        counts >> own.succeeded >> own.refused >> own.settled;
        all.succeeded += own.succeeded;
        all.refused += own.refused;
        all.settled += own.settled;
    }

private:
    std::uint64_t const m_seed;
    dev::child_process m_process;
};

} // namespace

std::string run_session_sequence(std::uint64_t seed) {
    session_sequence sequence{seed};
    try {
        sequence.run();
    } catch (std::exception const& failure) {
        throw row_failure{
            "seed " + std::to_string(seed) + ": " + failure.what() + ", after"
            + sequence.get_story()};
    }
    return "counts: " + sequence.get_counts();
}

std::string run_session_sequences(effort how_much) {
    auto const rounds = how_much == effort::full ? 16U : 1U;
    auto const side_by_side = how_much == effort::full ? 6U : 1U;
    std::uint64_t const first_seed = std::random_device{}();
    sequence_counts all;
    for (unsigned round = 0; round < rounds; ++round) {
        std::vector<std::unique_ptr<running_sequence>> running;
        for (unsigned one = 0; one < side_by_side; ++one) {
            running.push_back(
                std::make_unique<running_sequence>(first_seed + round * side_by_side + one));
        }
        for (auto const& each : running) {
            each->add_to(all);
        }
        std::cerr << "round " << round + 1 << " of " << rounds << " has ended" << std::endl;
    }
    std::ostringstream figures;
    figures << rounds * side_by_side << " sequences of " << steps_per_sequence
            << " steps; seeds from " << first_seed << " on; " << all.succeeded
            << " operations that may be refused succeeded and " << all.refused
            << " were refused; everything was compared " << all.settled << " times";
    return figures.str();
}

} // namespace arvenhold::corvel::hub::reliability
