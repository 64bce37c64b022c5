// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/command_line.hpp"
#include "corvelctl/commands.hpp"
#include "corvelctl/csv_rows.hpp"
#include "corvelctl/followed_hub.hpp"
#include "corvelctl/json_rows.hpp"
#include "corvelctl/recording_file.hpp"
#include "corvelctl/time_text.hpp"
#include "corvelctl/value_pace.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <utility>

namespace arvenhold::corvel::hub::ctl {

namespace {

using clock = supervisor::clock;

constexpr std::size_t queue_limit = 100'000; // half a second at 200,000 changes a second
constexpr std::chrono::seconds flush_interval{1};
constexpr std::uint64_t kilobyte = 1000;

struct record_options {
    selection_options selection;
    std::string file;
    std::string format;
    std::optional<std::chrono::milliseconds> span;
    std::optional<std::chrono::milliseconds> interval;
    std::optional<std::uint64_t> most_size;
};

bool is_json_beginning(std::string_view line) {
    auto const header = nlohmann::json::parse(line, nullptr, false);
    return header.is_object() && header.value("type", "") == "recording";
}

bool is_csv_beginning(std::string_view line) {
    return line == csv_rows::titles;
}

bool is_csv(record_options const& given) {
    return given.format.empty() ? given.file.ends_with(".csv") : given.format == "csv";
}

std::string make_size(std::uint64_t bytes) {
    static constexpr std::array<char const*, 4> units{" B", " kB", " MB", " GB"};
    constexpr auto step = static_cast<double>(kilobyte);
    auto size = static_cast<double>(bytes);
    std::size_t unit = 0;
    while (size >= step && unit + 1 < units.size()) {
        size /= step;
        ++unit;
    }
    std::array<char, 32> digits{};
    auto const written = std::to_chars(
        digits.data(),
        digits.data() + digits.size(),
        size,
        std::chars_format::fixed,
        unit == 0 ? 0 : 1);
    return std::string{digits.data(), written.ptr} + units.at(unit);
}

// Writes a row for each value, and for everything because of which values may be missing.
class recorder final : public hub_receiver {
public:
    recorder(tool& with, record_options const& given, followed_selection const& selected)
        : m_output{with.out}
        , m_selected{selected}
        , m_rows{is_csv(given) ? std::unique_ptr<row_writer>{std::make_unique<csv_rows>()} : std::make_unique<json_rows>()}
        , m_most_size{given.most_size}
        , m_file{given.file, is_csv(given) ? &is_csv_beginning : &is_json_beginning}
        , m_name{given.file} {
        if (given.interval.has_value()) {
            m_pace.emplace(*given.interval);
        }
        std::string text;
        if (auto const earlier = m_file.get_earlier_end()) {
            m_rows->append_gap(text, *earlier, std::chrono::system_clock::now());
        } else {
            m_rows->append_header(text, m_selected, std::chrono::system_clock::now());
        }
        add(text);
        m_file.flush();
    }

    /// To be called before anything is received.
    void set_source(followed_hub const& hub) {
        m_hub = &hub;
    }

    void receive_values(std::vector<any_reading> const& now) override {
        record(m_pace.has_value() ? m_pace->pass(now) : now);
    }

    void receive_notice(provider_notice const& notice) override {
        if (m_pace.has_value()) {
            record(m_pace->take_all());
        }
        std::string text;
        m_rows->append_notice(text, notice);
        add(text);
    }

    void receive_definition(std::string const& provider, known_definition const& now) override {
        m_definitions[provider] = now;
        std::string text;
        m_rows->append_definition(text, provider, now, std::chrono::system_clock::now());
        add(text);
    }

    void receive_hub_state(std::string const& why) override {
        m_output.note(why.empty() ? "the hub is back" : "the hub is lost: " + why);
    }

    void receive_dropped(std::uint64_t count) override {
        m_dropped += count;
        std::string text;
        m_rows->append_dropped(text, count, std::chrono::system_clock::now());
        add(text);
    }

    void finish_round(clock::time_point now) override {
        if (m_pace.has_value()) {
            record(m_pace->take_due(now));
        }
        if (now >= m_next_flush) {
            m_next_flush = now + flush_interval;
            m_file.flush();
            m_output.show_progress(describe());
        }
    }

    [[nodiscard]] std::optional<clock::time_point> get_next_time() const override {
        auto const next = m_pace.has_value() ? m_pace->get_next_time() : std::nullopt;
        return std::min(m_next_flush, next.value_or(m_next_flush));
    }

    [[nodiscard]] bool is_done() const override {
        return false;
    }

    void finish() {
        if (m_pace.has_value()) {
            record(m_pace->take_all());
        }
        m_file.flush();
        m_output.note("recorded " + describe() + " in " + m_name);
        if (m_dropped > 0) {
            m_output.warn(
                make_dropped_text(m_dropped, "change") + "; --every records less of them");
        }
    }

private:
    void record(std::vector<any_reading> const& values) {
        constexpr std::size_t portion = 256; // so that a file is hardly larger than it may be
        for (std::size_t begin = 0; begin < values.size(); begin += portion) {
            auto const end = std::min(begin + portion, values.size());
            m_text.clear();
            for (auto index = begin; index < end; ++index) {
                m_rows->append_value(m_text, values[index]);
            }
            m_values += end - begin;
            add(m_text);
        }
    }

    void add(std::string const& rows) {
        auto const is_full = m_most_size.has_value() && m_file.get_size() > m_beginning_size
                          && m_file.get_size() + rows.size() > *m_most_size;
        if (is_full) {
            m_output.note("full: " + m_file.rotate().string());
            write_beginning();
        }
        m_file.append(rows);
    }

    // Each file can be read without the others.
    void write_beginning() {
        auto const now = timestamp{std::chrono::system_clock::now()};
        std::string text;
        m_rows->append_header(text, m_selected, now);
        for (auto const& [provider, defined] : m_definitions) {
            m_rows->append_definition(text, provider, defined, now);
        }
        for (auto const& reading : m_hub->get_readings()) {
            if (reading.freshness != freshness::never_received) {
                m_rows->append_value(text, reading);
            }
        }
        m_file.append(text);
        m_beginning_size = m_file.get_size();
    }

    [[nodiscard]] std::string describe() const {
        return make_count_text(m_values, "value") + " of "
             + make_count_text(m_definitions.size(), "provider") + ", "
             + make_size(m_file.get_size());
    }

    output& m_output;
    followed_selection const& m_selected;
    std::unique_ptr<row_writer> const m_rows;
    std::optional<std::uint64_t> const m_most_size;
    recording_file m_file;
    std::string const m_name;
    std::optional<value_pace> m_pace;
    followed_hub const* m_hub = nullptr;
    std::map<std::string, known_definition> m_definitions;
    clock::time_point m_next_flush{};
    std::uint64_t m_beginning_size = 0;
    std::uint64_t m_values = 0;
    std::uint64_t m_dropped = 0;
    std::string m_text;
};

exit_code record(tool& with, record_options const& given) {
    if (given.file == "-") {
        throw failure{
            exit_code::usage,
            "record writes a file, and - is none",
            "for the same rows on standard output: corvelctl watch --json"};
    }
    with.guard.set_time(with.options.timeout.value_or(default_timeout));
    auto const selected = find_selection(with, given.selection);
    with.guard.last_until_signal();
    with.out.ignore_reader();
    recorder receiver{with, given, selected};
    auto const queue =
        given.interval.has_value() ? change_queue::latest() : change_queue::every(queue_limit);
    followed_hub hub{with, selected, queue, receiver};
    receiver.set_source(hub);
    auto const code =
        hub.run(given.span.has_value() ? std::optional{clock::now() + *given.span} : std::nullopt);
    receiver.finish();
    return code;
}

} // namespace

void add_record(command_line& line) {
    auto const options = std::make_shared<record_options>();
    auto& command = line.add("record", "Record values and changes in a file", options, &record);
    add_selection(command, options->selection);
    command
        .add_option("-o,--output", options->file, "File to write; rows are appended if it is there")
        ->required()
        ->type_name("FILE");
    command
        .add_option(
            "--format", options->format, "jsonl or csv; by default csv if FILE ends with .csv")
        ->check(CLI::IsMember({"jsonl", "csv"}));
    add_duration(
        command,
        "--for",
        [options = options.get()](auto span) { options->span = span; },
        "End after this time");
    add_duration(
        command,
        "--every",
        [options = options.get()](auto every) { options->interval = every; },
        "At most one row of each variable in this time, the latest value");
    add_size(
        command,
        "--max-size",
        [options = options.get()](auto size) { options->most_size = size; },
        "Rename the full file to FILE.1, FILE.2 and so on, and go on with an empty one: 100M, 2G");
    command.footer("Records until Ctrl-C or --for. Rows are written every second. Outages are "
                   "survived, and have\n"
                   "rows of their own; see docs/corvelctl.md for the format.\n\n"
                   "Examples:\n"
                   "  corvelctl record boiler -o boiler.jsonl --for 1h\n"
                   "  corvelctl record boiler 'zones/*/temperature' -o zones.csv --every 1s\n"
                   "  corvelctl record -o all.jsonl --max-size 100M --wait");
}

} // namespace arvenhold::corvel::hub::ctl
