// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/registry.hpp"

#include "dev_hub/dev_hub_failure.hpp"
#include "dev_hub/event_log.hpp"
#include "dev_hub/hub_session.hpp"
#include "dev_hub/hub_subjects.hpp"
#include "dev_hub/mailbox.hpp"
#include "dev_hub/registry_messages.hpp"
#include "dev_hub/start_thread.hpp"
#include "protocol/subjects.hpp"

#include <algorithm>
#include <condition_variable>
#include <functional>
#include <future>
#include <map>
#include <mutex>
#include <span>
#include <string_view>
#include <thread>
#include <utility>

namespace arvenhold::corvel::hub::dev {
namespace {

using std::chrono::steady_clock;

// After this time NATS clients are back that lost their connection together with the registry. They
// wait two seconds and a little by default.
constexpr std::chrono::milliseconds reconnect_time{2500};

constexpr std::string_view probe_inbox = "_INBOX.registry.probe.";

enum class presence {
    awaits_verdict, // not in the list, and comes into it with its verdict
    listed,
    gone // not in the list, and comes back into it when it answers
};

struct provider_entry {
    presence state = presence::awaits_verdict;
    std::optional<definition> known; // nothing once it was withdrawn
};

struct pending_verdict {
    std::string provider;
    definition judged;
    std::optional<std::string> broken_rule;
};

// What can be switched on and set while the registry runs.
struct behaviour {
    std::chrono::milliseconds verdict_delay;
    unsigned verdict_copies = 1;
    bool silent = false;
    bool rejects_all = false;
    std::set<std::string> rejected_providers;
};

std::span<std::uint8_t const> get_bytes(nats_message const& message) {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the client calls bytes char
    auto const* const data = reinterpret_cast<std::uint8_t const*>(natsMsg_GetData(message.get()));
    return {data, static_cast<std::size_t>(natsMsg_GetDataLength(message.get()))};
}

std::string get_reply_subject(nats_message const& message) {
    auto const* const reply = natsMsg_GetReply(message.get());
    return reply != nullptr ? reply : "";
}

std::string join(std::set<std::string> const& names) {
    std::string joined;
    for (auto const& name : names) {
        joined.append(joined.empty() ? "" : " ").append(name);
    }
    return joined;
}

} // namespace

// Everything happens on one thread, which alone uses the state and the connection: it takes items
// out of the mailbox, and does what is due in between. Other threads post tasks and wait for them.
class registry::impl {
public:
    impl(std::string url, std::string token, registry_options options, event_log& log)
        : m_url{std::move(url)}
        , m_token{std::move(token)}
        , m_options{options}
        , m_log{log}
        , m_behaviour{options.verdict_delay, 1, false, false, {}} {
        open_session();
        m_next_probe = steady_clock::now() + m_options.probe_interval;
        m_thread = start_thread([this] { run(); });
    }

    impl(impl const&) = delete;
    impl(impl&&) = delete;
    impl& operator=(impl const&) = delete;
    impl& operator=(impl&&) = delete;

    ~impl() {
        m_mailbox->post([this] { m_stopped = true; });
        m_thread.join();
    }

    // Runs `work`, which must not throw, on the registry's thread, and waits for what it returns.
    template <class Work>
    auto perform(Work work) {
        using result = std::invoke_result_t<Work&>;
        // Shared, because the thread still uses the task when its result is already there.
        auto const task = std::make_shared<std::packaged_task<result()>>(std::move(work));
        auto outcome = task->get_future();
        m_mailbox->post([task] { (*task)(); });
        return outcome.get();
    }

    // For any thread.

    [[nodiscard]] std::set<std::string> get_providers() const {
        std::scoped_lock const lock{m_list_mutex};
        return m_list;
    }

    [[nodiscard]] bool wait_until_listed(
        std::string const& provider, bool wanted, std::chrono::milliseconds limit) const {
        std::unique_lock lock{m_list_mutex};
        return m_list_changed.wait_for(
            lock, limit, [&] { return m_list.contains(provider) == wanted; });
    }

    // For the registry's thread; see perform().

    [[nodiscard]] behaviour& get_behaviour() {
        return m_behaviour;
    }

    [[nodiscard]] std::optional<definition> get_definition(std::string const& provider) const {
        auto const entry = m_entries.find(provider);
        return entry != m_entries.end() ? entry->second.known : std::nullopt;
    }

    void withdraw_definition(std::string const& provider) {
        auto const entry = m_entries.find(provider);
        if (entry != m_entries.end()) {
            entry->second.known.reset();
        }
        m_log.record(event_kind::definition_withdrawn, provider, {});
        publish(make_verdict_subject(provider), make_withdrawal_event());
    }

    void forget_provider(std::string const& provider) {
        bool const list_changed = set_presence(provider, presence::gone);
        m_entries.erase(provider);
        if (list_changed) {
            announce_list();
        }
    }

    // Why the registry is away now; nothing if it is back.
    std::optional<std::string> restart() {
        m_session.reset();
        m_entries.clear();
        m_verdicts.clear();
        m_list_held_until = steady_clock::now() + m_options.probe_interval;
        m_list_is_due = true;
        update_list();
        try {
            open_session();
        } catch (dev_hub_failure const& failure) {
            return failure.what();
        }
        return {};
    }

    void go_silent() {
        m_behaviour.silent = true;
        m_log.record(event_kind::registry_silent, {}, {});
    }

private:
    void run() {
        while (!m_stopped) {
            handle(m_mailbox->wait_for_next(get_next_deadline()));
            do_what_is_due(steady_clock::now());
        }
        m_session.reset();
    }

    [[nodiscard]] steady_clock::time_point get_next_deadline() const {
        auto deadline = m_next_probe;
        if (!m_verdicts.empty()) {
            deadline = std::min(deadline, m_verdicts.begin()->first);
        }
        return m_list_is_due ? std::min(deadline, m_list_held_until) : deadline;
    }

    void do_what_is_due(steady_clock::time_point now) {
        while (!m_verdicts.empty() && m_verdicts.begin()->first <= now) {
            auto const next = std::move(m_verdicts.begin()->second);
            m_verdicts.erase(m_verdicts.begin());
            publish_verdict(next);
        }
        if (m_list_is_due && m_list_held_until <= now) {
            publish_list();
        }
        if (m_next_probe <= now) {
            probe_all();
            m_next_probe = now + m_options.probe_interval;
        }
    }

    void open_session() {
        auto session = std::make_unique<hub_session>(
            hub_session_settings{{m_url}, m_token, "registry", {}}, m_mailbox);
        for (auto const& pattern : make_definition_patterns()) {
            session->subscribe(pattern);
        }
        session->subscribe(registry_queries_pattern);
        session->subscribe(std::string{probe_inbox} + ">");
        session->flush();
        m_session = std::move(session);
        m_noticed_reconnects = 0;
        announce_ready();
        m_session->flush(); // who connects from now on does not receive it
    }

    void announce_ready() {
        if (m_behaviour.silent) {
            return;
        }
        m_log.record(event_kind::registry_ready, {}, {});
        publish(std::string{registry_state_subject}, make_ready_event());
    }

    // What is published has been recorded before, so that the one who receives it finds it there.
    void publish(
        std::string const& subject, message_bytes const& bytes, std::string const& reply = {}) {
        if (m_session == nullptr) {
            return; // away since a restart that failed
        }
        auto const status = m_session->publish(subject, reply, bytes);
        if (status != NATS_OK) {
            m_log.record(event_kind::publication_failed, subject, natsStatus_GetText(status));
        }
    }

    // What arrives.

    void handle(std::optional<mail> const& item) {
        if (!item.has_value()) {
            return;
        }
        if (auto const* const message = std::get_if<nats_message>(&*item)) {
            handle_message(*message);
        } else if (auto const* const task = std::get_if<std::function<void()>>(&*item)) {
            (*task)();
        } else {
            notice_reconnect();
        }
    }

    void handle_message(nats_message const& message) {
        std::string const subject = natsMsg_GetSubject(message.get());
        if (m_behaviour.silent) {
            m_log.record(event_kind::message_ignored, subject, "the registry is silent");
        } else if (subject.starts_with(probe_inbox)) {
            handle_probe_answer(subject.substr(probe_inbox.size()), message);
        } else if (subject == providers_query_subject) {
            answer_providers_query(get_reply_subject(message));
        } else if (auto const queried = get_queried_provider(subject)) {
            answer_definition_query(*queried, get_reply_subject(message));
        } else if (auto const publisher = get_definition_publisher(subject)) {
            handle_definition(*publisher, subject, message);
        } else {
            m_log.record(event_kind::message_ignored, subject, "nothing that a registry reacts to");
        }
    }

    void answer_providers_query(std::string const& reply) {
        m_log.record(event_kind::providers_requested, {}, {});
        publish(reply, make_providers_reply(get_providers()));
    }

    void answer_definition_query(std::string const& provider, std::string const& reply) {
        auto const known = get_definition(provider);
        m_log.record(
            event_kind::definition_requested, provider, known.has_value() ? "" : "unknown");
        publish(reply, make_definition_reply(known.has_value() ? &*known : nullptr));
    }

    void handle_definition(
        std::string const& provider, std::string const& subject, nats_message const& message) {
        auto received = decode_definition_event(get_bytes(message));
        if (!received.has_value()) {
            m_log.record(event_kind::message_ignored, subject, "no readable definition");
            return;
        }
        m_log.record(
            event_kind::definition_received,
            provider,
            "fingerprint " + std::to_string(received->fingerprint) + ", "
                + std::to_string(received->variables.size()) + " variables");
        auto broken_rule = judge(provider, *received);
        if (!broken_rule.has_value()) {
            store(provider, *received);
        }
        m_verdicts.emplace(
            steady_clock::now() + m_behaviour.verdict_delay,
            pending_verdict{provider, std::move(*received), std::move(broken_rule)});
    }

    [[nodiscard]] std::optional<std::string> judge(
        std::string const& provider, definition const& received) const {
        if (m_behaviour.rejects_all || m_behaviour.rejected_providers.contains(provider)) {
            return "rejected on request";
        }
        return find_broken_rule(received);
    }

    void store(std::string const& provider, definition const& received) {
        auto& entry = m_entries[provider];
        entry.known = received;
        if (entry.state == presence::gone) {
            entry.state = presence::awaits_verdict;
        }
    }

    void publish_verdict(pending_verdict const& pending) {
        if (m_behaviour.silent) {
            return;
        }
        bool const accepted = !pending.broken_rule.has_value();
        // The list changes before the verdict lets the provider go on, and is published after it.
        bool const list_changed = accepted && m_behaviour.verdict_copies > 0
                               && set_presence(pending.provider, presence::listed);
        auto const event =
            make_verdict_event(pending.judged, accepted ? verdict::valid : verdict::invalid);
        for (unsigned copy = 0; copy < m_behaviour.verdict_copies; ++copy) {
            m_log.record(
                accepted ? event_kind::definition_accepted : event_kind::definition_rejected,
                pending.provider,
                pending.broken_rule.value_or(""));
            publish(make_verdict_subject(pending.provider), event);
        }
        if (list_changed) {
            announce_list();
        }
    }

    // Who is there.

    // Also called without a notification, which can be held up by callbacks of other connections in
    // this process.
    void notice_reconnect() {
        if (m_session == nullptr || !m_session->is_connected()) {
            return;
        }
        auto const count = m_session->get_reconnect_count();
        if (std::exchange(m_noticed_reconnects, count) == count) {
            return;
        }
        m_all_are_back_at = steady_clock::now() + reconnect_time;
        announce_ready();
    }

    void probe_all() {
        notice_reconnect();
        if (m_behaviour.silent || m_session == nullptr || !m_session->is_connected()) {
            return;
        }
        for (auto const& [provider, entry] : m_entries) {
            publish(
                make_read_request_subject(provider),
                make_probe(),
                std::string{probe_inbox} + provider);
        }
    }

    void handle_probe_answer(std::string const& provider, nats_message const& message) {
        auto const entry = m_entries.find(provider);
        if (entry == m_entries.end()) {
            return;
        }
        auto const [state, known] = entry->second;
        if (natsMsg_IsNoResponders(message.get())) {
            notice_reconnect();
            if (state == presence::listed && m_all_are_back_at <= steady_clock::now()
                && set_presence(provider, presence::gone)) {
                announce_list();
            }
            return;
        }
        // With another fingerprint it is about to publish another definition; consumers must not
        // come back to it with the old one.
        auto const answered = read_probe_answer(get_bytes(message));
        if (state == presence::gone && known.has_value() && answered == known->fingerprint
            && set_presence(provider, presence::listed)) {
            announce_list();
        }
    }

    // Whether the list is another one now.
    bool set_presence(std::string const& provider, presence state) {
        auto const entry = m_entries.find(provider);
        if (entry == m_entries.end() || entry->second.state == state) {
            return false;
        }
        auto const previous = std::exchange(entry->second.state, state);
        if (previous != presence::listed && state != presence::listed) {
            return false;
        }
        m_log.record(
            state == presence::listed ? event_kind::provider_listed : event_kind::provider_gone,
            provider,
            {});
        update_list();
        return true;
    }

    void announce_list() {
        m_list_is_due = true;
        if (m_list_held_until <= steady_clock::now()) {
            publish_list();
        }
    }

    void update_list() {
        std::set<std::string> list;
        for (auto const& [provider, entry] : m_entries) {
            if (entry.state == presence::listed) {
                list.insert(provider);
            }
        }
        {
            std::scoped_lock const lock{m_list_mutex};
            m_list = std::move(list);
        }
        m_list_changed.notify_all();
    }

    void publish_list() {
        m_list_is_due = false;
        if (m_behaviour.silent) {
            return;
        }
        auto const list = get_providers();
        m_log.record(event_kind::providers_published, {}, join(list));
        publish(std::string{providers_changed_subject}, make_providers_changed_event(list));
    }

    std::string const m_url;
    std::string const m_token;
    registry_options const m_options;
    event_log& m_log;
    std::shared_ptr<mailbox> const m_mailbox = std::make_shared<mailbox>();

    // Used on the registry's thread alone.
    std::unique_ptr<hub_session> m_session;
    std::map<std::string, provider_entry> m_entries;
    std::multimap<steady_clock::time_point, pending_verdict> m_verdicts; // by the time they are due
    behaviour m_behaviour;
    steady_clock::time_point m_next_probe;
    std::uint64_t m_noticed_reconnects = 0; // of the present session
    steady_clock::time_point m_all_are_back_at;
    steady_clock::time_point m_list_held_until;
    bool m_list_is_due = false;
    bool m_stopped = false;

    mutable std::mutex m_list_mutex; // guards the list, which the registry's thread replaces
    mutable std::condition_variable m_list_changed;
    std::set<std::string> m_list;

    std::thread m_thread;
};

registry::registry(
    std::string const& nats_url, std::string const& token, registry_options options, event_log& log)
    : m_impl{std::make_unique<impl>(nats_url, token, options, log)} {}

registry::~registry() = default;

std::set<std::string> registry::get_providers() const {
    return m_impl->get_providers();
}

std::optional<definition> registry::get_definition(std::string const& provider) const {
    return m_impl->perform([&] { return m_impl->get_definition(provider); });
}

bool registry::wait_until_provider_listed(
    std::string const& provider, std::chrono::milliseconds limit) const {
    return m_impl->wait_until_listed(provider, true, limit);
}

bool registry::wait_until_provider_gone(
    std::string const& provider, std::chrono::milliseconds limit) const {
    return m_impl->wait_until_listed(provider, false, limit);
}

void registry::set_verdict_delay(std::chrono::milliseconds delay) {
    m_impl->perform([&] { m_impl->get_behaviour().verdict_delay = delay; });
}

void registry::set_verdict_copies(unsigned copies) {
    m_impl->perform([&] { m_impl->get_behaviour().verdict_copies = copies; });
}

void registry::go_silent() {
    m_impl->perform([&] { m_impl->go_silent(); });
}

void registry::speak_again() {
    m_impl->perform([&] { m_impl->get_behaviour().silent = false; });
}

void registry::reject(std::string const& provider) {
    m_impl->perform([&] { m_impl->get_behaviour().rejected_providers.insert(provider); });
}

void registry::reject_all() {
    m_impl->perform([&] { m_impl->get_behaviour().rejects_all = true; });
}

void registry::judge_normally() {
    m_impl->perform([&] {
        m_impl->get_behaviour().rejects_all = false;
        m_impl->get_behaviour().rejected_providers.clear();
    });
}

void registry::withdraw_definition(std::string const& provider) {
    m_impl->perform([&] { m_impl->withdraw_definition(provider); });
}

void registry::forget_provider(std::string const& provider) {
    m_impl->perform([&] { m_impl->forget_provider(provider); });
}

void registry::restart() {
    if (auto const reason = m_impl->perform([&] { return m_impl->restart(); })) {
        throw dev_hub_failure{*reason};
    }
}

} // namespace arvenhold::corvel::hub::dev
