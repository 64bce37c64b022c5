// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/command_line.hpp"
#include "corvelctl/commands.hpp"
#include "corvelctl/followed_hub.hpp"
#include "corvelctl/gnuplot_run.hpp"
#include "corvelctl/path_selection.hpp"
#include "corvelctl/plot_script.hpp"
#include "corvelctl/time_text.hpp"
#include "corvelctl/user_files.hpp"
#include "corvelctl/value_text.hpp"
#include <hub/session/path_pattern.hpp>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <optional>
#include <variant>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

namespace {

using clock = supervisor::clock;
using words = std::vector<std::string>;

constexpr std::size_t most_series = 16;
constexpr std::chrono::seconds patience_with_file{60};

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

// -- a recording --------------------------------------------------------------------------------------

std::string get_text(nlohmann::json const& row, char const* key) {
    auto const found = row.find(key);
    return found != row.end() && found->is_string() ? found->get<std::string>() : std::string{};
}

std::optional<double> read_measure(nlohmann::json const& row) {
    auto const value = row.value("value", nlohmann::json{});
    if (value.is_boolean()) {
        return value.get<bool>() ? 1.0 : 0.0;
    }
    if (value.is_number()) {
        return value.get<double>();
    }
    if (value.is_string() && get_text(row, "data_type") == "duration") {
        auto const parsed = parse_span(value.get<std::string>());
        return parsed ? find_measure(parsed->span) : std::nullopt;
    }
    return std::nullopt;
}

void read_value(plot_data& data, nlohmann::json const& row, timestamp when) {
    plot_data::names const names{get_text(row, "provider"), get_text(row, "path")};
    auto const value = read_measure(row);
    if (get_text(row, "freshness") != "live" || !value.has_value()) {
        data.add_gap(names);
        return;
    }
    auto const is_bool = get_text(row, "data_type") == "bool";
    data.add(names, when, *value, is_bool, get_text(row, "quality") == "good");
}

void read_row(plot_data& data, words const& wanted, nlohmann::json const& row) {
    auto const type = get_text(row, "type");
    auto const when = parse_time(get_text(row, "time"));
    if (!when.has_value()) {
        return;
    }
    if (type == "recording" || type == "definition" || type == "provider_event") {
        data.begin(*when);
    } else if (type == "gap") {
        data.add_gap(*when);
    } else if (type == "value" && is_wanted(wanted, get_text(row, "path"))) {
        read_value(data, row, *when);
    } else if (type != "value") {
        data.extend(*when);
    }
}

plot_data read_recording(std::string const& name, words const& wanted) {
    std::ifstream file{name};
    if (!file) {
        throw failure{exit_code::not_found, "cannot read " + name, "check its name"};
    }
    plot_data data;
    std::string line;
    for (std::size_t number = 1; std::getline(file, line); ++number) {
        auto const row = nlohmann::json::parse(line, nullptr, false);
        auto const is_row = row.is_object() && row.contains("type");
        if (!is_row && !file.eof()) { // the last row may be written just now
            throw failure{
                exit_code::usage,
                name + " is no recording as JSON Lines: line " + std::to_string(number)
                    + " is something else",
                "make one: corvelctl record boiler -o boiler.jsonl"};
        }
        if (is_row) {
            read_row(data, wanted, row);
        }
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
            auto const number = find_measure(reading.value);
            if (!number.has_value() || !is_wanted(m_options.wanted, reading.path)) {
                continue;
            }
            plot_data::names const names{reading.provider, reading.path};
            if (reading.freshness == freshness::live) {
                auto const is_bool = std::holds_alternative<bool>(reading.value);
                auto const is_good = reading.quality == variable_quality::good;
                m_data.add(names, reading.when, *number, is_bool, is_good);
            } else {
                m_data.add_gap(names);
            }
        }
    }

    void receive_notice(provider_notice const& /*notice*/) override {}

    void receive_definition(
        std::string const& /*provider*/, known_definition const& /*now*/) override {}

    void receive_hub_state(std::string const& why) override {
        m_tool.out.note(why.empty() ? "the hub is back" : "the hub is lost: " + why);
    }

    void receive_dropped(std::uint64_t count) override {
        m_tool.out.warn(make_count_text(count, "change") + " dropped, as they came too fast");
    }

    void finish_round(clock::time_point now) override {
        if (now >= m_end) {
            finish();
        }
    }

    [[nodiscard]] std::optional<clock::time_point> get_next_time() const override {
        return m_end;
    }

    [[nodiscard]] bool is_done() const override {
        return m_is_drawn;
    }

    /// Draws what there is, once.
    void finish() {
        if (!std::exchange(m_is_drawn, true)) {
            m_data.extend(std::chrono::system_clock::now());
            draw(m_tool, m_options, m_data);
        }
    }

private:
    tool& m_tool;
    plot_options const& m_options;
    clock::time_point const m_end;
    plot_data m_data;
    bool m_is_drawn = false;
};

exit_code plot_live(tool& with, plot_options const& given) {
    constexpr std::size_t queue_limit = 100'000;
    with.guard.set_time(with.options.timeout.value_or(default_timeout));
    selection_options wanted;
    wanted.words = {given.source, given.wanted.size() == 1 ? given.wanted.front() : "**"};
    auto const selected = find_selection(with, wanted);
    with.guard.last_until_signal();
    collector receiver{with, given};
    followed_hub hub{with, selected, change_queue::every(queue_limit), receiver};
    auto const code = hub.run(std::nullopt);
    receiver.finish();
    return code;
}

exit_code plot(tool& with, plot_options const& given) {
    static_cast<void>(find_format(given.file));
    require_gnuplot();
    auto const is_file = given.source.find('/') != std::string::npos
                      || given.source.ends_with(".jsonl")
                      || std::filesystem::is_regular_file(given.source);
    if (!is_file) {
        return plot_live(with, given);
    }
    with.guard.set_time(with.options.timeout.value_or(patience_with_file));
    with.guard.set_step("drawing " + given.source);
    draw(with, given, read_recording(given.source, given.wanted));
    return exit_code::done;
}

} // namespace

void add_plot(command_line& line) {
    auto const options = std::make_shared<plot_options>();
    auto& command = line.add("plot", "Draw values over time in a picture", options, &plot);
    command
        .add_option(
            "FILE|PROVIDER", options->source, "Recording in JSON Lines, or provider to follow")
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
        "A word is a recording if it contains a / or ends with .jsonl, or if there is such "
        "a file. Ctrl-C\ndraws what there is. gnuplot must be installed.\n\n"
        "Examples:\n"
        "  corvelctl plot boiler.jsonl -o boiler.png\n"
        "  corvelctl plot boiler pressure_bar pump_running --for 30s -o boiler.svg");
}

} // namespace arvenhold::corvel::hub::ctl
