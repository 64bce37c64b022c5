// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The sending process of the end-to-end comparisons: providers, sessions that provide the same, and
// a plain NATS client that sends messages of the same size. Carries out the orders on the control
// subject until it is ended.

#include "end_to_end.hpp"
#include "support/raw_nats.hpp"
#include <hub/hub.hpp>
#include <hub/session/provider_session.hpp>

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <iostream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

namespace arvenhold::corvel::hub::bench {

namespace {

using new_values = std::vector<std::tuple<variable_id, variable_value>>;

struct access {
    std::string nats_url;
    std::string token_url;
    std::string token;
};

class sending_provider {
public:
    sending_provider(
        access const& where, std::string const& identifier, std::size_t size, bool at_once)
        : m_provider{identifier} {
        provider_definition definition{size};
        for (std::size_t position = 0; position < size; ++position) {
            definition.add_variable_definition(
                "value/" + std::to_string(position), 0.5, variable_permissions::read_write);
        }
        definition.finalize();
        m_list = m_provider.register_provider_definition(definition);
        m_provider.connect(
            where.nats_url,
            where.token_url,
            "developer",
            "developer-secret",
            connect_options{}.set_send_immediately(at_once));
        for (auto const& [id, variable] : m_list->get_variables()) {
            m_ids.push_back(id);
        }
    }

    [[nodiscard]] new_values values() const {
        new_values all;
        for (auto const& [id, variable] : m_list->get_variables()) {
            all.emplace_back(id, 1.5);
        }
        return all;
    }

    // What an application passes that has measured the values just now.
    [[nodiscard]] new_values measured_values() const {
        new_values all;
        all.reserve(m_ids.size());
        for (auto const id : m_ids) {
            all.emplace_back(id, 1.5);
        }
        return all;
    }

    void publish(new_values values) {
        m_list->bulk_publish(std::move(values), std::chrono::system_clock::now());
    }

private:
    provider m_provider;
    std::shared_ptr<variable_list> m_list;
    std::vector<variable_id> m_ids;
};

// Provides the same through a session. It keeps every change, so that as much is sent as through a
// plain provider.
class sending_session {
public:
    sending_session(
        access const& where, std::string const& identifier, std::size_t size, bool at_once)
        : m_session{
            identifier,
            {where.nats_url,
             where.token_url,
             "developer",
             "developer-secret",
             connect_options{}.set_send_immediately(at_once)}} {
        constexpr std::size_t all = 1'000'000;
        for (std::size_t position = 0; position < size; ++position) {
            auto const variable =
                m_session.declare<double>("value/" + std::to_string(position), 0.5);
            m_session.keep_changes(variable.as_any(), all);
            m_variables.push_back(variable);
        }
        m_session.start();
        if (!m_session.wait_until_ready(std::chrono::seconds{30})) {
            throw std::runtime_error{"the session is not ready: " + m_session.get_status().text};
        }
    }

    void send() {
        if (m_variables.size() == 1) {
            m_variables.front().set(1.5);
            return;
        }
        m_session.update([this](auto& cycle) {
            for (auto const& variable : m_variables) {
                cycle.set(variable, 1.5);
            }
        });
    }

private:
    provider_session m_session;
    std::vector<variable_handle<double>> m_variables;
};

void pause(std::chrono::microseconds gap) {
    if (gap.count() > 0) {
        std::this_thread::sleep_for(gap);
    }
}

std::int64_t used_processor_time() {
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    constexpr std::int64_t million = 1'000'000;
    return (used.ru_utime.tv_sec + used.ru_stime.tv_sec) * million + used.ru_utime.tv_usec
         + used.ru_stime.tv_usec;
}

class sender {
public:
    explicit sender(access const& where)
        : m_access{where}
        , m_raw{where.nats_url, where.token}
        , m_raw_at_once{where.nats_url, where.token, true}
        , m_control{where.nats_url, where.token} {
        for (std::size_t const size : {1U, 100U, 1000U}) {
            add_provider(provider_with(size), size, false);
        }
        for (std::size_t const size : {1U, 1000U}) {
            add_provider(followed_provider_with(size), size, false);
        }
        add_provider(provider_with(1, true), 1, true);
        add_provider(followed_provider_with(1, true), 1, true);
        m_raw.subscribe(echo_subject, [this](natsMsg& request) {
            m_raw.publish(natsMsg_GetReply(&request), raw_nats::bytes_of(request));
        });
        m_control.subscribe(control_subject, [this](natsMsg& request) {
            std::istringstream command{std::string{raw_nats::bytes_of(request)}};
            auto const outcome = obey(command);
            if (auto const* const subject = natsMsg_GetReply(&request); subject != nullptr) {
                m_control.publish(subject, outcome);
            }
        });
    }

private:
    access m_access;
    std::map<std::string, sending_provider> m_providers;
    std::map<std::string, sending_session> m_sessions;
    raw_nats m_raw;
    raw_nats m_raw_at_once;
    raw_nats m_control;

    void add_provider(std::string const& identifier, std::size_t size, bool at_once) {
        m_providers.try_emplace(identifier, m_access, identifier, size, at_once);
    }

    // "library <provider> <events> <gap in us>", "session" and "raw-now" likewise,
    // "measured <provider> <events>", "raw <bytes> <events> <gap in us>", "outage <provider> <duration in ms>", or
    // "open <session> <variables> <1 to send immediately>". Answers with the processor time in
    // microseconds, or the longest call in nanoseconds.
    std::string obey(std::istream& command) {
        std::string what;
        std::string target;
        std::size_t number = 0;
        std::int64_t gap = 0;
        command >> what >> target >> number >> gap;
        auto const before = used_processor_time();
        if (what == "library") {
            send_values(m_providers.at(target), number, std::chrono::microseconds{gap});
        } else if (what == "measured") {
            send_measured(m_providers.at(target), number);
        } else if (what == "session") {
            send_changes(m_sessions.at(target), number, std::chrono::microseconds{gap});
        } else if (what == "open") {
            m_sessions.try_emplace(target, m_access, target, number, gap != 0);
        } else if (what == "outage") {
            return std::to_string(
                publish_through_outage(m_providers.at(target), std::chrono::milliseconds{number}));
        } else {
            send_bytes(
                what == "raw" ? m_raw : m_raw_at_once,
                std::stoul(target),
                number,
                std::chrono::microseconds{gap});
        }
        return std::to_string(used_processor_time() - before);
    }

    static void send_values(
        sending_provider& from, std::size_t events, std::chrono::microseconds gap) {
        std::vector<new_values> prepared(events, from.values());
        for (auto& values : prepared) {
            from.publish(std::move(values));
            pause(gap);
        }
    }

    static void send_measured(sending_provider& from, std::size_t events) {
        for (std::size_t event = 0; event < events; ++event) {
            from.publish(from.measured_values());
        }
    }

    static void send_changes(
        sending_session& from, std::size_t events, std::chrono::microseconds gap) {
        for (std::size_t event = 0; event < events; ++event) {
            from.send();
            pause(gap);
        }
    }

    static void send_bytes(
        raw_nats& through, std::size_t size, std::size_t events, std::chrono::microseconds gap) {
        std::string bytes(size, 'x');
        for (std::size_t event = 0; event < events; ++event) {
            auto const now = now_in_nanoseconds();
            std::memcpy(bytes.data(), &now, sizeof(now));
            through.publish(raw_subject, bytes);
            pause(gap);
        }
    }

    static std::int64_t publish_through_outage(
        sending_provider& from, std::chrono::milliseconds duration) {
        std::int64_t longest = 0;
        auto const end = std::chrono::steady_clock::now() + duration;
        while (std::chrono::steady_clock::now() < end) {
            auto const begin = now_in_nanoseconds();
            from.publish(from.values());
            longest = std::max(longest, now_in_nanoseconds() - begin);
            pause(std::chrono::milliseconds{1});
        }
        std::cout << "longest " << longest << std::endl;
        return longest;
    }
};

} // namespace

} // namespace arvenhold::corvel::hub::bench

int main(int argc, char** argv) {
    try {
        if (argc != 4) {
            std::cerr << "usage: corvel-hub-bench-sender <NATS URL> <token URL> <token>\n";
            return 2;
        }
        arvenhold::corvel::hub::bench::sender const running{{argv[1], argv[2], argv[3]}};
        std::cout << "ready" << std::endl;
        ::pause();
    } catch (std::exception const& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
