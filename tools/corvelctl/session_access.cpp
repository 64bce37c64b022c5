// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/session_access.hpp"

#include "corvelctl/hub_client.hpp"

namespace arvenhold::corvel::hub::ctl {

hub_access make_session_access(tool& with) {
    auto const settings = prepare_connection(with);
    hub_access access{
        settings.server_urls.front(),
        settings.token_url,
        settings.client_id,
        settings.client_secret,
        {}};
    set_servers(access.options, settings);
    return access;
}

} // namespace arvenhold::corvel::hub::ctl
