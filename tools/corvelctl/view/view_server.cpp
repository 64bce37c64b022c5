// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/view/view_server.hpp"

#include "corvelctl/failures.hpp"
#include "corvelctl/view/page_files.hpp"

#include <httplib.h>

#include <sys/socket.h>

#include <atomic>
#include <charconv>
#include <chrono>
#include <limits>
#include <optional>
#include <thread>
#include <utility>

namespace arvenhold::corvel::hub::ctl {

namespace {

using clock = supervisor::clock;
using httplib::Request;
using httplib::Response;

constexpr std::size_t most_threads = 64; // a stream holds one, and so does an idle connection
constexpr std::chrono::milliseconds update_interval{100};
constexpr std::chrono::seconds longest_silence{1};
constexpr std::chrono::milliseconds password_interval{500};
constexpr std::size_t longest_body = std::size_t{64} * 1024;
constexpr std::size_t most_points = 100'000; // of a variable in one answer
constexpr char const* json_content = "application/json";

// Nothing is loaded from elsewhere, and no text becomes markup or a script.
constexpr char const* content_policy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data: blob:; "
    "connect-src 'self'; form-action 'self'; base-uri 'none'; frame-ancestors 'none'";

void set_security_headers(Request const& /*request*/, Response& response) {
    response.set_header("Content-Security-Policy", content_policy);
    response.set_header("X-Content-Type-Options", "nosniff");
    response.set_header("X-Frame-Options", "DENY");
    response.set_header("Referrer-Policy", "no-referrer");
    response.set_header("Cross-Origin-Opener-Policy", "same-origin");
    response.set_header("Cross-Origin-Resource-Policy", "same-origin");
    response.set_header("Cache-Control", "no-store");
}

void refuse(Response& response, int status, std::string const& text) {
    response.status = status;
    response.set_content(make_json_text({{"error", text}}), json_content);
}

void send_file(Response& response, std::string const& name) {
    auto const* const file = find_page_file(name);
    if (file == nullptr) {
        refuse(response, 404, "there is no such file");
        return;
    }
    response.set_content(file->content.data(), file->content.size(), file->type);
}

template <class Number>
std::optional<Number> parse_number(std::string_view text) {
    Number number{};
    auto const* const end = text.data() + text.size();
    auto const [stopped, error] = std::from_chars(text.data(), end, number);
    return error == std::errc{} && stopped == end ? std::optional{number} : std::nullopt;
}

// Sets what the request has; false if that is no number.
template <class Number, class Target>
bool read_parameter(Request const& request, char const* name, Target& target) {
    if (!request.has_param(name)) {
        return true;
    }
    auto const number = parse_number<Number>(request.get_param_value(name));
    if (number.has_value()) {
        target = *number;
    }
    return number.has_value();
}

std::optional<value_history::query> parse_query(Request const& request) {
    value_history::query wanted;
    wanted.most = most_points;
    auto const words = request.get_param_value("v");
    for (std::size_t begin = 0; begin < words.size();) {
        auto const end = std::min(words.find(',', begin), words.size());
        auto const number =
            parse_number<std::uint32_t>(std::string_view{words}.substr(begin, end - begin));
        if (!number.has_value()) {
            return std::nullopt;
        }
        wanted.variables.push_back(*number);
        begin = end + 1;
    }
    auto const is_right = read_parameter<std::int64_t>(request, "from", wanted.from)
                       && read_parameter<std::int64_t>(request, "to", wanted.to)
                       && read_parameter<std::uint64_t>(request, "after", wanted.after)
                       && read_parameter<std::size_t>(request, "most", wanted.most);
    wanted.most = std::min(wanted.most, most_points);
    return is_right ? std::optional{std::move(wanted)} : std::nullopt;
}

} // namespace

class view_server::impl {
public:
    impl(view_settings settings, hub_model& model, page_writer writer)
        : m_settings{std::move(settings)}
        , m_model{model}
        , m_writer{std::move(writer)} {
        configure();
        bind();
        m_door.emplace(m_settings.address, m_settings.key, m_settings.password, m_settings.link);
        add_routes();
        m_listener = std::thread{[this] {
            m_server.listen_after_bind();
        }};
        // A stop before this point would be lost.
        while (!m_server.is_running()) {
            std::this_thread::yield();
        }
    }

    impl(impl const&) = delete;
    impl(impl&&) = delete;
    impl& operator=(impl const&) = delete;
    impl& operator=(impl&&) = delete;

    ~impl() {
        m_model.close();
        m_server.stop();
        m_listener.join();
    }

    [[nodiscard]] std::string make_link() const {
        return m_door->make_link();
    }

private:
    // A stream of updates to one page.
    struct stream {
        std::uint64_t behind = 0;
        clock::time_point sent{};
        bool is_new = true;
    };

    void configure() {
        m_server.new_task_queue = [] {
            return new httplib::ThreadPool{
                most_threads}; // NOLINT(cppcoreguidelines-owning-memory): the library takes it
        };
        m_server.set_socket_options([](socket_t socket) {
            int const yes = 1;
            // The library's default lets two programs share a port.
            ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
            // A slow browser gets fewer updates instead of old ones from a large buffer.
            int const buffer = 256 * 1024;
            ::setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &buffer, sizeof buffer);
        });
        m_server.set_tcp_nodelay(true);
        m_server.set_payload_max_length(longest_body);
        m_server.set_keep_alive_max_count(10'000);
        m_server.set_keep_alive_timeout(2);
        m_server.set_pre_routing_handler([this](Request const& request, Response& response) {
            return look_at(request, response);
        });
        m_server.set_post_routing_handler(&set_security_headers);
    }

    void bind() {
        auto& address = m_settings.address;
        if (address.port == 0) {
            auto const port = m_server.bind_to_any_port(address.listen);
            address.port = static_cast<std::uint16_t>(std::max(port, 0));
        } else if (!m_server.bind_to_port(address.listen, address.port)) {
            address.port = 0;
        }
        if (address.port == 0) {
            throw failure{
                exit_code::other,
                "cannot listen on this address and port of " + address.listen,
                "if another program listens there, choose a free port: --port 0"};
        }
    }

    // Refuses what a page of this server would not send, before anything else looks at it.
    httplib::Server::HandlerResponse look_at(Request const& request, Response& response) {
        using result = httplib::Server::HandlerResponse;
        auto const host = request.get_header_value("Host");
        auto const origin = request.get_header_value("Origin");
        auto const site = request.get_header_value("Sec-Fetch-Site");
        auto const is_own = is_own_origin(m_settings.address, origin, host);
        auto const is_data = request.path.starts_with("/api/");
        auto const must_name_origin = !origin.empty() || request.method == "POST";
        auto const is_from_elsewhere =
            (must_name_origin && !is_own)
            || (is_data && !site.empty() && site != "same-origin" && site != "none");
        if (!is_own_host(m_settings.address, host)) {
            refuse(response, 421, "the Host header names another server");
        } else if (is_from_elsewhere) {
            refuse(response, 403, "another site has sent this request");
        } else if (is_data && !m_door->has_key(request.get_header_value("Cookie"))) {
            refuse(response, 401, "open the address that corvelctl view has printed");
        } else {
            return result::Unhandled;
        }
        set_security_headers(request, response);
        return result::Handled;
    }

    void add_routes() {
        m_server.Get("/", [this](Request const& request, Response& response) {
            send_page(request, response);
        });
        m_server.Get(R"(/page/([a-z0-9_.]+))", [](Request const& request, Response& response) {
            send_file(response, request.matches[1]);
        });
        m_server.Post("/login", [this](Request const& request, Response& response) {
            check_password(request, response);
        });
        m_server.Get("/api/stream", [this](Request const& /*request*/, Response& response) {
            send_stream(response);
        });
        m_server.Get("/api/history", [this](Request const& request, Response& response) {
            send_history(request, response);
        });
        m_server.Post("/api/write", [this](Request const& request, Response& response) {
            write(request, response);
        });
    }

    // A link from elsewhere brings no cookie with it, and neither does what it redirects to. So a
    // token is answered with the page itself, which then removes the token from the address.
    void send_page(Request const& request, Response& response) {
        auto const has_token =
            request.has_param("token") && m_door->open_with_token(request.get_param_value("token"));
        if (has_token || m_door->has_key(request.get_header_value("Cookie"))) {
            if (has_token) {
                response.set_header("Set-Cookie", m_door->make_cookie());
            }
            send_file(response, "index.html");
            return;
        }
        response.status = 401;
        send_file(response, m_door->has_password() ? "login.html" : "closed.html");
    }

    void check_password(Request const& request, Response& response) {
        {
            std::scoped_lock const lock{m_password_mutex};
            if (clock::now() < m_next_password) {
                refuse(response, 429, "wait a second");
                return;
            }
            if (!m_door->open_with_password(request.body)) {
                m_next_password = clock::now() + password_interval;
                refuse(response, 401, "this is not the password");
                return;
            }
        }
        response.set_header("Set-Cookie", m_door->make_cookie());
        response.status = 204;
    }

    void send_stream(Response& response) {
        if (m_streams.fetch_add(1) >= most_streams) {
            --m_streams;
            refuse(response, 503, "too many pages are open");
            return;
        }
        response.set_chunked_content_provider(
            "text/event-stream",
            [this,
             state = std::make_shared<stream>()](std::size_t /*offset*/, httplib::DataSink& sink) {
                auto const text = wait_for_update(*state);
                return !text.empty() && sink.write(text.data(), text.size());
            },
            [this](bool /*success*/) { --m_streams; });
    }

    // Nothing is made before the browser has taken what came before.
    std::string wait_for_update(stream& to) {
        std::string text;
        if (to.is_new) {
            to.is_new = false;
            text = "event: hello\ndata: " + make_json_text(m_settings.about) + "\n\n";
        } else {
            constexpr auto nothing = std::numeric_limits<std::uint64_t>::max();
            if (!m_model.wait_for_changes(nothing, to.sent + update_interval)
                || !m_model.wait_for_changes(to.behind, to.sent + longest_silence)) {
                return {};
            }
        }
        text += "data: ";
        to.behind = m_model.append_changes(text, to.behind);
        text += "\n\n";
        to.sent = clock::now();
        return text;
    }

    void send_history(Request const& request, Response& response) {
        auto const wanted = parse_query(request);
        if (!wanted.has_value()) {
            refuse(response, 400, "v, from, to, after and most are numbers");
            return;
        }
        std::string text;
        m_model.append_history(text, *wanted);
        response.set_content(text, json_content);
    }

    void write(Request const& request, Response& response) {
        if (!m_writer) {
            refuse(response, 403, "corvelctl view was started without --allow-writes");
            return;
        }
        auto const given = nlohmann::json::parse(request.body, nullptr, false);
        auto const is_text = [&](char const* key) {
            return given.is_object() && given.contains(key) && given[key].is_string();
        };
        if (request.get_header_value("Content-Type") != json_content || !is_text("provider")
            || !is_text("path") || !is_text("value")) {
            refuse(response, 400, "provider, path and value are strings of a JSON object");
            return;
        }
        auto const answer =
            m_writer({given["provider"], given["path"], given["value"], request.remote_addr});
        response.set_content(make_json_text(answer), json_content);
    }

    view_settings m_settings; // fixed when the constructor returns
    hub_model& m_model;
    page_writer const m_writer;
    std::optional<page_door> m_door; // there when the constructor returns
    std::atomic<int> m_streams{0};

    std::mutex m_password_mutex; // guards the time
    clock::time_point m_next_password{};

    httplib::Server m_server;
    std::thread m_listener;
};

view_server::view_server(view_settings settings, hub_model& model, page_writer writer)
    : m_impl{std::make_unique<impl>(std::move(settings), model, std::move(writer))} {}

view_server::~view_server() = default;

std::string view_server::make_link() const {
    return m_impl->make_link();
}

} // namespace arvenhold::corvel::hub::ctl
