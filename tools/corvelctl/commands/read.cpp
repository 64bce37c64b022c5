// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/command_line.hpp"
#include "corvelctl/commands.hpp"
#include "corvelctl/hub_client.hpp"
#include "corvelctl/path_selection.hpp"
#include "corvelctl/table.hpp"
#include "corvelctl/time_text.hpp"
#include "corvelctl/value_text.hpp"
#include "corvelctl/variable_text.hpp"

#include <vector>

namespace arvenhold::corvel::hub::ctl {

namespace {

using variables = std::vector<std::shared_ptr<consumer_variable>>;

struct read_options {
    std::string provider;
    std::vector<std::string> wanted;
    bool raw = false;
    bool strict = false;
};

void print_objects(output& out, std::string const& provider, variables const& shown) {
    for (auto const& variable : shown) {
        out.print_object("value", make_value_object(provider, *variable));
    }
}

void print_raw(tool& with, variables const& shown) {
    std::string text;
    for (auto const& variable : shown) {
        text +=
            make_text(std::get<0>(variable->get_value_with_timestamp()), with.options.utc) + '\n';
    }
    with.out.print(text);
}

void print_table(tool& with, variables const& shown) {
    table rows{{"PATH", ">VALUE", "QUALITY", "TIME"}};
    for (auto const& variable : shown) {
        auto const [value, when] = variable->get_value_with_timestamp();
        auto const quality = variable->get_quality();
        rows.add(
            {{printable(variable->get_path())},
             {make_text(value, with.options.utc)},
             {std::string{name_of(quality)}, colour_of(quality)},
             {make_readable(when, with.options.utc)}});
    }
    rows.print(with.out);
}

void require_good(variables const& shown) {
    std::string names;
    std::size_t count = 0;
    for (auto const& variable : shown) {
        auto const quality = variable->get_quality();
        if (quality != variable_quality::good) {
            ++count;
            names += (names.empty() ? "" : ", ") + variable->get_path() + " ("
                   + std::string{name_of(quality)} + ')';
        }
    }
    if (count > 0) {
        throw failure{
            exit_code::quality_not_good,
            std::to_string(count) + (count == 1 ? " value is" : " values are")
                + " not good: " + names,
            "the provider says so; ask it why, or read without --strict"};
    }
}

exit_code read(tool& with, read_options const& given) {
    hub_client client{with};
    // Attaching reads all values in one request.
    auto const connection = client.attach(given.provider);
    auto const all = connection->get_current_variables();
    auto const shown = select_variables(all, given.wanted, given.provider);
    if (with.out.is_json()) {
        print_objects(with.out, given.provider, shown);
    } else if (given.raw) {
        print_raw(with, shown);
    } else {
        print_table(with, shown);
    }
    if (given.strict) {
        require_good(shown);
    }
    return exit_code::done;
}

} // namespace

void add_read(command_line& line) {
    auto const options = std::make_shared<read_options>();
    auto& command = line.add("read", "Show values of a provider", options, &read);
    command.add_option("PROVIDER", options->provider, "Identifier of the provider")->required();
    command.add_option(
        "PATH", options->wanted, "A path, a pattern with * and **, or an id as '#12'; all if none");
    command.add_flag("--raw", options->raw, "Print the values only, one in a line");
    command.add_flag("--strict", options->strict, "Fail with 10 if a quality is not good");
    command.footer("Examples:\n"
                   "  corvelctl read boiler\n"
                   "  corvelctl read boiler pressure_bar --raw\n"
                   "  corvelctl read boiler -j > saved.jsonl     see also: write --from");
}

} // namespace arvenhold::corvel::hub::ctl
