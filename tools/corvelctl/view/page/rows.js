// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The rows of the tree. Only those that can be seen are in the document, whatever their number.

import {find, make, setAttribute, setText} from "./dom.js";
import {formatAge, formatValue, isNumeric} from "./format.js";
import {drawTrend} from "./sparkline.js";

const spare = 4; // rows above and below those that can be seen

/** Makes the elements of a row once; they show one row after the other. */
function makeElements(position) {
    const toggle = make("span", {className: "toggle", "aria-hidden": "true"});
    const name = make("span", {className: "label"});
    const cells = {
        name: make("div", {className: "name", role: "gridcell"}, toggle, name),
        value: make("div", {className: "value", role: "gridcell"}),
        trend: make("canvas", {className: "trend", "aria-hidden": "true"}),
        quality: make("div", {className: "quality", role: "gridcell"}),
        age: make("div", {className: "age", role: "gridcell"}),
    };
    const chart = make("button", {className: "chart icon", tabIndex: -1});
    const write = make("button", {className: "write icon", tabIndex: -1});
    const row = make(
        "div", {className: "row", role: "row", id: `row-${position}`}, cells.name, cells.value,
        make("div", {className: "trend-cell", role: "gridcell"}, cells.trend), cells.quality, cells.age,
        make("div", {className: "actions", role: "gridcell"}, write, chart));
    return {row, toggle, label: name, ...cells, chart, write, shown: null};
}

export class Rows {
    /** `actions` has chart(variables), write(variable) and select(row). */
    constructor(model, tree, settings, actions) {
        Object.assign(this, {model, tree, settings, actions, pool: [], selected: null});
        this.box = find("rows");
        this.space = find("rows-space");
        this.measure();
        this.box.addEventListener("scroll", () => this.request());
        new ResizeObserver(() => this.measure()).observe(this.box);
        this.space.addEventListener("click", (event) => this.click(event));
        this.space.addEventListener("dblclick", (event) => this.chartRow(this.rowOf(event.target)));
        this.space.addEventListener("dragstart", (event) => this.drag(event));
        this.box.addEventListener("keydown", (event) => this.press(event));
        this.box.addEventListener("focus", () => this.selected ?? this.select(this.tree.rows()[0]));
    }

    // The style sheet knows how high a row is: on a small screen it has two lines.
    measure() {
        const height = parseFloat(getComputedStyle(this.box).getPropertyValue("--row-height"));
        if (this.height !== height) {
            this.height = height;
            this.total = null;
            this.pool.forEach((elements) => {
                elements.position = null;
            });
        }
        this.request();
    }

    request() {
        this.requested ??= requestAnimationFrame(() => {
            this.requested = null;
            this.render();
        });
    }

    render() {
        const rows = this.tree.rows();
        const first = Math.max(Math.floor(this.box.scrollTop / this.height) - spare, 0);
        const count = Math.min(Math.ceil(this.box.clientHeight / this.height) + 2 * spare, rows.length - first);
        this.makeSpace(rows.length);
        while (this.pool.length < count) {
            const elements = makeElements(this.pool.length);
            this.pool.push(elements);
            this.space.append(elements.row);
        }
        this.pool.forEach((elements, index) => this.place(elements, index, first, count, rows));
        const active = this.pool.find((one) => one.shown && one.shown.key === this.selected?.key);
        setAttribute(this.box, "aria-activedescendant", active ? active.row.id : null);
    }

    makeSpace(total) {
        if (this.total !== total) {
            this.total = total;
            this.space.style.height = `${Math.max(total * this.height, 1)}px`;
            setAttribute(this.box, "aria-rowcount", Math.max(total, 1));
            find("no-rows").hidden = total > 0;
        }
    }

    // A row keeps its element while it is in sight, so that scrolling changes few of them.
    place(elements, index, first, count, rows) {
        const size = this.pool.length;
        const position = first + ((index - first % size) + size) % size;
        if (position >= first + count) {
            elements.row.hidden = true;
            elements.shown = null;
            return;
        }
        if (elements.position !== position) {
            elements.position = position;
            elements.row.style.transform = `translateY(${position * this.height}px)`;
            setAttribute(elements.row, "aria-rowindex", position + 1);
        }
        elements.row.hidden = false;
        this.show(elements, rows[position]);
    }

    show(elements, row) {
        if (elements.shown !== row) {
            elements.shown = row;
            this.showShape(elements, row);
        }
        setAttribute(elements.row, "aria-selected", row.key === this.selected?.key);
        const variable = row.node.variable;
        if (variable) {
            this.showValue(elements, variable);
        } else {
            this.showBranch(elements, row);
        }
    }

    // What stays while a row is shown.
    showShape(elements, row) {
        const {node} = row;
        const variable = node.variable;
        setText(elements.label, row.name);
        setAttribute(elements.row, "aria-level", row.level);
        setAttribute(elements.row, "aria-expanded", node.children.length > 0 ? row.open : null);
        elements.name.style.paddingInlineStart = `${(row.level - 1) * 14 + 6}px`;
        setText(elements.toggle, node.children.length === 0 ? "" : row.open ? "▾" : "▸");
        const path = variable ? variable.path : row.name;
        elements.name.title = path;
        elements.row.draggable = variable !== undefined;
        elements.chart.title = variable ? "Chart (C)" : "Chart this branch (C)";
        setAttribute(elements.chart, "aria-label", `Chart ${path}`);
        const writable = variable !== undefined && variable.access === "read-write" && this.model.about.writes;
        elements.write.hidden = !writable;
        elements.write.title = "Write (W)";
        setAttribute(elements.write, "aria-label", `Write ${path}`);
        elements.trend.hidden = !variable || !isNumeric(variable.type);
        elements.changed = variable?.changed;
        elements.row.classList.remove("flash-a", "flash-b");
        this.drawTrendOf(elements);
    }

    showValue(elements, variable) {
        const quality = this.model.qualityOf(variable);
        const provider = this.model.providers[variable.provider];
        const text = formatValue(variable.type, variable.value, this.settings.digits);
        setText(elements.value, text);
        if (elements.value.title !== text) {
            elements.value.title = text;
        }
        setText(elements.quality, quality.word);
        setText(elements.age, variable.value === undefined ? "" : formatAge(this.model.now() - variable.when));
        setAttribute(elements.row, "data-quality", quality.kind);
        const lost = !this.model.about.recording && (provider.state === "lost" || variable.gone);
        elements.row.classList.toggle("lost", lost);
        elements.row.classList.remove("branch");
        if (elements.changed !== variable.changed) {
            elements.changed = variable.changed;
            if (variable.flashes && quality.kind !== "stale") {
                // Another animation of the same kind begins from the start.
                const next = elements.row.classList.contains("flash-a") ? "flash-b" : "flash-a";
                elements.row.classList.remove("flash-a", "flash-b");
                elements.row.classList.add(next);
            }
        }
    }

    showBranch(elements, row) {
        const provider = this.model.providers[row.node.provider];
        const isRoot = row.level === 1;
        const isLost = provider.state !== "here" && !this.model.about.recording;
        setText(elements.value, isRoot && isLost ? provider.text : "");
        elements.value.title = elements.value.textContent;
        setText(elements.quality, isRoot && isLost ? provider.state : "");
        setText(elements.age, isRoot && isLost ? formatAge(this.model.now() - provider.since) : "");
        setAttribute(elements.row, "data-quality", isLost ? "stale" : "none");
        elements.row.classList.toggle("lost", provider.state === "lost" && isLost);
        elements.row.classList.add("branch");
    }

    /** Draws the trends of the rows in sight; called once a second. */
    drawTrends() {
        this.pool.forEach((elements) => this.drawTrendOf(elements));
    }

    drawTrendOf(elements) {
        const variable = elements.shown?.node.variable;
        if (variable && isNumeric(variable.type)) {
            const colour = getComputedStyle(this.box).getPropertyValue("--trend");
            drawTrend(elements.trend, variable.trend, colour);
        }
    }

    /** The variables of the rows in sight. */
    visibleVariables() {
        return this.pool.map((one) => one.shown?.node.variable).filter((one) => one !== undefined);
    }

    select(row) {
        this.selected = row ? {key: row.key} : null;
        this.actions.select(row);
        this.request();
    }

    selectedRow() {
        const index = this.selectedIndex();
        return index < 0 ? null : this.tree.rows()[index];
    }

    selectedIndex() {
        return this.selected ? this.tree.rows().findIndex((row) => row.key === this.selected.key) : -1;
    }

    rowOf(target) {
        const element = target.closest(".row");
        return this.pool.find((one) => one.row === element)?.shown ?? null;
    }

    click(event) {
        const row = this.rowOf(event.target);
        if (!row) {
            return;
        }
        this.select(row);
        if (event.target.closest(".chart")) {
            this.chartRow(row);
        } else if (event.target.closest(".write")) {
            this.actions.write(row.node.variable);
        } else if (row.node.children.length > 0) {
            this.toggle(row, !row.open);
        }
        this.box.focus({preventScroll: true});
    }

    chartRow(row) {
        if (row) {
            this.actions.chart(row.node);
        }
    }

    drag(event) {
        const variable = this.rowOf(event.target)?.node.variable;
        if (variable) {
            event.dataTransfer.setData("application/x-corvel-variable", String(variable.number));
            event.dataTransfer.effectAllowed = "copy";
            document.body.classList.add("dragging");
            addEventListener("dragend", () => document.body.classList.remove("dragging"), {once: true});
        }
    }

    toggle(row, open) {
        this.tree.setOpen(row.node, open);
        this.request();
    }

    press(event) {
        if (event.ctrlKey || event.metaKey || event.altKey) {
            return;
        }
        const page = Math.max(Math.floor(this.box.clientHeight / this.height) - 1, 1);
        const steps = {ArrowUp: -1, ArrowDown: 1, PageUp: -page, PageDown: page, Home: -1e9, End: 1e9};
        const row = this.selectedRow();
        if (event.key in steps) {
            this.move(steps[event.key]);
        } else if (!row || !this.act(event.key, row)) {
            return;
        }
        event.preventDefault();
    }

    // What a key does with the selected row; false if nothing.
    act(key, row) {
        const hasChildren = row.node.children.length > 0;
        if (key === "ArrowRight" && hasChildren && !row.open) {
            this.toggle(row, true);
        } else if (key === "ArrowLeft" && hasChildren && row.open) {
            this.toggle(row, false);
        } else if (key === "ArrowLeft") {
            this.moveToParent(row);
        } else if (key === "Enter" && hasChildren) {
            this.toggle(row, !row.open);
        } else if (key === "c" || key === "Enter") {
            this.chartRow(row);
        } else if (key === "C") {
            this.actions.addToChart(row.node);
        } else if (key === "w" && row.node.variable) {
            this.actions.write(row.node.variable);
        } else {
            return false;
        }
        return true;
    }

    move(step) {
        const rows = this.tree.rows();
        const index = Math.min(Math.max(this.selectedIndex() + step, 0), rows.length - 1);
        if (index >= 0) {
            this.select(rows[index]);
            this.reveal(index);
        }
    }

    moveToParent(row) {
        const rows = this.tree.rows();
        for (let index = this.selectedIndex(); index >= 0; --index) {
            if (rows[index].level < row.level) {
                this.select(rows[index]);
                this.reveal(index);
                return;
            }
        }
    }

    reveal(index) {
        this.makeSpace(this.tree.rows().length);
        const top = index * this.height;
        if (top < this.box.scrollTop) {
            this.box.scrollTop = top;
        } else if (top + this.height > this.box.scrollTop + this.box.clientHeight) {
            this.box.scrollTop = top + this.height - this.box.clientHeight;
        }
    }
}
