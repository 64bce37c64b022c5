// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/definition_file.hpp"

#include "corvelctl/near_names.hpp"
#include "corvelctl/user_files.hpp"
#include "corvelctl/value_text.hpp"
#include "corvelctl/variable_text.hpp"
#include "dev_hub/definition.hpp"
#include <hub/session/provider_session.hpp>

#include <algorithm>
#include <array>
#include <map>
#include <set>

namespace arvenhold::corvel::hub::ctl {

namespace {

// Knows where in a file it is, so that every refusal names the place.
class definition_reader {
public:
    explicit definition_reader(std::string const& source)
        : m_source{source} {}

    void read_document(nlohmann::json const& document) {
        read_provider(document);
        auto const& variables = document.at("variables");
        if (!variables.is_array()) {
            throw make_failure("\"variables\" is no array");
        }
        for (auto const& variable : variables) {
            m_place = "variable " + std::to_string(m_read.size() + 1);
            add(variable);
        }
    }

    void read_lines(std::string_view text) {
        std::size_t number = 0;
        while (!text.empty()) {
            auto const end = std::min(text.find('\n'), text.size());
            m_place = "line " + std::to_string(++number);
            auto const object = nlohmann::json::parse(text.substr(0, end), nullptr, false);
            if (!object.is_object()) {
                throw make_failure(
                    "this is neither a definition nor a line that browse --json has written");
            }
            auto const type = object.value("type", "");
            if (type == "variable" || type == "value") {
                read_provider(object);
                add(object);
            }
            text.remove_prefix(std::min(end + 1, text.size()));
        }
    }

    void finish(defined_variables& definition) && {
        definition.variables = std::move(m_read);
        definition.provider = std::move(m_provider);
        definition.warnings = std::move(m_warnings);
    }

private:
    [[nodiscard]] std::string locate(std::string const& text) const {
        return m_source + ": " + (m_place.empty() ? "" : m_place + ": ") + text;
    }

    [[nodiscard]] failure make_failure(std::string const& text) const {
        return {exit_code::usage, locate(text), "see the format: corvelctl def --help"};
    }

    // The text under a key, which must be one of the choices.
    std::string require_choice(
        nlohmann::json const& object,
        char const* key,
        std::vector<std::string> const& choices) const {
        auto const found = object.find(key);
        auto given = found != object.end() && found->is_string() ? found->get<std::string>() : "";
        if (std::find(choices.begin(), choices.end(), given) == choices.end()) {
            auto text = '"' + std::string{key} + "\" is \"" + given + "\", but must be one of";
            for (auto const& choice : choices) {
                text += ' ' + choice;
            }
            throw make_failure(text + ask_did_you_mean(given, choices));
        }
        return given;
    }

    variable_value read_type(nlohmann::json const& object) const {
        auto const& zeros = get_zeros();
        std::vector<std::string> names;
        names.reserve(zeros.size());
        for (auto const& zero : zeros) {
            names.emplace_back(type_name_of(zero));
        }
        auto const name = require_choice(object, "data_type", names);
        return *std::find_if(zeros.begin(), zeros.end(), [&name](variable_value const& zero) {
            return type_name_of(zero) == name;
        });
    }

    void read_provider(nlohmann::json const& object) {
        auto const found = object.find("provider");
        if (found != object.end() && found->is_string()) {
            m_provider = found->get<std::string>();
        }
    }

    void add(nlohmann::json const& object) {
        auto const path = object.is_object() ? object.find("path") : object.end();
        if (!object.is_object() || path == object.end() || !path->is_string()) {
            throw make_failure("\"path\" is missing, or no string");
        }
        defined_variable variable{path->get<std::string>(), read_type(object)};
        auto const access = object.contains("access")
                              ? require_choice(object, "access", {"read-only", "read-write"})
                              : "read-only";
        if (access == "read-write") {
            variable.permissions = variable_permissions::read_write;
        }
        if (object.contains("value")) {
            variable.initial = read_value(object, variable.initial);
        }
        m_read.push_back(std::move(variable));
    }

    variable_value read_value(nlohmann::json const& object, variable_value const& like) {
        try {
            auto parsed = parse_object(object, like);
            if (!parsed.warning.empty()) {
                m_warnings.push_back(locate(parsed.warning));
            }
            return std::move(parsed.value);
        } catch (failure const& refused) {
            throw make_failure(refused.what());
        } catch (nlohmann::json::exception const&) {
            throw make_failure(R"("value", "value_text" or "value_base64" is of a wrong type)");
        }
    }

    std::string const& m_source;
    std::string m_place;
    std::string m_provider;
    std::vector<defined_variable> m_read;
    std::vector<std::string> m_warnings;
};

// The rules of the development hub's registry, with the places in the file as ids.
void require_rules(defined_variables const& definition) {
    dev::definition entries;
    for (auto const& variable : definition.variables) {
        auto const number = static_cast<std::uint32_t>(entries.variables.size() + 1);
        entries.variables.push_back({variable.path, number, 1, 1});
    }
    if (auto const broken = find_broken_rule(entries)) {
        throw failure{
            exit_code::refused_locally,
            definition.source + ": " + *broken,
            "a registry rejects such a definition; variables count from 1"};
    }
}

using by_path = std::map<std::string, defined_variable const*>;

by_path index_by_path(defined_variables const& definition) {
    by_path index;
    for (auto const& variable : definition.variables) {
        index.emplace(variable.path, &variable);
    }
    return index;
}

defined_variable const* find_in(by_path const& index, std::string const& path) {
    auto const found = index.find(path);
    return found == index.end() ? nullptr : found->second;
}

void compare_variables(
    defined_variable const* first,
    defined_variable const* second,
    std::vector<definition_difference>& differences) {
    if (first == nullptr || second == nullptr) {
        auto const change =
            first == nullptr ? definition_change::added : definition_change::removed;
        differences.push_back({change, first, second});
        return;
    }
    if (first->initial.index() != second->initial.index()) {
        differences.push_back({definition_change::data_type, first, second});
    }
    if (first->permissions != second->permissions) {
        differences.push_back({definition_change::access, first, second});
    }
}

} // namespace

defined_variables parse_definition(std::string_view text, std::string const& source) {
    defined_variables definition{source, std::nullopt, {}};
    definition_reader reader{source};
    auto const document = nlohmann::json::parse(text, nullptr, false);
    if (document.is_object() && document.contains("variables")
        && !document["variables"].is_number()) {
        reader.read_document(document);
    } else {
        reader.read_lines(text);
    }
    std::move(reader).finish(definition);
    if (definition.variables.empty()) {
        throw failure{
            exit_code::usage,
            source + ": there is no variable in it",
            "see the format: corvelctl def --help"};
    }
    require_rules(definition);
    return definition;
}

defined_variables load_definition(std::string const& file) {
    auto const* const cure = "give a definition file; save that of a provider: corvelctl browse "
                             "PROVIDER -j > boiler.jsonl";
    return parse_definition(read_named_file(file, cure), file);
}

void show_warnings(output& out, defined_variables const& definition) {
    for (auto const& warning : definition.warnings) {
        out.warn(warning);
    }
}

defined_variables get_definition(current_variables const& all, std::string const& provider) {
    defined_variables definition{provider, all.fingerprint, {}, provider};
    for (auto const& [id, variable] : all) {
        definition.variables.push_back(
            {variable->get_path(),
             std::get<0>(variable->get_value_with_timestamp()),
             variable->get_permissions()});
    }
    return definition;
}

std::uint32_t make_content_hash(defined_variables const& definition) {
    provider_session session{definition.source, hub_access{}};
    for (auto const& variable : definition.variables) {
        session.declare_any(variable.path, variable.initial, variable.permissions);
    }
    return session.content_hash();
}

std::vector<definition_difference> compare_definitions(
    defined_variables const& first, defined_variables const& second) {
    auto const in_first = index_by_path(first);
    auto const in_second = index_by_path(second);
    std::set<std::string> paths;
    for (auto const* const index : {&in_first, &in_second}) {
        for (auto const& [path, variable] : *index) {
            paths.insert(path);
        }
    }
    std::vector<definition_difference> differences;
    for (auto const& path : paths) {
        compare_variables(find_in(in_first, path), find_in(in_second, path), differences);
    }
    return differences;
}

} // namespace arvenhold::corvel::hub::ctl
