// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The connection to corvelctl. The server sends at least one update a second; a page that gets none
// for longer is cut off, whatever the browser believes.

const longestSilence = 3000; // ms
const retryInterval = 1000;  // ms

export class Link {
    constructor(model) {
        this.model = model;
        this.source = null;
        this.retry = 0;
        this.watch = 0;
        document.addEventListener("visibilitychange", () => this.follow());
        addEventListener("pagehide", () => this.close());
        addEventListener("pageshow", () => this.follow());
    }

    /** Connects, unless nobody sees the page. */
    follow() {
        if (document.hidden) {
            this.close();
            // Nothing arrives meanwhile, so nothing is live when the page is seen again.
            this.model.setLink("connecting");
        } else if (this.source === null) {
            this.open();
        }
    }

    open() {
        this.close();
        this.source = new EventSource("/api/stream");
        this.source.addEventListener("hello", (event) => {
            this.model.begin(JSON.parse(event.data));
        });
        this.source.addEventListener("message", (event) => {
            this.expect();
            this.model.apply(JSON.parse(event.data));
            this.model.setLink("live");
        });
        this.source.addEventListener("error", () => this.lose());
        this.expect();
    }

    expect() {
        clearTimeout(this.watch);
        this.watch = setTimeout(() => this.lose(), longestSilence);
    }

    close() {
        clearTimeout(this.watch);
        clearTimeout(this.retry);
        this.source?.close();
        this.source = null;
    }

    lose() {
        this.close();
        this.model.setLink("lost");
        this.retry = setTimeout(() => this.tryAgain(), retryInterval);
    }

    /** An answer that refuses the cookie differs from no answer, which an event source cannot see. */
    async tryAgain() {
        try {
            const answer = await fetch("/api/history");
            this.model.setLink(answer.status === 401 ? "refused" : "lost");
        } catch {
            this.model.setLink("lost");
        }
        if (!document.hidden && this.source === null) {
            this.open();
        }
    }
}
