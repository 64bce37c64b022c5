# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

# Generates the readers and writers of the messages. They are made at build time because the
# generated header insists on the very version of FlatBuffers that it was generated with.
find_program(CORVEL_HUB_FLATC flatc REQUIRED)
find_path(CORVEL_HUB_FLATBUFFERS_INCLUDE flatbuffers/flatbuffers.h REQUIRED)

set(corvel_hub_schema ${CMAKE_CURRENT_SOURCE_DIR}/src/protocol/hub_messages.fbs)
set(corvel_hub_generated ${CMAKE_CURRENT_BINARY_DIR}/generated)

add_custom_command(
    OUTPUT ${corvel_hub_generated}/protocol/hub_messages_generated.h
    COMMAND ${CORVEL_HUB_FLATC} --cpp --scoped-enums --require-explicit-ids
            -o ${corvel_hub_generated}/protocol ${corvel_hub_schema}
    DEPENDS ${corvel_hub_schema}
    COMMENT "Generating the message accessors")
add_custom_target(corvel_hub_schema_header
    DEPENDS ${corvel_hub_generated}/protocol/hub_messages_generated.h)

# SYSTEM, because the generated header is not ours to keep free of warnings.
add_library(corvel_hub_messages INTERFACE)
add_dependencies(corvel_hub_messages corvel_hub_schema_header)
target_include_directories(corvel_hub_messages SYSTEM INTERFACE
    ${corvel_hub_generated} ${CORVEL_HUB_FLATBUFFERS_INCLUDE})
