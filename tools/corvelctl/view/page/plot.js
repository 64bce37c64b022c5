// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The drawing of one chart: lines by the charting library, bands for Booleans and texts below them.

import {make} from "./dom.js";
import {isNumeric} from "./format.js";
import {findSpans, makeRows} from "./samples.js";

// Our own legend replaces the library's, whose styles the content security policy does not allow.
Dygraph.PLUGINS = Dygraph.PLUGINS.filter((plugin) => plugin !== Dygraph.Plugins.Legend);

export const colours = 8; // --line-0 to --line-7 of the style sheet
const bandHeight = 22;
const shades = ["", "--shade-uncertain", "--shade-bad", "--shade-stale"];

export function styleOf(element, name) {
    return getComputedStyle(element).getPropertyValue(name).trim();
}

export class Plot {
    /** `onZoom(from, to)` is called in microseconds when the user has chosen a range. */
    constructor(box, onZoom) {
        this.box = box;
        this.lines = make("div", {className: "lines"});
        this.bands = make("canvas", {className: "bands", "aria-hidden": "true"});
        this.cursor = make("div", {className: "cursor", hidden: true});
        this.box.append(this.lines, this.bands, this.cursor);
        this.onZoom = onZoom;
        this.spans = [];
    }

    destroy() {
        this.graph?.destroy();
        this.graph = null;
    }

    /** `traces` are {variable, points, axis, colour}; times are microseconds. */
    draw(traces, from, to) {
        const numeric = traces.filter((trace) => isNumeric(trace.variable.type));
        const banded = traces.filter((trace) => !isNumeric(trace.variable.type));
        const columns = Math.max(Math.round(this.lines.clientWidth * 0.9), 100);
        this.lines.classList.toggle("flat", numeric.length === 0);
        const rows = makeRows(
            numeric.length > 0 ? numeric.map((trace) => trace.points) : [[]], from, to, columns);
        this.spans = traces.flatMap(
            (trace) => findSpans(trace.points, from, to, (point) => point.status !== 0));
        const options = this.options(numeric, rows, from, to);
        if (this.graph && this.shape === options.shape) {
            this.graph.updateOptions(options.changing);
        } else {
            this.graph?.destroy();
            this.graph = new Dygraph(this.lines, rows, {...options.fixed, ...options.changing});
            this.shape = options.shape;
        }
        this.drawBands(banded, from, to);
    }

    options(numeric, rows, from, to) {
        const right = numeric.some((trace) => trace.axis === "right");
        const names = numeric.length > 0 ? numeric.map((trace) => `v${trace.variable.number}`) : ["none"];
        const series = Object.fromEntries(numeric.map((trace) => [
            `v${trace.variable.number}`, {axis: trace.axis === "right" ? "y2" : "y1", color: trace.colour}]));
        const grid = styleOf(this.box, "--grid");
        const changing = {file: rows, dateWindow: [from / 1000, to / 1000], valueRange: null};
        const fixed = {
            labels: ["time", ...names], series, legend: "never", stepPlot: true, animatedZooms: false,
            highlightCircleSize: 0, strokeWidth: 1.5, connectSeparatedPoints: false, gridLineColor: grid,
            axisLineColor: grid, axisLabelFontSize: 11, rightGap: right ? 0 : 26, labelsUTC: false,
            axes: {
                x: {ticker: Dygraph.dateTicker, axisLabelFormatter: Dygraph.dateAxisLabelFormatter,
                    axisLabelWidth: 64},
                y: {axisLabelWidth: 56, drawAxis: numeric.length > 0, drawGrid: numeric.length > 0},
                y2: {axisLabelWidth: 56, drawGrid: false, independentTicks: true},
            },
            xRangePad: 0, yRangePad: 6,
            underlayCallback: (context, area, graph) => this.shade(context, area, graph),
            zoomCallback: (least, most) => this.onZoom(least * 1000, most * 1000),
        };
        const theme = styleOf(this.box, "--text");
        const shape = [this.lines.clientWidth, this.lines.clientHeight, grid, theme, ...numeric.map(
            (trace) => `${trace.variable.number}${trace.axis}${trace.colour}`)].join("|");
        return {fixed, changing, shape};
    }

    // Shows where values were lost, stale, uncertain or bad. A place is shaded once, however many values
    // it concerns.
    shade(context, area, graph) {
        for (const status of [1, 2, 3]) {
            context.beginPath();
            for (const span of this.spans.filter((one) => one.status === status)) {
                const left = graph.toDomXCoord(span.from / 1000);
                const right = graph.toDomXCoord(span.to / 1000);
                context.rect(left, area.y, Math.max(right - left, 1), area.h);
            }
            context.fillStyle = styleOf(this.box, shades[status]);
            context.fill();
        }
    }

    area() {
        const {x, w} = this.graph.getArea();
        return {left: x, width: w};
    }

    drawBands(traces, from, to) {
        const scale = devicePixelRatio || 1;
        const width = this.lines.clientWidth;
        const height = traces.length * bandHeight;
        this.bands.hidden = height === 0;
        this.bands.style.height = `${height}px`;
        this.bands.width = Math.round(width * scale);
        this.bands.height = Math.round(height * scale);
        const context = this.bands.getContext("2d");
        context.scale(scale, scale);
        context.font = "11px system-ui, sans-serif";
        context.textBaseline = "middle";
        const area = this.area();
        traces.forEach((trace, index) => {
            for (const span of findSpans(trace.points, from, to, () => true)) {
                const left = area.left + (span.from - from) / (to - from) * area.width;
                const right = area.left + (span.to - from) / (to - from) * area.width;
                this.drawBand(context, trace, span, {left, right, top: index * bandHeight + 2});
            }
        });
    }

    drawBand(context, trace, span, {left, right, top}) {
        const isStale = span.status === 3;
        const isOff = span.value === false;
        context.globalAlpha = isStale ? 1 : isOff ? 0.15 : 0.3;
        context.fillStyle = isStale ? styleOf(this.box, "--shade-stale") : trace.colour;
        context.fillRect(left, top, Math.max(right - left - 1, 1), bandHeight - 4);
        context.globalAlpha = 1;
        context.save();
        context.beginPath();
        context.rect(left, top, Math.max(right - left - 3, 0), bandHeight - 4);
        context.clip();
        context.fillStyle = styleOf(this.box, "--text");
        context.fillText(isStale ? `${span.value} (stale)` : String(span.value), left + 4, top + (bandHeight - 4) / 2);
        context.restore();
    }

    /** Shows the cursor at a time, or hides it. */
    setCursor(time, from, to) {
        this.cursor.hidden = time === null || time < from || time > to || !this.graph;
        if (!this.cursor.hidden) {
            const area = this.area();
            this.cursor.style.left = `${area.left + (time - from) / (to - from) * area.width}px`;
        }
    }

    /** The time below a position of the pointer. */
    timeAt(clientX, from, to) {
        const area = this.area();
        const share = (clientX - this.lines.getBoundingClientRect().left - area.left) / area.width;
        return from + Math.min(Math.max(share, 0), 1) * (to - from);
    }

    /** An image of the chart; the numbers at its axes are elements, so they are painted here. */
    toImage(titles) {
        const scale = 2;
        const place = this.box.getBoundingClientRect();
        const head = 10 + titles.length * 16;
        const image = make("canvas", {width: place.width * scale, height: (place.height + head) * scale});
        const context = image.getContext("2d");
        context.scale(scale, scale);
        context.fillStyle = styleOf(this.box, "--surface");
        context.fillRect(0, 0, image.width, image.height);
        context.font = "12px system-ui, sans-serif";
        titles.forEach(({text, colour}, index) => {
            context.fillStyle = colour;
            context.fillText(text, 12, 18 + index * 16);
        });
        context.font = "11px system-ui, sans-serif";
        context.fillStyle = styleOf(this.box, "--text");
        for (const canvas of this.box.querySelectorAll("canvas")) {
            const at = canvas.getBoundingClientRect();
            if (at.width > 0 && at.height > 0) {
                context.drawImage(canvas, at.left - place.left, at.top - place.top + head, at.width, at.height);
            }
        }
        for (const label of this.box.querySelectorAll(".dygraph-axis-label")) {
            const at = label.getBoundingClientRect();
            context.textAlign = getComputedStyle(label).textAlign === "center" ? "center" : "left";
            const x = context.textAlign === "center" ? at.left + at.width / 2 : at.left;
            context.fillText(label.textContent, x - place.left, at.top - place.top + head + 10);
        }
        return new Promise((resolve) => image.toBlob(resolve, "image/png"));
    }
}
