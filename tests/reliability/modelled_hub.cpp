// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "reliability/modelled_hub.hpp"

#include "reliability/row.hpp"
#include "reliability/world.hpp"
#include "support/await.hpp"
#include "support/odd_messages.hpp"

#include <cxxabi.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>
#include <typeinfo>
#include <utility>

namespace arvenhold::corvel::hub::reliability {

namespace {

using dev::event_kind;
using std::chrono::milliseconds;

// Long enough for a provider that has sent its definition to wait for the verdict.
constexpr milliseconds verdict_delay{10};

// Long enough for a provider to announce itself to a registry that has restarted.
constexpr milliseconds probe_interval{100};

constexpr std::uint32_t unused_id = std::numeric_limits<std::uint32_t>::max();

timestamp first_time() {
    return timestamp{std::chrono::nanoseconds{1'700'000'000'123'456'789}};
}

dev::dev_hub_options options() {
    dev::dev_hub_options chosen;
    chosen.registry.verdict_delay = verdict_delay;
    chosen.registry.probe_interval = probe_interval;
    return chosen;
}

std::string class_name(std::exception const& error) {
    int status = 0;
    std::unique_ptr<char, decltype(&std::free)> const name{
        abi::__cxa_demangle(typeid(error).name(), nullptr, nullptr, &status), &std::free};
    std::string const whole{name ? name.get() : typeid(error).name()};
    return whole.substr(whole.rfind(':') + 1);
}

outcome observe(std::function<void()> const& operation) {
    try {
        operation();
        return {};
    } catch (std::exception const& error) {
        return {class_name(error), error.what()};
    }
}

std::string describe(outcome const& ended) {
    return ended.succeeded() ? "success" : ended.error + " \"" + ended.text + '"';
}

struct value_writer {
    std::ostream& os;

    void operator()(timestamp value) const {
        os << value.time_since_epoch().count();
    }
    void operator()(std::chrono::nanoseconds value) const {
        os << value.count();
    }
    template <class Value>
    void operator()(Value const& value) const {
        os << value;
    }
};

std::string describe(variable_model const& variable) {
    std::ostringstream text;
    text << "value ";
    if (variable.value) {
        std::visit(value_writer{text}, *variable.value);
    }
    text << ", quality " << static_cast<unsigned>(variable.quality) << ", time ";
    if (variable.when) {
        text << variable.when->time_since_epoch().count();
    }
    return std::move(text).str();
}

bool fits(variable_model const& predicted, variable_model const& actual) {
    return (!predicted.value || predicted.value == actual.value)
        && predicted.quality == actual.quality
        && (!predicted.when || predicted.when == actual.when);
}

template <class Variable>
variable_model state_of(Variable& variable) {
    auto const [value, when] = variable.get_value_with_timestamp();
    return {value, variable.get_quality(), when};
}

// Empty when all variables fit.
template <class Map>
std::string find_difference(variable_models const& predicted, Map const& actual) {
    if (predicted.size() != actual.size()) {
        return std::to_string(actual.size()) + " variables instead of "
             + std::to_string(predicted.size());
    }
    for (auto const& [id, variable] : actual) {
        auto const found = predicted.find(id);
        if (found == predicted.end()) {
            return "unexpected variable " + std::to_string(id);
        }
        auto const state = state_of(*variable);
        if (!fits(found->second, state)) {
            return "variable " + std::to_string(id) + ": " + describe(state) + " instead of "
                 + describe(found->second);
        }
    }
    return {};
}

std::string find_difference(held_list const& list) {
    if (!list.real) {
        return {};
    }
    auto difference = find_difference(list.model->variables, list.real->get_variables());
    std::scoped_lock const lock{*list.real};
    auto const& pending = *list.real->get_modification_tracker();
    if (difference.empty()
        && std::set<variable_id>{pending.begin(), pending.end()} != list.model->pending) {
        difference = std::to_string(pending.size()) + " pending variables instead of "
                   + std::to_string(list.model->pending.size());
    }
    return difference.empty()
             ? difference
             : "list of " + std::to_string(list.model->fingerprint) + ": " + difference;
}

variable_permissions permissions_at(std::size_t position) {
    return position % 3 == 1 ? variable_permissions::read_only : variable_permissions::read_write;
}

bool is_idle(std::filesystem::path const& thread) {
    std::ifstream file{thread / "stat"};
    std::string line;
    std::getline(file, line);
    // The state follows the name, which may contain anything, in brackets.
    auto const end_of_name = line.rfind(')');
    return end_of_name == std::string::npos || line.substr(end_of_name + 2, 1) == "S";
}

// A thread of the NATS client that has a message to handle is not idle before it has handled it.
void wait_until_threads_are_idle() {
    std::set<std::filesystem::path> busy;
    for (auto const& thread : std::filesystem::directory_iterator{"/proc/self/task"}) {
        if (thread.path().filename() != std::to_string(gettid())) {
            busy.insert(thread.path());
        }
    }
    demand(
        await([&] {
            std::erase_if(busy, is_idle);
            return busy.empty();
        }),
        "a thread never becomes idle");
}

std::shared_ptr<list_model> model_of(
    variable_list const& list, definition_fingerprint fingerprint, std::uint64_t values) {
    auto model = std::make_shared<list_model>();
    model->fingerprint = fingerprint;
    std::size_t position = 0;
    for (auto const& [id, variable] : list.get_variables()) {
        model->variables[id] = {
            value_for(position, values),
            variable_quality::good,
            variable->get_last_publish_timestamp()};
        model->pending.insert(id);
        if (permissions_at(position) == variable_permissions::read_only) {
            model->read_only.insert(id);
        }
        ++position;
    }
    return model;
}

} // namespace

shared_hub::shared_hub()
    : hub{options()}
    , peer{hub.get_nats_server().get_url(), hub.get_nats_server().get_token()} {}

modelled_hub::modelled_hub(shared_hub& services, std::uint64_t number)
    : model{"provider-" + std::to_string(number), "consumer-" + std::to_string(number)}
    , m_services{services}
    , m_provider_identifier{"provider-" + std::to_string(number)}
    , m_consumer_name{"consumer-" + std::to_string(number)} {
    m_witness.now = first_time();
    create_provider();
    create_consumer(false);
    flush_registry(); // of what the sequence before has caused
}

modelled_hub::~modelled_hub() {
    m_consumer.reset();
    m_provider.reset();
    auto& registry = get_registry();
    registry.judge_normally();
    static_cast<void>(registry.wait_until_provider_gone(m_provider_identifier, patience));
    registry.forget_provider(m_provider_identifier);
}

// -- operations -----------------------------------------------------------------------------------

outcome modelled_hub::perform(
    std::function<void()> const& operation, std::function<outcome()> const& prediction) {
    m_witness.now = now() + milliseconds{1};
    std::size_t const updates_before = m_witness.definition_updates;
    auto const predicted_before = model.get_counts().definition_updates;
    auto actual = observe(operation);
    auto const predicted = prediction();
    demand(
        actual.error == predicted.error
            && (predicted.text.empty() || actual.text == predicted.text),
        "ended with " + describe(actual) + " instead of " + describe(predicted));
    settle(updates_before, model.get_counts().definition_updates - predicted_before);
    return actual;
}

timestamp modelled_hub::now() const {
    return m_witness.now;
}

void modelled_hub::create_provider() {
    m_provider.emplace(m_provider_identifier);
    m_provider->set_variables_written_callback(&on_written, &m_witness);
}

void modelled_hub::create_consumer(bool read_only) {
    auto const on_providers = [](std::shared_ptr<std::set<std::string>> /*identifiers*/,
                                 consumer& /*receiver*/,
                                 void* user_data) {
        ++static_cast<witness*>(user_data)->lists;
    };
    m_consumer.emplace(m_consumer_name, read_only, on_providers, &m_witness);
}

void modelled_hub::on_written(
    definition_fingerprint /*fingerprint*/,
    variable_write_command const& command,
    provider& receiver,
    void* user_data) {
    auto& seen = *static_cast<witness*>(user_data);
    timestamp const when = seen.now;
    auto const list = receiver.get_variable_list();
    observe([&] {
        for (auto const& [id, value] : command.entries) {
            list->write_variable(id, value, when);
        }
    });
    observe([&] { receiver.publish(when); });
    ++seen.commands;
}

void modelled_hub::connect_provider(std::string const& secret) {
    m_provider->connect(
        m_services.hub.get_nats_server().get_url(),
        m_services.hub.get_token_endpoint().get_url(),
        "developer",
        secret);
}

void modelled_hub::replace_provider() {
    m_provider.reset();
    create_provider();
}

std::shared_ptr<list_model> modelled_hub::register_definition(
    definition_fingerprint fingerprint, std::size_t variables, std::uint64_t values) {
    provider_definition definition{fingerprint};
    for (std::size_t position = 0; position < variables; ++position) {
        definition.add_variable_definition(
            "v" + std::to_string(position), value_for(position, values), permissions_at(position));
    }
    definition.finalize();
    auto const keep = [&] {
        m_older = std::exchange(m_newest, {});
        m_newest.real = m_provider->get_variable_list();
        m_newest.model = model_of(*m_newest.real, fingerprint, values);
    };
    try {
        m_provider->register_provider_definition(definition);
    } catch (...) {
        keep(); // rejected, but there
        throw;
    }
    keep();
    return m_newest.model;
}

void modelled_hub::restart_registry() {
    m_list_due_after = count_published_lists();
    get_registry().restart();
}

void modelled_hub::connect_consumer(std::string const& secret) {
    if (!m_consumer->is_connected()) {
        m_lists_published_before = count_published_lists();
        m_witness.lists = 0;
    }
    m_consumer->connect(
        m_services.hub.get_nats_server().get_url(),
        m_services.hub.get_token_endpoint().get_url(),
        "developer",
        secret);
}

void modelled_hub::replace_consumer(bool read_only) {
    m_consumer.reset();
    create_consumer(read_only);
}

void modelled_hub::attach() {
    m_connection = m_consumer->attach_to_provider(m_provider_identifier);
    m_connection->set_event_callback(
        [](provider_connection_event event, provider_connection& /*connection*/, void* user_data) {
            if (event == provider_connection_event::definition_updated) {
                ++static_cast<witness*>(user_data)->definition_updates;
            }
        },
        &m_witness);
    m_connection->set_variables_changed_callback(
        [](definition_fingerprint /*fingerprint*/,
           std::vector<variable_id> changed,
           provider_connection& /*connection*/,
           void* user_data) {
            if (changed.empty()) {
                ++static_cast<witness*>(user_data)->empty_changes;
            }
        },
        &m_witness);
}

void modelled_hub::send_uncertain_quality(variable_id id) {
    wire::variable_list_table changes;
    changes.fingerprint = model.get_consumer().attached->fingerprint;
    changes.items = {{.id = id, .quality = static_cast<std::uint8_t>(variable_quality::uncertain)}};
    send_change_event(changes);
}

dev::registry& modelled_hub::get_registry() {
    return m_services.hub.get_registry();
}

std::string const& modelled_hub::get_provider_identifier() const {
    return m_provider_identifier;
}

provider& modelled_hub::get_provider() {
    return *m_provider;
}

consumer& modelled_hub::get_consumer() {
    return *m_consumer;
}

provider_connection& modelled_hub::get_connection() {
    return *m_connection;
}

held_list const& modelled_hub::get_newest_list() const {
    return m_newest;
}

held_list const& modelled_hub::get_older_list() const {
    return m_older;
}

// -- becoming quiet -------------------------------------------------------------------------------

std::size_t modelled_hub::count_published_lists() const {
    return m_services.hub.get_log().get_count(event_kind::providers_published);
}

// From the source of the messages to their last receiver.
void modelled_hub::settle(std::size_t updates_before, std::size_t certain_updates) {
    settle_registry();
    settle_provider();
    if (model.get_consumer().is_connected) {
        auto const expected = count_published_lists() - m_lists_published_before;
        demand(
            await([&] { return m_witness.lists == expected; }),
            "the consumer's application was not notified of every list of providers");
    }
    demand(await([&] { return find_difference().empty(); }), find_difference());
    settle_change_events();
    if (model.take_uncertainty()) {
        repeat_definition_event();
    } else {
        demand(
            await([&] { return m_witness.definition_updates >= updates_before + certain_updates; }),
            "the consumer's application was not notified of a definition");
    }
    wait_until_threads_are_idle();
    auto const difference = find_difference();
    demand(difference.empty(), difference);
}

// Afterwards everything that the registry has sent has reached the server.
void modelled_hub::flush_registry() {
    auto const answer = m_services.peer.request(
        "v1.loc.registry.providers.qry.read", wire::read_providers_query_response({}));
    demand(answer.status == NATS_OK, "the registry does not answer");
}

void modelled_hub::settle_registry() {
    auto const& log = m_services.hub.get_log();
    auto const& expected = model.get_registry();
    demand(
        await([&] {
            return log.get_count(event_kind::definition_accepted, m_provider_identifier)
                     + log.get_count(event_kind::definition_rejected, m_provider_identifier)
                == expected.definitions_received;
        }),
        "the provider has not published its definition as often as it should");
    demand(
        await([&] {
            return get_registry().get_providers().contains(m_provider_identifier)
                == expected.lists_provider;
        }),
        std::string{"the provider is "} + (expected.lists_provider ? "not" : "still") + " listed");
    if (auto const before = std::exchange(m_list_due_after, std::nullopt)) {
        demand(
            await([&] { return count_published_lists() > *before; }),
            "the registry has not published its list after a restart");
    }
    flush_registry();
}

// Afterwards everything that the provider has sent has reached the server.
void modelled_hub::settle_provider() {
    auto const& expected = model.get_provider();
    demand(
        await([&] { return m_witness.commands == model.get_counts().commands; }),
        "the provider has not received every write command");
    if (!expected.is_connected || !expected.list) {
        return;
    }
    auto const answer = m_services.peer.request(
        "v1.loc." + m_provider_identifier + ".vars.qry.read",
        wire::read_variables_query({{unused_id}}));
    demand(answer.status == NATS_OK, "the provider does not answer");
}

void modelled_hub::repeat_definition_event() {
    auto const& connection = model.get_consumer().attached;
    if (!connection || connection->state != provider_connection_state::connected
        || connection->fingerprint == 0) {
        return;
    }
    wire::provider_definition_table repeated;
    repeated.fingerprint = connection->fingerprint;
    repeated.variable_definitions.emplace();
    repeated.valid = std::uint8_t{1};
    std::size_t const before = m_witness.definition_updates;
    m_services.peer.publish(
        "v1.loc.registry.providers." + m_provider_identifier + ".def.evt.changed",
        wire::provider_definition_changed_event(repeated));
    model.repeat_definition_event();
    demand(
        await([&] { return m_witness.definition_updates > before; }),
        "the consumer's application was not notified of a repeated definition");
}

void modelled_hub::send_change_event(wire::variable_list_table const& changes) {
    m_services.peer.publish(
        "v1.loc." + m_provider_identifier + ".vars.evt.changed",
        wire::variables_changed_event(changes));
}

void modelled_hub::settle_change_events() {
    auto const& connection = model.get_consumer().attached;
    if (connection && connection->is_live() && connection->fingerprint != 0) {
        wire::variable_list_table nothing;
        nothing.fingerprint = connection->fingerprint;
        nothing.timestamp.emplace();
        nothing.items.emplace();
        send_change_event(nothing);
        ++m_own_changes;
    }
    demand(
        await([&] {
            return m_witness.empty_changes == model.get_counts().empty_changes + m_own_changes;
        }),
        "the consumer's application was not notified of every change event");
}

// -- comparing ------------------------------------------------------------------------------------

std::string modelled_hub::find_difference() {
    for (auto const find :
         {&modelled_hub::find_difference_of_provider,
          &modelled_hub::find_difference_of_consumer,
          &modelled_hub::find_difference_of_connection}) {
        if (auto difference = (this->*find)(); !difference.empty()) {
            return difference;
        }
    }
    return {};
}

std::string modelled_hub::find_difference_of_provider() {
    auto const& expected = model.get_provider();
    if (m_provider->is_connected() != expected.is_connected) {
        return std::string{"provider::is_connected() is not "}
             + (expected.is_connected ? "true" : "false");
    }
    definition_fingerprint fingerprint = 0;
    observe([&] { fingerprint = m_provider->get_fingerprint(); });
    if (fingerprint != (expected.is_registered ? expected.list->fingerprint : 0)) {
        return "provider::get_fingerprint() returns " + std::to_string(fingerprint);
    }
    std::shared_ptr<variable_list> list;
    observe([&] { list = m_provider->get_variable_list(); });
    if (list != (expected.list ? m_newest.real : nullptr)) {
        return "provider::get_variable_list() returns another list";
    }
    auto difference = reliability::find_difference(m_newest);
    return difference.empty() ? reliability::find_difference(m_older) : difference;
}

std::string modelled_hub::find_difference_of_consumer() {
    auto const& expected = model.get_consumer();
    if (m_consumer->is_connected() != expected.is_connected) {
        return std::string{"consumer::is_connected() is not "}
             + (expected.is_connected ? "true" : "false");
    }
    auto const identifiers = m_consumer->get_provider_identifiers();
    if ((identifiers != nullptr) != expected.sees_provider.has_value()) {
        return "consumer::get_provider_identifiers() returns "
             + std::string{identifiers ? "a list" : "no list"};
    }
    if (identifiers
        && *identifiers
               != (*expected.sees_provider ? std::set{m_provider_identifier}
                                           : std::set<std::string>{})) {
        return "consumer::get_provider_identifiers() returns " + std::to_string(identifiers->size())
             + " providers";
    }
    return {};
}

std::string modelled_hub::find_difference_of_connection() {
    if (!m_connection) {
        return {};
    }
    auto const& expected = *model.get_connection();
    if (auto const state = m_connection->get_state(); state != expected.state) {
        return "the connection's state is " + std::to_string(static_cast<unsigned>(state))
             + " instead of " + std::to_string(static_cast<unsigned>(expected.state));
    }
    auto const current = m_connection->get_current_variables();
    if (current.fingerprint != expected.fingerprint) {
        return "the connection's fingerprint is " + std::to_string(current.fingerprint)
             + " instead of " + std::to_string(expected.fingerprint);
    }
    if ((current.variables == nullptr)
        != (expected.state == provider_connection_state::disconnected)) {
        return "the connection has " + std::string{current.variables ? "its" : "no"} + " variables";
    }
    auto difference = current.variables
                        ? reliability::find_difference(expected.variables, *current.variables)
                        : std::string{};
    return difference.empty() ? difference : "consumer: " + difference;
}

} // namespace arvenhold::corvel::hub::reliability
