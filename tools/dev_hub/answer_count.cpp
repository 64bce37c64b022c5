// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/answer_count.hpp"

#include "dev_hub/hub_session.hpp"
#include "dev_hub/hub_subjects.hpp"
#include "dev_hub/mailbox.hpp"
#include "dev_hub/registry_messages.hpp"

#include <charconv>
#include <memory>
#include <random>
#include <string_view>
#include <variant>
#include <vector>

namespace arvenhold::corvel::hub::dev {
namespace {

// The number at the end of the subject of a reply; `count` for anything else.
std::size_t get_number(mail const& item, std::size_t count) {
    auto const* const message = std::get_if<nats_message>(&item);
    if (message == nullptr || natsMsg_GetDataLength(message->get()) == 0) {
        return count; // an empty message is the server's: nobody listens
    }
    std::string_view const subject{natsMsg_GetSubject(message->get())};
    auto const digits = subject.substr(subject.rfind('.') + 1);
    auto number = count;
    std::from_chars(digits.data(), std::to_address(digits.end()), number);
    return number;
}

} // namespace

std::map<std::string, std::size_t> count_answers(
    std::string const& url,
    std::string const& token,
    std::string const& client,
    std::set<std::string> const& providers,
    std::chrono::milliseconds limit) {
    auto const box = std::make_shared<mailbox>();
    hub_session session{{{url}, token, client, {}}, box};
    // Another client of this name may count at the same time.
    auto const inbox = "_INBOX." + client + '.' + std::to_string(std::random_device{}()) + '.';
    session.subscribe(inbox + '*');
    std::vector<std::string> const asked{providers.begin(), providers.end()};
    std::map<std::string, std::size_t> counts;
    for (std::size_t number = 0; number < asked.size(); ++number) {
        counts[asked[number]] = 0;
        // What cannot be sent is not answered.
        static_cast<void>(session.publish(
            make_read_request_subject(asked[number]),
            inbox + std::to_string(number),
            make_probe()));
    }
    auto const deadline = std::chrono::steady_clock::now() + limit;
    while (auto const item = box->wait_for_next(deadline)) {
        auto const number = get_number(*item, asked.size());
        if (number < asked.size()) {
            ++counts[asked[number]];
        }
    }
    return counts;
}

} // namespace arvenhold::corvel::hub::dev
