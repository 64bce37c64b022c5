// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/command_line.hpp"
#include "corvelctl/commands.hpp"
#include "corvelctl/hub_client.hpp"

#include <algorithm>
#include <chrono>
#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

namespace {

using names = std::vector<std::string>;

struct providers_options {
    bool watch = false;
};

void show(output& out, std::string const& provider) {
    if (out.is_json()) {
        out.print_object("provider", {{"provider", provider}});
    } else {
        out.print(printable(provider));
    }
}

void show_event(output& out, std::string const& provider, char const* event) {
    if (out.is_json()) {
        out.print_object("provider_event", {{"provider", provider}, {"event", event}});
        return;
    }
    std::string const word{event};
    auto const paint = word == "lost" ? colour::red : colour::green;
    out.print(out.paint(word, paint) + std::string(7 - word.size(), ' ') + printable(provider));
}

exit_code list_providers(tool& with) {
    hub_client client{with};
    auto const providers = client.get_providers();
    for (auto const& provider : providers) {
        show(with.out, provider);
    }
    if (providers.empty()) {
        with.out.note("the hub has no providers");
    }
    return exit_code::done;
}

// What was shown so far. Providers that were lost may return.
class watched_list {
public:
    explicit watched_list(output& out)
        : m_output{out} {}

    void update(names const& present) {
        for (auto const& one : names{m_present}) {
            if (std::find(present.begin(), present.end(), one) == present.end()) {
                show_event(m_output, one, "lost");
            }
        }
        for (auto const& one : present) {
            if (std::find(m_present.begin(), m_present.end(), one) == m_present.end()) {
                show_event(m_output, one, word_for(one));
            }
        }
        m_present = present;
    }

private:
    char const* word_for(std::string const& provider) {
        auto const is_new = m_known.insert(provider).second;
        if (!is_new) {
            return "back";
        }
        return "here";
    }

    output& m_output;
    names m_present;
    std::set<std::string> m_known;
};

// Looks at the list of a connected client until the link is lost.
std::optional<exit_code> watch_connected(tool& with, hub_client& client, watched_list& shown) {
    constexpr std::chrono::milliseconds interval{100};
    while (!client.has_lost_link()) {
        shown.update(client.get_providers());
        if (auto const signal = with.guard.wait_for_signal(supervisor::clock::now() + interval)) {
            return signal;
        }
    }
    return std::nullopt;
}

// Says once for each outage that it begins, and that it ends.
class outage_notes {
public:
    explicit outage_notes(output& out)
        : m_output{out} {}

    void begin() {
        if (!std::exchange(m_lasts, true)) {
            m_output.note("the hub is lost; trying again every second");
        }
    }

    void end() {
        if (std::exchange(m_lasts, false)) {
            m_output.note("the hub is back");
        }
    }

private:
    output& m_output;
    bool m_lasts = false;
};

// Watches over one connection. A hub that cannot be reached at the beginning is a failure, later it is
// an outage.
std::optional<exit_code> watch_once(
    tool& with, watched_list& shown, outage_notes& outage, bool& was_connected) {
    try {
        with.guard.set_time(with.options.timeout.value_or(default_timeout));
        hub_client client{with};
        outage.end();
        was_connected = true;
        return watch_connected(with, client, shown);
    } catch (failure const&) {
        if (!was_connected) {
            throw;
        }
        return std::nullopt;
    }
}

exit_code watch_providers(tool& with) {
    constexpr std::chrono::seconds pause{1};
    with.guard.last_until_signal();
    watched_list shown{with.out};
    outage_notes outage{with.out};
    auto was_connected = false;
    for (;;) {
        if (auto const signal = watch_once(with, shown, outage, was_connected)) {
            return *signal;
        }
        outage.begin();
        if (auto const signal = with.guard.wait_for_signal(supervisor::clock::now() + pause)) {
            return *signal;
        }
    }
}

exit_code providers(tool& with, providers_options const& given) {
    return given.watch ? watch_providers(with) : list_providers(with);
}

} // namespace

void add_providers(command_line& line) {
    auto const options = std::make_shared<providers_options>();
    auto& command = line.add("providers", "List the providers", options, &providers);
    command.add_flag("--watch", options->watch, "Also show who comes and goes, until Ctrl-C");
    command.footer(
        "With --watch a line says who is here at the beginning or comes, is lost, or is back.");
}

} // namespace arvenhold::corvel::hub::ctl
