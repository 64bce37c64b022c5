// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/dev_hub_run.hpp"

#include "corvelctl/demo_boiler.hpp"
#include "corvelctl/user_files.hpp"
#include "dev_hub/control.hpp"
#include "dev_hub/dev_hub.hpp"
#include "dev_hub/random_token.hpp"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <fstream>
#include <memory>
#include <ostream>
#include <streambuf>
#include <thread>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

namespace {

constexpr char const* client_id = "developer";
constexpr std::chrono::milliseconds poll_interval{20};
constexpr std::chrono::seconds start_limit{30};

// Writes the events to a file, line by line, and shows them if there is an output for that.
class event_lines : public std::streambuf {
public:
    event_lines(std::filesystem::path const& path, output* shown)
        : m_file{path, std::ios::trunc}
        , m_shown{shown} {}

protected:
    int_type overflow(int_type character) override {
        if (traits_type::eq_int_type(character, '\n')) {
            m_file << m_line << std::endl;
            if (m_shown != nullptr) {
                m_shown->show_event(m_line);
            }
            m_line.clear();
        } else if (!traits_type::eq_int_type(character, traits_type::eof())) {
            m_line += traits_type::to_char_type(character);
        }
        return traits_type::not_eof(character);
    }

private:
    std::ofstream m_file;
    output* const m_shown;
    std::string m_line;
};

// The state is there exactly while the hub runs.
class published_state {
public:
    published_state(std::filesystem::path directory, dev_hub_state const& state)
        : m_directory{std::move(directory)} {
        save_dev_hub(m_directory, state);
    }

    published_state(published_state const&) = delete;
    published_state& operator=(published_state const&) = delete;

    ~published_state() {
        forget_dev_hub(m_directory);
    }

private:
    std::filesystem::path m_directory;
};

dev_hub_state describe(dev::dev_hub& hub, dev_hub_wishes const& wanted) {
    dev_hub_state state;
    state.connection.server_url = hub.get_nats_server().get_url();
    state.connection.token_url = hub.get_token_endpoint().get_url();
    state.connection.client_id = client_id;
    state.connection.secret_file = get_dev_secret_path(wanted.directory).string();
    state.server_port = hub.get_nats_server().get_port();
    state.process = ::getpid();
    state.demo = wanted.demo;
    return state;
}

std::unique_ptr<demo_boiler> start_boiler(
    tool& with, dev_hub_state const& state, std::string const& secret) {
    auto boiler = std::make_unique<demo_boiler>(hub_access{
        state.connection.server_url,
        state.connection.token_url,
        state.connection.client_id,
        secret,
        {}});
    if (!boiler->wait_until_ready(start_limit)) {
        with.out.warn("the boiler is not ready yet");
    }
    return boiler;
}

// The arguments of a process that runs the hub in its foreground.
std::vector<std::string> make_arguments(dev_hub_wishes const& wanted) {
    std::vector<std::string> arguments{
        "corvelctl",
        "dev",
        "up",
        "--quiet",
        "--state",
        wanted.directory,
        "--port",
        std::to_string(wanted.port),
        "--token-port",
        std::to_string(wanted.token_port)};
    if (wanted.demo) {
        arguments.emplace_back("--demo");
    }
    return arguments;
}

// Never returns. Between fork() and exec() only the kernel's own functions may be called.
[[noreturn]] void become(std::vector<char*> const& arguments, int input, int errors) {
    ::setsid(); // Ctrl-C in this terminal is not meant for it
    ::dup2(input, STDIN_FILENO);
    ::dup2(input, STDOUT_FILENO);
    ::dup2(errors, STDERR_FILENO);
    ::execv("/proc/self/exe", arguments.data());
    ::_exit(static_cast<int>(exit_code::other));
}

pid_t start_process(dev_hub_wishes const& wanted, std::filesystem::path const& errors_path) {
    auto texts = make_arguments(wanted);
    std::vector<char*> arguments(texts.size() + 1); // the last one is null
    std::transform(
        texts.begin(), texts.end(), arguments.begin(), [](auto& text) { return text.data(); });
    auto const input = open_private_file("/dev/null", O_RDWR);
    auto const errors = open_private_file(errors_path, O_WRONLY | O_CREAT | O_TRUNC);
    auto const child = ::fork();
    if (child == 0) {
        become(arguments, input, errors);
    }
    ::close(input);
    ::close(errors);
    return child;
}

std::string read_last_error(std::filesystem::path const& path) {
    constexpr std::string_view prefix = "corvelctl: ";
    std::ifstream file{path};
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(prefix)) {
            return line.substr(prefix.size());
        }
    }
    return "it has ended; see " + path.string();
}

} // namespace

class own_dev_hub::impl {
public:
    impl(tool& with, dev_hub_wishes const& wanted, events told)
        : m_secret{dev::make_random_token()}
        , m_events{prepare(wanted, m_secret), told == events::shown ? &with.out : nullptr}
        , m_lines{&m_events}
        , m_hub{make_options(wanted)}
        , m_control{m_hub.get_nats_server().get_port(), m_hub.get_faults()}
        , m_state{describe(m_hub, wanted)}
        , m_boiler{wanted.demo ? start_boiler(with, m_state, m_secret) : nullptr}
        , m_published{wanted.directory, m_state} {}

    [[nodiscard]] dev_hub_state const& get_state() const {
        return m_state;
    }

    [[nodiscard]] bool has_crashed() {
        return m_hub.get_nats_server().has_crashed();
    }

private:
    // Returns where the log is.
    static std::filesystem::path prepare(dev_hub_wishes const& wanted, std::string const& secret) {
        write_private_file(get_dev_secret_path(wanted.directory), secret + '\n');
        return get_dev_log_path(wanted.directory);
    }

    dev::dev_hub_options make_options(dev_hub_wishes const& wanted) {
        dev::dev_hub_options options;
        options.nats_server.port = wanted.port;
        options.nats_server.behind_proxy = true;
        options.token_endpoint.port = wanted.token_port;
        options.token_endpoint.accepted_clients = {{client_id, m_secret}};
        options.lines = &m_lines;
        return options;
    }

    std::string const m_secret;
    event_lines m_events;
    std::ostream m_lines;
    dev::dev_hub m_hub;
    dev::control_endpoint const m_control;
    dev_hub_state const m_state;
    std::unique_ptr<demo_boiler> const m_boiler;
    published_state const m_published;
};

own_dev_hub::own_dev_hub(tool& with, dev_hub_wishes const& wanted, events told)
    : m_impl{std::make_unique<impl>(with, wanted, told)} {}

own_dev_hub::~own_dev_hub() = default;

dev_hub_state const& own_dev_hub::get_state() const {
    return m_impl->get_state();
}

bool own_dev_hub::has_crashed() {
    return m_impl->has_crashed();
}

exit_code run_in_foreground(
    tool& with, dev_hub_wishes const& wanted, hub_announcement const& announce) {
    with.guard.last_until_signal();
    own_dev_hub hub{with, wanted, own_dev_hub::events::shown};
    announce(hub.get_state());
    for (;;) {
        constexpr std::chrono::milliseconds check_interval{250};
        auto const signal = with.guard.wait_for_signal(supervisor::clock::now() + check_interval);
        if (signal.has_value()) {
            return exit_code::done; // the way to end a hub is no failure
        }
        if (hub.has_crashed()) {
            throw failure{exit_code::other, "nats-server has ended"};
        }
    }
}

exit_code run_detached(tool& with, dev_hub_wishes const& wanted, hub_announcement const& announce) {
    if (!with.options.timeout.has_value()) {
        with.guard.set_time(start_limit);
    }
    with.guard.set_step("starting the development hub");
    std::filesystem::create_directories(wanted.directory);
    auto const errors = std::filesystem::path{wanted.directory} / "errors";
    auto const child = start_process(wanted, errors);
    for (;;) {
        auto const state = find_dev_hub(wanted.directory);
        if (state.has_value() && state->process == child) {
            announce(*state);
            return exit_code::done;
        }
        if (child < 0 || ::waitpid(child, nullptr, WNOHANG) == child) {
            throw failure{
                exit_code::other,
                read_last_error(errors),
                "if a port is taken, choose others: --port 0 --token-port 0"};
        }
        std::this_thread::sleep_for(poll_interval);
    }
}

} // namespace arvenhold::corvel::hub::ctl
