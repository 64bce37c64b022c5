// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/recording_file.hpp"

#include "corvelctl/exit_code.hpp"
#include "corvelctl/output.hpp"
#include "corvelctl/user_files.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <map>
#include <string_view>
#include <system_error>
#include <utility>

namespace arvenhold::corvel::hub::ctl {

namespace {

constexpr std::size_t chunk = 1U << 16U;

std::string text_of(int error) {
    return std::generic_category().message(error);
}

// The full files by their numbers. Those of removed ones stay unused.
std::map<std::uint64_t, std::filesystem::path> find_numbers(std::filesystem::path const& path) {
    auto const folder = path.has_parent_path() ? path.parent_path() : std::filesystem::path{"."};
    auto const beginning = path.filename().string() + '.';
    std::map<std::uint64_t, std::filesystem::path> found;
    std::error_code error;
    for (auto const& entry : std::filesystem::directory_iterator{folder, error}) {
        auto const name = entry.path().filename().string();
        auto const digits = std::string_view{name}.substr(
            name.starts_with(beginning) ? beginning.size() : name.size());
        auto const* const end = digits.data() + digits.size();
        std::uint64_t number = 0;
        if (std::from_chars(digits.data(), end, number).ptr == end && number > 0) {
            found.emplace(number, entry.path());
        }
    }
    return found;
}

} // namespace

std::vector<std::filesystem::path> find_full_files(std::filesystem::path const& path) {
    std::vector<std::filesystem::path> files;
    for (auto const& [number, file] : find_numbers(path)) {
        files.push_back(file);
    }
    return files;
}

recording_file::recording_file(
    std::filesystem::path path, bool (*is_beginning)(std::string_view line))
    : m_path{std::move(path)} {
    open();
    try {
        if (m_size > 0 && !is_beginning(read_first_line())) {
            throw failure{
                exit_code::usage,
                m_path.string() + " is there, and no recording in this format",
                "give another file with -o, or remove this one"};
        }
        remove_unfinished_row();
    } catch (...) {
        ::close(m_descriptor);
        throw;
    }
}

recording_file::~recording_file() {
    try {
        flush();
    } catch (...) {
        // A full disk was reported, or the command ends because of something else.
    }
    ::close(m_descriptor);
}

void recording_file::open() {
    m_descriptor = open_private_file(m_path, O_RDWR | O_CREAT | O_APPEND);
    struct stat about {};
    if (m_descriptor < 0 || ::fstat(m_descriptor, &about) != 0) {
        throw failure{
            exit_code::other,
            "cannot open " + m_path.string() + ": " + text_of(errno),
            "give a file that can be written with -o"};
    }
    if (::flock(m_descriptor, LOCK_EX | LOCK_NB) != 0) {
        ::close(m_descriptor);
        throw failure{
            exit_code::other,
            "another program records into " + m_path.string(),
            "end it, or give another file with -o"};
    }
    m_size = static_cast<std::uint64_t>(about.st_size);
    if (m_size > 0) {
        m_earlier_end = timestamp{
            std::chrono::seconds{about.st_mtim.tv_sec}
            + std::chrono::nanoseconds{about.st_mtim.tv_nsec}};
    }
}

std::string recording_file::read_first_line() const {
    std::string beginning(chunk, '\0');
    auto const size = ::pread(m_descriptor, beginning.data(), beginning.size(), 0);
    beginning.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    return beginning.substr(0, beginning.find('\n'));
}

void recording_file::remove_unfinished_row() {
    std::string part(chunk, '\0');
    auto end = m_size;
    while (end > 0) {
        auto const begin = end - std::min<std::uint64_t>(end, part.size());
        // What is read behind `end` has been searched before.
        auto const size =
            ::pread(m_descriptor, part.data(), part.size(), static_cast<off_t>(begin));
        auto const found =
            part.rfind('\n', static_cast<std::size_t>(std::max<ssize_t>(size, 1)) - 1);
        if (found != std::string::npos) {
            end = begin + found + 1;
            break;
        }
        end = begin;
    }
    if (end != m_size && ::ftruncate(m_descriptor, static_cast<off_t>(end)) == 0) {
        m_size = end;
    }
}

std::optional<timestamp> recording_file::get_earlier_end() const {
    return m_earlier_end;
}

void recording_file::append(std::string_view rows) {
    m_waiting += rows;
    if (m_waiting.size() >= chunk) {
        flush();
    }
}

void recording_file::flush() {
    std::string_view left = m_waiting;
    while (!left.empty()) {
        auto const written = ::write(m_descriptor, left.data(), left.size());
        if (written >= 0) {
            left.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            auto const error = errno;
            m_waiting.resize(m_waiting.size() - left.size()); // what was written
            fail_to_write(error);
        }
    }
    m_rows += static_cast<std::uint64_t>(std::count(m_waiting.begin(), m_waiting.end(), '\n'));
    m_size += m_waiting.size();
    m_waiting.clear();
}

// Keeps the whole rows of what was written.
void recording_file::fail_to_write(int error) {
    auto const whole = m_waiting.rfind('\n') + 1; // 0 without any
    m_rows += static_cast<std::uint64_t>(std::count(m_waiting.begin(), m_waiting.end(), '\n'));
    m_size += whole;
    m_waiting.clear();
    auto const is_whole = ::ftruncate(m_descriptor, static_cast<off_t>(m_size)) == 0;
    throw failure{
        exit_code::other,
        "cannot write " + m_path.string() + ": " + text_of(error) + "; kept "
            + make_count_text(m_rows, "row") + " of this run"
            + (is_whole ? ", the last one whole" : ", and the last one may be cut off"),
        "make room and start again: it appends"};
}

std::uint64_t recording_file::get_size() const {
    return m_size + m_waiting.size();
}

std::filesystem::path recording_file::rotate() {
    flush();
    auto const numbers = find_numbers(m_path);
    auto full = m_path;
    full += '.' + std::to_string(numbers.empty() ? 1 : numbers.rbegin()->first + 1);
    std::error_code error;
    std::filesystem::rename(m_path, full, error);
    if (error) {
        throw failure{
            exit_code::other,
            "cannot rename " + m_path.string() + " to " + full.string() + ": " + error.message(),
            "everything up to now is kept; make the folder writable and start again: it appends"};
    }
    ::close(std::exchange(m_descriptor, -1));
    open();
    return full;
}

} // namespace arvenhold::corvel::hub::ctl
