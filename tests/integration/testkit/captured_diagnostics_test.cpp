// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "playing.hpp"

#include <future>
#include <stdexcept>

namespace arvenhold::corvel::hub::testkit {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

TEST(captured_diagnostics, keep_severity_text_and_client) {
    captured_diagnostics const diagnostics;

    report_diagnostic(diagnostic_severity::warning, "oven", "too hot");

    ASSERT_THAT(diagnostics.get(), SizeIs(1));
    EXPECT_EQ(diagnostics.get()[0].severity, diagnostic_severity::warning);
    EXPECT_EQ(diagnostics.get()[0].text, "too hot");
    EXPECT_EQ(diagnostics.get()[0].client_name, "oven");
}

TEST(captured_diagnostics, print_nothing) {
    testing::internal::CaptureStderr();
    {
        captured_diagnostics const diagnostics;
        report_diagnostic(diagnostic_severity::warning, "oven", "too hot");
    }

    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(captured_diagnostics, are_printed_again_afterwards) {
    { captured_diagnostics const ended; }
    testing::internal::CaptureStderr();

    report_diagnostic(diagnostic_severity::warning, "oven", "too hot");

    EXPECT_EQ(testing::internal::GetCapturedStderr(), "too hot\n");
}

TEST(captured_diagnostics, are_waited_for_by_a_part_of_the_text) {
    captured_diagnostics diagnostics;
    for (int round = 0; round < 5; ++round) { // in most of them the wait begins first
        diagnostics.clear();
        std::promise<void> begins;
        auto found = std::async(std::launch::async, [&] {
            begins.set_value();
            return diagnostics.wait_for("too hot", patience);
        });
        begins.get_future().wait();
        report_diagnostic(diagnostic_severity::error, "oven", "much too hot");

        EXPECT_EQ(found.get().text, "much too hot");
    }
}

TEST(captured_diagnostics, name_all_of_them_when_none_fits) {
    captured_diagnostics const diagnostics;
    report_diagnostic(diagnostic_severity::error, "oven", "too hot");
    report_diagnostic(diagnostic_severity::error, "oven", "burnt");

    EXPECT_EQ(
        thrown_message<expectation_failed>([&] { diagnostics.wait_for("too cold", no_time); }),
        "awaited for 20 ms: a diagnostic with \"too cold\"\n  seen: \"too hot\", \"burnt\"");
}

TEST(captured_diagnostics, can_be_cleared) {
    captured_diagnostics diagnostics;
    report_diagnostic(diagnostic_severity::error, "oven", "too hot");

    diagnostics.clear();

    EXPECT_THAT(diagnostics.get(), IsEmpty());
    EXPECT_EQ(
        thrown_message<expectation_failed>([&] { diagnostics.wait_for("too hot", no_time); }),
        "awaited for 20 ms: a diagnostic with \"too hot\"\n  seen: nothing");
}

TEST(captured_diagnostics, refuse_a_second_capture_and_go_on) {
    captured_diagnostics const diagnostics;

    EXPECT_THROW(captured_diagnostics{}, std::logic_error);

    report_diagnostic(diagnostic_severity::error, "oven", "too hot");
    EXPECT_THAT(diagnostics.get(), SizeIs(1));
}

} // namespace
} // namespace arvenhold::corvel::hub::testkit
