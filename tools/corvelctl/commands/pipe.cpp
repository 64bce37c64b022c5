// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/command_line.hpp"
#include "corvelctl/commands.hpp"
#include "corvelctl/followed_hub.hpp"
#include "corvelctl/hub_client.hpp"
#include "corvelctl/input_lines.hpp"
#include "corvelctl/json_rows.hpp"
#include "corvelctl/path_selection.hpp"
#include "corvelctl/value_text.hpp"
#include "corvelctl/write_queue.hpp"
#include <hub/session/names.hpp>
#include <hub/session/path_pattern.hpp>

#include <algorithm>
#include <chrono>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

namespace {

using clock = supervisor::clock;

constexpr std::size_t queue_limit = 100'000; // half a second at 200,000 changes a second

struct pipe_options {
    std::optional<std::chrono::milliseconds> span;
    std::chrono::milliseconds within{2000};
    bool allows_writes = false;
    bool waits = false;
};

/// A request that needs the values of a provider.
struct waiting_request {
    nlohmann::json object;
    std::string provider;
    clock::time_point deadline;
};

std::vector<std::string> read_paths(nlohmann::json const& object) {
    if (!object.contains("paths")) {
        return {"**"};
    }
    auto const& paths = object["paths"];
    return paths.is_string() ? std::vector{paths.get<std::string>()}
                             : paths.get<std::vector<std::string>>();
}

failure explain_waiting(std::string const& provider, session_status const& status) {
    auto const text = "provider \"" + provider + "\": " + status.text;
    if (status.reason == session_reason::provider_missing) {
        return {
            exit_code::not_found,
            "no provider \"" + provider + '"',
            "see all providers: corvelctl providers"};
    }
    if (status.reason == session_reason::access_denied) {
        return {exit_code::refused, text};
    }
    if (status.reason == session_reason::server_unreachable
        || status.reason == session_reason::link_lost) {
        return {exit_code::unreachable, text};
    }
    return {exit_code::timed_out, text, "give it more time with --timeout 30s"};
}

// Answers requests, and writes a row for each value that is followed.
class pipe_desk final : public hub_receiver {
public:
    pipe_desk(tool& with, pipe_options const& given)
        : m_tool{with}
        , m_allows_writes{given.allows_writes}
        , m_lasts{given.span.has_value()}
        , m_limit{with.options.timeout.value_or(default_timeout)} {}

    /// To be called before anything is received.
    void set_hub(followed_hub& hub, write_queue& writes) {
        m_hub = &hub;
        m_writes = &writes;
    }

    void receive_values(std::vector<any_reading> const& now) override {
        for (auto const& reading : now) {
            m_rows.append_value(m_text, reading);
        }
    }

    void receive_notice(provider_notice const& notice) override {
        if (is_followed(notice.provider)) {
            m_rows.append_notice(m_text, notice);
        }
    }

    void receive_definition(std::string const& provider, known_definition const& now) override {
        m_rows.set_definition(provider, now);
    }

    void receive_hub_state(std::string const& why) override {
        m_tool.out.note(why.empty() ? "the hub is back" : "the hub is lost: " + why);
    }

    void receive_dropped(std::uint64_t count) override {
        m_rows.append_dropped(m_text, count, std::chrono::system_clock::now());
    }

    void finish_round(clock::time_point now) override {
        for (auto const& line : m_input.read()) {
            receive(line, now);
        }
        advance(now);
        for (auto const& result : m_writes->take_results()) {
            answer(result);
        }
        m_tool.out.print(m_text);
        m_text.clear();
    }

    [[nodiscard]] std::optional<clock::time_point> get_next_time() const override {
        return m_waiting.empty() ? std::nullopt : std::optional{m_waiting.front().deadline};
    }

    [[nodiscard]] bool is_done() const override {
        return !m_lasts && m_input.has_ended() && m_waiting.empty() && !m_writes->is_busy();
    }

    [[nodiscard]] std::vector<int> get_descriptors() const override {
        return {m_input.get_descriptor(), m_writes->get_descriptor()};
    }

private:
    void receive(input_line const& line, clock::time_point now) {
        auto const object = nlohmann::json::parse(line.text, nullptr, false);
        if (!object.is_object()) {
            m_tool.out.warn(
                "standard input, line " + std::to_string(line.number) + ": this is no JSON object");
            return;
        }
        attempt(object, [&] { begin(object, now); });
    }

    // Whatever a request fails with is its answer.
    void attempt(nlohmann::json const& object, std::function<void()> const& work) {
        try {
            work();
        } catch (failure const& failed) {
            answer(object, failed);
        } catch (nlohmann::json::exception const&) {
            answer(object, failure{exit_code::usage, "a key is missing or of a wrong type"});
        }
    }

    void begin(nlohmann::json const& object, clock::time_point now) {
        auto const type = object.value("type", "");
        if (type == "follow") {
            follow(object);
            return;
        }
        if (type != "read" && type != "write") {
            throw failure{
                exit_code::usage, "no type \"" + type + "\"; there are: follow, read, write"};
        }
        if (type == "write" && !m_allows_writes) {
            throw failure{
                exit_code::refused_locally,
                "this pipe does not write",
                "start it with the flag: corvelctl pipe --write"};
        }
        auto const provider = object.at("provider").get<std::string>();
        if (m_known.find(provider) == m_known.end()) {
            auto known = m_hub->get_session().follow_all(provider, "**");
            known.on_batch([](auto const& /*now*/) {}); // ends the waiting for values
            m_known.emplace(provider, std::move(known));
        }
        m_waiting.push_back({object, provider, now + m_limit});
    }

    void follow(nlohmann::json const& object) {
        auto const provider = object.at("provider").get<std::string>();
        auto const paths = read_paths(object);
        m_followed.push_back(provider);
        for (auto const& one : paths) {
            m_hub->follow(provider, one, change_queue::every(queue_limit));
        }
        answer(object, json_object::object());
    }

    [[nodiscard]] bool is_followed(std::string const& provider) const {
        return std::any_of(m_followed.begin(), m_followed.end(), [&](auto const& pattern) {
            return matches_pattern(provider, pattern);
        });
    }

    // Goes on with the requests whose provider is ready, or will not be in time.
    void advance(clock::time_point now) {
        m_waiting.remove_if([&](waiting_request const& one) { return is_answered(one, now); });
    }

    [[nodiscard]] bool is_answered(waiting_request const& request, clock::time_point now) {
        auto const status = m_hub->get_session().get_provider_status(request.provider);
        if (status.state == session_state::ready) {
            auto has_ended = true;
            attempt(request.object, [&] { has_ended = perform(request); });
            if (has_ended) {
                return true;
            }
        }
        auto const is_late =
            now >= request.deadline || status.reason == session_reason::provider_missing;
        if (is_late) {
            answer(request.object, explain_waiting(request.provider, status));
        }
        return is_late;
    }

    // Returns whether the request needs to wait no longer.
    [[nodiscard]] bool perform(waiting_request const& request) {
        auto const definition = m_hub->get_session().get_definition(request.provider);
        if (request.object["type"] == "read") {
            return read(request, definition);
        }
        write(request, definition);
        return true;
    }

    [[nodiscard]] bool read(waiting_request const& request, known_definition const& definition) {
        json_rows rows;
        rows.set_definition(request.provider, definition);
        std::map<std::string, any_reading> live;
        for (auto const& reading : m_known.at(request.provider).now()) {
            if (reading.freshness == freshness::live) {
                live.emplace(reading.path, reading);
            }
        }
        auto values = json_object::array();
        for (auto const& path : select(request, definition)) {
            auto const found = live.find(path);
            if (found == live.end()) {
                return false;
            }
            std::string row;
            rows.append_value(row, found->second);
            values.push_back(json_object::parse(row));
        }
        answer(request.object, {{"values", values}});
        return true;
    }

    // The paths that a request selects.
    static std::vector<std::string> select(
        waiting_request const& request, known_definition const& definition) {
        std::vector<std::string> paths;
        for (auto const& pattern : read_paths(request.object)) {
            if (!add_matching(paths, pattern, definition)) {
                throw make_unknown(pattern, request.provider, definition);
            }
        }
        return paths;
    }

    static bool add_matching(
        std::vector<std::string>& paths,
        std::string const& pattern,
        known_definition const& definition) {
        auto const size = paths.size();
        for (auto const& one : definition.variables) {
            if (matches_pattern(one.path, pattern)) {
                paths.push_back(one.path);
            }
        }
        return paths.size() > size;
    }

    static failure make_unknown(
        std::string const& path, std::string const& provider, known_definition const& definition) {
        std::vector<std::string> paths;
        for (auto const& one : definition.variables) {
            paths.push_back(one.path);
        }
        return make_unknown_path(path, paths, provider);
    }

    void write(waiting_request const& request, known_definition const& definition) {
        auto const path = request.object.at("path").get<std::string>();
        auto const found = std::find_if(
            definition.variables.begin(), definition.variables.end(), [&path](auto const& one) {
                return one.path == path;
            });
        if (found == definition.variables.end()) {
            throw make_unknown(path, request.provider, definition);
        }
        auto parsed = parse_object(request.object, get_zeros().at(found->type));
        if (!parsed.warning.empty()) {
            m_tool.out.warn(path + ": " + parsed.warning);
        }
        m_writes->add({request.object.dump(), request.provider, path, std::move(parsed.value)});
    }

    void answer(write_result const& result) {
        auto const object = nlohmann::json::parse(result.write.request);
        if (result.failed.has_value()) {
            answer(object, *result.failed);
            return;
        }
        json_object body{{"outcome", name_of(result.outcome)}};
        if (result.outcome == write_outcome::confirmed) {
            answer(object, body);
            return;
        }
        body["text"] = result.outcome == write_outcome::refused
                         ? "the provider holds another value"
                         : "the provider has published no value in time";
        answer(object, body, exit_code::not_confirmed);
    }

    void answer(nlohmann::json const& request, failure const& failed) {
        json_object body{{"text", failed.what()}};
        if (!failed.get_cure().empty()) {
            body["cure"] = failed.get_cure();
        }
        answer(request, body, failed.get_code());
    }

    // What was received before the answer is written before it.
    void answer(
        nlohmann::json const& request, json_object const& body, exit_code code = exit_code::done) {
        json_object whole{
            {"id", request.contains("id") ? json_object(request["id"]) : json_object()},
            {"exit_code", static_cast<int>(code)}};
        whole.update(body);
        m_text += make_json_line("answer", whole);
        m_text += '\n';
    }

    tool& m_tool;
    bool const m_allows_writes;
    bool const m_lasts;
    clock::duration const m_limit;
    followed_hub* m_hub = nullptr;
    write_queue* m_writes = nullptr;
    input_lines m_input;
    json_rows m_rows;
    std::vector<std::string> m_followed;               // patterns of providers
    std::map<std::string, followed_variables> m_known; // by provider
    std::list<waiting_request> m_waiting;              // the one that ends first comes first
    std::string m_text;
};

exit_code pipe(tool& with, pipe_options const& given) {
    with.guard.set_time(with.options.timeout.value_or(default_timeout));
    if (!given.waits) {
        static_cast<void>(hub_client{with}.get_providers());
    }
    with.guard.last_until_signal();
    pipe_desk desk{with, given};
    followed_hub hub{
        with,
        given.allows_writes ? variable_permissions::read_write : variable_permissions::read_only,
        desk};
    write_queue writes{hub.get_session(), given.within};
    desk.set_hub(hub, writes);
    auto const code =
        hub.run(given.span.has_value() ? std::optional{clock::now() + *given.span} : std::nullopt);
    hub.get_session().stop(); // ends a write that waits
    return code;
}

} // namespace

void add_pipe(command_line& line) {
    auto const options = std::make_shared<pipe_options>();
    auto& command = line.add(
        "pipe", "Follow, read and write for another program, in JSON Lines", options, &pipe);
    command.add_flag("--write", options->allows_writes, "Allow requests to write");
    add_duration(
        command,
        "--within",
        [options = options.get()](auto limit) { options->within = limit; },
        "How long a provider may take to confirm a write; 2s");
    add_duration(
        command,
        "--for",
        [options = options.get()](auto span) { options->span = span; },
        "End after this time instead of with the input");
    command.add_flag("--wait", options->waits, "Start although the hub is not there yet");
    command.footer(
        "Requests on standard input, one in a line; \"id\" is any value, and comes back in the "
        "answer:\n"
        "  {\"type\": \"follow\", \"id\": 1, \"provider\": \"boiler\", \"paths\": \"*_bar\"}\n"
        "  {\"type\": \"read\", \"id\": 2, \"provider\": \"boiler\", \"paths\": [\"mode\", "
        "\"level_mm\"]}\n"
        "  {\"type\": \"write\", \"id\": 3, \"provider\": \"boiler\", \"path\": \"mode\", "
        "\"value\": \"standby\"}\n\n"
        "Each has one answer, whose \"exit_code\" is one of those that corvelctl --help lists. "
        "Values\n"
        "that are followed have rows as watch --json writes them. Without \"paths\" all variables "
        "are meant. A "
        "request is\n"
        "answered within --timeout, and outages are survived. Ends with its input, when all "
        "requests\n"
        "are answered.\n\n"
        "Example:\n"
        "  echo '{\"type\":\"read\",\"id\":1,\"provider\":\"boiler\"}' | corvelctl pipe");
}

} // namespace arvenhold::corvel::hub::ctl
