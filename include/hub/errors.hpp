// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/authentication_failed.hpp>
#include <hub/connection_failed.hpp>
#include <hub/incompatible_data_type.hpp>
#include <hub/invalid_provider_definition.hpp>
#include <hub/operational_state_invalid.hpp>
#include <hub/provider_definition_mismatch.hpp>
#include <hub/serialization_fault.hpp>
#include <hub/variable_index_invalid.hpp>
#include <hub/variable_list_outdated.hpp>
#include <hub/variable_read_only.hpp>
