// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Runs a development hub, in this process or in one of its own.

#pragma once

#include "corvelctl/dev_state.hpp"
#include "corvelctl/tool.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace arvenhold::corvel::hub::ctl {

inline constexpr std::uint16_t default_server_port = 4222;
inline constexpr std::uint16_t default_token_port = 4280;

struct dev_hub_wishes {
    std::string directory; ///< Absolute.
    bool demo = false;
    std::uint16_t port = default_server_port;
    std::uint16_t token_port = default_token_port;
};

/// A development hub in this process, and the boiler if it is wanted.
class own_dev_hub {
public:
    enum class events {
        shown,  ///< On standard error, and in the log.
        logged, ///< Only in the log.
    };

    /// Starts it, which takes up to seconds.
    ///
    /// @throws dev::dev_hub_failure  It cannot be started.
    own_dev_hub(tool& with, dev_hub_wishes const& wanted, events told);

    own_dev_hub(own_dev_hub const&) = delete;
    own_dev_hub& operator=(own_dev_hub const&) = delete;

    ~own_dev_hub();

    [[nodiscard]] dev_hub_state const& get_state() const;

    /// Whether the NATS server has ended by itself.
    [[nodiscard]] bool has_crashed();

private:
    class impl;
    std::unique_ptr<impl> m_impl;
};

/// Called when the hub is ready.
using hub_announcement = std::function<void(dev_hub_state const&)>;

/// Runs the hub until a signal ends it.
///
/// @throws dev::dev_hub_failure  It cannot be started.
exit_code run_in_foreground(
    tool& with, dev_hub_wishes const& wanted, hub_announcement const& announce);

/// Starts the hub as a process of its own, and returns when it is ready.
///
/// @throws failure  It has ended instead; the text is what it wrote.
exit_code run_detached(tool& with, dev_hub_wishes const& wanted, hub_announcement const& announce);

} // namespace arvenhold::corvel::hub::ctl
