// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/completion_request.hpp"

#include "dev_hub/fault.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <utility>

namespace arvenhold::corvel::hub::ctl {

namespace {

// The kind of a place by the name of its argument, or by the type of its flag.
completed_kind find_kind(std::string const& name, bool is_only_one) {
    static std::map<std::string, completed_kind> const kinds{
        {"PATH", completed_kind::path},
        {"GLOB", completed_kind::path},
        {"PATH=VALUE", completed_kind::assignment},
        {"SOURCE", completed_kind::provider_or_file},
        {"FIRST", completed_kind::provider_or_file},
        {"SECOND", completed_kind::provider_or_file},
        {"FILE|PROVIDER", completed_kind::path_or_file_provider},
        {"FILE", completed_kind::file},
        {"DIR", completed_kind::file},
        {"NAME", completed_kind::context},
        {"--context", completed_kind::context}};
    if (name == "PROVIDER") {
        return is_only_one ? completed_kind::provider : completed_kind::provider_or_path;
    }
    auto const found = kinds.find(name);
    return found == kinds.end() ? completed_kind::nothing : found->second;
}

bool is_hidden(CLI::App const& command) {
    return command.get_group().empty();
}

bool takes_value(CLI::Option const& option) {
    return option.get_items_expected_max() > 0;
}

void add_words(std::vector<completion_candidate>& to, std::string_view words, char separator) {
    while (!words.empty()) {
        auto const end = std::min(words.find(separator), words.size());
        to.push_back({std::string{words.substr(0, end)}, {}});
        words.remove_prefix(std::min(end + 1, words.size()));
    }
}

// The line is read word by word, up to the one that is not finished.
class line_reader {
public:
    explicit line_reader(CLI::App const& application)
        : m_command{&application} {}

    void read(std::string const& word) {
        if (m_waiting != nullptr) {
            keep(*std::exchange(m_waiting, nullptr), word);
        } else if (m_only_arguments || !word.starts_with('-')) {
            read_argument(word);
        } else if (word == "--") {
            m_only_arguments = true;
        } else {
            read_flag(word);
        }
    }

    completion_request finish(std::string const& word) {
        m_request.current = word;
        auto const equals = word.find('=');
        if (m_waiting != nullptr) {
            complete_value(*m_waiting);
        } else if (m_only_arguments || !word.starts_with('-')) {
            complete_argument();
        } else if (equals == std::string::npos) {
            complete_flag();
        } else if (auto const* const flag = find_flag(word.substr(0, equals))) {
            m_request.front = word.substr(0, equals + 1);
            complete_value(*flag);
        }
        return m_request;
    }

private:
    void read_argument(std::string const& word) {
        auto const commands = m_command->get_subcommands(
            [&word](auto const* command) { return command->get_name() == word; });
        if (!commands.empty() && m_request.arguments.empty()) {
            m_command = commands.front();
        } else {
            m_request.arguments.push_back(word);
        }
    }

    void read_flag(std::string const& word) {
        auto const equals = word.find('=');
        auto const* const flag = find_flag(word.substr(0, equals));
        if (flag == nullptr || !takes_value(*flag)) {
            return;
        }
        if (equals == std::string::npos) {
            m_waiting = flag;
        } else {
            keep(*flag, word.substr(equals + 1));
        }
    }

    void keep(CLI::Option const& flag, std::string const& value) {
        m_request.options[flag.get_name()] = value;
    }

    // Flags of the program may stand behind a command.
    [[nodiscard]] CLI::Option const* find_flag(std::string const& name) const {
        for (auto const* at = m_command; at != nullptr; at = at->get_parent()) {
            if (auto const* const found = at->get_option_no_throw(name)) {
                return found;
            }
        }
        return nullptr;
    }

    void complete_flag() {
        for (auto const* at = m_command; at != nullptr; at = at->get_parent()) {
            add_flags(*at);
        }
    }

    void add_flags(CLI::App const& command) {
        for (auto const* const option : command.get_options()) {
            if (option->nonpositional() && find_flag(option->get_name()) == option) {
                m_request.fixed.push_back({option->get_name(), option->get_description()});
            }
        }
    }

    void complete_argument() {
        if (m_request.arguments.empty()) {
            add_commands(*m_command);
        }
        auto place = m_request.arguments.size();
        for (auto const* const option : m_command->get_options()) {
            auto const most = static_cast<std::size_t>(option->get_items_expected_max());
            if (option->get_positional() && place < most) {
                complete_value(*option);
                return;
            }
            place -= option->get_positional() ? most : 0;
        }
    }

    void add_commands(CLI::App const& group) {
        for (auto const* const command : group.get_subcommands({})) {
            if (!is_hidden(*command)) {
                m_request.fixed.push_back({command->get_name(), command->get_description()});
            }
        }
    }

    // A check against a set of words, as "TEXT:{jsonl,csv}", is part of the type's name.
    void complete_value(CLI::Option const& option) {
        auto const type = option.get_type_name();
        auto const begin = type.find('{');
        if (begin != std::string::npos && type.ends_with('}')) {
            add_words(
                m_request.fixed,
                std::string_view{type}.substr(begin + 1, type.size() - begin - 2),
                ',');
            for (auto& one : m_request.fixed) {
                one.text.insert(0, m_request.front);
            }
            return;
        }
        if (option.get_name() == "ERROR") { // or a command
            add_commands(*m_command->get_parent());
        }
        if (option.get_name() == "FAULT") {
            for (auto const& name : dev::get_fault_names()) {
                m_request.fixed.push_back({name, {}});
            }
        }
        auto const is_only_one = option.get_items_expected_max() == 1;
        m_request.kind = find_kind(option.get_name(), is_only_one);
        if (m_request.kind == completed_kind::nothing && !option.get_positional()) {
            m_request.kind = find_kind(type, is_only_one);
        }
    }

    CLI::App const* m_command;
    CLI::Option const* m_waiting = nullptr; // for the value of this flag
    bool m_only_arguments = false;
    completion_request m_request;
};

// How a quoted or escaped character of a line ends.
enum class quoting : std::uint8_t {
    none,
    single,
    doubled
};

std::optional<quoting> find_quoting(char character, quoting now) {
    if (character == '\'' && now != quoting::doubled) {
        return now == quoting::none ? quoting::single : quoting::none;
    }
    if (character == '"' && now != quoting::single) {
        return now == quoting::none ? quoting::doubled : quoting::none;
    }
    return std::nullopt;
}

} // namespace

std::vector<std::string> split_line(std::string_view line) {
    constexpr std::string_view white_space = " \t\n";
    std::vector<std::string> words;
    std::string word;
    auto is_in_word = false;
    auto now = quoting::none;
    for (std::size_t index = 0; index < line.size(); ++index) {
        auto const character = line[index];
        auto const is_space = white_space.find(character) != std::string_view::npos;
        auto const ends_word = now == quoting::none && is_space;
        if (ends_word && is_in_word) {
            words.push_back(std::exchange(word, {}));
        }
        is_in_word = !ends_word;
        if (ends_word) {
            continue;
        }
        if (auto const next = find_quoting(character, now)) {
            now = *next;
        } else if (character == '\\' && now != quoting::single && index + 1 < line.size()) {
            word += line[++index];
        } else {
            word += character;
        }
    }
    words.push_back(word);
    return words;
}

completion_request make_completion_request(
    CLI::App const& application, std::vector<std::string> const& words) {
    line_reader reader{application};
    std::for_each(
        words.begin(), std::prev(words.end()), [&](auto const& word) { reader.read(word); });
    return reader.finish(words.back());
}

} // namespace arvenhold::corvel::hub::ctl
