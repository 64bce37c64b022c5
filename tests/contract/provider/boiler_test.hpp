// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "support/boiler.hpp"
#include "support/captured_stream.hpp"
#include "support/fake_nats.hpp"
#include <hub/hub.hpp>

#include <gmock/gmock.h>

#include <chrono>
#include <cstddef>
#include <future>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub {

/// A provider "boiler" over a NATS client that is a fake, and everything that it writes to the
/// standard streams.
class boiler_test : public testing::Test {
protected:
    boiler_test();

    /// Connects to a server that wants no token.
    void connect();

    /// Registers a boiler_definition; if connected, the registry accepts it.
    std::shared_ptr<variable_list> register_boiler(definition_fingerprint fingerprint);

    /// Connects, registers fingerprint 7 and leaves nothing pending; then forgets the calls so far.
    std::shared_ptr<variable_list> start();

    /// Delivers the registry's message, its bytes at an address that is `misalignment` modulo 8.
    void deliver_verdict(std::string const& bytes, std::size_t misalignment = 0);

    /// Runs `work`, which waits for a verdict, on a thread of its own, and delivers `verdict` until
    /// it is through: the first one may come before the wait begins.
    template <class Work>
    auto with_verdict(std::string const& verdict, Work work, std::size_t misalignment = 0) {
        auto done = std::async(std::launch::async, std::move(work));
        while (done.wait_for(std::chrono::milliseconds{1}) != std::future_status::ready) {
            deliver_verdict(verdict, misalignment);
        }
        return done.get();
    }

    /// The bytes of the message on `subject` that was published last.
    std::string last_published(char const* subject) const;

    captured_stream errors{std::cerr};
    captured_stream output{std::cout};
    fake_nats nats;
    provider boiler{"boiler"};
};

} // namespace arvenhold::corvel::hub
