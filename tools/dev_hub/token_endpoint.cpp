// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/token_endpoint.hpp"

#include "dev_hub/basic_credentials.hpp"
#include "dev_hub/dev_hub_failure.hpp"
#include "dev_hub/event_log.hpp"
#include "dev_hub/port_candidate.hpp"
#include "dev_hub/start_thread.hpp"
#include "protocol/subjects.hpp"

#include <httplib.h>
#include <nlohmann/json.hpp>

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <numeric>
#include <optional>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub::dev {
namespace {

constexpr char const* path = "/token";
constexpr std::size_t kept_requests = 1'000;
constexpr char const* json_content = "application/json";
constexpr std::array known_scopes{
    provider_scope, read_only_consumer_scope, read_write_consumer_scope};

// An OAuth2 error document.
struct refusal {
    int status;
    std::string error;
    std::string description;
};

std::string make_lower_case(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char character) {
        return static_cast<char>(std::tolower(character));
    });
    return text;
}

token_request make_record(httplib::Request const& request) {
    token_request record;
    for (auto const& [name, value] : request.headers) {
        record.headers.emplace(make_lower_case(name), value);
    }
    record.body = request.body;
    record.client = decode_basic_credentials(request.get_header_value("Authorization"))
                        .value_or(client_credentials{});
    record.grant_type = request.get_param_value("grant_type");
    record.scope = request.get_param_value("scope");
    record.when = std::chrono::steady_clock::now();
    return record;
}

bool has_form_content(token_request const& request) {
    auto const type = request.headers.find("content-type");
    return type != request.headers.end()
        && make_lower_case(type->second).starts_with("application/x-www-form-urlencoded");
}

void refuse(httplib::Response& response, refusal const& reason) {
    response.status = reason.status;
    if (reason.status == 401) {
        response.set_header("WWW-Authenticate", "Basic realm=\"corvel-hub\"");
    }
    nlohmann::ordered_json const document{
        {"error", reason.error}, {"error_description", reason.description}};
    response.set_content(document.dump(), json_content);
}

void grant(httplib::Response& response, std::string const& token) {
    response.set_header("Cache-Control", "no-store");
    nlohmann::ordered_json const document{
        {"access_token", token}, {"token_type", "Bearer"}, {"expires_in", 3600}};
    response.set_content(document.dump(), json_content);
}

void send(httplib::Response& response, fixed_answer const& answer) {
    response.status = answer.status;
    auto const write_pieces = [answer](httplib::DataSink& sink) {
        for (auto const& piece : answer.body) {
            sink.write(piece.data(), piece.size());
        }
        return !answer.cut_off; // false makes the server close the connection
    };
    if (answer.cut_off) {
        auto const length = std::accumulate(
            answer.body.begin(),
            answer.body.end(),
            std::size_t{1},
            [](std::size_t sum, std::string const& piece) { return sum + piece.size(); });
        response.set_content_provider(
            length,
            answer.content_type,
            [write_pieces](std::size_t, std::size_t, httplib::DataSink& sink) {
                return write_pieces(sink);
            });
    } else if (answer.body.size() > 1) {
        response.set_chunked_content_provider(
            answer.content_type, [write_pieces](std::size_t, httplib::DataSink& sink) {
                auto const complete = write_pieces(sink);
                sink.done();
                return complete;
            });
    } else if (!answer.body.empty()) {
        response.set_content(answer.body.front(), answer.content_type);
    }
}

// The threads that answer. Unlike the pool of the HTTP library, which starts its threads while it
// listens and ends the process if one is missing, they are all there when the object is.
class answering_threads final : public httplib::TaskQueue {
public:
    answering_threads() {
        try {
            start(8);
        } catch (...) {
            end();
            throw;
        }
    }

    answering_threads(answering_threads const&) = delete;
    answering_threads(answering_threads&&) = delete;
    answering_threads& operator=(answering_threads const&) = delete;
    answering_threads& operator=(answering_threads&&) = delete;

    ~answering_threads() override {
        end();
    }

    void enqueue(std::function<void()> answer) override {
        {
            std::scoped_lock const lock{m_mutex};
            m_waiting.push_back(std::move(answer));
        }
        m_changed.notify_one();
    }

    // What is waiting is still answered.
    void shutdown() override {
        end();
    }

private:
    std::mutex m_mutex; // guards what follows, down to m_ending
    std::condition_variable m_changed;
    std::deque<std::function<void()>> m_waiting;
    bool m_ending = false;
    std::vector<std::thread> m_threads;

    void start(std::size_t count) {
        while (m_threads.size() < count) {
            m_threads.push_back(start_thread([this] { run(); }));
        }
    }

    void end() {
        {
            std::scoped_lock const lock{m_mutex};
            m_ending = true;
        }
        m_changed.notify_all();
        for (auto& each : m_threads) {
            each.join();
        }
        m_threads.clear();
    }

    void run() {
        while (auto const answer = wait_for_next()) {
            answer();
        }
    }

    // Returns none at the end.
    std::function<void()> wait_for_next() {
        std::unique_lock lock{m_mutex};
        m_changed.wait(lock, [this] { return m_ending || !m_waiting.empty(); });
        if (m_waiting.empty()) {
            return nullptr;
        }
        auto next = std::move(m_waiting.front());
        m_waiting.pop_front();
        return next;
    }
};

} // namespace

class token_endpoint::impl {
public:
    impl(token_endpoint_options options, std::string token, event_log& log)
        : m_token{std::move(token)}
        , m_log{log}
        , m_port{options.port}
        , m_accepted_clients{std::move(options.accepted_clients)} {
        std::scoped_lock const lock{m_listener_mutex};
        if (m_port != 0) {
            listen_locked();
            return;
        }
        auto found = find_usable_port([this](auto candidate) {
            m_port = candidate;
            return try_listen_locked();
        });
        if (!found.has_value()) {
            throw dev_hub_failure{"the token endpoint found no free port"};
        }
        m_claim.emplace(std::move(found->claim));
    }

    impl(impl const&) = delete;
    impl(impl&&) = delete;
    impl& operator=(impl const&) = delete;
    impl& operator=(impl&&) = delete;

    ~impl() {
        stop_listening();
    }

    [[nodiscard]] std::string get_url() const {
        return "http://127.0.0.1:" + std::to_string(m_port) + path;
    }

    [[nodiscard]] std::vector<token_request> get_requests() const {
        std::scoped_lock const lock{m_mutex};
        return {m_requests.begin(), m_requests.end()};
    }

    [[nodiscard]] bool wait_until_requested(
        std::size_t count, std::chrono::milliseconds limit) const {
        std::unique_lock lock{m_mutex};
        return m_changed.wait_for(lock, limit, [&] { return m_requests.size() >= count; });
    }

    void set_accepted_clients(std::vector<client_credentials> clients) {
        std::scoped_lock const lock{m_mutex};
        m_accepted_clients = std::move(clients);
    }

    void set_delay(std::chrono::milliseconds delay) {
        std::scoped_lock const lock{m_mutex};
        m_delay = delay;
    }

    void set_fixed_answer(std::optional<fixed_answer> answer) {
        std::scoped_lock const lock{m_mutex};
        m_fixed_answer = std::move(answer);
    }

    void stop_listening() {
        std::scoped_lock const lock{m_listener_mutex};
        if (m_server == nullptr) {
            return;
        }
        set_closing(true);
        m_server->stop();
        m_listener.join();
        m_server.reset();
        set_closing(false);
    }

    void listen_again() {
        std::scoped_lock const lock{m_listener_mutex};
        if (m_server == nullptr) {
            listen_locked();
        }
    }

private:
    void listen_locked() {
        if (!try_listen_locked()) {
            throw dev_hub_failure{
                "the token endpoint cannot use port " + std::to_string(m_port)
                + ": another program listens there"};
        }
    }

    [[nodiscard]] bool try_listen_locked() {
        auto server = std::make_unique<httplib::Server>();
        // The library's default lets two programs share a port.
        server->set_socket_options([](socket_t socket) {
            int const yes = 1;
            ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        });
        // A client that keeps its connection open would hold up stop_listening().
        server->set_keep_alive_max_count(1);
        server->Post(path, [this](httplib::Request const& request, httplib::Response& response) {
            answer(request, response);
        });
        // Shared, because a std::function can be copied; the server takes over what is in it.
        server->new_task_queue = [threads = std::make_shared<std::unique_ptr<answering_threads>>(
                                      std::make_unique<answering_threads>())] {
            return threads->release();
        };
        auto listener = start_listener(*server);
        if (!listener.has_value()) {
            return false;
        }
        m_server = std::move(server);
        m_listener = std::move(*listener);
        // A stop before this point would be lost.
        while (!m_server->is_running()) {
            std::this_thread::yield();
        }
        return true;
    }

    // The port is opened on the thread, because the HTTP library does not close it again if there is
    // no thread to listen. Nothing if the port cannot be opened.
    [[nodiscard]] std::optional<std::thread> start_listener(httplib::Server& server) const {
        std::promise<bool> opened;
        auto is_open = opened.get_future();
        auto listener =
            start_thread([&server, port = m_port, promise = std::move(opened)]() mutable {
                bool const succeeded = server.bind_to_port("127.0.0.1", port);
                promise.set_value(succeeded);
                if (succeeded) {
                    server.listen_after_bind();
                }
            });
        if (is_open.get()) {
            return listener;
        }
        listener.join();
        return {};
    }

    void set_closing(bool closing) {
        {
            std::scoped_lock const lock{m_mutex};
            m_closing = closing;
        }
        m_changed.notify_all();
    }

    void answer(httplib::Request const& request, httplib::Response& response) {
        auto const record = make_record(request);
        if (auto const fixed = record_request(record)) {
            send(response, *fixed);
            m_log.record(event_kind::token_fault_answered, record.client.client_id, {});
            return;
        }
        if (auto const reason = find_refusal(record)) {
            refuse(response, *reason);
            m_log.record(
                event_kind::token_refused,
                record.client.client_id,
                reason->error + ": " + reason->description);
            return;
        }
        grant(response, m_token);
        m_log.record(event_kind::token_granted, record.client.client_id, record.scope);
    }

    // Records the request, waits for the delay, and returns the fixed answer if one is set.
    std::optional<fixed_answer> record_request(token_request const& request) {
        std::unique_lock lock{m_mutex};
        m_requests.push_back(request);
        if (m_requests.size() > kept_requests) {
            m_requests.pop_front();
        }
        m_changed.notify_all();
        m_changed.wait_for(lock, m_delay, [this] { return m_closing; });
        return m_fixed_answer;
    }

    [[nodiscard]] bool is_accepted(client_credentials const& client) const {
        std::scoped_lock const lock{m_mutex};
        return std::find(m_accepted_clients.begin(), m_accepted_clients.end(), client)
            != m_accepted_clients.end();
    }

    [[nodiscard]] std::optional<refusal> find_refusal(token_request const& request) const {
        if (!is_accepted(request.client)) {
            return refusal{401, "invalid_client", "unknown client id or wrong secret"};
        }
        if (!has_form_content(request)) {
            return refusal{
                400,
                "invalid_request",
                "the content type is not application/x-www-form-urlencoded"};
        }
        if (request.grant_type.empty()) {
            return refusal{400, "invalid_request", "grant_type is missing"};
        }
        if (request.grant_type != "client_credentials") {
            return refusal{400, "unsupported_grant_type", "only client_credentials is supported"};
        }
        if (std::find(known_scopes.begin(), known_scopes.end(), request.scope)
            == known_scopes.end()) {
            return refusal{400, "invalid_scope", "unknown scope"};
        }
        return {};
    }

    std::string const m_token;
    event_log& m_log;
    std::uint16_t m_port; // fixed when the constructor returns
    std::optional<port_claim> m_claim;

    mutable std::mutex m_mutex; // guards what the request threads share, down to m_closing
    mutable std::condition_variable m_changed;
    std::vector<client_credentials> m_accepted_clients;
    std::deque<token_request> m_requests;
    std::chrono::milliseconds m_delay{0};
    std::optional<fixed_answer> m_fixed_answer;
    bool m_closing = false;

    std::mutex m_listener_mutex; // guards the server and its thread; taken before m_mutex
    std::unique_ptr<httplib::Server> m_server;
    std::thread m_listener;
};

token_endpoint::token_endpoint(token_endpoint_options options, std::string token, event_log& log)
    : m_impl{std::make_unique<impl>(std::move(options), std::move(token), log)} {}

token_endpoint::~token_endpoint() = default;

std::string token_endpoint::get_url() const {
    return m_impl->get_url();
}

std::vector<token_request> token_endpoint::get_requests() const {
    return m_impl->get_requests();
}

bool token_endpoint::wait_until_requested(
    std::size_t count, std::chrono::milliseconds limit) const {
    return m_impl->wait_until_requested(count, limit);
}

void token_endpoint::set_accepted_clients(std::vector<client_credentials> clients) {
    m_impl->set_accepted_clients(std::move(clients));
}

void token_endpoint::set_delay(std::chrono::milliseconds delay) {
    m_impl->set_delay(delay);
}

void token_endpoint::answer_with(fixed_answer answer) {
    m_impl->set_fixed_answer(std::move(answer));
}

void token_endpoint::answer_normally() {
    m_impl->set_fixed_answer({});
}

void token_endpoint::stop_listening() {
    m_impl->stop_listening();
}

void token_endpoint::listen_again() {
    m_impl->listen_again();
}

} // namespace arvenhold::corvel::hub::dev
