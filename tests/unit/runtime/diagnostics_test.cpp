// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/diagnostics.hpp"
#include "support/await.hpp"
#include "support/captured_stream.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <iostream>
#include <latch>
#include <memory>
#include <mutex>
#include <sstream>
#include <stdexcept>
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
using testing::Not;
using testing::SizeIs;

// Replaces a stream's buffer, and records each insertion and each flush separately.
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

TEST(public_report, is_printed_like_one_of_the_library) {
    insertions const error{std::cerr};

    report_diagnostic(diagnostic_severity::warning, "boiler", "the door is open");

    ASSERT_THAT(error.all(), SizeIs(testing::Ge(2U)));
    EXPECT_EQ(error.all().at(0), "the door is open\n");
    EXPECT_EQ(error.all().at(1), "<flush>");
}

TEST(error_report, is_printed_in_one_insertion_and_flushed) {
    insertions const error{std::cerr};
    insertions const output{std::cout};

    report(diagnostic_severity::error, "boiler", {"Provider ", "boiler", ": ", "no", " list"});

    ASSERT_THAT(error.all(), SizeIs(testing::Ge(2U)));
    EXPECT_EQ(error.all().at(0), "Provider boiler: no list\n");
    EXPECT_EQ(error.all().at(1), "<flush>");
    EXPECT_THAT(output.all(), Each("<flush>")); // flushed before each use of standard error
}

TEST(warning_report, is_printed_on_standard_error) {
    insertions const error{std::cerr};

    report(
        diagnostic_severity::warning,
        "boiler",
        {"Warning: Provider has lost connection to NATS server!"});

    ASSERT_THAT(error.all(), Not(IsEmpty()));
    EXPECT_EQ(error.all().at(0), "Warning: Provider has lost connection to NATS server!\n");
}

TEST(information_report, is_printed_in_one_insertion_on_standard_output_and_flushed) {
    insertions const error{std::cerr};
    insertions const output{std::cout};

    report(
        diagnostic_severity::information, "boiler", {"Provider has reconnected to NATS server!"});

    EXPECT_THAT(output.all(), ElementsAre("Provider has reconnected to NATS server!\n", "<flush>"));
    EXPECT_THAT(error.all(), IsEmpty());
}

TEST(error_report, keeps_zero_bytes_and_line_ends_of_its_pieces) {
    insertions const error{std::cerr};

    report(diagnostic_severity::error, {}, {std::string_view{"a\0b", 3}, "\n", ""});

    EXPECT_EQ(error.all().at(0), std::string("a\0b\n\n", 5));
}

TEST(error_report, is_lost_without_harm_when_the_stream_throws) {
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

    report(diagnostic_severity::error, {}, {"nobody reads this"});

    EXPECT_TRUE(std::cerr.bad());
}

// Runs `work` in several threads that start together.
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

TEST(reports_of_many_threads, do_not_mix) {
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();

    run_in_threads(8, [](int number) {
        auto const name = std::to_string(number);
        for (int line = 0; line < 200; ++line) {
            for (auto const severity :
                 {diagnostic_severity::error, diagnostic_severity::information}) {
                report(severity, {}, {"thread ", name, " writes", " a line of several pieces"});
            }
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

// With a callback

struct received_report {
    diagnostic_severity severity;
    std::string text;
    std::string client_name;

    bool operator==(received_report const&) const = default;
};

// Captures both streams, and restores the default at the end.
class diagnostics_receiver : public testing::Test {
protected:
    diagnostics_receiver() = default;
    diagnostics_receiver(diagnostics_receiver const&) = delete;
    diagnostics_receiver& operator=(diagnostics_receiver const&) = delete;

    ~diagnostics_receiver() override {
        set_diagnostics_callback(nullptr, nullptr);
    }

    static void receive(diagnostic const& report, void* user_data) {
        static_cast<std::vector<received_report>*>(user_data)->push_back(
            {report.severity, std::string{report.text}, std::string{report.client_name}});
    }

    std::string printed() const {
        return error_stream.text() + output_stream.text();
    }

    std::vector<received_report> received;
    captured_stream error_stream{std::cerr};
    captured_stream output_stream{std::cout};
};

TEST_F(diagnostics_receiver, receives_every_report_and_nothing_is_printed) {
    set_diagnostics_callback(&receive, &received);

    report(diagnostic_severity::error, "boiler", {"no ", "list"});
    report(diagnostic_severity::warning, "monitor", {"connection lost"});
    report(diagnostic_severity::information, {}, {"reconnected"});

    EXPECT_THAT(
        received,
        ElementsAre(
            received_report{diagnostic_severity::error, "no list", "boiler"},
            received_report{diagnostic_severity::warning, "connection lost", "monitor"},
            received_report{diagnostic_severity::information, "reconnected", ""}));
    EXPECT_EQ(printed(), "");
}

TEST_F(diagnostics_receiver, receives_no_line_ends_at_the_end_of_a_text) {
    set_diagnostics_callback(&receive, &received);

    report(diagnostic_severity::error, {}, {"first\nsecond ", std::string_view{"\0\n", 2}, "\n"});
    report(diagnostic_severity::error, {}, {"\n", "\n"});
    report(diagnostic_severity::error, {}, {});

    ASSERT_THAT(received, SizeIs(3));
    EXPECT_EQ(received.at(0).text, std::string("first\nsecond \0", 14));
    EXPECT_EQ(received.at(1).text, "");
    EXPECT_EQ(received.at(2).text, "");
}

TEST_F(diagnostics_receiver, is_removed_by_null) {
    set_diagnostics_callback(&receive, &received);
    set_diagnostics_callback(nullptr, &received);

    report(diagnostic_severity::error, {}, {"to standard error"});
    report(diagnostic_severity::information, {}, {"to standard output"});

    EXPECT_THAT(received, IsEmpty());
    EXPECT_EQ(error_stream.text(), "to standard error\n");
    EXPECT_EQ(output_stream.text(), "to standard output\n");
}

TEST_F(diagnostics_receiver, is_replaced_by_another) {
    std::vector<received_report> earlier;
    set_diagnostics_callback(&receive, &earlier);
    set_diagnostics_callback(&receive, &received);

    report(diagnostic_severity::error, {}, {"one line"});

    EXPECT_THAT(earlier, IsEmpty());
    EXPECT_THAT(received, SizeIs(1));
}

TEST_F(diagnostics_receiver, may_throw) {
    auto const receive_and_throw = [](diagnostic const& report, void* user_data) {
        receive(report, user_data);
        throw std::runtime_error{"cannot write the log"};
    };
    set_diagnostics_callback(receive_and_throw, &received);

    report(diagnostic_severity::error, {}, {"first"});
    report(diagnostic_severity::error, {}, {"second"});
    set_diagnostics_callback(nullptr, nullptr); // would wait for a call that never ended

    EXPECT_THAT(received, SizeIs(2));
    EXPECT_EQ(printed(), "");
}

TEST_F(diagnostics_receiver, is_not_called_for_what_it_causes_itself) {
    auto const receive_and_report = [](diagnostic const& report, void* user_data) {
        receive(report, user_data);
        hub::report(diagnostic_severity::error, {}, {"caused by the callback"});
    };
    set_diagnostics_callback(receive_and_report, &received);

    report(diagnostic_severity::error, {}, {"first"});
    report(diagnostic_severity::error, {}, {"second"});

    ASSERT_THAT(received, SizeIs(2));
    EXPECT_EQ(received.at(1).text, "second");
    EXPECT_EQ(printed(), "");
}

TEST_F(diagnostics_receiver, may_remove_itself) {
    auto const receive_once = [](diagnostic const& report, void* user_data) {
        receive(report, user_data);
        set_diagnostics_callback(nullptr, nullptr);
    };
    set_diagnostics_callback(receive_once, &received);

    report(diagnostic_severity::error, {}, {"first"});
    report(diagnostic_severity::error, {}, {"second"});

    EXPECT_THAT(received, SizeIs(1));
    EXPECT_EQ(printed(), "second\n");
}

// Stays in the callback with the text "slow" until it is released.
struct slow_receiver {
    std::latch entered{1};
    std::latch released{1};
    std::atomic<bool> finished = false;

    static void receive(diagnostic const& report, void* user_data) {
        if (report.text != "slow") {
            return;
        }
        auto& self = *static_cast<slow_receiver*>(user_data);
        self.entered.count_down();
        self.released.wait();
        self.finished = true;
    }
};

TEST_F(diagnostics_receiver, has_returned_on_other_threads_when_it_has_been_removed) {
    slow_receiver receiver;
    bool finished_before_removal_returned = false;
    set_diagnostics_callback(&slow_receiver::receive, &receiver);
    std::jthread const reporting{[] {
        report(diagnostic_severity::error, {}, {"slow"});
    }};
    receiver.entered.wait();

    {
        std::jthread const removing{[&] {
            set_diagnostics_callback(nullptr, nullptr);
            finished_before_removal_returned = receiver.finished;
        }};
        // Once a report is printed the callback is no longer set, and the removal waits.
        EXPECT_TRUE(await([this] {
            report(diagnostic_severity::error, {}, {"fast"});
            return !error_stream.text().empty();
        }));
        receiver.released.count_down();
    }

    EXPECT_TRUE(finished_before_removal_returned);
}

TEST_F(diagnostics_receiver, runs_on_several_threads_at_once) {
    struct meeting {
        std::latch both{2};
        std::atomic<int> met = 0;
    } meeting;
    set_diagnostics_callback(
        [](diagnostic const& /*report*/, void* user_data) {
            auto& here = *static_cast<struct meeting*>(user_data);
            here.both.arrive_and_wait();
            ++here.met;
        },
        &meeting);

    run_in_threads(2, [](int /*number*/) { report(diagnostic_severity::error, {}, {"line"}); });

    EXPECT_EQ(meeting.met, 2);
}

TEST_F(diagnostics_receiver, never_sees_user_data_that_was_replaced) {
    constexpr int rounds = 2000;
    constexpr int reports_per_thread = 2000;
    std::atomic<int> count = 0;
    struct counter {
        std::atomic<int>* total;
    };
    auto const add = [](diagnostic const& /*report*/, void* user_data) {
        ++*static_cast<counter*>(user_data)->total;
    };

    run_in_threads(4, [&](int number) {
        if (number == 0) {
            for (int round = 0; round < rounds; ++round) {
                auto const receiver = std::make_unique<counter>(counter{&count});
                set_diagnostics_callback(add, receiver.get());
                set_diagnostics_callback(nullptr, nullptr);
            }
            return;
        }
        for (int line = 0; line < reports_per_thread; ++line) {
            report(diagnostic_severity::error, {}, {"line"});
        }
    });

    auto const text = error_stream.text();
    auto const lines = std::count(text.begin(), text.end(), '\n');
    EXPECT_EQ(count + lines, 3 * reports_per_thread);
}

} // namespace

} // namespace arvenhold::corvel::hub
