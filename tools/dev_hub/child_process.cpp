// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/child_process.hpp"

#include "dev_hub/dev_hub_failure.hpp"
#include "dev_hub/file_descriptor.hpp"
#include "dev_hub/start_thread.hpp"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <condition_variable>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <iterator>
#include <mutex>
#include <span>
#include <sstream>
#include <system_error>
#include <thread>
#include <utility>

namespace arvenhold::corvel::hub::dev {
namespace {

constexpr std::size_t kept_output = std::size_t{64} * 1024;
constexpr int exit_code_of_a_failed_start = 127;

struct pipe_ends {
    file_descriptor reading;
    file_descriptor writing;
};

pipe_ends make_pipe() {
    std::array<int, 2> numbers{};
    if (::pipe2(numbers.data(), O_CLOEXEC) != 0) {
        throw dev_hub_failure{"cannot open a pipe: " + std::generic_category().message(errno)};
    }
    return {file_descriptor{numbers[0]}, file_descriptor{numbers[1]}};
}

// Reads what is there; 0 at the end.
std::size_t read_some(file_descriptor const& from, std::span<std::byte> to) {
    ssize_t count = -1;
    do {
        count = ::read(from.get(), to.data(), to.size());
    } while (count < 0 && errno == EINTR);
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

// A pipe that holds the text and is closed for writing, so that no thread has to feed it.
file_descriptor make_pipe_with(std::string_view text) {
    if (text.size() > PIPE_BUF) {
        throw dev_hub_failure{"the standard input for a program does not fit into a pipe"};
    }
    auto pipe = make_pipe();
    if (::write(pipe.writing.get(), text.data(), text.size()) < 0) {
        throw dev_hub_failure{"cannot fill a pipe: " + std::generic_category().message(errno)};
    }
    return std::move(pipe.reading);
}

// Everything that the child needs between fork and exec, prepared before fork: in the child of a
// process with threads only a few calls are safe.
struct launch_plan {
    char const* executable;
    std::vector<char*> arguments; // ends with a null pointer
    pid_t parent;
    int standard_input;
    int output;
    int failure;
};

[[noreturn]] void become(launch_plan const& plan) noexcept {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): the kernel's interface
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != plan.parent) {
        ::_exit(exit_code_of_a_failed_start); // the parent ended before the line above
    }
    ::setpgid(0, 0);
    ::dup2(plan.standard_input, STDIN_FILENO);
    ::dup2(plan.output, STDOUT_FILENO);
    ::dup2(plan.output, STDERR_FILENO);
    // Libraries of this process may have opened files without the mark. Should the kernel be too
    // old for this call, the program merely inherits them.
    ::close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
    sigset_t none{};
    sigemptyset(&none);
    ::pthread_sigmask(SIG_SETMASK, &none, nullptr);
    ::execv(plan.executable, plan.arguments.data());
    auto const error = errno;
    [[maybe_unused]] auto const written = ::write(plan.failure, &error, sizeof error);
    ::_exit(exit_code_of_a_failed_start);
}

} // namespace

// The thread that starts the program, reads its output and waits for its end. It must be one thread
// from start to end: the kernel counts the end of the thread that forked as the parent's end.
class child_process::guardian {
public:
    guardian(
        std::string executable, std::vector<std::string> arguments, std::string_view standard_input)
        : m_executable{std::move(executable)}
        , m_arguments{std::move(arguments)} {
        std::promise<void> started;
        auto outcome = started.get_future();
        m_thread = start_thread(
            [this, promise = std::move(started), input = make_pipe_with(standard_input)]() mutable {
                run(std::move(promise), std::move(input));
            });
        try {
            outcome.get();
        } catch (...) {
            m_thread.join();
            throw;
        }
    }

    guardian(guardian const&) = delete;
    guardian(guardian&&) = delete;
    guardian& operator=(guardian const&) = delete;
    guardian& operator=(guardian&&) = delete;

    ~guardian() {
        send_signal(SIGKILL);
        m_thread.join();
    }

    [[nodiscard]] pid_t get_pid() const {
        return m_pid;
    }

    [[nodiscard]] bool is_running() const {
        std::scoped_lock const lock{m_mutex};
        return !m_ended;
    }

    void send_signal(int signal_number) const {
        // Under the lock, because the number is free for other processes once the end was noticed.
        std::scoped_lock const lock{m_mutex};
        if (!m_ended) {
            ::kill(m_pid, signal_number);
        }
    }

    void freeze() const {
        send_signal(SIGSTOP);
        // Without the lock, which is needed to notice that the program ends instead.
        siginfo_t ignored{};
        while (::waitid(P_PID, static_cast<id_t>(m_pid), &ignored, WSTOPPED | WNOWAIT) != 0
               && errno == EINTR) {
        }
    }

    [[nodiscard]] bool wait_until_ended(std::chrono::milliseconds limit) const {
        std::unique_lock lock{m_mutex};
        return m_changed.wait_for(lock, limit, [this] { return m_ended; });
    }

    [[nodiscard]] bool wait_until_output_contains(
        std::string_view text, std::chrono::milliseconds limit) const {
        std::unique_lock lock{m_mutex};
        auto const contains = [&] {
            return m_output.find(text) != std::string::npos;
        };
        m_changed.wait_for(lock, limit, [&] { return m_ended || contains(); });
        return contains();
    }

    [[nodiscard]] std::string get_output() const {
        std::scoped_lock const lock{m_mutex};
        return m_output;
    }

    [[nodiscard]] std::optional<int> get_exit_code() const {
        std::scoped_lock const lock{m_mutex};
        if (!m_ended || !WIFEXITED(m_status)) {
            return {};
        }
        return WEXITSTATUS(m_status);
    }

private:
    void run(std::promise<void> started, file_descriptor standard_input) {
        auto const output = start(std::move(standard_input), started);
        if (output.has_value()) {
            collect_output(*output);
            wait_for_end();
        }
    }

    // Fulfils the promise. The program's output; nothing if the program could not be started.
    std::optional<file_descriptor> start(
        file_descriptor standard_input, std::promise<void>& started) {
        try {
            auto output = make_pipe();
            m_pid = launch(standard_input, output.writing);
            started.set_value();
            return std::move(output.reading);
        } catch (std::exception const&) {
            started.set_exception(std::current_exception());
            return {};
        }
    }

    pid_t launch(file_descriptor const& standard_input, file_descriptor const& output) {
        auto failure = make_pipe();
        launch_plan plan{
            m_executable.c_str(),
            {},
            ::getpid(),
            standard_input.get(),
            output.get(),
            failure.writing.get()};
        plan.arguments.push_back(m_executable.data());
        for (auto& argument : m_arguments) {
            plan.arguments.push_back(argument.data());
        }
        plan.arguments.push_back(nullptr);

        auto const pid = ::fork();
        if (pid == 0) {
            become(plan);
        }
        if (pid < 0) {
            throw dev_hub_failure{
                "cannot start " + m_executable + ": " + std::generic_category().message(errno)};
        }
        failure.writing.close();
        int error = 0;
        if (read_some(failure.reading, std::as_writable_bytes(std::span{&error, 1})) != 0) {
            ::waitpid(pid, nullptr, 0);
            throw dev_hub_failure{
                "cannot start " + m_executable + ": " + std::generic_category().message(error)};
        }
        return pid;
    }

    void collect_output(file_descriptor const& output) {
        std::array<std::byte, 4096> piece{};
        while (auto const count = read_some(output, piece)) {
            append_output(std::span{piece}.first(count));
            m_changed.notify_all();
        }
    }

    void append_output(std::span<std::byte const> piece) {
        std::scoped_lock const lock{m_mutex};
        std::transform(
            piece.begin(), piece.end(), std::back_inserter(m_output), std::to_integer<char>);
        if (m_output.size() > kept_output) {
            m_output.erase(0, m_output.size() - kept_output);
        }
    }

    void wait_for_end() {
        // First without taking the end away, so that the process number stays reserved until the
        // lock is held.
        siginfo_t ignored{};
        while (::waitid(P_PID, static_cast<id_t>(m_pid), &ignored, WEXITED | WNOWAIT) != 0
               && errno == EINTR) {
        }
        {
            std::scoped_lock const lock{m_mutex};
            ::waitpid(m_pid, &m_status, 0);
            m_ended = true;
        }
        m_changed.notify_all();
    }

    // Used by the thread alone.
    std::string m_executable;
    std::vector<std::string> m_arguments;

    pid_t m_pid = -1; // set by the thread before the constructor returns, fixed from then on

    mutable std::mutex m_mutex; // guards everything below
    mutable std::condition_variable m_changed;
    std::string m_output;
    bool m_ended = false;
    int m_status = 0;

    std::thread m_thread;
};

child_process::child_process(
    std::string const& executable,
    std::vector<std::string> const& arguments,
    std::string_view standard_input)
    : m_guardian{std::make_unique<guardian>(executable, arguments, standard_input)} {}

child_process::~child_process() = default;

pid_t child_process::get_pid() const {
    return m_guardian->get_pid();
}

bool child_process::is_running() const {
    return m_guardian->is_running();
}

void child_process::send_signal(int signal_number) const {
    m_guardian->send_signal(signal_number);
}

void child_process::freeze() const {
    m_guardian->freeze();
}

bool child_process::wait_until_ended(std::chrono::milliseconds limit) const {
    return m_guardian->wait_until_ended(limit);
}

bool child_process::wait_until_output_contains(
    std::string_view text, std::chrono::milliseconds limit) const {
    return m_guardian->wait_until_output_contains(text, limit);
}

std::string child_process::get_output() const {
    return m_guardian->get_output();
}

std::optional<int> child_process::get_exit_code() const {
    return m_guardian->get_exit_code();
}

std::optional<std::string> find_executable(std::string const& name) {
    if (name.find('/') != std::string::npos) {
        return name;
    }
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody here changes the environment
    char const* const path = std::getenv("PATH");
    std::istringstream folders{
        std::string{path != nullptr ? path : ""} + ":/usr/local/sbin:/usr/sbin:/sbin"};
    for (std::string folder; std::getline(folders, folder, ':');) {
        auto candidate = (std::filesystem::path{folder} / name).string();
        if (::access(candidate.c_str(), X_OK) == 0) {
            return candidate;
        }
    }
    return {};
}

} // namespace arvenhold::corvel::hub::dev
