// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Starts the page: makes the parts and connects them.

import {readAddress, writeAddress} from "./address.js";
import {renderBanner} from "./banner.js";
import {Charts} from "./charts.js";
import {find, make, setAttribute, setText} from "./dom.js";
import {Events} from "./events.js";
import {formatTime, formatValue, isNumeric, numberOf} from "./format.js";
import {findPoint, requestHistory} from "./history.js";
import {Link} from "./link.js";
import {Model} from "./model.js";
import {Rows} from "./rows.js";
import {Tree} from "./tree.js";
import {WriteDialog} from "./write.js";

const trendSpan = 60e6; // microseconds
const wide = matchMedia("(min-width: 900px)"); // values beside charts or events
const settings = {digits: "auto", ...JSON.parse(localStorage.getItem("settings") ?? "{}")};
const model = new Model();
const tree = new Tree(model);
const writer = new WriteDialog(model);
const charts = new Charts(model, settings, saveAddress);
const events = new Events(model);
const rows = new Rows(model, tree, settings, {
    chart: (node) => {
        showSide("charts");
        charts.chart(node);
    },
    addToChart: (node) => charts.chart(node, true),
    write: (variable) => writer.open(variable),
    select: showDetail,
});

// -- settings and address ---------------------------------------------------------------------------

function saveSettings() {
    localStorage.setItem("settings", JSON.stringify(settings));
}

function saveAddress() {
    writeAddress({
        ...charts.state(), filter: tree.filter, provider: tree.provider,
        side: document.body.dataset.side === "events" ? "events" : ""});
}

function showSide(side) {
    document.body.dataset.side = side;
    for (const tab of document.querySelectorAll("[role=tab]")) {
        const chosen = tab.dataset.side === side || (side === "values" && tab.dataset.side === "charts" && wide.matches);
        setAttribute(tab, "aria-selected", tab.dataset.side === side || chosen);
        tab.tabIndex = tab.dataset.side === side || chosen ? 0 : -1;
    }
    saveAddress();
    rows.request();
    charts.request();
}

function applyTheme() {
    const dark = settings.theme ? settings.theme === "dark" : matchMedia("(prefers-color-scheme: dark)").matches;
    document.documentElement.dataset.theme = dark ? "dark" : "light";
    setText(find("theme"), dark ? "Light" : "Dark");
    rows.drawTrends();
    charts.request();
}

function listenToControls() {
    find("filter").addEventListener("input", (event) => {
        tree.filter = event.target.value;
        rows.request();
        saveAddress();
    });
    find("provider").addEventListener("change", (event) => {
        tree.provider = event.target.value;
        rows.request();
        saveAddress();
    });
    find("digits").addEventListener("change", (event) => {
        settings.digits = /\d/.test(event.target.value) ? Number(event.target.value) : event.target.value;
        saveSettings();
        rows.request();
        charts.request();
    });
    find("theme").addEventListener("click", () => {
        settings.theme = document.documentElement.dataset.theme === "dark" ? "light" : "dark";
        saveSettings();
        applyTheme();
    });
    find("help").addEventListener("click", () => find("help-dialog").showModal());
    find("help-close").addEventListener("click", () => find("help-dialog").close());
    const tabs = [...document.querySelectorAll("[role=tab]")];
    for (const tab of tabs) {
        tab.addEventListener("click", () => showSide(tab.dataset.side));
        tab.addEventListener("keydown", (event) => moveTab(event, tabs));
    }
}

function moveTab(event, tabs) {
    const step = {ArrowLeft: -1, ArrowRight: 1}[event.key];
    const seen = tabs.filter((tab) => tab.offsetParent !== null);
    if (step) {
        const next = seen[(seen.indexOf(event.target) + step + seen.length) % seen.length];
        showSide(next.dataset.side);
        next.focus();
    }
}

function listenToKeys() {
    addEventListener("keydown", (event) => {
        const isTyping = event.target.matches("input, select, textarea") || document.querySelector("dialog[open]");
        if (event.key === "Escape" && event.target === find("filter")) {
            find("rows").focus();
        } else if (isTyping || event.ctrlKey || event.metaKey || event.altKey) {
            return;
        } else if (event.key === "/") {
            find("filter").focus();
        } else if (event.key === "?") {
            find("help-dialog").showModal();
        } else {
            return;
        }
        event.preventDefault();
    });
}

// -- what follows the model -------------------------------------------------------------------------

function showDetail(row) {
    const variable = row?.node.variable;
    const provider = row ? model.providers[row.node.provider] : null;
    let title = "";
    let text = "Select a variable to see why it is as it is.";
    if (variable) {
        const value = variable.value === undefined ? "" : ` = ${formatValue(variable.type, variable.value, "all")}`;
        title = `${variable.path}${value}`;
        text = `${model.reasonOf(variable)} ${variable.type}, ${variable.access || "no longer defined"}`
            + `${variable.value === undefined ? "" : `, time stamp ${formatTime(variable.when, true)}`}.`;
    } else if (row) {
        title = row.name;
        text = describeProvider(provider);
    }
    setText(find("detail-title"), title);
    setText(find("detail-text"), text);
}

function describeProvider({name, state, since, text}) {
    if (model.link.state !== "live") {
        return "Stale: this page has no connection to corvelctl.";
    }
    return `Provider ${name} is ${state} since ${formatTime(since)}${state === "here" ? "" : `: ${text}`}.`;
}

function showProviders() {
    const chooser = find("provider");
    const names = model.providers.map((one) => one.name).sort();
    if (tree.provider !== "" && !names.includes(tree.provider)) {
        names.push(tree.provider);
    }
    const wanted = ["", ...names];
    if (wanted.join("\n") !== [...chooser.options].map((one) => one.value).join("\n")) {
        chooser.replaceChildren(...wanted.map((name) => make(
            "option", {value: name, textContent: name === "" ? "All providers" : name})));
        chooser.value = tree.provider;
    }
}

/** Fills the trends of rows that came into sight from the history. */
async function fillTrends() {
    const wanted = rows.visibleVariables().filter((one) => isNumeric(one.type) && !one.filled);
    if (wanted.length === 0 || model.link.state !== "live") {
        return;
    }
    wanted.forEach((one) => {
        one.filled = true;
    });
    const recording = model.about.recording;
    const to = model.now();
    const span = recording ? Math.max(to - recording.from, 1) : trendSpan;
    try {
        const {points} = await requestHistory(wanted.map((one) => one.number), {from: to - span, to, most: 240});
        wanted.forEach((one) => fillTrend(one, points.get(one.number), to, span));
        rows.drawTrends();
    } catch {
        // It fills by itself.
    }
}

function fillTrend(variable, points, to, span) {
    const count = 60;
    variable.trend = Float64Array.from({length: count}, (_, index) => {
        const point = points[findPoint(points, to - span + (index + 1) / count * span)];
        return point === undefined || point.status === 3 ? NaN : numberOf(point.value);
    });
}

function everySecond() {
    if (!document.hidden) {
        if (model.link.state === "live" && !model.about.recording) {
            model.takeSamples();
        }
        fillTrends();
        rows.drawTrends();
        rows.request();
        renderBanner(model);
        showDetail(rows.selectedRow());
        charts.tick();
    }
}

function follow() {
    let shape = -1;
    model.addEventListener("change", () => {
        if (shape !== model.shape) {
            shape = model.shape;
            charts.history.reload();
            showProviders();
            const count = model.variables.filter((one) => one && !one.gone).length;
            setText(find("count"), `${count.toLocaleString("en")} variables`);
            charts.request();
        }
        renderBanner(model);
        showDetail(rows.selectedRow());
        rows.request();
        charts.tick();
    });
    model.addEventListener("begin", () => charts.history.clear());
    model.addEventListener("link", () => {
        renderBanner(model);
        showDetail(rows.selectedRow());
        rows.request();
        if (model.link.state === "live") {
            charts.history.reload(); // what came meanwhile is missing
        }
        charts.refresh();
    });
    setInterval(everySecond, 1000);
}

function start() {
    const state = readAddress();
    tree.filter = state.filter ?? "";
    tree.provider = state.provider ?? "";
    find("filter").value = tree.filter;
    find("digits").value = String(settings.digits);
    listenToControls();
    listenToKeys();
    follow();
    charts.restore(state);
    showSide(state.side ?? "values");
    wide.addEventListener("change", () => showSide(document.body.dataset.side));
    applyTheme();
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", applyTheme);
    showDetail(null);
    new Link(model).follow();
}

start();
