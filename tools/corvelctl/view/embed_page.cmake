# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

# Run with -P by the build: writes the files of the list INPUTS as arrays into the C++ file OUTPUT.

set(type_css "text/css")
set(type_html "text/html")
set(type_js "text/javascript")
set(type_svg "image/svg+xml")
set(type_copyright "text/plain")
set(arrays "")
set(entries "")
set(number 0)
foreach(input IN LISTS INPUTS)
    file(READ ${input} bytes HEX)
    string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${bytes}")
    cmake_path(GET input FILENAME name)
    string(REGEX REPLACE ".*[.]" "" kind ${name})
    string(APPEND arrays "constexpr char file_${number}[] = {${bytes}};\n")
    string(APPEND entries
        "    page_file{\"${name}\", {file_${number}, sizeof file_${number}}, \"${type_${kind}}; charset=utf-8\"},\n")
    math(EXPR number "${number} + 1")
endforeach()
file(WRITE ${OUTPUT} "// Written by embed_page.cmake.

#include \"corvelctl/view/page_files.hpp\"

#include <array>

namespace arvenhold::corvel::hub::ctl {

namespace {

${arrays}
constexpr std::array files{
${entries}};

} // namespace

page_file const* find_page_file(std::string_view name) {
    for (auto const& file : files) {
        if (file.name == name) {
            return &file;
        }
    }
    return nullptr;
}

} // namespace arvenhold::corvel::hub::ctl
")
