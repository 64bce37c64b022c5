// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/command_line.hpp"
#include "corvelctl/commands.hpp"
#include "corvelctl/hub_client.hpp"

namespace arvenhold::corvel::hub::ctl {

namespace {

struct providers_options {};

exit_code list_providers(tool& with, providers_options const& /*none*/) {
    hub_client client{with};
    auto const providers = client.get_providers();
    for (auto const& provider : providers) {
        if (with.out.is_json()) {
            with.out.print_object("provider", {{"provider", provider}});
        } else {
            with.out.print(printable(provider));
        }
    }
    if (providers.empty()) {
        with.out.note("the hub has no providers");
    }
    return exit_code::done;
}

} // namespace

void add_providers(command_line& line) {
    line.add(
        "providers", "List the providers", std::make_shared<providers_options>(), &list_providers);
}

} // namespace arvenhold::corvel::hub::ctl
