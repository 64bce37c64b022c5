// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "reliability/process_figures.hpp"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace arvenhold::corvel::hub::reliability {

namespace {

std::size_t count_entries(char const* folder) {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator{folder}, {}));
}

} // namespace

process_figures measure_process() {
    std::size_t total_pages = 0;
    std::size_t resident_pages = 0;
    std::ifstream{"/proc/self/statm"} >> total_pages >> resident_pages;
    auto const page_kib = static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) / 1024;
    return {
        resident_pages * page_kib,
        count_entries("/proc/self/fd"),
        count_entries("/proc/self/task")};
}

std::string to_text(process_figures const& figures) {
    return std::to_string(figures.resident_kib) + " KiB, " + std::to_string(figures.open_files)
         + " files, " + std::to_string(figures.threads) + " threads";
}

} // namespace arvenhold::corvel::hub::reliability
