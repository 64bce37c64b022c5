// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/command_line.hpp"
#include "corvelctl/commands.hpp"
#include "corvelctl/completion_request.hpp"
#include "corvelctl/completion_scripts.hpp"
#include "corvelctl/contexts.hpp"
#include "corvelctl/hub_client.hpp"
#include "corvelctl/path_selection.hpp"
#include "corvelctl/variable_text.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace arvenhold::corvel::hub::ctl {

namespace {

// A user waits for it after pressing a key.
constexpr std::chrono::milliseconds patience{1000};

struct completion_options {
    std::string shell;
};

struct complete_options {
    std::string line;
    CLI::App const* application = nullptr;
};

exit_code print_script(tool& with, completion_options const& given) {
    auto const shell = given.shell == "bash" ? completed_shell::bash
                     : given.shell == "zsh"  ? completed_shell::zsh
                                             : completed_shell::fish;
    auto const script = get_completion_script(shell);
    if (with.out.is_json()) {
        with.out.print_object("completion", {{"shell", given.shell}, {"script", script}});
    } else {
        with.out.print(script);
    }
    return exit_code::done;
}

bool is_plain(std::string const& text) {
    return printable(text) == text;
}

// Prints candidates that begin like the word.
class candidate_printer {
public:
    candidate_printer(output& out, completion_request const& request)
        : m_output{out}
        , m_request{request} {}

    void print_fixed() const {
        std::string text;
        for (auto const& one : m_request.fixed) {
            text += make_line(one.text, one.description);
        }
        m_output.print(text);
    }

    void print_files() const {
        m_output.print("<files>");
    }

    void print(std::vector<completion_candidate> const& candidates) const {
        std::string text;
        for (auto const& one : candidates) {
            text += make_line(m_request.front + one.text, one.description);
        }
        m_output.print(text);
    }

private:
    // Empty for what does not fit, and for names that are no single line.
    [[nodiscard]] std::string make_line(
        std::string const& text, std::string const& description) const {
        if (!text.starts_with(m_request.current) || !is_plain(text)) {
            return {};
        }
        return text + (description.empty() ? "" : '\t' + printable(description)) + '\n';
    }

    output& m_output;
    completion_request const& m_request;
};

bool contains(std::vector<std::string> const& all, std::string const& one) {
    return std::find(all.begin(), all.end(), one) != all.end();
}

std::vector<completion_candidate> find_paths(
    hub_client& client, std::string const& provider, bool only_writable) {
    std::vector<completion_candidate> paths;
    auto const all = client.attach(provider)->get_current_variables();
    for (auto const& variable : select_variables(all, {}, provider)) {
        auto const is_writable = variable->get_permissions() == variable_permissions::read_write;
        if (is_writable || !only_writable) {
            auto const value = std::get<0>(variable->get_value_with_timestamp());
            paths.push_back(
                {variable->get_path() + (only_writable ? "=" : ""),
                 std::string{type_name_of(value)} + ' ' + make_text(variable->get_permissions())});
        }
    }
    return paths;
}

void print_providers_and_paths(
    hub_client& client, completion_request const& request, candidate_printer const& printer) {
    auto const listed = client.get_providers();
    auto const& given = request.arguments;
    std::vector<completion_candidate> providers;
    for (auto const& one : listed) {
        if (!contains(given, one)) {
            providers.push_back({one, "provider"});
        }
    }
    printer.print(providers);
    if (request.kind == completed_kind::provider
        || request.kind == completed_kind::provider_or_file) {
        return;
    }
    for (auto const& one : given) {
        if (contains(listed, one)) {
            printer.print(find_paths(client, one, false));
        }
    }
}

// The connection that the unfinished line names.
global_options make_options(global_options const& given, completion_request const& request) {
    auto options = given;
    options.output.quiet = true;
    auto& fields = options.connection;
    for (auto const& [name, member] :
         {std::pair{"--hub", &fields.server_url},
          std::pair{"--token-url", &fields.token_url},
          std::pair{"--client-id", &fields.client_id},
          std::pair{"--secret-file", &fields.secret_file},
          std::pair{"--ca-file", &fields.ca_file},
          std::pair{"--context", &options.context}}) {
        auto const found = request.options.find(name);
        if (found != request.options.end()) {
            *member = found->second;
        }
    }
    return options;
}

void print_live(tool& with, completion_request const& request, candidate_printer const& printer) {
    auto const options = make_options(with.options, request);
    output silent{options.output};
    tool quietly{options, silent, with.reports, with.guard};
    hub_client client{quietly};
    if (request.kind == completed_kind::path || request.kind == completed_kind::assignment) {
        auto const only_writable = request.kind == completed_kind::assignment;
        printer.print(find_paths(client, request.arguments.at(0), only_writable));
    } else {
        print_providers_and_paths(client, request, printer);
    }
}

void print_contexts(candidate_printer const& printer) {
    std::vector<completion_candidate> names;
    for (auto const& name : load_contexts().get_names()) {
        names.push_back({name, "context"});
    }
    printer.print(names);
}

exit_code complete(tool& with, complete_options const& given) {
    with.guard.set_time(patience);
    auto words = split_line(given.line);
    words.erase(words.begin());
    if (words.empty()) {
        return exit_code::done;
    }
    auto const request = make_completion_request(*given.application, words);
    candidate_printer const printer{with.out, request};
    printer.print_fixed();
    switch (request.kind) {
    case completed_kind::nothing:
        break;
    case completed_kind::context:
        print_contexts(printer);
        break;
    case completed_kind::file:
        printer.print_files();
        break;
    case completed_kind::provider_or_file:
    case completed_kind::path_or_file_provider:
        printer.print_files();
        [[fallthrough]];
    case completed_kind::provider:
    case completed_kind::path:
    case completed_kind::assignment:
    case completed_kind::provider_or_path:
        print_live(with, request, printer);
        break;
    }
    return exit_code::done;
}

} // namespace

void add_completion(command_line& line) {
    auto const options = std::make_shared<completion_options>();
    auto& command = line.add(
        "completion", "Print a script that completes command lines", options, &print_script);
    command.add_option("SHELL", options->shell, "The shell")
        ->required()
        ->check(CLI::IsMember(std::array<std::string, 3>{"bash", "zsh", "fish"}));
    command.footer(
        "Completes commands, flags, contexts, faults, and providers and paths of the hub.\n\n"
        "In the running shell:\n"
        "  bash   source <(corvelctl completion bash)\n"
        "  zsh    source <(corvelctl completion zsh)\n"
        "  fish   corvelctl completion fish | source\n"
        "For good, add the line to ~/.bashrc, ~/.zshrc (behind compinit), or\n"
        "~/.config/fish/config.fish; an installed corvelctl needs nothing.");

    auto const unfinished = std::make_shared<complete_options>();
    unfinished->application = &line.get_application();
    auto& hidden =
        line.add("complete", "Complete a command line, for scripts", unfinished, &complete);
    hidden.add_option("LINE", unfinished->line, "The line up to the cursor")->required();
    hidden.group("");
    // A shell must not get text into the line that its user writes.
    line.set_failure_report(
        hidden,
        [](auto& /*out*/, auto const& /*ended*/) { return exit_code::done; },
        exit_code::done);
}

} // namespace arvenhold::corvel::hub::ctl
