// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/command_line.hpp"
#include "corvelctl/commands.hpp"
#include "corvelctl/definition_file.hpp"
#include "corvelctl/hub_client.hpp"
#include "corvelctl/variable_text.hpp"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

namespace {

struct def_options {
    std::string first;
    std::string second;
    std::vector<std::string> sources;
};

bool is_file(std::string_view name) {
    return name == "-" || name.ends_with(".json") || name.ends_with(".jsonl")
        || name.find('/') != std::string_view::npos;
}

// Reads definitions of files and of live providers, all of these over one connection.
class definition_source {
public:
    explicit definition_source(tool& with)
        : m_tool{with} {}

    defined_variables load(std::string const& name) {
        if (is_file(name)) {
            return load_definition(name);
        }
        if (!m_client.has_value()) {
            m_client.emplace(m_tool);
        }
        return get_definition(m_client->attach(name)->get_current_variables(), name);
    }

private:
    tool& m_tool;
    std::optional<hub_client> m_client;
};

std::string describe(defined_variable const* variable) {
    return variable == nullptr ? std::string{"-"}
                               : std::string{type_name_of(variable->initial)} + ' '
                                     + make_text(variable->permissions);
}

std::string_view name_of(definition_change change) {
    constexpr std::array<std::string_view, 4> names{"added", "removed", "data_type", "access"};
    return names.at(static_cast<std::size_t>(change));
}

void show(output& out, definition_difference const& one) {
    if (out.is_json()) {
        out.print_object(
            "definition_difference",
            {{"path", one.get_path()},
             {"change", name_of(one.change)},
             {"first", describe(one.first)},
             {"second", describe(one.second)}});
        return;
    }
    auto const path = printable(one.get_path());
    switch (one.change) {
    case definition_change::added:
        out.print(out.paint("+ " + path, colour::green) + "  " + describe(one.second));
        return;
    case definition_change::removed:
        out.print(out.paint("- " + path, colour::red) + "  " + describe(one.first));
        return;
    case definition_change::data_type:
    case definition_change::access:
        break;
    }
    out.print(
        out.paint("~ " + path, colour::yellow) + "  " + describe(one.first) + " -> "
        + describe(one.second));
}

// A type and an access that differ are two differences, and one line for people.
void show_all(output& out, std::vector<definition_difference> const& differences) {
    std::string latest;
    for (auto const& one : differences) {
        if (out.is_json() || one.get_path() != latest) {
            show(out, one);
        }
        latest = one.get_path();
    }
}

// A provider may offer more than the file asks for.
bool is_missing(definition_difference const& one) {
    return one.change == definition_change::removed || one.change == definition_change::data_type
        || (one.change == definition_change::access
            && one.first->permissions == variable_permissions::read_write);
}

void require_offer(output& out, defined_variables const& wanted, defined_variables const& offered) {
    auto missing = compare_definitions(wanted, offered);
    std::erase_if(missing, [](auto const& one) { return !is_missing(one); });
    if (missing.empty()) {
        return;
    }
    show_all(out, missing);
    throw failure{
        exit_code::definition_changed,
        "provider \"" + offered.source + "\" does not offer what " + wanted.source + " asks for",
        "see all differences: corvelctl def diff " + wanted.source + ' ' + offered.source};
}

exit_code check(tool& with, def_options const& given) {
    if (!is_file(given.first)) {
        throw failure{
            exit_code::usage,
            '"' + given.first + "\" is no file name: it ends neither in .json nor in .jsonl",
            "for a file with another name, write ./" + given.first};
    }
    auto const wanted = load_definition(given.first);
    show_warnings(with.out, wanted);
    if (!given.second.empty()) {
        require_offer(with.out, wanted, definition_source{with}.load(given.second));
    }
    if (with.out.is_json()) {
        with.out.print_object(
            "definition", {{"source", wanted.source}, {"variables", wanted.variables.size()}});
        return exit_code::done;
    }
    with.out.print(
        printable(wanted.source) + ": good, " + make_count_text(wanted.variables.size(), "variable")
        + (given.second.empty() ? "" : ", all offered by " + printable(given.second)));
    return exit_code::done;
}

std::string make_hash_text(std::uint32_t hash) {
    constexpr std::size_t digits = 10;
    return make_text(definition_fingerprint{hash} << 32U).substr(0, digits);
}

void show_hash(output& out, defined_variables const& definition) {
    auto const hash = make_hash_text(make_content_hash(definition));
    auto const fingerprint =
        definition.fingerprint.has_value() ? make_text(*definition.fingerprint) : "";
    if (!out.is_json()) {
        out.print(
            hash + "  " + printable(definition.source)
            + (fingerprint.empty() ? "" : "  (fingerprint " + fingerprint + ')'));
        return;
    }
    json_object object{
        {"source", definition.source},
        {"content_hash", hash},
        {"variables", definition.variables.size()}};
    if (!fingerprint.empty()) {
        object["fingerprint"] = fingerprint;
    }
    out.print_object("content_hash", object);
}

exit_code fingerprint(tool& with, def_options const& given) {
    definition_source source{with};
    for (auto const& name : given.sources) {
        show_hash(with.out, source.load(name));
    }
    return exit_code::done;
}

exit_code diff(tool& with, def_options const& given) {
    definition_source source{with};
    auto const first = source.load(given.first);
    auto const second = source.load(given.second);
    auto const differences = compare_definitions(first, second);
    show_all(with.out, differences);
    if (differences.empty()) {
        with.out.note("the same " + make_count_text(first.variables.size(), "variable"));
        return exit_code::done;
    }
    if (first.fingerprint.has_value() && first.fingerprint == second.fingerprint) {
        with.out.warn(
            "the fingerprints are equal although the variables differ; consumers take equal "
            "fingerprints for equal variables");
    }
    return exit_code::definition_changed;
}

constexpr char const* format =
    R"(A source is a file if its name ends in .json or .jsonl, contains a /, or is - for standard input;
otherwise it is a provider. A file has either one object:

  {"variables": [
    {"path": "pressure_bar", "data_type": "double"},
    {"path": "mode", "data_type": "string", "access": "read-write", "value": "heating"}]}

or the lines that `browse --json` or `read --json` write. Types: bool, double, int64, string, timestamp,
duration. "access" is read-only unless it says read-write; "value" is the initial value.)";

void add_check(command_line& line, CLI::App& group) {
    auto const options = std::make_shared<def_options>();
    auto& command = line.add_below(
        group, "check", "Check a definition file, or that a provider offers it", options, &check);
    command.add_option("FILE", options->first, "Definition file")->required();
    command.add_option(
        "PROVIDER", options->second, "Provider, or file, that must offer all variables of FILE");
    command.footer(
        std::string{format}
        + "\n\nExamples:\n"
          "  corvelctl def check boiler.json\n"
          "  corvelctl def check needed.json boiler && echo fits");
}

void add_fingerprint(command_line& line, CLI::App& group) {
    auto const options = std::make_shared<def_options>();
    auto& command = line.add_below(
        group, "fingerprint", "Show what distinguishes definitions", options, &fingerprint);
    command.add_option("SOURCE", options->sources, "Definition file or provider")->required();
    command.footer(
        std::string{format}
        + "\n\nThe content hash depends on paths, types and access only. It is the upper "
          "half of the\nfingerprint of a provider that uses a session.");
}

void add_diff(command_line& line, CLI::App& group) {
    auto const options = std::make_shared<def_options>();
    auto& command = line.add_below(
        group, "diff", "Compare two definitions; fails with 8 if they differ", options, &diff);
    command.add_option("FIRST", options->first, "Definition file or provider")->required();
    command.add_option("SECOND", options->second, "Definition file or provider")->required();
    command.footer(
        std::string{format}
        + "\n\nExamples:\n"
          "  corvelctl browse boiler -j > boiler.jsonl\n"
          "  corvelctl def diff boiler.jsonl boiler");
}

} // namespace

void add_def(command_line& line) {
    auto& group = line.add_group("def", "Check and compare definitions, of files and of providers");
    add_check(line, group);
    add_fingerprint(line, group);
    add_diff(line, group);
}

} // namespace arvenhold::corvel::hub::ctl
