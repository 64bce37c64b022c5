// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/command_line.hpp"
#include "corvelctl/commands.hpp"
#include "corvelctl/event_wait.hpp"
#include "corvelctl/hub_client.hpp"
#include "corvelctl/kept_provider.hpp"
#include "corvelctl/recording_reader.hpp"
#include "corvelctl/replay_pace.hpp"
#include "corvelctl/session_access.hpp"
#include "corvelctl/time_text.hpp"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <deque>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

namespace {

using clock = supervisor::clock;

struct replay_options {
    std::string file;
    std::vector<std::string> providers;
    std::string name;
    double speed = 1;
    bool loops = false;
    bool keeps_times = false;
    registration_options registration;
};

/// A row and its place in the recorded time.
struct placed_row {
    timestamp place;
    recorded_row row;
};

bool is_loss(recorded_row const& row) {
    return row.kind == row_kind::event
        && (row.event == provider_event::lost || row.event == provider_event::stale);
}

// The rows of some providers with their places. What was read again after an outage is placed at its
// end, which the recording says only behind these rows.
class placed_rows {
public:
    placed_rows(recording_reader& recording, std::set<std::string> providers)
        : m_recording{recording}
        , m_providers{std::move(providers)} {}

    /// Returns the next row; null at the end. Valid until pop().
    [[nodiscard]] placed_row const* peek() {
        while (m_placed.empty() && fetch()) {
        }
        return m_placed.empty() ? nullptr : &m_placed.front();
    }

    void pop() {
        m_placed.pop_front();
    }

    void rewind() {
        m_recording.rewind();
        m_pace = {};
        m_known.clear();
        m_held.clear();
    }

private:
    [[nodiscard]] bool fetch() {
        auto row = m_recording.read();
        if (!row.has_value()) {
            return false;
        }
        auto const concerns =
            row->provider.empty() || m_providers.find(row->provider) != m_providers.end();
        if (concerns) {
            place(std::move(*row));
        }
        return true;
    }

    void place(recorded_row row) {
        if (row.kind == row_kind::value) {
            place_value(std::move(row));
        } else if (row.kind == row_kind::gap) {
            auto const from = row.from;
            auto const to = row.when;
            m_placed.push_back({m_pace.place(from), std::move(row)});
            m_pace.place(to);
        } else if (is_loss(row)) {
            m_held.try_emplace(row.provider);
            auto const when = row.when;
            m_placed.push_back({m_pace.place(when), std::move(row)});
        } else {
            m_pace.place(row.when);
            release(row);
        }
    }

    void place_value(recorded_row row) {
        auto const held = m_held.find(row.provider);
        if (held != m_held.end() && row.is_live) {
            held->second.push_back(std::move(row));
            return;
        }
        auto const variable = row.provider + ' ' + row.path;
        auto const is_first = m_known.insert(variable).second;
        if (!is_first && !row.is_live) {
            return; // the loss itself has a row, with its time
        }
        auto const place = m_pace.place_value(variable, row.when);
        m_placed.push_back({place, std::move(row)});
    }

    void release(recorded_row const& row) {
        if (row.kind != row_kind::event || row.event == provider_event::definition_changed) {
            return;
        }
        auto held = m_held.extract(row.provider);
        if (!held.empty()) {
            for (auto& one : held.mapped()) {
                place_value(std::move(one));
            }
        }
    }

    recording_reader& m_recording;
    std::set<std::string> const m_providers;
    replay_pace m_pace;
    std::unordered_set<std::string> m_known; // variables that have had a value
    std::deque<placed_row> m_placed;
    std::map<std::string, std::vector<recorded_row>> m_held; // by provider, only of lost ones
};

// Sets the recorded values when they are due.
class player {
public:
    player(
        tool& with,
        replay_options const& given,
        recording_reader& recording,
        std::map<std::string, kept_provider*> providers)
        : m_output{with.out}
        , m_given{given}
        , m_recording{recording}
        , m_providers{std::move(providers)}
        , m_rows{recording, collect_names(m_providers)} {}

    /// Sets the values with which the recording begins.
    void prepare() {
        if (auto const* const first = m_rows.peek()) {
            m_first_place = first->place;
        }
        m_reached = m_first_place;
        m_skipped = {};
        start();
        for (auto const* next = m_rows.peek(); next != nullptr && next->place <= m_first_place;
             next = m_rows.peek()) {
            play(*next);
        }
    }

    /// The recorded time goes on from now.
    void start() {
        m_start = clock::now();
        m_start_time = std::chrono::system_clock::now();
    }

    /// Plays what is due. Returns false at the end.
    [[nodiscard]] bool advance() {
        constexpr int portion = 10'000; // so that signals are seen
        for (int count = 0; count < portion; ++count) {
            auto const* const next = m_rows.peek();
            if (next == nullptr) {
                return begin_again();
            }
            reach(next->place);
            m_due = m_start + get_distance(next->place);
            if (m_due > clock::now()) {
                return true;
            }
            play(*next);
        }
        return true;
    }

    [[nodiscard]] clock::time_point get_next_time() const {
        return std::min(m_due, m_next_progress);
    }

    void show_progress() {
        constexpr std::chrono::milliseconds interval{500};
        if (clock::now() < m_next_progress) {
            return;
        }
        m_next_progress = clock::now() + interval;
        constexpr double width = 30;
        auto const progress = m_recording.get_progress();
        auto const full = static_cast<std::size_t>(progress * width);
        auto const percent = std::to_string(static_cast<int>(progress * 100));
        m_output.show_progress(
            '[' + std::string(full, '#') + std::string(static_cast<std::size_t>(width) - full, '.')
            + "] " + percent + " %  " + make_short(m_place, true) + "  "
            + make_count_text(m_values, "value"));
    }

    void finish() {
        m_output.note("replayed " + make_count_text(m_values, "value"));
        if (m_left_out > 0) {
            m_output.warn(
                "left out: " + make_count_text(m_left_out, "value")
                + ", because variables had another type before");
        }
    }

private:
    static std::set<std::string> collect_names(
        std::map<std::string, kept_provider*> const& providers) {
        std::set<std::string> names;
        for (auto const& [name, provider] : providers) {
            names.insert(name);
        }
        return names;
    }

    // Shortens a long pause: a correction of a provider's clock may look like one of years.
    void reach(timestamp place) {
        constexpr std::chrono::hours longest_pause{1};
        auto const before = std::exchange(m_reached, place);
        if (place - before > longest_pause) {
            m_skipped += place - before - longest_pause;
            m_output.warn(
                "nothing is due from " + make_short(before, true) + " to " + make_short(place, true)
                + "; only 1 h of that is played");
        }
    }

    // How long after the first row it is due; limited, so that it can be added to the present time.
    [[nodiscard]] std::chrono::nanoseconds get_distance(timestamp place) const {
        constexpr std::chrono::duration<double, std::nano> longest{
            std::chrono::hours{24 * 365 * 100}};
        return std::chrono::duration_cast<std::chrono::nanoseconds>(
            std::min(longest, (place - m_first_place - m_skipped) / m_given.speed));
    }

    [[nodiscard]] bool begin_again() {
        if (!m_given.loops || m_values == 0) {
            return false;
        }
        constexpr std::chrono::milliseconds shortest{100}; // a recording may have one instant only
        m_due = m_start + shortest;
        if (m_due <= clock::now()) {
            m_rows.rewind();
            prepare();
        }
        return true;
    }

    void play(placed_row const& next) {
        m_place = next.place;
        auto const& row = next.row;
        auto const when = m_given.keeps_times ? row.when : m_start_time + get_distance(next.place);
        if (row.kind == row_kind::value) {
            set(row, when);
        } else {
            mark_bad(row.provider, when);
        }
        m_rows.pop();
    }

    // The values of the provider, or of all, may have been others from here on.
    void mark_bad(std::string const& lost, timestamp when) {
        for (auto const& [name, provider] : m_providers) {
            if (lost.empty() || lost == name) {
                provider->set_all_qualities(variable_quality::bad, when);
            }
        }
    }

    void set(recorded_row const& row, timestamp when) {
        auto const variable = m_providers.at(row.provider)->find(row.path);
        if (!variable || variable.get().index() != row.value.index()) {
            ++m_left_out;
            return;
        }
        ++m_values;
        variable.set(row.value, row.is_live ? row.quality : variable_quality::bad, when);
    }

    output& m_output;
    replay_options const& m_given;
    recording_reader& m_recording;
    std::map<std::string, kept_provider*> const m_providers; // by recorded name
    placed_rows m_rows;
    timestamp m_first_place{};
    timestamp m_reached{}; // the place of the latest row that was looked at
    std::chrono::nanoseconds m_skipped{};
    timestamp m_place{};
    clock::time_point m_start{};
    timestamp m_start_time{};
    clock::time_point m_due{};
    clock::time_point m_next_progress{};
    std::uint64_t m_values = 0;
    std::uint64_t m_left_out = 0;
};

// The recorded providers that the user wants.
std::vector<std::string> find_names(
    replay_options const& given,
    std::map<std::string, std::vector<ctl::defined_variable>> const& definitions) {
    std::vector<std::string> names;
    names.reserve(definitions.size());
    for (auto const& [name, variables] : definitions) {
        names.push_back(name);
    }
    for (auto const& wanted : given.providers) {
        if (definitions.find(wanted) == definitions.end()) {
            throw make_unknown_provider(wanted, names);
        }
    }
    names = given.providers.empty() ? names : given.providers;
    if (names.empty()) {
        throw failure{exit_code::not_found, given.file + " has no values"};
    }
    if (!given.name.empty() && names.size() > 1) {
        throw failure{
            exit_code::usage,
            "--as names one provider, but the recording has " + std::to_string(names.size()),
            "choose one: corvelctl replay " + given.file + ' ' + names.front() + " --as "
                + given.name};
    }
    return names;
}

exit_code run(tool& with, kept_providers const& all, player& played) {
    auto const descriptors = get_descriptors(with, all);
    while (played.advance()) {
        played.show_progress();
        wait_for_events(with.out, descriptors, played.get_next_time());
        for (auto const& one : all) {
            static_cast<void>(one->dispatch()); // who wants to write is refused
        }
        if (auto const signalled = with.guard.wait_for_signal(clock::time_point{})) {
            return *signalled;
        }
    }
    return exit_code::done;
}

exit_code replay(tool& with, replay_options const& given) {
    with.guard.set_time(std::chrono::hours{1}); // of reading a large recording
    recording_reader recording{find_recording(given.file)};
    auto const definitions = collect_definitions(recording);
    auto const names = find_names(given, definitions);
    with.guard.set_time(with.options.timeout.value_or(default_timeout));
    auto registration = given.registration;
    registration.replaces = !given.name.empty();
    registration.flag = "--as";
    auto const name_of_one = [&given](std::string const& recorded) {
        return given.name.empty() ? recorded : given.name;
    };
    std::vector<std::string> shown;
    std::transform(names.begin(), names.end(), std::back_inserter(shown), name_of_one);
    require_free_names(with, shown, registration);
    auto const style = with.out.is_json() ? row_style::json : row_style::text;
    if (style == row_style::text) {
        with.out.ignore_reader();
    }
    kept_providers all;
    std::map<std::string, kept_provider*> by_name;
    for (auto const& name : names) {
        all.push_back(std::make_unique<kept_provider>(
            with, style, make_session_access(with), name_of_one(name), definitions.at(name)));
        by_name.emplace(name, all.back().get());
    }
    player played{with, given, recording, std::move(by_name)};
    played.prepare();
    if (auto const signalled = register_providers(with, all, registration)) {
        return *signalled;
    }
    played.start();
    auto const code = run(with, all, played);
    finish_providers(with, all, code);
    played.finish();
    return code;
}

// "2x", "0.5x" or "10".
double parse_speed(std::string const& text) {
    auto const digits =
        std::string_view{text}.substr(0, text.size() - (text.ends_with('x') ? 1 : 0));
    auto const* const end = digits.data() + digits.size();
    constexpr double slowest = 0.001;
    constexpr double fastest = 1000;
    double speed = 0;
    auto const [stopped, error] = std::from_chars(digits.data(), end, speed);
    if (error != std::errc{} || stopped != end || !(speed >= slowest) || !(speed <= fastest)) {
        throw CLI::ValidationError{
            '"' + text + "\" is no speed; write 2x or 0.5x, from 0.001x to 1000x"};
    }
    return speed;
}

} // namespace

void add_replay(command_line& line) {
    auto const options = std::make_shared<replay_options>();
    auto& command = line.add("replay", "Provide what was recorded", options, &replay);
    command.add_option("FILE", options->file, "Recording, with FILE.1 and so on before it")
        ->required();
    command.add_option("PROVIDER", options->providers, "Which of the recorded providers; all");
    command
        .add_option("--as", options->name, "Identifier of the provider instead of the recorded one")
        ->type_name("NAME");
    command
        .add_option_function<std::string>(
            "--speed",
            [options = options.get()](std::string const& text) {
                options->speed = parse_speed(text);
            },
            "How fast: 2x, 0.5x")
        ->type_name("SPEED");
    command.add_flag("--loop", options->loops, "Begin again at the end, until Ctrl-C");
    command.add_flag(
        "--original-times", options->keeps_times, "Give the values their recorded times");
    add_registration(command, options->registration);
    command.footer("Values have the present time unless --original-times is given. While a "
                   "provider was lost or\n"
                   "stale, or nothing was recorded, its values are bad. Writes are refused.\n"
                   "Where nothing is due for more than an hour, as after a jump of a provider's\n"
                   "clock, one hour is played.\n\n"
                   "Examples:\n"
                   "  corvelctl replay boiler.jsonl --as boiler-replayed --speed 2x\n"
                   "  corvelctl replay all.csv boiler --loop");
}

} // namespace arvenhold::corvel::hub::ctl
