// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The part of the address behind "#": what is shown, so that another person sees the same.

const encode = (text) => encodeURIComponent(text).replaceAll("~", "%7E").replaceAll("'", "%27");

/** "provider~path~axis" for each trace, "," between them, and ";" between charts. */
function writeCharts(charts) {
    return charts
        .map((traces) => traces.map((one) => `${encode(one.provider)}~${encode(one.path)}`
            + (one.axis === "right" ? "~r" : "")).join(","))
        .join(";");
}

function readCharts(text) {
    return text.split(";").filter((chart) => chart !== "").map((chart) => chart.split(",").map((trace) => {
        const [provider, path, axis] = trace.split("~");
        return {
            provider: decodeURIComponent(provider), path: decodeURIComponent(path ?? ""),
            axis: axis === "r" ? "right" : "left"};
    }));
}

/** @return {filter, provider, charts, window, from, to}; what is missing or broken is left out. */
export function readAddress() {
    const state = {charts: []};
    for (const part of location.hash.slice(1).split("&")) {
        const [name, value] = part.split("=");
        try {
            if (name === "charts") {
                state.charts = readCharts(value);
            } else if (name === "filter" || name === "provider" || name === "side") {
                state[name] = decodeURIComponent(value);
            } else if (["window", "from", "to"].includes(name) && Number.isFinite(Number(value))) {
                state[name] = Number(value);
            }
        } catch {
            // A part that cannot be decoded shows nothing.
        }
    }
    return state;
}

/** Replaces the address without a step in the browser's history. */
export function writeAddress(state) {
    const parts = [];
    for (const name of ["provider", "filter", "side"]) {
        if (state[name]) {
            parts.push(`${name}=${encode(state[name])}`);
        }
    }
    if (state.charts.length > 0) {
        parts.push(`charts=${writeCharts(state.charts)}`);
    }
    for (const name of ["window", "from", "to"]) {
        if (state[name] !== undefined) {
            parts.push(`${name}=${Math.round(state[name])}`);
        }
    }
    const hash = parts.length > 0 ? `#${parts.join("&")}` : "";
    if (hash !== location.hash || location.search !== "") {
        history.replaceState(null, "", `/${hash}`);
    }
}
