// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/command_line.hpp"
#include "corvelctl/commands.hpp"
#include "corvelctl/connection_settings.hpp"
#include "corvelctl/contexts.hpp"
#include "corvelctl/secrets.hpp"
#include "corvelctl/table.hpp"
#include "corvelctl/user_files.hpp"

#include <filesystem>

namespace arvenhold::corvel::hub::ctl {

namespace {

struct context_options {
    std::string name;
};

// A context is used from any folder.
std::string make_absolute(std::string const& file) {
    return file.empty() ? file : std::filesystem::absolute(file).lexically_normal().string();
}

exit_code add_one(tool& with, context_options const& given) {
    auto all = load_contexts();
    auto fields = with.options.connection;
    fields.secret_file = make_absolute(fields.secret_file);
    fields.ca_file = make_absolute(fields.ca_file);
    if (fields.server_url.empty() || fields.token_url.empty() || fields.client_id.empty()
        || fields.secret_file.empty()) {
        throw failure{
            exit_code::usage,
            "a context needs --hub, --token-url, --client-id and --secret-file",
            "see an example: corvelctl context add --help"};
    }
    check_urls(fields.server_url, fields.token_url);
    static_cast<void>(read_secret(fields.secret_file)); // a typing error shows now
    auto const replaced = !all.by_name.insert_or_assign(given.name, fields).second;
    if (all.current.empty()) {
        all.current = given.name;
    }
    save_contexts(all);
    with.out.note(
        "context " + given.name + (replaced ? " replaced" : " added")
        + (all.current == given.name ? "; it is used from now on"
                                     : "; use it: corvelctl context use " + given.name));
    return exit_code::done;
}

exit_code use_one(tool& with, context_options const& given) {
    auto all = load_contexts();
    static_cast<void>(all.require(given.name));
    all.current = given.name;
    save_contexts(all);
    with.out.note("context " + given.name + " is used from now on");
    return exit_code::done;
}

json_object describe(contexts const& all, std::string const& name) {
    auto const& fields = all.by_name.at(name);
    return {
        {"name", name},
        {"current", name == all.current},
        {"hub", remove_secrets(fields.server_url, {})},
        {"token_url", remove_secrets(fields.token_url, {})},
        {"client_id", fields.client_id},
        {"secret_file", fields.secret_file},
        {"ca_file", fields.ca_file}};
}

exit_code list_all(tool& with, context_options const& /*none*/) {
    auto const all = load_contexts();
    table shown{{"", "NAME", "HUB", "CLIENT"}};
    for (auto const& [name, fields] : all.by_name) {
        if (with.out.is_json()) {
            with.out.print_object("context", describe(all, name));
        }
        shown.add(
            {{name == all.current ? "*" : ""},
             {printable(name)},
             {printable(remove_secrets(fields.server_url, {}))},
             {printable(fields.client_id)}});
    }
    if (all.by_name.empty()) {
        with.out.note("there are no contexts; add one: corvelctl context add --help");
    } else if (!with.out.is_json()) {
        shown.print(with.out);
    }
    return exit_code::done;
}

exit_code show_one(tool& with, context_options const& given) {
    auto const all = load_contexts();
    auto const& name = given.name.empty() ? all.current : given.name;
    if (name.empty()) {
        throw failure{
            exit_code::not_found,
            "no context is in use",
            "choose one: corvelctl context use NAME; see all: corvelctl context list"};
    }
    static_cast<void>(all.require(name));
    auto const object = describe(all, name);
    if (with.out.is_json()) {
        with.out.print_object("context", object);
        return exit_code::done;
    }
    std::string text;
    for (auto const& [key, value] : object.items()) {
        constexpr std::size_t width = 13;
        if (value.is_string() && !value.get<std::string>().empty()) {
            text += key + std::string(width - key.size(), ' ') + printable(value.get<std::string>())
                  + '\n';
        }
    }
    with.out.print(text);
    return exit_code::done;
}

} // namespace

void add_context(command_line& line) {
    auto& group = line.add_group("context", "Keep named connections");
    auto const options = std::make_shared<context_options>();
    constexpr char const* what = "Name of the context";
    auto& add = line.add_below(group, "add", "Add or replace a context", options, &add_one);
    add.add_option("NAME", options->name, what)->required();
    add.footer(
        "Example:\n"
        "  corvelctl context add plant --hub nats://plc:4222 --token-url https://plc/token \\\n"
        "    --client-id technician --secret-file ~/plant.secret\n\n"
        "The context contains the name of the secret file, not the secret. The contexts are kept "
        "in\n"
        "$XDG_CONFIG_HOME/corvelctl/contexts.json (~/.config), which only you may read.");
    auto& use = line.add_below(group, "use", "Choose the context to use", options, &use_one);
    use.add_option("NAME", options->name, what)->required();
    line.add_below(group, "list", "List all contexts", options, &list_all);
    auto& show = line.add_below(group, "show", "Show a context", options, &show_one);
    show.add_option("NAME", options->name, "Name of the context; the one in use if left out");
}

} // namespace arvenhold::corvel::hub::ctl
