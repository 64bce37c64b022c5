// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// An oven as a service of systemd; oven.service starts it. It reads the client secret from a file that
// only the service can read, and ends with SIGTERM. What it prints goes to the journal, with a severity.

#include <hub/diagnostics.hpp>
#include <hub/session/provider_session.hpp>

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace hub = arvenhold::corvel::hub;

namespace {

// The journal reads the severity of a line from its beginning: <3> is an error, <4> a warning and <6>
// information. Each line is written at once, because callbacks run on several threads.
void log(char const* severity, std::string const& text) {
    std::istringstream lines{text};
    for (std::string line; std::getline(lines, line);) {
        std::cerr << severity + line + '\n';
    }
}

// When the token endpoint refuses the credentials, its report contains the client secret.
std::string without(std::string const& secret, std::string text) {
    for (auto at = text.find(secret); at != std::string::npos; at = text.find(secret, at + 3)) {
        text.replace(at, secret.size(), "***");
    }
    return text;
}

void log_diagnostic(hub::diagnostic const& report, void* secret) {
    auto const text = without(*static_cast<std::string*>(secret), std::string{report.text});
    switch (report.severity) {
    case hub::diagnostic_severity::information:
        return log("<6>", text);
    case hub::diagnostic_severity::warning:
        return log("<4>", text);
    case hub::diagnostic_severity::error:
        return log("<3>", text);
    }
}

void log_status(hub::session_status const& status) {
    log(status.state == hub::session_state::degraded ? "<4>" : "<6>", status.text);
}

// systemd names the folder with the credentials of a service.
std::string read_secret() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing here changes the environment
    auto const* const folder = std::getenv("CREDENTIALS_DIRECTORY");
    std::ifstream file{std::string{folder == nullptr ? "." : folder} + "/client-secret"};
    std::string secret;
    if (!std::getline(file, secret) || secret.empty()) {
        throw std::runtime_error{"the credential client-secret is missing"};
    }
    return secret;
}

// Waits for a second; returns whether the service is to end.
bool is_asked_to_end(sigset_t const& signals) {
    timespec const second{1, 0};
    return sigtimedwait(&signals, nullptr, &second) == SIGTERM;
}

void run(hub::provider_session& oven, sigset_t const& signals) {
    auto const temperature = oven.declare<double>("temperature", 20.0);
    auto const set_point = oven.declare<double>(
        "set_point", 150.0, hub::writable, [](double wanted) { return wanted <= 300.0; });
    oven.set_status_handler(log_status);
    oven.start(); // keeps trying, so the service may start before the hub does

    double celsius = 20.0;
    do {
        celsius += (set_point.get() - celsius) / 20;
        temperature.set(celsius);
    } while (!is_asked_to_end(signals));
}

} // namespace

int main(int argc, char** argv) try {
    std::vector<std::string> const access(argv, std::next(argv, argc));
    if (access.size() != 4) {
        std::cerr << "usage: oven_service <nats-url> <token-url> <client-id>\n";
        return 2;
    }
    // Blocked before other threads start, which inherit it: the signal is for the main thread.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    auto secret = read_secret();
    hub::set_diagnostics_callback(log_diagnostic, &secret);
    {
        hub::provider_session oven{"oven", {access[1], access[2], access[3], secret, {}}};
        run(oven, signals);
    }
    hub::set_diagnostics_callback(nullptr, nullptr); // before the secret is destroyed
} catch (std::exception const& error) {
    log("<3>", error.what());
    return 1;
}
