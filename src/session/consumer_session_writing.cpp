// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Writes: refused here if it is known that they cannot succeed, sent in their turn, and watched.

#include "session/consumer_session_impl.hpp"
#include "session/plain_text.hpp"
#include "session/undisturbed_read.hpp"
#include <hub/diagnostics.hpp>
#include <hub/names.hpp>

#include <atomic>
#include <cstddef>
#include <exception>
#include <stdexcept>
#include <string>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

constexpr std::size_t most_waiting_writes = 10'000;

std::string begin_refusal(std::string const& provider, std::string const& path) {
    return "cannot write " + path + " of provider " + provider + ": ";
}

// Refuses what the provider's definition does not allow.
void require_writable(
    std::string const& provider,
    std::string const& path,
    std::shared_ptr<consumer_variable> const& variable,
    variable_value const& value) {
    if (!variable) {
        throw write_refused{
            write_refusal::unknown_path,
            begin_refusal(provider, path) + "the provider has no variable with this path"};
    }
    if (variable->get_permissions() == variable_permissions::read_only) {
        throw write_refused{
            write_refusal::read_only, begin_refusal(provider, path) + "the variable is read-only"};
    }
    auto const present = std::get<variable_value>(variable->get_value_with_timestamp());
    if (present.index() != value.index()) {
        throw write_refused{
            write_refusal::wrong_type,
            begin_refusal(provider, path) + "its type is " + std::string{type_name_of(present)}
                + ", the given value is of type " + std::string{type_name_of(value)}};
    }
}

} // namespace

void consumer_session::impl::write(
    std::string const& provider, std::string const& path, variable_value value) {
    request_write(provider, path, std::move(value), nullptr);
}

write_outcome consumer_session::impl::write_and_confirm(
    std::string const& provider,
    std::string const& path,
    variable_value value,
    std::chrono::milliseconds limit) {
    if (m_thread.is_current()) {
        throw std::logic_error{
            "write_and_confirm() must not be called on the session's thread, which would wait for "
            "itself; call write() in handlers"};
    }
    auto const watch = std::make_shared<write_watch>(path, value);
    request_write(provider, path, std::move(value), watch);
    {
        std::scoped_lock const lock{m_watches_mutex};
        m_watches.insert(watch);
    }
    if (m_stopping) {
        watch->give_up();
    }
    auto const outcome = watch->wait(limit);
    m_directory->find(provider)->remove_watch(watch);
    std::scoped_lock const lock{m_watches_mutex};
    m_watches.erase(watch);
    return outcome;
}

void consumer_session::impl::give_up_all_watches() {
    std::scoped_lock const lock{m_watches_mutex};
    for (auto const& watch : m_watches) {
        watch->give_up();
    }
}

// A write that waited longer might do harm when the provider is back.
void consumer_session::impl::give_up_waiting_writes(provider_work& work) {
    for (auto const& write : std::exchange(work.writes, {})) {
        give_up(write, work.provider->get_identifier(), "the provider is lost");
    }
}

void consumer_session::impl::request_write(
    std::string const& provider,
    std::string const& path,
    variable_value value,
    std::shared_ptr<write_watch> watch) {
    if (m_read_only) {
        throw write_refused{
            write_refusal::read_only, begin_refusal(provider, path) + "the session is read-only"};
    }
    auto const target = m_directory->find(provider);
    auto const connection = target ? target->get_attachment().connection : nullptr;
    if (!connection || !target->is_live()) {
        throw write_refused{
            write_refusal::provider_not_live,
            begin_refusal(provider, path) + "the provider is not followed, or not live"};
    }
    require_writable(provider, path, connection->get_current_variables().find(path), value);
    auto place = reserve_place_for_write();
    if (!place) {
        throw write_refused{
            write_refusal::too_many_waiting,
            begin_refusal(provider, path) + std::to_string(most_waiting_writes)
                + " writes of the session have not been sent yet"};
    }
    post([target,
          write = requested_write{path, std::move(value), std::move(watch), std::move(place)}](
             impl& self) mutable {
        self.work_for(target).writes.push_back(std::move(write));
        self.advance();
    });
}

// Returns what frees the place when it goes; null if all are taken. Otherwise an application that
// writes faster than providers take it would fill the memory.
std::shared_ptr<void> consumer_session::impl::reserve_place_for_write() {
    auto const free_place = [waiting = m_waiting_writes](void* /*place*/) {
        --*waiting;
    };
    if (++*m_waiting_writes > most_waiting_writes) {
        --*m_waiting_writes;
        return nullptr;
    }
    return {m_waiting_writes.get(), free_place};
}

// Reads the variable afterwards, because the connection holds the written value until the provider
// sends another one.
void consumer_session::impl::send_write(provider_work& work, requested_write const& write) {
    auto& provider = *work.provider;
    if (write.watch && write.watch->has_ended()) {
        return; // the application no longer expects it to be sent
    }
    try {
        auto const connection = provider.get_attachment().connection;
        if (!connection) {
            throw std::runtime_error{"the connection to the provider was lost"};
        }
        auto const variables = connection->get_current_variables();
        auto const variable = variables.find(std::string_view{write.path});
        require_writable(provider.get_identifier(), write.path, variable, write.value);
        auto const id = variable->get_id();
        provider.begin_write(id, write.watch);
        variable->set_value(write.value, std::chrono::system_clock::now());
        connection->write_variables(variables.fingerprint, {id});
        read_undisturbed({{variable.get()}}, [&](std::vector<variable_id> const& ids) {
            connection->read_variables(variables.fingerprint, ids);
        });
        if (provider.end_write(connection.get(), id)) {
            post_drain();
        }
    } catch (std::exception const& error) {
        give_up(write, provider.get_identifier(), error.what());
        throw;
    }
}

void consumer_session::impl::give_up(
    requested_write const& write, std::string const& provider, std::string const& why) {
    if (write.watch) {
        write.watch->give_up();
    }
    report_diagnostic(
        diagnostic_severity::error,
        m_name,
        m_name + ": writing " + write.path + " of provider " + provider
            + " failed: " + plain_text(why, m_access.client_secret));
}

} // namespace arvenhold::corvel::hub
