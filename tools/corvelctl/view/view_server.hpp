// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The HTTP server of `view`.

#pragma once

#include "corvelctl/output.hpp"
#include "corvelctl/view/hub_model.hpp"
#include "corvelctl/view/page_access.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace arvenhold::corvel::hub::ctl {

/// A write that somebody has asked for in a browser.
struct page_write {
    std::string provider;
    std::string path;
    std::string value; ///< As typed.
    std::string from;  ///< The address of the browser.
};

/// Performs a write and returns the keys "outcome" and "text", and "before" and "now" if they are known.
/// Called on any thread; may take seconds.
using page_writer = std::function<json_object(page_write const&)>;

struct view_settings {
    page_address address; ///< With port 0 for a free one.
    std::string key;      ///< See page_door.
    std::string password;
    page_door::link_use link = page_door::link_use::any_number;
    json_object about; ///< What every page gets to know first.
};

/// Answers browsers on threads of its own.
class view_server {
public:
    /// The pages that can be connected at the same time.
    static constexpr int most_streams = 40;

    /// Begins to answer.
    ///
    /// @param writer  Empty to refuse every write.
    ///
    /// @throws failure  The address is not one of this machine, or the port is taken.
    view_server(view_settings settings, hub_model& model, page_writer writer);

    view_server(view_server const&) = delete;
    view_server& operator=(view_server const&) = delete;

    /// Closes the model, and waits until nobody is answered any more.
    ~view_server();

    /// The address that lets a browser in.
    [[nodiscard]] std::string make_link() const;

private:
    class impl;
    std::unique_ptr<impl> m_impl;
};

} // namespace arvenhold::corvel::hub::ctl
