// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Every text that the library throws, in one place. Operators search for the texts and programs
// compare them, so no character of them may change.

#include <hub/errors.hpp>
#include <hub/provider_definition.hpp>

#include <charconv>
#include <iomanip>
#include <locale>
#include <sstream>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

constexpr int id_width = 10;

// Intended: the misspelling is part of the text that operators search for.
constexpr std::string_view before_subject = " (related sujbect: ";
constexpr char after_subject = ')';
constexpr std::string_view before_status = ", NATS returns: ";
constexpr std::string_view end_without_connection = ": not connected to the NATS server\n";
constexpr std::string_view end_after_loss =
    ": connection to the NATS server has failed, attempt to disconnect and re-connect to "
    "re-establish the connection.\n";

std::string_view kind_text(client_kind kind) {
    return kind == client_kind::provider ? "Provider" : "Consumer";
}

// Joins the pieces.
template <class... Pieces>
std::string compose(Pieces const&... pieces) {
    std::ostringstream text;
    text.exceptions(std::ios_base::badbit); // no memory is an error, not a shorter text
    text.imbue(std::locale::classic());     // the application's own locale may group digits
    (text << ... << pieces);
    return std::move(text).str();
}

std::string bracketed(variable_id id) {
    return compose('[', std::setw(id_width), id, "] ");
}

std::string about_connection(std::string_view consumer_name, std::string_view provider_id) {
    return compose("Consumer ", consumer_name, " -> connection to provider ", provider_id, ": ");
}

} // namespace

// -- authentication_failed ------------------------------------------------------------------------

authentication_failed::authentication_failed(std::string message)
    : m_message{std::move(message)} {}

authentication_failed authentication_failed::transfer_failed(
    std::string_view endpoint, int curl_code) {
    return authentication_failed{compose(
        "Authentication failed:\n",
        "Endpoint: ",
        endpoint,
        "\nCURL call failed, returned ",
        curl_code,
        '\n')};
}

// Intended: the secret is in plain text, so that a wrong credential can be recognised.
authentication_failed authentication_failed::token_refused(
    std::string_view endpoint,
    std::string_view client_id,
    std::string_view secret,
    std::string_view reply) {
    return authentication_failed{compose(
        "Authentication failed:\n",
        "Endpoint: ",
        endpoint,
        "\nClient ID: ",
        client_id,
        "\nSecret: ",
        secret,
        "\nReply from auth endpoint: ",
        reply,
        '\n')};
}

authentication_failed authentication_failed::without_credentials(
    std::string_view endpoint, std::string_view reason) {
    return authentication_failed{compose(
        "Authentication failed:\n",
        "Endpoint: ",
        endpoint,
        "\nCredentials callback failed: ",
        reason,
        '\n')};
}

char const* authentication_failed::what() const noexcept {
    return m_message.c_str();
}

// -- connection_failed ----------------------------------------------------------------------------

connection_failed::connection_failed(std::string message)
    : m_message{std::move(message)} {}

connection_failed connection_failed::while_connecting(
    client_kind kind,
    std::string_view name,
    std::string_view operation,
    std::string_view server_url,
    int nats_status,
    std::string_view status_text) {
    return connection_failed{compose(
        kind_text(kind),
        ' ',
        name,
        ": failed to ",
        operation,
        " the NATS server at ",
        server_url,
        before_status,
        nats_status,
        " = ",
        status_text,
        '\n')};
}

connection_failed connection_failed::on_subject(
    client_kind kind,
    std::string_view name,
    std::string_view operation,
    int nats_status,
    std::string_view status_text,
    std::string_view subject) {
    return connection_failed{compose(
        kind_text(kind),
        ' ',
        name,
        ": failed to ",
        operation,
        before_subject,
        subject,
        after_subject,
        before_status,
        nats_status,
        " = ",
        status_text,
        '\n')};
}

connection_failed connection_failed::without_subject(
    client_kind kind,
    std::string_view name,
    std::string_view operation,
    int nats_status,
    std::string_view status_text) {
    return connection_failed{compose(
        kind_text(kind),
        ' ',
        name,
        ": failed to ",
        operation,
        before_status,
        nats_status,
        " = ",
        status_text,
        '\n')};
}

connection_failed connection_failed::not_connected(
    client_kind kind, std::string_view name, std::string_view operation) {
    return connection_failed{
        compose(kind_text(kind), ' ', name, ": failed to ", operation, end_without_connection)};
}

connection_failed connection_failed::connection_lost(
    client_kind kind, std::string_view name, std::string_view operation) {
    return connection_failed{
        compose(kind_text(kind), ' ', name, ": failed to ", operation, end_after_loss)};
}

char const* connection_failed::what() const noexcept {
    return m_message.c_str();
}

// Intended: the message is the only member of every error, so the number is read from it. A name or
// a subject may contain the same words, but only before them.
int connection_failed::get_nats_status() const noexcept {
    std::string_view const message{m_message};
    auto const mark = message.rfind(before_status);
    if (mark == std::string_view::npos || message.ends_with(end_without_connection)
        || message.ends_with(end_after_loss)) {
        return 0;
    }
    auto const number = message.substr(mark + before_status.size());
    int status = 0;
    std::from_chars(number.data(), number.data() + number.size(), status);
    return status;
}

// Intended: read from the message, as the number is.
std::string_view connection_failed::get_subject() const noexcept {
    std::string_view const message{m_message};
    auto const end = message.rfind(before_status);
    auto const mark = message.substr(0, end).rfind(before_subject);
    if (end == std::string_view::npos || mark == std::string_view::npos) {
        return {};
    }
    auto const begin = mark + before_subject.size();
    auto const found = message.substr(begin, end - begin);
    return found.ends_with(after_subject) ? found.substr(0, found.size() - 1) : std::string_view{};
}

// -- incompatible_data_type -----------------------------------------------------------------------

incompatible_data_type::incompatible_data_type(
    variable_id id,
    std::string_view message,
    std::size_t source_index,
    std::size_t destination_index)
    : m_message{compose(
        bracketed(id),
        message,
        " (source type index: ",
        static_cast<std::uint32_t>(source_index),
        ", dest type index: ",
        static_cast<std::uint32_t>(destination_index),
        ')')} {}

char const* incompatible_data_type::what() const noexcept {
    return m_message.c_str();
}

// -- invalid_provider_definition ------------------------------------------------------------------

invalid_provider_definition::invalid_provider_definition(
    std::string_view provider_name, definition_fingerprint fingerprint)
    : m_message{compose(
        "Provider ",
        provider_name,
        ": published an invalid provider definition with fingerprint: ",
        fingerprint,
        ". Check variable identifier syntax rules and try again\n")} {}

char const* invalid_provider_definition::what() const noexcept {
    return m_message.c_str();
}

// -- operational_state_invalid --------------------------------------------------------------------

operational_state_invalid::operational_state_invalid(std::string message)
    : m_message{std::move(message)} {}

operational_state_invalid operational_state_invalid::for_client(
    client_kind kind, std::string_view name, std::string_view detail) {
    return operational_state_invalid{compose(kind_text(kind), ' ', name, ": ", detail, '\n')};
}

operational_state_invalid operational_state_invalid::for_connection(
    std::string_view consumer_name, std::string_view provider_id, std::string_view detail) {
    return operational_state_invalid{compose(about_connection(consumer_name, provider_id), detail)};
}

operational_state_invalid operational_state_invalid::for_definition(
    provider_definition const& definition, std::string_view detail) {
    return operational_state_invalid{compose(
        "Provider definition @", static_cast<void const*>(&definition), ": ", detail, '\n')};
}

char const* operational_state_invalid::what() const noexcept {
    return m_message.c_str();
}

// -- provider_definition_mismatch -----------------------------------------------------------------

provider_definition_mismatch::provider_definition_mismatch(
    std::string_view consumer_name,
    std::string_view provider_id,
    definition_fingerprint expected,
    definition_fingerprint received)
    : m_message{compose(
        about_connection(consumer_name, provider_id),
        "provider definition mismatch.\n",
        "Expected fingerprint: ",
        expected,
        ", got ",
        received,
        " instead.")} {}

char const* provider_definition_mismatch::what() const noexcept {
    return m_message.c_str();
}

// -- serialization_fault --------------------------------------------------------------------------

serialization_fault::serialization_fault(std::string message)
    : m_message{std::move(message)} {}

serialization_fault serialization_fault::in_message(
    client_kind kind, std::string_view name, std::string_view operation, std::string_view detail) {
    return serialization_fault{compose(
        kind_text(kind),
        ' ',
        name,
        ": encountered invalid serialized data for operation: ",
        operation,
        ": ",
        detail,
        '\n')};
}

// Intended: the text speaks of an index out of bounds even where the variable's type is at fault.
serialization_fault serialization_fault::in_variable(
    client_kind kind, std::string_view name, std::string_view operation, variable_id id) {
    return serialization_fault{compose(
        kind_text(kind),
        ' ',
        name,
        ": encountered invalid serialized data for operation: ",
        operation,
        ": variable index [",
        id,
        "] is out of bounds\n")};
}

char const* serialization_fault::what() const noexcept {
    return m_message.c_str();
}

// -- variable_index_invalid -----------------------------------------------------------------------

variable_index_invalid::variable_index_invalid(variable_id id, std::string_view function)
    : m_message{compose(
        bracketed(id), "used in function ", function, ": this variable index is invalid")} {}

char const* variable_index_invalid::what() const noexcept {
    return m_message.c_str();
}

// -- variable_list_outdated -----------------------------------------------------------------------

variable_list_outdated::variable_list_outdated(
    std::string_view provider_name,
    definition_fingerprint list_fingerprint,
    definition_fingerprint current_fingerprint)
    : m_message{compose(
        "Provider ",
        provider_name,
        ": variable list is outdated:\n",
        "Associated fingerprint: ",
        list_fingerprint,
        "\nProvider's current fingerprint: ",
        current_fingerprint,
        "\nReplace this variable list with the new one that is now current for the associated "
        "provider\n")} {}

char const* variable_list_outdated::what() const noexcept {
    return m_message.c_str();
}

// -- variable_read_only ---------------------------------------------------------------------------

variable_read_only::variable_read_only(std::string message)
    : m_message{std::move(message)} {}

variable_read_only variable_read_only::for_consumer(
    std::string_view consumer_name, std::string_view provider_id) {
    return variable_read_only{compose(
        about_connection(consumer_name, provider_id),
        "cannot write variable data to provider, this consumer has read-only permissions")};
}

variable_read_only variable_read_only::for_variable(variable_id id) {
    return variable_read_only{
        compose(bracketed(id), "cannot write new value: this variable is read-only")};
}

char const* variable_read_only::what() const noexcept {
    return m_message.c_str();
}

} // namespace arvenhold::corvel::hub
