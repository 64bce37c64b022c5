// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The list of what has happened, newest first.

import {download, find, make, setText} from "./dom.js";
import {csvField, formatTime} from "./format.js";

const mostShown = 300;
const words = {
    here: "provider here", lost: "provider lost", stale: "provider stale", back: "provider back",
    definition_changed: "definition replaced", hub_lost: "hub lost", hub_back: "hub back", dropped: "changes dropped",
    gap: "not recorded", write: "write", page_lost: "page cut off", page_back: "page connected",
};
const groups = {
    providers: ["here", "lost", "stale", "back"], definitions: ["definition_changed"], writes: ["write"],
    links: ["hub_lost", "hub_back", "page_lost", "page_back", "dropped", "gap"],
};

export class Events {
    constructor(model) {
        this.model = model;
        this.own = []; // of the page's own link, which the server does not know
        this.filter = find("event-filter");
        this.group = find("event-group");
        this.filter.addEventListener("input", () => this.render());
        this.group.addEventListener("change", () => this.render());
        find("event-save").addEventListener("click", () => this.save());
        model.addEventListener("events", () => this.render());
        model.addEventListener("link", () => this.noteLink());
        this.render();
    }

    noteLink() {
        const {state, since} = this.model.link;
        const wasLost = this.own.at(-1)?.kind === "page_lost";
        if (state === "lost" && !wasLost) {
            this.own.push({when: since, kind: "page_lost", provider: "", text: "corvelctl does not answer"});
        } else if (state === "live" && wasLost) {
            this.own.push({when: since, kind: "page_back", provider: "", text: ""});
        }
        this.render();
    }

    chosen() {
        const text = this.filter.value.toLowerCase();
        const kinds = groups[this.group.value];
        return [...this.model.events, ...this.own]
            .filter((one) => kinds === undefined || kinds.includes(one.kind))
            .filter((one) => `${words[one.kind]} ${one.provider} ${one.text}`.toLowerCase().includes(text))
            .sort((one, other) => other.when - one.when);
    }

    render() {
        const chosen = this.chosen();
        setText(find("event-count"), String(this.model.events.length + this.own.length));
        find("no-events").hidden = chosen.length > 0;
        find("event-list").replaceChildren(...chosen.slice(0, mostShown).map((one) => make(
            "li", {"data-kind": one.kind},
            make("time", {textContent: formatTime(one.when), title: formatTime(one.when, true)}),
            make("span", {className: "kind", textContent: words[one.kind] ?? one.kind}),
            make("span", {className: "what"},
                 make("b", {textContent: one.provider}), one.provider && one.text ? " " : "", one.text))));
    }

    save() {
        const rows = this.chosen().map((one) => [
            new Date(one.when / 1000).toISOString(), one.kind, one.provider, one.text].map(csvField).join(","));
        download("events.csv", `${["time,event,provider,text", ...rows].join("\n")}\n`, "text/csv");
    }
}
