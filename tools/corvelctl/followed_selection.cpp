// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/followed_selection.hpp"

#include "corvelctl/hub_client.hpp"
#include "corvelctl/near_names.hpp"
#include "corvelctl/path_selection.hpp"
#include <hub/session/path_pattern.hpp>

#include <algorithm>

namespace arvenhold::corvel::hub::ctl {

namespace {

using names = std::vector<std::string>;

bool contains(names const& all, std::string const& one) {
    return std::find(all.begin(), all.end(), one) != all.end();
}

// The last word is the pattern if it is one, or is called one by `otherwise`.
template <class Predicate>
followed_selection split(names words, Predicate otherwise) {
    followed_selection selected;
    if (!words.empty() && (is_pattern(words.back()) || otherwise(words.back()))) {
        selected.paths = words.back();
        words.pop_back();
    }
    selected.providers = std::move(words);
    return selected;
}

failure make_unknown_word(std::string const& word, names const& known) {
    return {
        exit_code::not_found,
        "no provider and no path \"" + word + '"' + ask_did_you_mean(word, known),
        "see all providers: corvelctl providers; their paths: corvelctl browse PROVIDER"};
}

// Whether a provider has a path that is meant; adds all its paths to `known`.
bool has_path(
    hub_client& client, std::string const& provider, std::string const& wanted, names& known) {
    auto const all = client.attach(provider)->get_current_variables();
    auto has_any = false;
    for (auto const& [id, variable] : all) {
        has_any = has_any || matches_pattern(variable->get_path(), wanted);
        known.push_back(variable->get_path());
    }
    return has_any;
}

// One of the providers must have a path that is meant.
void require_path(hub_client& client, followed_selection const& selected, names const& listed) {
    auto const& providers = selected.providers.empty() ? listed : selected.providers;
    auto known = selected.providers.empty() ? listed : names{};
    auto const has_any = std::any_of(providers.begin(), providers.end(), [&](auto const& provider) {
        return has_path(client, provider, selected.paths, known);
    });
    if (has_any) {
        return;
    }
    if (selected.providers.empty()) {
        throw make_unknown_word(selected.paths, known);
    }
    throw make_unknown_path(selected.paths, known, selected.providers.front());
}

} // namespace

void add_selection(CLI::App& command, selection_options& options) {
    command.add_option(
        "PROVIDER",
        options.words,
        "Providers, all if none is named; behind them a path, or a pattern with * and **");
    command.add_flag(
        "--wait",
        options.waits,
        "Start although the hub or a provider is not there yet; only words with * are patterns");
}

followed_selection find_selection(tool& with, selection_options const& given) {
    if (given.waits) {
        return split(given.words, [](auto const& /*word*/) { return false; });
    }
    hub_client client{with};
    auto const listed = client.get_providers();
    auto selected = split(given.words, [&](auto const& word) { return !contains(listed, word); });
    for (auto const& provider : selected.providers) {
        if (!contains(listed, provider)) {
            throw make_unknown_provider(provider, listed);
        }
    }
    // A pattern for all providers may be meant for one that comes later.
    auto const may_come_later = selected.providers.empty() && is_pattern(selected.paths);
    if (!may_come_later && selected.paths != followed_selection{}.paths) {
        require_path(client, selected, listed);
    }
    return selected;
}

} // namespace arvenhold::corvel::hub::ctl
