// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/view/recorded_hub.hpp"

#include "corvelctl/output.hpp"
#include "corvelctl/recording_reader.hpp"
#include "corvelctl/time_text.hpp"
#include "corvelctl/view/page_json.hpp"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

namespace arvenhold::corvel::hub::ctl {

namespace {

// Hands on the rows one after the other.
class row_viewer {
public:
    explicit row_viewer(hub_model& into)
        : m_model{into} {}

    void show(recorded_row const& row) {
        // The time of a stale value is that of the value, not that of the loss.
        m_now = row.is_live ? std::max(m_now, row.when) : m_now;
        m_first = std::min(m_first.value_or(row.when), m_now);
        switch (row.kind) {
        case row_kind::definition:
            if (row.definition.has_value()) {
                m_model.set_definition(row.provider, *row.definition, m_now);
            }
            break;
        case row_kind::value:
            m_model.set_value(make_reading(row), row.is_live ? row.when : m_now);
            break;
        case row_kind::event:
            m_model.receive_notice({row.provider, row.event, row.text, m_now});
            break;
        case row_kind::dropped:
            add_event(row, "dropped", make_dropped_text(row.count, "change"));
            break;
        case row_kind::gap:
            add_event(row, "gap", "nothing was recorded since " + make_rfc3339(row.from));
            break;
        case row_kind::beginning:
        case row_kind::other:
            break;
        }
    }

    [[nodiscard]] recorded_span get_span() const {
        return {to_microseconds(m_first.value_or(timestamp{})), to_microseconds(m_now)};
    }

private:
    void add_event(recorded_row const& row, std::string const& kind, std::string const& text) {
        m_model.add_event({0, row.when, kind, "", text});
    }

    hub_model& m_model;
    timestamp m_now{};
    std::optional<timestamp> m_first;
};

} // namespace

recorded_span load_recording(std::filesystem::path const& path, hub_model& into) {
    recording_reader recording{find_recording(path)};
    row_viewer viewer{into};
    while (auto const row = recording.read()) {
        viewer.show(*row);
    }
    into.finish_round({});
    return viewer.get_span();
}

} // namespace arvenhold::corvel::hub::ctl
