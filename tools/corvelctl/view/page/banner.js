// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Says in large letters when what the page shows is old.

import {find, setText} from "./dom.js";
import {formatAge, formatTime} from "./format.js";

/** What is wrong: {text, since, severe}, or null. */
function findTrouble(model) {
    const {state, since} = model.link;
    if (state === "refused") {
        return {text: "corvelctl no longer accepts this page. Open the address that it has printed.", since};
    }
    if (state === "lost") {
        return {text: "No connection to corvelctl. All values are stale. Trying again.", since};
    }
    if (model.hub.lost !== "") {
        return {text: `corvelctl has lost the hub: ${model.hub.lost}. All values are stale. Trying again.`,
                since: model.hub.since};
    }
    return null;
}

export function renderBanner(model) {
    const trouble = model.about.recording && model.link.state !== "refused" ? null : findTrouble(model);
    find("banner").hidden = trouble === null;
    document.body.classList.toggle("cut", trouble !== null);
    // The age is not read aloud again every second.
    setText(find("banner-text"), trouble ? trouble.text : "");
    setText(find("banner-since"), trouble
        ? `Since ${formatTime(trouble.since)} (${formatAge(Date.now() * 1000 - trouble.since)})` : "");
    const pill = find("state");
    const recording = model.about.recording;
    const state = recording ? "recording" : trouble ? "lost" : model.link.state === "live" ? "live" : "connecting";
    pill.dataset.state = state;
    setText(pill, recording ? `recording ${recording.file}` : state);
}
