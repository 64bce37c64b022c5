// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What the page knows of the hub. The link fills it, and the parts of the page read it.

import {isNumeric, noQuality, numberOf, qualityOf, staleQuality} from "./format.js";

const trendLength = 60; // one place a second

/** The key of a variable that stays the same when the server starts again. */
export function keyOf(provider, path) {
    return `${provider}\u0000${path}`;
}

export class Model extends EventTarget {
    constructor() {
        super();
        this.link = {state: "connecting", since: Date.now() * 1000};
        this.about = {writes: false, recording: null};
        this.reset();
    }

    /** Forgets everything; a new server counts from the beginning. */
    reset() {
        this.providers = [];
        this.variables = [];
        this.byKey = new Map();
        this.events = [];
        this.hub = {lost: "", since: 0};
        this.held = {samples: 0, bytes: 0, limit: 0, oldest: 0};
        this.clock = {server: Date.now() * 1000, here: performance.now()};
        this.shape = (this.shape ?? 0) + 1;
    }

    /** Microseconds since 1970 by the clock of corvelctl. */
    now() {
        if (this.about.recording) {
            return this.about.recording.to;
        }
        return this.clock.server + (performance.now() - this.clock.here) * 1000;
    }

    setLink(state) {
        if (state !== this.link.state) {
            this.link = {state, since: Date.now() * 1000};
            this.dispatchEvent(new Event("link"));
        }
    }

    begin(about) {
        this.about = about;
        this.reset();
        this.dispatchEvent(new Event("begin"));
    }

    /** Takes an update of the server. */
    apply(update) {
        this.clock = {server: update.now, here: performance.now()};
        this.hub = update.hub;
        this.held = update.held;
        for (const [number, name, state, text, since] of update.providers) {
            this.providers[number] = {name, state, text, since};
        }
        for (const one of update.variables) {
            this.define(...one);
        }
        for (const one of update.values) {
            this.setValue(...one);
        }
        for (const [sequence, when, kind, provider, text] of update.events) {
            this.events.push({sequence, when, kind, provider, text});
        }
        if (update.providers.length + update.variables.length > 0) {
            this.shape += 1;
        }
        if (update.events.length > 0) {
            this.dispatchEvent(new Event("events"));
        }
        this.dispatchEvent(new Event("change"));
    }

    define(number, provider, path, type, access, gone) {
        const known = this.variables[number];
        const variable = known ?? {
            number, provider, path, type, value: undefined, quality: 0, when: 0, stale: true, changed: -1e9,
            trend: null};
        variable.access = access;
        variable.gone = gone;
        this.variables[number] = variable;
        const key = keyOf(this.providers[provider].name, path);
        if (!gone || !this.byKey.has(key)) {
            this.byKey.set(key, variable);
        }
    }

    setValue(number, value, quality, when, stale) {
        const variable = this.variables[number];
        if (variable.value !== value) {
            const now = performance.now();
            // What changes all the time does not flash all the time.
            variable.flashes = variable.value !== undefined && now - variable.changed > 1000;
            variable.changed = now;
        }
        variable.value = value;
        variable.quality = quality;
        variable.when = when;
        variable.stale = stale === 1;
    }

    /** Whether no value is known to be current, because a link is lost. */
    isCut() {
        return this.link.state !== "live" || this.hub.lost !== "";
    }

    nameOf(variable) {
        return this.providers[variable.provider].name;
    }

    qualityOf(variable) {
        if (variable.value === undefined) {
            return noQuality;
        }
        if (this.about.recording) {
            return variable.stale ? staleQuality : qualityOf(variable.quality);
        }
        return variable.stale || variable.gone || this.isCut() ? staleQuality : qualityOf(variable.quality);
    }

    /** Why a value is as it is, in one sentence. */
    reasonOf(variable) {
        const provider = this.providers[variable.provider];
        if (this.link.state !== "live") {
            return "Stale: this page has no connection to corvelctl.";
        }
        if (this.hub.lost !== "") {
            return `Stale: corvelctl has lost the hub: ${this.hub.lost}.`;
        }
        if (variable.gone) {
            return `Stale: provider ${provider.name} no longer has this variable.`;
        }
        if (provider.state !== "here") {
            return `Stale: provider ${provider.name} is ${provider.state}: ${provider.text}.`;
        }
        const quality = this.qualityOf(variable);
        return `${quality.word[0].toUpperCase()}${quality.word.slice(1)}: ${quality.meaning}.`;
    }

    /** Adds a place to all trends; called once a second. */
    takeSamples() {
        const cut = this.isCut();
        for (const variable of this.variables) {
            if (variable === undefined || !isNumeric(variable.type)) {
                continue;
            }
            const trend = variable.trend ?? (variable.trend = new Float64Array(trendLength).fill(NaN));
            trend.copyWithin(0, 1);
            trend[trendLength - 1] = cut || variable.stale ? NaN : numberOf(variable.value);
        }
    }
}
