// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// All charts. They show the same range of time, and the same cursor.

import {find, make, setAttribute, setText} from "./dom.js";
import {formatBytes, formatTime} from "./format.js";
import {findPoint, History} from "./history.js";
import {keyOf} from "./model.js";
import {Panel} from "./panel.js";
import {variablesBelow} from "./tree.js";

const mostTraces = 10;        // of a branch
const least = 100e3;          // microseconds that a window has at least
const whole = 0;              // the window that shows the whole history

export class Charts {
    /** `onChange` is called when there is something new for the address. */
    constructor(model, settings, onChange) {
        Object.assign(this, {model, settings, onChange, panels: [], active: null, cursor: null, fixed: null});
        this.window = 60e6;
        this.history = new History();
        this.list = find("panels");
        this.chooser = find("window");
        this.pause = find("pause");
        this.chooser.addEventListener("change", () => this.setWindow(Number(this.chooser.value) * 1e6));
        this.pause.addEventListener("click", () => this.togglePause());
        find("zoom-in").addEventListener("click", () => this.zoom(0.5));
        find("zoom-out").addEventListener("click", () => this.zoom(2));
        find("pan-left").addEventListener("click", () => this.pan(-0.25));
        find("pan-right").addEventListener("click", () => this.pan(0.25));
        const box = find("charts");
        box.addEventListener("dragover", (event) => event.preventDefault());
        box.addEventListener("drop", (event) => this.dropNew(event));
        new ResizeObserver(() => this.request()).observe(this.list);
    }

    digits() {
        return this.settings.digits;
    }

    // -- which charts -----------------------------------------------------------------------------

    droppedVariable(event) {
        return this.model.variables[Number(event.dataTransfer.getData("application/x-corvel-variable") || -1)];
    }

    dropNew(event) {
        event.preventDefault();
        const variable = this.droppedVariable(event);
        if (variable) {
            this.add(this.open(), variable, "left");
        }
    }

    open() {
        const panel = new Panel(this, this.panels.length);
        this.panels.push(panel);
        this.list.append(panel.element);
        this.activate(panel);
        return panel;
    }

    /** Adds what is at a node or below it: a chart of its own, or to the active one. */
    chart(node, toActive = false) {
        const variables = node.variable ? [node.variable] : variablesBelow(node).slice(0, mostTraces);
        if (variables.length > 0) {
            const panel = toActive && this.active ? this.active : this.open();
            variables.forEach((variable) => this.add(panel, variable, "left"));
            panel.element.scrollIntoView({block: "nearest"});
        }
    }

    add(panel, variable, axis) {
        panel.add(this.model.nameOf(variable), variable.path, axis);
        this.changed();
    }

    remove(panel) {
        this.panels.splice(this.panels.indexOf(panel), 1);
        panel.destroy();
        this.active = this.panels.at(-1) ?? null;
        this.changed();
    }

    /** Moves the traces of a panel into the one above it. */
    join(panel) {
        const above = this.panels[this.panels.indexOf(panel) - 1];
        panel.traces.forEach(({provider, path, axis}) => above.add(provider, path, axis));
        this.remove(panel);
        above.box.focus();
    }

    activate(panel) {
        this.active = panel;
        this.panels.forEach((one) => one.element.classList.toggle("active", one === panel && this.panels.length > 1));
    }

    changed() {
        this.panels.filter((panel) => panel.traces.length === 0).forEach((panel) => this.remove(panel));
        this.panels.forEach((panel, index) => {
            panel.join.hidden = index === 0;
        });
        find("no-charts").hidden = this.panels.length > 0;
        setText(find("chart-count"), this.panels.length > 0 ? String(this.panels.length) : "");
        this.refresh();
        this.onChange();
    }

    // -- which time -------------------------------------------------------------------------------

    /** The end of what can be drawn: nothing is known behind the loss of a link. */
    end() {
        return this.model.link.state === "live" || this.model.about.recording
            ? this.model.now() : this.model.link.since;
    }

    range() {
        if (this.fixed) {
            return this.fixed;
        }
        const now = this.model.now();
        const recording = this.model.about.recording;
        const oldest = recording ? recording.from : this.model.held.oldest || now - 60e6;
        return {from: this.window === whole ? Math.min(oldest, now - least) : now - this.window, to: now};
    }

    setWindow(window) {
        this.window = window;
        this.follow();
    }

    setRange(from, to) {
        const width = Math.max(to - from, least);
        this.fixed = {from, to: from + width};
        this.changedRange();
    }

    /** Shows the latest values again. */
    follow() {
        this.fixed = null;
        this.changedRange();
    }

    togglePause() {
        if (this.fixed) {
            this.follow();
        } else {
            const {from, to} = this.range();
            this.setRange(from, to);
        }
    }

    zoom(factor) {
        const {from, to} = this.range();
        const middle = this.cursor ?? (from + to) / 2;
        this.setRange(middle - (middle - from) * factor, middle + (to - middle) * factor);
    }

    pan(share) {
        const {from, to} = this.range();
        const step = (to - from) * share;
        this.setRange(from + step, to + step);
    }

    changedRange() {
        this.history.reload();
        setText(this.pause, this.fixed ? "Follow" : "Pause");
        setAttribute(this.pause, "aria-pressed", this.fixed !== null);
        this.showChosen();
        this.refresh();
        this.onChange();
    }

    // A window that is in no list gets an entry of its own.
    showChosen() {
        const value = String(this.window / 1e6);
        if (![...this.chooser.options].some((option) => option.value === value)) {
            this.chooser.append(make("option", {value, textContent: `${value} s`}));
        }
        this.chooser.value = value;
    }

    press(event) {
        const actions = {
            "+": () => this.zoom(0.5), "-": () => this.zoom(2), " ": () => this.togglePause(),
            "ArrowLeft": () => event.shiftKey ? this.pan(-0.25) : this.moveCursor(-0.01),
            "ArrowRight": () => event.shiftKey ? this.pan(0.25) : this.moveCursor(0.01),
            "Escape": () => this.setCursor(null),
        };
        if (event.key in actions && event.target.tagName !== "BUTTON") {
            event.preventDefault();
            actions[event.key]();
        }
    }

    moveCursor(share) {
        const {from, to} = this.range();
        this.setCursor(Math.min(Math.max((this.cursor ?? to) + (to - from) * share, from), to));
    }

    setCursor(time) {
        this.cursor = time;
        this.request();
    }

    // -- drawing ----------------------------------------------------------------------------------

    variableOf(trace) {
        return this.model.byKey.get(keyOf(trace.provider, trace.path));
    }

    /** The points of a variable; behind `end` nothing is known. */
    pointsOf(variable, end) {
        const points = this.history.get(variable.number);
        if (end === undefined || points.length === 0 || this.model.link.state === "live") {
            return points;
        }
        const last = points[Math.max(findPoint(points, end), 0)];
        return [...points.filter((point) => point.time <= end), {...last, time: end, status: 3}];
    }

    /** Loads what is new, and draws. */
    async refresh() {
        const numbers = [...new Set(this.panels.flatMap((panel) => panel.traces)
            .map((trace) => this.variableOf(trace)?.number).filter((one) => one !== undefined))].sort();
        if (!this.isLoading) {
            this.isLoading = true;
            await this.load(numbers);
            this.isLoading = false;
        }
        this.request();
    }

    async load(numbers) {
        try {
            if (numbers.length > 0 && (this.model.link.state === "live" || this.model.about.recording)) {
                const {from, to} = this.range();
                const isWhole = this.fixed !== null || this.model.about.recording;
                await this.history.load(numbers, from, isWhole ? to : undefined);
            }
        } catch {
            // The link notices by itself that corvelctl does not answer.
        }
    }

    /** How often a moving chart is worth drawing: a pixel of its width takes so long. */
    interval() {
        const {from, to} = this.range();
        return Math.min(Math.max((to - from) / 1e3 / 800, 100), 1000);
    }

    /** Called with every update. */
    tick() {
        const now = performance.now();
        if (this.panels.length > 0 && this.fixed === null && now - (this.drawn ?? 0) >= this.interval()) {
            this.drawn = now;
            this.refresh();
        }
    }

    request() {
        this.requested ??= requestAnimationFrame(() => {
            this.requested = null;
            this.draw();
        });
    }

    draw() {
        if (this.list.clientWidth === 0) {
            return; // another tab is shown
        }
        const {from, to} = this.range();
        this.panels.forEach((panel) => panel.draw(from, to, this.end()));
        const held = this.model.held;
        setText(find("held"), held.samples === 0 ? "" : `${formatTime(from)} to ${formatTime(to)}. History: `
            + `${held.samples.toLocaleString("en")} changes since ${formatTime(held.oldest)}, `
            + `${formatBytes(held.bytes)} of ${formatBytes(held.limit)}.`);
    }

    // -- the address ------------------------------------------------------------------------------

    state() {
        return {
            charts: this.panels.map((panel) => panel.traces),
            ...(this.fixed ? {from: this.fixed.from, to: this.fixed.to} : {}),
            ...(this.window === 60e6 ? {} : {window: this.window / 1e6}),
        };
    }

    restore(state) {
        for (const traces of state.charts) {
            const panel = this.open();
            traces.forEach((trace) => panel.add(trace.provider, trace.path, trace.axis));
        }
        this.window = state.window === undefined ? this.window : state.window * 1e6;
        if (state.from !== undefined && state.to > state.from) {
            this.fixed = {from: state.from, to: state.to};
        }
        this.changedRange();
        this.changed();
    }
}
