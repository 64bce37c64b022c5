// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/diagnostics.hpp"

#include <gmock/gmock.h>

#include <iostream>
#include <latch>
#include <mutex>
#include <streambuf>
#include <string>
#include <thread>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;

// Takes the place of a stream's buffer and keeps each insertion and each flush by itself.
class insertions : private std::streambuf {
public:
    explicit insertions(std::ostream& stream)
        : m_stream{stream}
        , m_original{stream.rdbuf(this)} {}

    insertions(insertions const&) = delete;
    insertions(insertions&&) = delete;
    insertions& operator=(insertions const&) = delete;
    insertions& operator=(insertions&&) = delete;

    ~insertions() override {
        m_stream.rdbuf(m_original);
        m_stream.clear();
    }

    std::vector<std::string> all() const {
        std::scoped_lock const lock{m_mutex};
        return m_all;
    }

private:
    std::ostream& m_stream;
    std::streambuf* const m_original;
    mutable std::mutex m_mutex;
    std::vector<std::string> m_all;

    std::streamsize xsputn(char const* text, std::streamsize size) override {
        std::scoped_lock const lock{m_mutex};
        m_all.emplace_back(text, static_cast<std::size_t>(size));
        return size;
    }

    int_type overflow(int_type character) override {
        std::scoped_lock const lock{m_mutex};
        m_all.emplace_back(1, traits_type::to_char_type(character));
        return character;
    }

    int sync() override {
        std::scoped_lock const lock{m_mutex};
        m_all.emplace_back("<flush>");
        return 0;
    }
};

TEST(error_line, is_written_in_one_insertion_and_flushed) {
    insertions const error{std::cerr};
    insertions const output{std::cout};

    write_error_line({"Provider ", "boiler", ": ", "no", " list"});

    ASSERT_THAT(error.all(), SizeIs(testing::Ge(2U)));
    EXPECT_EQ(error.all().at(0), "Provider boiler: no list\n");
    EXPECT_EQ(error.all().at(1), "<flush>");
    EXPECT_THAT(output.all(), Each("<flush>")); // flushed before each use of standard error
}

TEST(output_line, is_written_in_one_insertion_and_flushed) {
    insertions const error{std::cerr};
    insertions const output{std::cout};

    write_output_line({"Provider has reconnected to NATS server!"});

    EXPECT_THAT(output.all(), ElementsAre("Provider has reconnected to NATS server!\n", "<flush>"));
    EXPECT_THAT(error.all(), IsEmpty());
}

TEST(error_line, keeps_zero_bytes_and_line_ends_of_its_pieces) {
    insertions const error{std::cerr};

    write_error_line({std::string_view{"a\0b", 3}, "\n", ""});

    EXPECT_EQ(error.all().at(0), std::string("a\0b\n\n", 5));
}

TEST(error_line, is_lost_without_harm_when_the_stream_throws) {
    class broken : public std::streambuf {
    public:
        explicit broken()
            : m_original{std::cerr.rdbuf(this)} {
            std::cerr.exceptions(std::ios::badbit);
        }

        broken(broken const&) = delete;
        broken(broken&&) = delete;
        broken& operator=(broken const&) = delete;
        broken& operator=(broken&&) = delete;

        ~broken() override {
            std::cerr.exceptions(std::ios::goodbit);
            std::cerr.rdbuf(m_original);
            std::cerr.clear();
        }

    private:
        std::streambuf* const m_original;
    };
    broken const stream;

    write_error_line({"nobody reads this"});

    EXPECT_TRUE(std::cerr.bad());
}

// Runs `work` in several threads that begin together.
template <class Work>
void run_in_threads(int count, Work work) {
    std::latch begin{count};
    std::vector<std::jthread> threads;
    for (int number = 0; number < count; ++number) {
        threads.emplace_back([&begin, work, number] {
            begin.arrive_and_wait();
            work(number);
        });
    }
}

TEST(lines_of_many_threads, do_not_mix) {
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();

    run_in_threads(8, [](int number) {
        auto const name = std::to_string(number);
        for (int line = 0; line < 200; ++line) {
            write_error_line({"thread ", name, " writes", " a line of several pieces"});
            write_output_line({"thread ", name, " writes", " a line of several pieces"});
        }
    });

    for (auto const& text :
         {testing::internal::GetCapturedStderr(), testing::internal::GetCapturedStdout()}) {
        std::vector<std::string> lines;
        std::istringstream stream{text};
        for (std::string line; std::getline(stream, line);) {
            lines.push_back(line);
        }
        EXPECT_THAT(lines, SizeIs(1600));
        EXPECT_THAT(lines, Each(MatchesRegex("thread [0-7] writes a line of several pieces")));
    }
}

} // namespace

} // namespace arvenhold::corvel::hub
