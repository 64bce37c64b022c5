// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/command_line.hpp"
#include "corvelctl/commands.hpp"
#include "corvelctl/followed_hub.hpp"
#include "corvelctl/json_rows.hpp"
#include "corvelctl/terminal_screen.hpp"
#include "corvelctl/text_rows.hpp"
#include "corvelctl/value_pace.hpp"
#include "corvelctl/value_table.hpp"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

namespace {

using clock = supervisor::clock;

// Half a second at 200,000 changes a second, in about 20 MB.
constexpr std::size_t queue_limit = 100'000;

struct watch_options {
    selection_options selection;
    std::optional<std::uint64_t> count;
    std::optional<std::chrono::milliseconds> span;
    std::optional<clock::duration> interval;
    bool table = false;
    bool exit_on_loss = false;
};

// Remembers the first loss, for --exit-on-loss.
class loss_guard {
public:
    explicit loss_guard(bool is_wanted)
        : m_is_wanted{is_wanted} {}

    void see(std::vector<any_reading> const& now) {
        for (auto const& reading : now) {
            if (reading.freshness != freshness::live) {
                see("the value of " + reading.provider + ' ' + reading.path + " is stale");
            }
        }
    }

    void see(provider_notice const& notice) {
        if (notice.event == provider_event::lost || notice.event == provider_event::stale) {
            see("provider \"" + notice.provider + "\" is " + std::string{name_of(notice.event)}
                + ": " + notice.text);
        }
    }

    void see(std::string const& loss) {
        if (m_is_wanted && m_loss.empty()) {
            m_loss = loss;
        }
    }

    [[nodiscard]] bool has_seen_any() const {
        return !m_loss.empty();
    }

    /// @throws failure  Something was lost.
    void require_none() const {
        if (has_seen_any()) {
            throw failure{
                exit_code::unreachable, m_loss, "without --exit-on-loss the outage is survived"};
        }
    }

private:
    bool const m_is_wanted;
    std::string m_loss;
};

// Writes a line for each value, and what happens in between.
class line_watch final : public hub_receiver {
public:
    line_watch(tool& with, watch_options const& given, followed_selection const& selected)
        : m_output{with.out}
        , m_json{with.out.is_json() ? std::make_unique<json_rows>() : nullptr}
        , m_text{with, selected}
        , m_rows{m_json ? static_cast<row_writer&>(*m_json) : m_text}
        , m_left{given.count}
        , m_losses{given.exit_on_loss} {
        if (given.interval.has_value()) {
            m_pace.emplace(*given.interval);
        }
    }

    void receive_values(std::vector<any_reading> const& now) override {
        m_losses.see(now);
        show(m_pace.has_value() ? m_pace->pass(now) : now);
    }

    void receive_notice(provider_notice const& notice) override {
        m_losses.see(notice);
        if (is_done() && !m_losses.has_seen_any()) {
            return;
        }
        // The values themselves show who is here.
        if (m_json || notice.event != provider_event::here) {
            m_rows.append_notice(m_waiting, notice);
        }
    }

    void receive_definition(std::string const& provider, known_definition const& now) override {
        if (m_json) {
            m_json->set_definition(provider, now);
        }
    }

    void receive_hub_state(std::string const& why) override {
        write();
        if (why.empty()) {
            m_output.note("the hub is back");
        } else {
            m_output.note("the hub is lost: " + why);
            m_losses.see("the hub is lost: " + why);
        }
    }

    void receive_dropped(std::uint64_t count) override {
        m_dropped += count;
        m_rows.append_dropped(m_waiting, count, std::chrono::system_clock::now());
    }

    void finish_round(clock::time_point now) override {
        if (m_pace.has_value()) {
            show(m_pace->take_due(now));
        }
        write();
    }

    [[nodiscard]] std::optional<clock::time_point> get_next_time() const override {
        return m_pace.has_value() ? m_pace->get_next_time() : std::nullopt;
    }

    [[nodiscard]] bool is_done() const override {
        return m_left == 0U || m_losses.has_seen_any();
    }

    void finish() {
        write();
        if (m_dropped > 0) {
            m_output.warn(make_dropped_text(m_dropped, "change") + "; --rate shows less of them");
        }
        m_losses.require_none();
    }

private:
    void show(std::vector<any_reading> const& shown) {
        for (auto const& reading : shown) {
            if (m_left == 0U) {
                return;
            }
            m_rows.append_value(m_waiting, reading);
            if (m_left.has_value()) {
                --*m_left;
            }
        }
    }

    void write() {
        m_output.print(m_waiting);
        m_waiting.clear();
    }

    output& m_output;
    std::unique_ptr<json_rows> m_json; // null for lines for people
    text_rows m_text;
    row_writer& m_rows;
    std::optional<std::uint64_t> m_left;
    loss_guard m_losses;
    std::optional<value_pace> m_pace;
    std::uint64_t m_dropped = 0;
    std::string m_waiting;
};

// Shows a screen that is drawn again at an interval, with the size that the terminal has then.
class table_watch final : public hub_receiver {
public:
    table_watch(tool& with, watch_options const& given, std::string const& title)
        : m_output{with.out}
        , m_interval{given.interval.value_or(std::chrono::milliseconds{500})}
        , m_left{given.count}
        , m_losses{given.exit_on_loss}
        , m_table{title, has_unicode(), with.options.utc} {}

    void receive_values(std::vector<any_reading> const& now) override {
        m_losses.see(now);
        for (auto const& reading : now) {
            m_table.set_value(reading);
        }
        if (m_left.has_value()) {
            *m_left -= std::min<std::uint64_t>(*m_left, now.size());
        }
    }

    void receive_notice(provider_notice const& notice) override {
        m_losses.see(notice);
        m_table.set_notice(notice);
    }

    void receive_definition(
        std::string const& /*provider*/, known_definition const& /*now*/) override {}

    void receive_hub_state(std::string const& why) override {
        m_table.set_hub_state(why);
        if (!why.empty()) {
            m_losses.see("the hub is lost: " + why);
        }
    }

    void receive_dropped(std::uint64_t /*count*/) override {}

    void finish_round(clock::time_point now) override {
        if (now < m_next) {
            return;
        }
        m_next = now + m_interval;
        m_table.take_samples();
        terminal_screen::draw(m_table.make_screen(
            m_output, terminal_screen::get_size(), std::chrono::system_clock::now()));
    }

    [[nodiscard]] std::optional<clock::time_point> get_next_time() const override {
        return m_next;
    }

    [[nodiscard]] bool is_done() const override {
        return m_left == 0U || m_losses.has_seen_any();
    }

    void finish() const {
        m_losses.require_none();
    }

private:
    output& m_output;
    clock::duration const m_interval;
    std::optional<std::uint64_t> m_left;
    loss_guard m_losses;
    value_table m_table;
    clock::time_point m_next{};
};

std::optional<clock::time_point> get_deadline(watch_options const& given) {
    return given.span.has_value() ? std::optional{clock::now() + *given.span} : std::nullopt;
}

exit_code watch_lines(tool& with, watch_options const& given, followed_selection const& selected) {
    line_watch receiver{with, given, selected};
    // Of the changes within an interval only the latest counts.
    auto const queue =
        given.interval.has_value() ? change_queue::latest() : change_queue::every(queue_limit);
    followed_hub hub{with, selected, queue, receiver};
    auto const code = hub.run(get_deadline(given));
    receiver.finish();
    return code;
}

std::string make_title(followed_selection const& selected) {
    std::string title;
    for (auto const& provider : selected.providers) {
        title += (title.empty() ? "" : " ") + provider;
    }
    if (selected.paths != followed_selection{}.paths) {
        title += (title.empty() ? "" : " ") + selected.paths;
    }
    return printable(title.empty() ? "all providers" : title);
}

exit_code watch_table(tool& with, watch_options const& given, followed_selection const& selected) {
    table_watch receiver{with, given, make_title(selected)};
    followed_hub hub{with, selected, change_queue::latest(), receiver};
    auto code = exit_code::done;
    {
        terminal_screen const screen;
        code = hub.run(get_deadline(given));
    }
    receiver.finish();
    return code;
}

exit_code watch(tool& with, watch_options const& given) {
    if (given.table && (with.out.is_json() || !output::is_terminal())) {
        throw failure{
            exit_code::usage,
            with.out.is_json() ? "--table and --json exclude each other"
                               : "--table needs a terminal",
            "leave --table out to get a line for each change"};
    }
    with.guard.set_time(with.options.timeout.value_or(default_timeout));
    auto const selected = find_selection(with, given.selection);
    with.guard.last_until_signal();
    return given.table ? watch_table(with, given, selected) : watch_lines(with, given, selected);
}

} // namespace

void add_watch(command_line& line) {
    auto const options = std::make_shared<watch_options>();
    auto& command =
        line.add("watch", "Show values, and then every change of them", options, &watch);
    add_selection(command, options->selection);
    command.add_option("--count", options->count, "End after so many values")
        ->type_name("COUNT")
        ->check(make_number_check(1, std::numeric_limits<std::uint64_t>::max()));
    add_duration(
        command,
        "--for",
        [options = options.get()](auto span) { options->span = span; },
        "End after this time");
    add_rate(
        command,
        [options = options.get()](auto interval) { options->interval = interval; },
        "At most so many values of each variable: 5/s, 30/min; with --table so many drawings, 2/s");
    command.add_flag("--table", options->table, "A table on the whole screen, until Ctrl-C");
    command.add_flag(
        "--exit-on-loss", options->exit_on_loss, "Fail with 5 when a value or the hub is lost");
    command.footer(
        "Outages of the hub, the token endpoint and providers are survived, and shown.\n\n"
        "Examples:\n"
        "  corvelctl watch boiler\n"
        "  corvelctl watch boiler 'zones/*/temperature' --table\n"
        "  corvelctl watch boiler pressure_bar --rate 1/s --for 1min\n"
        "  corvelctl watch -j | grep '\"quality\":\"bad\"'");
}

} // namespace arvenhold::corvel::hub::ctl
