// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/command_line.hpp"
#include "corvelctl/commands.hpp"
#include "corvelctl/followed_hub.hpp"
#include "corvelctl/gnuplot_run.hpp"
#include "corvelctl/hub_client.hpp"
#include "corvelctl/path_selection.hpp"
#include "corvelctl/plot_script.hpp"
#include "corvelctl/recording_reader.hpp"
#include "corvelctl/time_text.hpp"
#include "corvelctl/user_files.hpp"
#include "corvelctl/value_text.hpp"
#include <hub/session/path_pattern.hpp>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <variant>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

namespace {

using clock = supervisor::clock;
using words = std::vector<std::string>;

constexpr std::size_t most_series = 16;
constexpr std::chrono::hours time_for_recording{1};
constexpr std::chrono::seconds drawing_time{60};
constexpr std::chrono::seconds time_to_end{2};

struct plot_options {
    std::string source;
    words wanted;
    std::string file;
    std::chrono::milliseconds span{std::chrono::seconds{10}};
};

plot_format find_format(std::string const& file) {
    if (file.ends_with(".png") || file.ends_with(".svg")) {
        return file.ends_with(".png") ? plot_format::png : plot_format::svg;
    }
    throw failure{
        exit_code::usage,
        file + " is no file for a picture: its name must end with .png or .svg",
        "give -o values.png"};
}

bool is_wanted(words const& wanted, std::string const& path) {
    return wanted.empty() || std::any_of(wanted.begin(), wanted.end(), [&](auto const& one) {
               return matches_pattern(path, one);
           });
}

// The first argument that fits none of the paths; empty if each fits one.
std::string find_unknown(words const& wanted, words const& paths) {
    auto const unknown = std::find_if(wanted.begin(), wanted.end(), [&](auto const& one) {
        return std::none_of(paths.begin(), paths.end(), [&one](auto const& path) {
            return matches_pattern(path, one);
        });
    });
    return unknown == wanted.end() ? "" : *unknown;
}

std::optional<std::chrono::seconds> find_offset(bool utc, timestamp when) {
    if (utc) {
        return std::nullopt;
    }
    auto const time = std::chrono::system_clock::to_time_t(
        std::chrono::time_point_cast<std::chrono::system_clock::duration>(when));
    std::tm parts{};
    ::localtime_r(&time, &parts);
    return std::chrono::seconds{parts.tm_gmtoff};
}

void draw(tool& with, plot_options const& given, plot_data const& data) {
    auto const count = data.get_series().size();
    if (count == 0) {
        throw failure{
            exit_code::not_found,
            given.source + " has no numbers to draw",
            "name paths of numbers, bools or durations; see them: corvelctl browse PROVIDER"};
    }
    if (count > most_series) {
        throw failure{
            exit_code::usage,
            make_count_text(count, "variable") + " are too many for one picture, which has "
                + std::to_string(most_series) + " at most",
            "name paths or a pattern"};
    }
    auto const offset = find_offset(with.options.utc, data.get_begin());
    auto const picture = run_gnuplot(make_plot_script(data, find_format(given.file), offset));
    write_public_file(given.file, picture);
    if (with.out.is_json()) {
        with.out.print_object(
            "plot", {{"file", given.file}, {"variables", count}, {"values", data.count_values()}});
    } else {
        with.out.note(
            "drew " + make_count_text(data.count_values(), "value") + " of "
            + make_count_text(count, "variable") + " in " + given.file);
    }
}

void add_value(plot_data& data, words const& wanted, any_reading const& shown) {
    if (!is_wanted(wanted, shown.path)) {
        return;
    }
    plot_data::names const names{shown.provider, shown.path};
    auto const number = find_measure(shown.value);
    if (!number.has_value() || shown.freshness != freshness::live) {
        data.add_gap(names);
        return;
    }
    auto const is_bool = std::holds_alternative<bool>(shown.value);
    data.add(names, shown.when, *number, is_bool, shown.quality == variable_quality::good);
}

// -- a recording --------------------------------------------------------------------------------------

void add_row(plot_data& data, words const& wanted, recorded_row const& row) {
    switch (row.kind) {
    case row_kind::value:
        add_value(data, wanted, make_reading(row));
        break;
    case row_kind::beginning:
    case row_kind::definition:
    case row_kind::event:
        data.begin(row.when);
        break;
    case row_kind::gap:
        data.extend(row.from);
        data.add_gap(row.when);
        break;
    case row_kind::dropped:
    case row_kind::other:
        data.extend(row.when);
    }
}

plot_data read_recording(tool& with, plot_options const& given) {
    constexpr std::uint64_t portion = 100'000;
    recording_reader recording{find_recording(given.source)};
    plot_data data;
    std::set<std::string> recorded;
    for (std::uint64_t count = 1; auto const row = recording.read(); ++count) {
        if (row->kind == row_kind::value) {
            recorded.insert(row->path);
        }
        add_row(data, given.wanted, *row);
        if (count % portion == 0) {
            auto const percent = static_cast<int>(recording.get_progress() * 100);
            with.out.show_progress("read " + std::to_string(percent) + " %");
        }
    }
    words const paths{recorded.begin(), recorded.end()};
    if (auto const unknown = find_unknown(given.wanted, paths); !unknown.empty()) {
        throw failure{
            exit_code::not_found,
            describe_unknown_path(given.source, unknown, paths),
            "leave the paths out to draw everything"};
    }
    return data;
}

// -- a provider ---------------------------------------------------------------------------------------

// Collects values for a time, and draws them before the session ends, which may take longer.
class collector final : public hub_receiver {
public:
    collector(tool& with, plot_options const& given)
        : m_tool{with}
        , m_options{given}
        , m_end{clock::now() + given.span} {
        m_data.begin(std::chrono::system_clock::now());
    }

    void receive_values(std::vector<any_reading> const& now) override {
        for (auto const& reading : now) {
            add_value(m_data, m_options.wanted, reading);
        }
    }

    void receive_notice(provider_notice const& /*notice*/) override {}

    void receive_definition(
        std::string const& /*provider*/, known_definition const& /*now*/) override {}

    void receive_hub_state(std::string const& why) override {
        m_tool.out.note(why.empty() ? "the hub is back" : "the hub is lost: " + why);
    }

    void receive_dropped(std::uint64_t count) override {
        m_tool.out.warn(make_dropped_text(count, "change"));
    }

    void finish_round(clock::time_point now) override {
        constexpr std::chrono::milliseconds interval{500};
        if (now >= m_end) {
            finish();
        } else if (now >= m_next_progress) {
            m_next_progress = now + interval;
            auto const left = std::chrono::ceil<std::chrono::seconds>(m_end - now);
            m_tool.out.show_progress(
                make_count_text(m_data.count_values(), "value") + ", " + make_readable(left)
                + " left");
        }
    }

    [[nodiscard]] std::optional<clock::time_point> get_next_time() const override {
        return std::min(m_end, m_next_progress);
    }

    [[nodiscard]] bool is_done() const override {
        return m_is_drawn;
    }

    /// Draws what there is, once, also after a signal.
    void finish() {
        if (!std::exchange(m_is_drawn, true)) {
            m_tool.guard.set_time(drawing_time);
            m_data.extend(std::chrono::system_clock::now());
            draw(m_tool, m_options, m_data);
        }
    }

private:
    tool& m_tool;
    plot_options const& m_options;
    clock::time_point const m_end;
    clock::time_point m_next_progress{};
    plot_data m_data;
    bool m_is_drawn = false;
};

// Everything of the provider if several arguments must be compared with each path.
followed_selection find_followed(tool& with, plot_options const& given) {
    hub_client client{with};
    auto const all = client.attach(given.source)->get_current_variables();
    words paths;
    for (auto const& [id, variable] : all) {
        paths.push_back(variable->get_path());
    }
    if (auto const unknown = find_unknown(given.wanted, paths); !unknown.empty()) {
        throw make_unknown_path(unknown, paths, given.source);
    }
    return {{given.source}, given.wanted.size() == 1 ? given.wanted.front() : "**"};
}

exit_code plot_live(tool& with, plot_options const& given) {
    constexpr std::size_t queue_limit = 100'000;
    with.guard.set_time(with.options.timeout.value_or(default_timeout));
    auto const selected = find_followed(with, given);
    with.guard.last_until_signal();
    if (!with.out.is_json()) {
        with.out.ignore_reader();
    }
    collector receiver{with, given};
    followed_hub hub{with, selected, change_queue::every(queue_limit), receiver};
    auto const code = hub.run(std::nullopt);
    receiver.finish();
    with.guard.set_time(time_to_end);
    return code;
}

exit_code plot(tool& with, plot_options const& given) {
    static_cast<void>(find_format(given.file));
    require_gnuplot();
    if (!is_recording(given.source)) {
        return plot_live(with, given);
    }
    with.guard.set_time(with.options.timeout.value_or(time_for_recording));
    with.guard.set_step("drawing " + given.source);
    draw(with, given, read_recording(with, given));
    return exit_code::done;
}

} // namespace

void add_plot(command_line& line) {
    auto const options = std::make_shared<plot_options>();
    auto& command = line.add("plot", "Draw values over time in a picture", options, &plot);
    command
        .add_option(
            "FILE|PROVIDER",
            options->source,
            "Recording, with FILE.1 and so on before it, or provider to follow")
        ->required();
    command.add_option("PATH", options->wanted, "A path, or a pattern with * and **; all if none");
    command
        .add_option(
            "-o,--output", options->file, "Picture to write: its name ends with .png or .svg")
        ->required()
        ->type_name("FILE");
    add_duration(
        command,
        "--for",
        [options = options.get()](auto span) { options->span = span; },
        "How long a provider is followed; 10s");
    command.footer(
        "A word is a recording if it ends with .jsonl or .csv, or if there is such a file and it "
        "contains a .\nor a /. Ctrl-C draws what there is. gnuplot must be installed.\n\n"
        "Examples:\n"
        "  corvelctl plot boiler.jsonl -o boiler.png\n"
        "  corvelctl plot boiler pressure_bar pump_running --for 30s -o boiler.svg");
}

} // namespace arvenhold::corvel::hub::ctl
