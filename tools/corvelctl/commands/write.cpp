// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/command_line.hpp"
#include "corvelctl/commands.hpp"
#include "corvelctl/failures.hpp"
#include "corvelctl/hub_client.hpp"
#include "corvelctl/path_selection.hpp"
#include "corvelctl/table.hpp"
#include "corvelctl/user_files.hpp"
#include "corvelctl/value_text.hpp"
#include "corvelctl/variable_text.hpp"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <sstream>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

namespace {

using variable_pointer = std::shared_ptr<consumer_variable>;

constexpr std::chrono::milliseconds time_to_read{500}; // what the provider holds in the end

struct write_options {
    std::string provider;
    std::vector<std::string> assignments;
    std::string file;
    std::chrono::milliseconds within{2000};
    bool no_confirm = false;
    bool dry_run = false;
};

/// A write that was checked and may be sent.
struct planned_write {
    variable_pointer variable;
    variable_value before;
    variable_value wanted;
    variable_value held; ///< What the provider has published since; `before` until then.
    bool confirmed = false;
};

using plan = std::vector<planned_write>;

// -- planning -------------------------------------------------------------------------------------

failure make_read_only(std::string const& path, std::string const& provider) {
    return {
        exit_code::refused_locally,
        "variable \"" + path + "\" is read-only",
        "see which ones are writable: corvelctl browse " + provider};
}

void add_write(tool& with, plan& planned, variable_pointer const& variable, parsed_value parsed) {
    if (!parsed.warning.empty()) {
        with.out.warn(variable->get_path() + ": " + parsed.warning);
    }
    auto const before = std::get<0>(variable->get_value_with_timestamp());
    auto const same = std::find_if(planned.begin(), planned.end(), [&](auto const& other) {
        return other.variable == variable;
    });
    if (same != planned.end()) {
        throw failure{exit_code::usage, "variable \"" + variable->get_path() + "\" is given twice"};
    }
    planned.push_back({variable, before, std::move(parsed.value), before});
}

variable_value value_of(consumer_variable& variable) {
    return std::get<0>(variable.get_value_with_timestamp());
}

void plan_assignment(
    tool& with,
    plan& planned,
    current_variables const& all,
    std::string const& assignment,
    std::string const& provider) {
    auto const equals = assignment.find('=');
    if (equals == std::string::npos) {
        throw failure{
            exit_code::usage,
            '"' + assignment + "\" is no assignment",
            "write PATH=VALUE: corvelctl write " + provider + " set_point=150"};
    }
    auto const variable = require_variable(all, assignment.substr(0, equals), provider);
    if (variable->get_permissions() == variable_permissions::read_only) {
        throw make_read_only(variable->get_path(), provider);
    }
    try {
        auto const text = assignment.substr(equals + 1);
        add_write(with, planned, variable, parse_value(text, value_of(*variable)));
    } catch (failure const& refused) {
        throw failure{
            refused.get_code(), variable->get_path() + ": " + refused.what(), refused.get_cure()};
    }
}

// What the lines of a file contribute besides writes.
struct skipped_lines {
    std::size_t read_only = 0;
    std::size_t of_others = 0;
};

// A line of what `read -j` prints. Other kinds of objects are nothing to write.
void plan_object(
    tool& with,
    plan& planned,
    skipped_lines& skipped,
    current_variables const& all,
    nlohmann::json const& object,
    std::string const& provider) {
    if (object.value("type", "") != "value") {
        return;
    }
    if (object.value("provider", provider) != provider) {
        ++skipped.of_others;
        return;
    }
    auto const variable = require_variable(all, object.at("path").get<std::string>(), provider);
    if (variable->get_permissions() == variable_permissions::read_only) {
        ++skipped.read_only;
        return;
    }
    add_write(with, planned, variable, parse_object(object, value_of(*variable)));
}

void plan_file(
    tool& with, plan& planned, current_variables const& all, write_options const& given) {
    std::istringstream lines{read_named_file(
        given.file, "give saved values; save some: corvelctl read PROVIDER -j > saved.jsonl")};
    skipped_lines skipped;
    std::size_t number = 0;
    for (std::string line; std::getline(lines, line);) {
        auto const place = given.file + ':' + std::to_string(++number) + ": ";
        try {
            plan_object(with, planned, skipped, all, nlohmann::json::parse(line), given.provider);
        } catch (nlohmann::json::exception const&) {
            throw failure{
                exit_code::usage,
                place + "this is no line that read --json has written",
                "write such a file: corvelctl read " + given.provider + " -j > saved.jsonl"};
        } catch (failure const& refused) {
            throw failure{refused.get_code(), place + refused.what(), refused.get_cure()};
        }
    }
    if (skipped.read_only > 0) {
        with.out.note("left out: " + make_count_text(skipped.read_only, "read-only variable"));
    }
    if (skipped.of_others > 0) {
        with.out.note(
            "left out: " + make_count_text(skipped.of_others, "value") + " of other providers");
    }
}

plan make_plan(tool& with, current_variables const& all, write_options const& given) {
    plan planned;
    for (auto const& assignment : given.assignments) {
        plan_assignment(with, planned, all, assignment, given.provider);
    }
    if (!given.file.empty()) {
        plan_file(with, planned, all, given);
    }
    if (planned.empty()) {
        throw failure{
            exit_code::usage,
            "nothing to write",
            "give PATH=VALUE, or --from FILE with at least one writable variable"};
    }
    return planned;
}

// -- writing --------------------------------------------------------------------------------------

/// Watches the change events of the provider for the written values. Must outlive the consumer, whose
/// threads call it.
class confirmation {
public:
    static void receive(
        definition_fingerprint /*fingerprint*/,
        std::vector<variable_id>
            changed, // NOLINT(performance-unnecessary-value-param): the library's
        provider_connection& /*connection*/,
        void* user_data) {
        static_cast<confirmation*>(user_data)->look_at(changed);
    }

    void begin(plan planned) {
        std::scoped_lock const lock{m_mutex};
        m_planned = std::move(planned);
    }

    [[nodiscard]] plan get() {
        std::scoped_lock const lock{m_mutex};
        return m_planned;
    }

    [[nodiscard]] bool wait_for(std::chrono::milliseconds limit) {
        std::unique_lock lock{m_mutex};
        return m_changed.wait_for(lock, limit, [this] { return is_complete(); });
    }

    /// Takes what the provider holds now, as a read has brought it.
    void look_at_all() {
        std::scoped_lock const lock{m_mutex};
        for (auto& one : m_planned) {
            update(one);
        }
    }

private:
    void look_at(std::vector<variable_id> const& changed) {
        {
            std::scoped_lock const lock{m_mutex};
            for (auto const id : changed) {
                update(id);
            }
        }
        m_changed.notify_all();
    }

    void update(variable_id id) {
        auto const found = std::find_if(m_planned.begin(), m_planned.end(), [id](auto const& one) {
            return one.variable->get_id() == id;
        });
        if (found != m_planned.end()) {
            update(*found);
        }
    }

    static void update(planned_write& one) {
        one.held = value_of(*one.variable);
        one.confirmed = is_same(one.wanted, one.held);
    }

    [[nodiscard]] bool is_complete() const {
        return std::all_of(
            m_planned.begin(), m_planned.end(), [](auto const& one) { return one.confirmed; });
    }

    std::mutex m_mutex; // guards everything below
    std::condition_variable m_changed;
    plan m_planned;
};

void send(
    provider_connection& connection, definition_fingerprint fingerprint, plan const& planned) {
    std::vector<variable_id> ids;
    for (auto const& one : planned) {
        one.variable->set_value(one.wanted, std::chrono::system_clock::now());
        ids.push_back(one.variable->get_id());
    }
    connection.write_variables(fingerprint, ids);
}

// The provider publishes what it has accepted; one that does not publish an unchanged value shows it
// when it is read.
void confirm(
    tool& with,
    provider_connection& connection,
    definition_fingerprint fingerprint,
    confirmation& seen,
    write_options const& given) {
    connection.set_variables_changed_callback(&confirmation::receive, &seen);
    send(connection, fingerprint, seen.get());
    with.guard.set_step("waiting for provider \"" + given.provider + "\" to confirm");
    auto const left = with.guard.get_time_left();
    if (!seen.wait_for(std::min(given.within, std::max(left / 2, left - time_to_read)))) {
        connection.update_all_variables();
        seen.look_at_all();
    }
}

// -- showing --------------------------------------------------------------------------------------

std::string describe_outcome(planned_write const& one, write_options const& given) {
    if (given.dry_run) {
        return "not sent";
    }
    if (given.no_confirm) {
        return "sent";
    }
    return one.confirmed ? "confirmed" : "not confirmed";
}

void print_objects(output& out, plan const& planned, write_options const& given) {
    for (auto const& one : planned) {
        json_object object{{"provider", given.provider}, {"path", one.variable->get_path()}};
        object["data_type"] = type_name_of(one.wanted);
        auto const add = [&object](char const* key, variable_value const& value) {
            auto shown = json_object::object();
            add_value(shown, value);
            object[key] = shown;
        };
        add("before", one.before);
        add("written", one.wanted);
        add("now", one.held);
        object["outcome"] = describe_outcome(one, given);
        out.print_object("write", object);
    }
}

void print_table(tool& with, plan const& planned, write_options const& given) {
    auto const utc = with.options.utc;
    table rows{{"PATH", ">BEFORE", ">WRITTEN", ">NOW", "OUTCOME"}};
    for (auto const& one : planned) {
        auto const fine = one.confirmed || given.dry_run || given.no_confirm;
        rows.add(
            {{printable(one.variable->get_path())},
             {make_text(one.before, utc)},
             {make_text(one.wanted, utc)},
             {given.no_confirm || given.dry_run ? "" : make_text(one.held, utc)},
             {describe_outcome(one, given), fine ? colour::green : colour::red}});
    }
    rows.print(with.out);
}

void require_confirmed(plan const& planned, write_options const& given) {
    std::string names;
    for (auto const& one : planned) {
        if (!one.confirmed) {
            names += (names.empty() ? "" : ", ") + one.variable->get_path() + " (it holds "
                   + make_text(one.held, true) + ')';
        }
    }
    if (!names.empty()) {
        throw failure{
            exit_code::not_confirmed,
            "provider \"" + given.provider + "\" does not hold the written value of " + names,
            "it may refuse the value, limit it, or take longer: see its log, or give --within 10s"};
    }
}

// Returns what became of the writes.
plan perform(tool& with, write_options const& given) {
    auto const permissions =
        given.dry_run ? variable_permissions::read_only : variable_permissions::read_write;
    confirmation seen;
    hub_client client{with, permissions};
    auto const connection = client.attach(given.provider);
    auto const all = connection->get_current_variables();
    auto planned = make_plan(with, all, given);
    if (given.dry_run) {
        return planned;
    }
    try {
        if (given.no_confirm) {
            send(*connection, all.fingerprint, planned);
            return planned;
        }
        seen.begin(planned);
        confirm(with, *connection, all.fingerprint, seen, given);
    } catch (std::exception const& error) {
        throw explain_reading(error, given.provider);
    }
    return seen.get();
}

exit_code write(tool& with, write_options const& given) {
    if (!with.options.timeout.has_value()) {
        with.guard.set_time(default_timeout + given.within);
    }
    auto const written = perform(with, given);
    if (with.out.is_json()) {
        print_objects(with.out, written, given);
    } else {
        print_table(with, written, given);
    }
    if (!given.dry_run && !given.no_confirm) {
        require_confirmed(written, given);
    }
    return exit_code::done;
}

} // namespace

void add_write(command_line& line) {
    auto const options = std::make_shared<write_options>();
    auto& command =
        line.add("write", "Write values to a provider, and confirm them", options, &write);
    command.add_option("PROVIDER", options->provider, "Identifier of the provider")->required();
    command.add_option("PATH=VALUE", options->assignments, "What to write; '#12=VALUE' for an id");
    command
        .add_option(
            "--from", options->file, "Write what read --json has saved; - for standard input")
        ->type_name("FILE");
    add_duration(
        command,
        "--within",
        [options](auto limit) { options->within = limit; },
        "How long the provider may take to confirm; 2s");
    command.add_flag("--no-confirm", options->no_confirm, "Do not wait for the provider");
    command.add_flag("--dry-run", options->dry_run, "Check everything and send nothing");
    command.footer("Values are read by the variable's type:\n"
                   "  bool       true, false, on, off\n"
                   "  double     21.5, -3e4, nan, inf\n"
                   "  int64      42, 0x2A\n"
                   "  timestamp  2026-11-22T03:08:24Z, @ and nanoseconds since 1970\n"
                   "  duration   1.5s, 250ms, 3min\n\n"
                   "All values are checked before the first is sent, and leave in one command. A "
                   "provider does\n"
                   "not answer a write: it is confirmed when the provider holds the value; "
                   "otherwise the exit\n"
                   "code is 9.\n\n"
                   "Examples:\n"
                   "  corvelctl write boiler set_point_celsius=150 mode=standby\n"
                   "  corvelctl write boiler --from saved.jsonl --dry-run");
}

} // namespace arvenhold::corvel::hub::ctl
