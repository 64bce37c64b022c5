// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>
#include <hub/connect_options.hpp>
#include <hub/consumer.hpp>
#include <hub/consumer_variable.hpp>
#include <hub/corvel_hub_client_lib_initializer.hpp>
#include <hub/diagnostics.hpp>
#include <hub/errors.hpp>
#include <hub/fingerprint.hpp>
#include <hub/names.hpp>
#include <hub/provider.hpp>
#include <hub/provider_connection.hpp>
#include <hub/provider_definition.hpp>
#include <hub/provider_variable.hpp>
#include <hub/variable_list.hpp>
#include <hub/variable_write_command.hpp>
#include <hub/version.hpp>

/// @namespace arvenhold
/// Everything that belongs to Arvenhold.

/// @namespace arvenhold::corvel
/// Software for the controllers of the Corvel family.

/// The client side of a controller's data hub: a provider offers typed variables, a consumer finds
/// providers and reads, writes and follows their variables.
///
/// @par Exceptions
/// Every exception of this library is a std::exception. Many texts of what() end in a line end,
/// others do not: strip it before you print the text in a line of your own.
namespace arvenhold::corvel::hub {}
