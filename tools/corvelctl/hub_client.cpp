// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/hub_client.hpp"

#include "corvelctl/failures.hpp"
#include "corvelctl/near_names.hpp"
#include "corvelctl/secrets.hpp"
#include "corvelctl/token_probe.hpp"
#include "corvelctl/user_files.hpp"

#include <algorithm>
#include <iterator>

namespace arvenhold::corvel::hub::ctl {

namespace {

constexpr char const* client_name = "corvelctl";

} // namespace

connection_settings prepare_connection(tool& with) {
    auto settings = find_connection(with.options);
    auto const is_first = with.reports.hide(list_secrets(settings)); // a command may connect twice
    if (is_first && is_readable_by_others(settings.secret_file)) {
        with.out.warn(
            "others may read the secret file; make it private: chmod 600 " + settings.secret_file);
    }
    with.guard.set_step("connecting to " + remove_secrets(settings.server_urls.front(), {}));
    return settings;
}

connect_options make_one_shot_options(
    connection_settings const& settings, std::chrono::milliseconds limit) {
    // A bit less, so that the operation that fails explains itself.
    auto const left = std::max(limit * 9 / 10, std::chrono::milliseconds{1});
    connect_options options;
    options.set_reconnect_attempts(0)
        .set_fail_requests_while_disconnected(true)
        .set_send_immediately(true)
        .set_connect_time_limit(left)
        .set_request_time_limit(left)
        .set_write_deadline(left)
        .set_token_time_limit(std::chrono::ceil<std::chrono::seconds>(left));
    set_servers(options, settings);
    return options;
}

void set_servers(connect_options& options, connection_settings const& settings) {
    auto const& urls = settings.server_urls;
    options.set_further_servers({std::next(urls.begin()), urls.end()});
    // The NATS client takes tls:// for a wish, and would show the token to a server without TLS.
    options.set_tls_required(std::any_of(
        urls.begin(), urls.end(), [](auto const& url) { return url.starts_with("tls://"); }));
    if (!settings.ca_file.empty()) {
        options.set_tls_ca_file(settings.ca_file);
    }
}

hub_client::hub_client(
    tool& with, variable_permissions permissions, std::optional<std::chrono::milliseconds> limit)
    : m_tool{with}
    , m_consumer{client_name, permissions == variable_permissions::read_only, nullptr, nullptr} {
    auto const settings = prepare_connection(with);
    auto options = make_one_shot_options(settings, limit.value_or(with.guard.get_time_left()));
    options.set_link_callback(&hub_client::note_link, this);
    try {
        m_consumer.connect(
            settings.server_urls.front(),
            settings.token_url,
            settings.client_id,
            settings.client_secret,
            options);
    } catch (connection_failed const& error) {
        auto const explained =
            explain_connecting(error, with.reports.get_token_failure(), settings);
        if (is_from_registry(error)) {
            throw registry_failure{explained};
        }
        throw failure{explained};
    }
}

std::vector<std::string> hub_client::get_providers() {
    auto const providers = m_consumer.get_provider_identifiers();
    if (providers == nullptr) {
        return {};
    }
    return {providers->begin(), providers->end()};
}

bool hub_client::has_lost_link() const {
    return m_link_lost;
}

void hub_client::note_link(link_event event, std::uint64_t /*dropped*/, void* user_data) {
    if (event == link_event::lost || event == link_event::closed) {
        static_cast<hub_client*>(user_data)->m_link_lost = true;
    }
}

std::shared_ptr<provider_connection> hub_client::attach(std::string const& provider) {
    auto const providers = get_providers();
    if (std::find(providers.begin(), providers.end(), provider) == providers.end()) {
        throw make_unknown_provider(provider, providers);
    }
    m_tool.guard.set_step("reading provider \"" + provider + '"');
    try {
        return m_consumer.attach_to_provider(provider);
    } catch (std::exception const& error) {
        throw explain_reading(error, provider);
    }
}

failure make_unknown_provider(
    std::string const& provider, std::vector<std::string> const& providers) {
    if (providers.empty()) {
        return {
            exit_code::not_found,
            "no provider \"" + provider + "\": the hub has no providers",
            "start one; on a development hub: corvelctl dev up --demo"};
    }
    return {
        exit_code::not_found,
        "no provider \"" + provider + '"' + ask_did_you_mean(provider, providers),
        "see all providers: corvelctl providers"};
}

} // namespace arvenhold::corvel::hub::ctl
