// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// One chart with its legend: the traces, their values at the cursor, and what can be done with them.

import {download, make, setAttribute, setText} from "./dom.js";
import {csvField, formatTime, formatValue, isNumeric} from "./format.js";
import {findPoint, requestHistory} from "./history.js";
import {Plot, colours, styleOf} from "./plot.js";

const statusWords = ["good", "uncertain", "bad", "stale"];

export class Panel {
    /** `charts` owns the panel and has the range, the cursor and the history. */
    constructor(charts, number) {
        Object.assign(this, {charts, number, traces: []});
        this.legend = make("ul", {className: "legend"});
        this.image = make("button", {textContent: "PNG", title: "Save an image"});
        this.table = make("button", {textContent: "CSV", title: "Save the values of the window"});
        this.join = make("button", {textContent: "Join", title: "Move into the chart above"});
        this.close = make("button", {className: "icon close", title: "Close the chart"});
        setAttribute(this.close, "aria-label", "Close the chart");
        this.box = make("div", {className: "plot", tabIndex: 0, role: "application"});
        setAttribute(this.box, "aria-label", "Chart; arrow keys move the cursor, + and - zoom, Shift and arrows pan");
        this.element = make(
            "section", {className: "panel", "aria-label": "Chart"},
            make("header", {}, this.legend, make("div", {className: "tools"}, this.image, this.table, this.join, this.close)),
            this.box,
            make("div", {className: "drop left", textContent: "Left axis"}),
            make("div", {className: "drop right", textContent: "Right axis"}));
        this.plot = new Plot(this.box, (from, to) => charts.setRange(from, to));
        this.listen();
    }

    listen() {
        this.close.addEventListener("click", () => this.charts.remove(this));
        this.image.addEventListener("click", () => this.saveImage());
        this.table.addEventListener("click", () => this.saveTable());
        this.join.addEventListener("click", () => this.charts.join(this));
        this.element.addEventListener("pointerdown", () => this.charts.activate(this));
        this.box.addEventListener("focus", () => this.charts.activate(this));
        this.box.addEventListener("pointermove", (event) => this.point(event));
        this.box.addEventListener("pointerleave", () => this.charts.setCursor(null));
        this.box.addEventListener("dblclick", () => this.charts.follow());
        this.box.addEventListener("keydown", (event) => this.charts.press(event));
        this.element.addEventListener("dragover", (event) => {
            event.preventDefault();
            this.element.dataset.drop = this.sideOf(event);
        });
        this.element.addEventListener("dragleave", () => delete this.element.dataset.drop);
        this.element.addEventListener("drop", (event) => this.drop(event));
    }

    sideOf(event) {
        const place = this.element.getBoundingClientRect();
        return event.clientX - place.left > place.width * 0.6 ? "right" : "left";
    }

    drop(event) {
        event.preventDefault();
        event.stopPropagation();
        delete this.element.dataset.drop;
        const variable = this.charts.droppedVariable(event);
        if (variable) {
            this.charts.add(this, variable, this.sideOf(event));
        }
    }

    add(provider, path, axis) {
        if (this.traces.some((trace) => trace.provider === provider && trace.path === path)) {
            return;
        }
        const used = new Set(this.traces.map((trace) => trace.place));
        let place = 0;
        while (used.has(place)) {
            place += 1;
        }
        const trace = {provider, path, axis, place: place % colours, ...this.makeItem(provider, path)};
        trace.swap.addEventListener("click", () => {
            trace.axis = trace.axis === "right" ? "left" : "right";
            this.charts.changed();
        });
        trace.remove.addEventListener("click", () => {
            this.traces.splice(this.traces.indexOf(trace), 1);
            trace.item.remove();
            this.charts.changed();
        });
        this.traces.push(trace);
        this.legend.append(trace.item);
    }

    makeItem(provider, path) {
        const mark = make("span", {className: "mark", "aria-hidden": "true"});
        const value = make("span", {className: "reading"});
        const when = make("span", {className: "when"});
        const swap = make("button", {className: "axis", title: "Other axis"});
        const remove = make("button", {className: "icon close", title: "Remove from the chart"});
        setAttribute(remove, "aria-label", `Remove ${path} from the chart`);
        const name = make("span", {className: "title", title: `${provider} ${path}`},
                          make("span", {className: "owner", textContent: provider}), ` ${path}`);
        const item = make("li", {}, mark, name, value, when, swap, remove);
        return {item, mark, value, when, swap, remove};
    }

    point(event) {
        if (this.plot.graph) {
            const {from, to} = this.charts.range();
            this.charts.setCursor(this.plot.timeAt(event.clientX, from, to));
        }
    }

    draw(from, to, end) {
        const drawn = [];
        for (const trace of this.traces) {
            const variable = this.charts.variableOf(trace);
            trace.colour = styleOf(this.box, `--line-${trace.place}`);
            if (variable) {
                drawn.push({
                    variable, axis: trace.axis, colour: trace.colour,
                    points: this.charts.pointsOf(variable, end)});
            }
            this.drawItem(trace, variable);
        }
        this.plot.draw(drawn, from, to);
        this.plot.setCursor(this.charts.cursor, from, to);
        const title = `Chart of ${this.traces.map((trace) => trace.path).join(", ")}`;
        setAttribute(this.element, "aria-label", title);
    }

    drawItem(trace, variable) {
        trace.mark.style.background = trace.colour;
        const isRight = trace.axis === "right";
        setText(trace.swap, isRight ? "right" : "left");
        trace.swap.hidden = variable !== undefined && !isNumeric(variable.type);
        setAttribute(trace.swap, "aria-label", `${trace.path} uses the ${isRight ? "right" : "left"} axis; change`);
        if (!variable) {
            setText(trace.value, "not there");
            setText(trace.when, "");
            return;
        }
        this.drawReading(trace, variable);
    }

    // The value at the cursor with its time; without a cursor the latest one.
    drawReading(trace, variable) {
        const cursor = this.charts.cursor;
        const points = this.charts.pointsOf(variable);
        const point = points[cursor === null ? points.length - 1 : findPoint(points, cursor)];
        const text = point ? formatValue(variable.type, point.value, this.charts.digits()) : "no value";
        const word = cursor === null ? this.charts.model.qualityOf(variable).word : statusWords[point?.status ?? 0];
        setText(trace.value, point && word !== "good" ? `${text} (${word})` : text);
        setText(trace.when, point && cursor !== null ? formatTime(point.time) : "");
    }

    async saveImage() {
        const titles = this.traces.map((trace) => ({
            text: `${trace.provider} ${trace.path}  ${trace.value.textContent}`, colour: trace.colour}));
        download("chart.png", await this.plot.toImage(titles), "image/png");
    }

    async saveTable() {
        const variables = this.traces.map((trace) => this.charts.variableOf(trace)).filter((one) => one);
        const {from, to} = this.charts.range();
        const {points} = await requestHistory(variables.map((one) => one.number), {from, to});
        const rows = ["time,provider,path,value,status"];
        for (const variable of variables) {
            for (const point of points.get(variable.number)) {
                rows.push([
                    new Date(point.time / 1000).toISOString(), this.charts.model.nameOf(variable), variable.path,
                    point.value, statusWords[point.status]].map(csvField).join(","));
            }
        }
        download("chart.csv", `${rows.join("\n")}\n`, "text/csv");
    }

    destroy() {
        this.plot.destroy();
        this.element.remove();
    }
}
