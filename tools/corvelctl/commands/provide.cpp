// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/command_line.hpp"
#include "corvelctl/commands.hpp"
#include "corvelctl/event_wait.hpp"
#include "corvelctl/given_change.hpp"
#include "corvelctl/input_lines.hpp"
#include "corvelctl/kept_provider.hpp"
#include "corvelctl/session_access.hpp"
#include "corvelctl/time_text.hpp"
#include "corvelctl/value_text.hpp"
#include "corvelctl/wave.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

namespace {

using clock = supervisor::clock;

struct provide_options {
    std::string file;
    std::string name;
    std::string shape;
    std::optional<clock::duration> interval;
    std::optional<std::chrono::milliseconds> span;
    bool accepts_writes = false;
    bool reads_input = false;
    registration_options registration;
};

// Programs read the answer to --stdin.
row_style get_style(tool& with, provide_options const& given) {
    return with.out.is_json() || given.reads_input ? row_style::json : row_style::text;
}

// The rows of a recording that are no values.
constexpr std::array<std::string_view, 5> other_rows{
    "provider_event", "definition", "recording", "dropped", "gap"};

// Moves the read-only variables: a writable one holds what was written.
class simulation {
public:
    simulation(wave_shape shape, clock::duration interval, defined_variables const& definition)
        : m_wave{shape}
        , m_interval{interval}
        , m_variables{definition.variables} {
        auto const is_writable = [](auto const& one) {
            return one.permissions == variable_permissions::read_write;
        };
        m_variables.erase(
            std::remove_if(m_variables.begin(), m_variables.end(), is_writable), m_variables.end());
    }

    void run(kept_provider& provider, clock::time_point now) {
        if (now < m_next) {
            return;
        }
        m_next = now + m_interval;
        auto const when = timestamp{std::chrono::system_clock::now()};
        provider.get_session().update(
            [&](update_cycle& cycle) { move_all(provider, cycle, now, when); }, when);
    }

    [[nodiscard]] clock::time_point get_next_time() const {
        return m_next;
    }

private:
    // Variables follow each other, so that they can be told apart.
    void move_all(
        kept_provider const& provider, update_cycle& cycle, clock::time_point now, timestamp when) {
        constexpr std::chrono::duration<double> period{10};
        auto const place = (now - m_start) / period;
        auto const count = static_cast<double>(m_variables.size());
        for (std::size_t index = 0; index < m_variables.size(); ++index) {
            auto const& one = m_variables[index];
            auto const height = m_wave.get_height(place + static_cast<double>(index) / count);
            cycle.set(provider.require(one.path), move_value(one.initial, height, when));
        }
    }

    wave m_wave;
    clock::duration const m_interval;
    clock::time_point const m_start = clock::now();
    clock::time_point m_next{};
    std::vector<ctl::defined_variable> m_variables;
};

// Answers write requests, or has them answered on standard input.
class write_desk {
public:
    write_desk(tool& with, provide_options const& given)
        : m_tool{with}
        , m_style{get_style(with, given)}
        , m_accepts{given.accepts_writes}
        , m_asks{given.reads_input && !given.accepts_writes} {}

    void receive(any_write_request request) {
        auto const id = ++m_latest;
        if (m_asks) {
            show(request, id, "waiting");
            keep(id, std::move(request));
        } else if (m_accepts) {
            show(request, id, "accepted");
            request.accept();
        } else {
            show(request, id, "refused");
            request.refuse("the provider takes no writes");
        }
    }

    /// @throws failure  The answer cannot be understood; the request still waits.
    void answer(nlohmann::json const& object) {
        auto const id = object.at("id").get<std::uint64_t>();
        auto const found = m_waiting.find(id);
        if (found == m_waiting.end()) {
            throw failure{
                exit_code::usage,
                "no write request " + std::to_string(id) + " waits for an answer"};
        }
        auto& request = found->second;
        if (!object.at("accept").get<bool>()) {
            request.refuse(object.value("reason", "refused"));
        } else if (object.contains("value")) {
            request.accept_as(parse_object(object, request.get_wanted()).value);
        } else {
            request.accept();
        }
        m_waiting.erase(found);
    }

private:
    void keep(std::uint64_t id, any_write_request request) {
        constexpr std::size_t most = 1000;
        m_waiting.emplace(id, std::move(request));
        if (m_waiting.size() > most) {
            auto const oldest = m_waiting.begin();
            m_tool.out.warn(
                "write request " + std::to_string(oldest->first)
                + " is refused, because too many wait for an answer");
            oldest->second.refuse("it was not answered");
            m_waiting.erase(oldest);
        }
    }

    void show(any_write_request const& request, std::uint64_t id, std::string const& outcome) {
        auto const now = timestamp{std::chrono::system_clock::now()};
        auto const& wanted = request.get_wanted();
        if (m_style == row_style::text) {
            auto const paint = outcome == "accepted" ? colour::green : colour::yellow;
            auto const utc = m_tool.options.utc;
            m_tool.out.print(
                make_short(now, utc) + "  write request " + printable(request.get_path()) + " = "
                + make_text(wanted, utc) + "  " + m_tool.out.paint(outcome, paint));
            return;
        }
        json_object object{
            {"id", id}, {"path", request.get_path()}, {"data_type", type_name_of(wanted)}};
        add_value(object, wanted);
        object["time"] = make_rfc3339(now);
        object["outcome"] = outcome;
        m_tool.out.print_object("write_request", object);
    }

    tool& m_tool;
    row_style const m_style;
    bool const m_accepts;
    bool const m_asks;
    std::uint64_t m_latest = 0;
    std::map<std::uint64_t, any_write_request> m_waiting;
};

// Takes changes and answers from standard input. A line that cannot be used changes nothing.
class bridge {
public:
    bridge(tool& with, kept_provider& provider, write_desk& desk)
        : m_tool{with}
        , m_provider{provider}
        , m_desk{desk} {}

    void run() {
        for (auto const& line : m_input.read()) {
            try {
                handle(nlohmann::json::parse(line.text));
            } catch (nlohmann::json::parse_error const&) {
                warn(line, "this is no JSON");
            } catch (nlohmann::json::exception const&) {
                warn(line, "a key is missing or of a wrong type");
            } catch (failure const& refused) {
                warn(line, refused.what());
            }
        }
    }

    [[nodiscard]] input_lines const& get_input() const {
        return m_input;
    }

private:
    struct named_change {
        any_variable_handle variable;
        given_change change;
    };

    void warn(input_line const& line, std::string const& text) {
        m_tool.out.warn("standard input, line " + std::to_string(line.number) + ": " + text);
    }

    void handle(nlohmann::json const& document) {
        if (document.is_array()) {
            set_together(document);
            return;
        }
        if (!document.is_object()) {
            throw failure{exit_code::usage, "this is neither an object nor an array of objects"};
        }
        auto const type = document.value("type", "value");
        if (type == "answer") {
            m_desk.answer(document);
        } else if (type == "value") {
            set(document);
        } else if (std::find(other_rows.begin(), other_rows.end(), type) == other_rows.end()) {
            throw failure{exit_code::usage, "no type \"" + type + "\"; there are: value, answer"};
        }
    }

    [[nodiscard]] named_change parse(nlohmann::json const& object) const {
        auto variable = m_provider.require(object.at("path").get<std::string>());
        auto change = parse_change(object, variable.get());
        if (!change.warning.empty()) {
            m_tool.out.warn(object["path"].get<std::string>() + ": " + change.warning);
        }
        return {std::move(variable), std::move(change)};
    }

    void set(nlohmann::json const& object) const {
        auto const [variable, change] = parse(object);
        auto const when = change.when.value_or(std::chrono::system_clock::now());
        variable.set(change.value.value_or(variable.get()), change.quality, when);
    }

    void set_together(nlohmann::json const& objects) {
        std::vector<named_change> changes;
        for (auto const& object : objects) {
            changes.push_back(parse(object));
        }
        if (changes.empty()) {
            return;
        }
        auto const when = changes.front().change.when.value_or(std::chrono::system_clock::now());
        m_provider.get_session().update(
            [&changes](update_cycle& cycle) {
                for (auto const& [variable, change] : changes) {
                    cycle.set(variable, change.value.value_or(variable.get()), change.quality);
                }
            },
            when);
    }

    tool& m_tool;
    kept_provider& m_provider;
    write_desk& m_desk;
    input_lines m_input;
};

// What happens while the provider is registered.
class provider_run {
public:
    provider_run(
        tool& with,
        provide_options const& given,
        defined_variables const& definition,
        kept_providers const& all)
        : m_tool{with}
        , m_providers{all}
        , m_ends_with_input{given.reads_input && !given.span.has_value()}
        , m_desk{with, given} {
        if (!given.shape.empty()) {
            constexpr std::chrono::seconds interval{1};
            m_simulation.emplace(
                get_wave_shapes().at(given.shape), given.interval.value_or(interval), definition);
        }
        if (given.reads_input) {
            m_bridge.emplace(with, *all.front(), m_desk);
        }
    }

    exit_code run(clock::time_point deadline) {
        while (clock::now() < deadline && !has_input_ended()) {
            wait(deadline);
            for (auto& request : m_providers.front()->dispatch()) {
                m_desk.receive(std::move(request));
            }
            if (m_bridge.has_value()) {
                m_bridge->run();
            }
            if (m_simulation.has_value()) {
                m_simulation->run(*m_providers.front(), clock::now());
            }
            if (auto const signalled = m_tool.guard.wait_for_signal(clock::time_point{})) {
                return *signalled;
            }
        }
        return exit_code::done;
    }

private:
    void wait(clock::time_point deadline) const {
        auto descriptors = get_descriptors(m_tool, m_providers);
        if (m_bridge.has_value()) {
            descriptors.push_back(m_bridge->get_input().get_descriptor());
        }
        wait_for_events(
            m_tool.out,
            descriptors,
            m_simulation.has_value() ? std::min(deadline, m_simulation->get_next_time())
                                     : deadline);
    }

    [[nodiscard]] bool has_input_ended() const {
        return m_ends_with_input && m_bridge->get_input().has_ended();
    }

    tool& m_tool;
    kept_providers const& m_providers;
    bool const m_ends_with_input;
    write_desk m_desk;
    std::optional<simulation> m_simulation;
    std::optional<bridge> m_bridge;
};

std::string find_name(provide_options const& given, defined_variables const& definition) {
    if (!given.name.empty()) {
        return given.name;
    }
    if (!definition.provider.empty()) {
        return definition.provider;
    }
    if (given.file == "-") {
        throw failure{
            exit_code::usage, "the definition names no provider", "give a name: --name boiler"};
    }
    return std::filesystem::path{given.file}.stem().string();
}

void require_sense(provide_options const& given) {
    if (given.reads_input && given.file == "-") {
        throw failure{
            exit_code::usage,
            "standard input cannot give both the definition and the values",
            "write the definition to a file"};
    }
    if (given.interval.has_value() && given.shape.empty()) {
        throw failure{
            exit_code::usage, "--rate needs --wave", "name a wave: --wave sine --rate 5/s"};
    }
}

// The values of the file are as good as those that are set later.
void set_initial_values(kept_provider& provider, defined_variables const& definition) {
    provider.get_session().update([&](update_cycle& cycle) {
        for (auto const& one : definition.variables) {
            cycle.set(provider.require(one.path), one.initial);
        }
    });
}

exit_code provide(tool& with, provide_options const& given) {
    require_sense(given);
    auto const definition = load_definition(given.file);
    show_warnings(with.out, definition);
    auto const name = find_name(given, definition);
    with.guard.set_time(with.options.timeout.value_or(default_timeout));
    auto registration = given.registration;
    registration.replaces = !given.name.empty();
    require_free_names(with, {name}, registration);
    kept_providers all;
    all.push_back(std::make_unique<kept_provider>(
        with, get_style(with, given), make_session_access(with), name, definition.variables));
    set_initial_values(*all.front(), definition);
    if (auto const signalled = register_providers(with, all, registration)) {
        return *signalled;
    }
    auto const deadline =
        given.span.has_value() ? clock::now() + *given.span : clock::time_point::max();
    auto const code = provider_run{with, given, definition, all}.run(deadline);
    finish_providers(with, all, code);
    return code;
}

void add_content_options(CLI::App& command, provide_options& options) {
    std::vector<std::string> shapes;
    for (auto const& [name, shape] : get_wave_shapes()) {
        shapes.push_back(name);
    }
    command
        .add_option(
            "--wave",
            options.shape,
            "Move the values of the read-only variables: sine, ramp, step or random")
        ->type_name("SHAPE")
        ->check(CLI::IsMember(shapes));
    add_rate(
        command,
        [&options](auto interval) { options.interval = interval; },
        "How often --wave sets the values; 1/s unless given");
    command.add_flag("--accept-writes", options.accepts_writes, "Take every value that is written");
    command.add_flag(
        "--stdin",
        options.reads_input,
        "Read values from standard input, and ask about write requests, in JSON Lines");
}

} // namespace

void add_provide(command_line& line) {
    auto const options = std::make_shared<provide_options>();
    auto& command = line.add(
        "provide", "Run a provider: simulated, or fed by another program", options, &provide);
    command.add_option("FILE", options->file, "Definition file; - for standard input")->required();
    command
        .add_option(
            "--name",
            options->name,
            "Identifier of the provider; by default that in FILE, or the name of FILE")
        ->type_name("NAME");
    add_content_options(command, *options);
    add_duration(
        command,
        "--for",
        [options = options.get()](auto span) { options->span = span; },
        "End after this time");
    add_registration(command, options->registration);
    command.footer(
        "FILE is what def check accepts: see corvelctl def check --help. Write requests are shown, "
        "and\n"
        "refused without --accept-writes or --stdin. The registration must succeed within "
        "--timeout;\n"
        "afterwards every outage is survived.\n\n"
        "With --stdin, each line sets a variable, several at once, or answers a write request:\n"
        "  {\"path\": \"pressure_bar\", \"value\": 2.5, \"quality\": \"good\"}\n"
        "  [{\"path\": \"a\", \"value\": 1}, {\"path\": \"b\", \"value\": 2}]\n"
        "  {\"type\": \"answer\", \"id\": 1, \"accept\": true}\n"
        "A line that cannot be used gets a warning with its number. The provider ends with its "
        "input,\n"
        "or after --for.\n\n"
        "Examples:\n"
        "  corvelctl provide boiler.json --wave sine --rate 5/s --accept-writes\n"
        "  corvelctl browse boiler -j | corvelctl provide - --name boiler-copy\n"
        "  ./measure.py | corvelctl provide plant.json --stdin");
}

} // namespace arvenhold::corvel::hub::ctl
