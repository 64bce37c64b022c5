// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/command_line.hpp"
#include "corvelctl/commands.hpp"
#include "corvelctl/hub_client.hpp"
#include "corvelctl/path_selection.hpp"
#include "corvelctl/table.hpp"
#include "corvelctl/variable_text.hpp"

#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

namespace {

using variables = std::vector<std::shared_ptr<consumer_variable>>;

struct browse_options {
    std::string provider;
    std::vector<std::string> wanted;
    bool tree = false;
    bool fingerprint = false;
};

std::string_view type_of(consumer_variable& variable) {
    return type_name_of(std::get<0>(variable.get_value_with_timestamp()));
}

void print_objects(output& out, browse_options const& given, variables const& shown) {
    for (auto const& variable : shown) {
        out.print_object("variable", make_variable_object(given.provider, *variable));
    }
}

void print_table(output& out, variables const& shown) {
    table rows{{">ID", "ACCESS", "TYPE", "PATH"}};
    for (auto const& variable : shown) {
        rows.add(
            {{std::to_string(variable->get_id())},
             {make_text(variable->get_permissions())},
             {std::string{type_of(*variable)}},
             {printable(variable->get_path())}});
    }
    rows.print(out);
}

// Levels end at "/" and ".".
std::vector<std::string> split_levels(std::string const& path) {
    std::vector<std::string> levels;
    std::size_t begin = 0;
    for (auto end = path.find_first_of("/."); end != std::string::npos;
         end = path.find_first_of("/.", begin)) {
        levels.push_back(path.substr(begin, end + 1 - begin));
        begin = end + 1;
    }
    levels.push_back(path.substr(begin));
    return levels;
}

// The paths are sorted, so a branch is printed when it differs from that of the line before.
void print_tree(output& out, variables const& shown) {
    constexpr std::size_t indentation = 2;
    std::vector<std::string> above;
    std::string text;
    for (auto const& variable : shown) {
        auto const levels = split_levels(variable->get_path());
        std::size_t level = 0;
        while (level + 1 < levels.size() && level < above.size() && above[level] == levels[level]) {
            ++level;
        }
        for (; level + 1 < levels.size(); ++level) {
            text += std::string(indentation * level, ' ') + printable(levels[level]) + '\n';
        }
        text +=
            std::string(indentation * level, ' ') + printable(levels.back()) + "  "
            + out.paint(std::string{type_of(*variable)}, colour::grey)
            + (variable->get_permissions() == variable_permissions::read_write ? "  writable" : "")
            + '\n';
        above = levels;
        above.pop_back();
    }
    out.print(text);
}

exit_code browse(tool& with, browse_options const& given) {
    hub_client client{with};
    auto const connection = client.attach(given.provider);
    auto const all = connection->get_current_variables();
    if (given.fingerprint) {
        auto const text = make_text(all.fingerprint);
        if (with.out.is_json()) {
            with.out.print_object(
                "fingerprint",
                {{"provider", given.provider}, {"fingerprint", text}, {"variables", all.size()}});
        } else {
            with.out.print(text);
        }
        return exit_code::done;
    }
    auto const shown = select_variables(all, given.wanted, given.provider);
    if (with.out.is_json()) {
        print_objects(with.out, given, shown);
    } else if (given.tree) {
        print_tree(with.out, shown);
    } else {
        print_table(with.out, shown);
    }
    return exit_code::done;
}

} // namespace

void add_browse(command_line& line) {
    auto const options = std::make_shared<browse_options>();
    auto& command = line.add("browse", "Show which variables a provider has", options, &browse);
    command.add_option("PROVIDER", options->provider, "Identifier of the provider")->required();
    command.add_option(
        "GLOB",
        options->wanted,
        "Only these: a path, or a pattern with * (one level) and ** (any)");
    command.add_flag("--tree", options->tree, "Show the paths as a tree");
    command.add_flag(
        "--fingerprint", options->fingerprint, "Show the definition's fingerprint only");
    command.footer("Examples:\n"
                   "  corvelctl browse boiler\n"
                   "  corvelctl browse boiler 'zones/*/temperature'");
}

} // namespace arvenhold::corvel::hub::ctl
