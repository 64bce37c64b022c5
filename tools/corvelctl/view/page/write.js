// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The dialog that writes a value: an editor by type, a confirmation with the old and the new value, and
// what became of it.

import {find, make, setText} from "./dom.js";
import {formatValue} from "./format.js";

const hints = {
    double: "a number such as 21.5, -3e4, nan or inf",
    int64: "a whole number such as 42, -7 or 0x2A",
    string: "any text",
    timestamp: "a time such as 2026-11-22T03:08:24Z",
    duration: "a duration such as 1.5s, 250ms or 3min",
    bool: "",
};
const outcomes = {
    confirmed: "Confirmed", refused: "Refused", not_confirmed: "Not seen back", invalid: "Not sent",
};

export class WriteDialog {
    constructor(model) {
        this.model = model;
        this.dialog = find("write");
        find("write-form").addEventListener("submit", (event) => this.step(event));
        find("write-back").addEventListener("click", () => this.back());
        find("write-cancel").addEventListener("click", () => this.dialog.close());
    }

    open(variable) {
        const isWritable = variable.access === "read-write" && this.model.about.writes;
        if (!isWritable) {
            return;
        }
        this.variable = variable;
        setText(find("write-title"), "Write a value");
        setText(find("write-path"), `${this.model.nameOf(variable)} ${variable.path}`);
        setText(find("write-hint"), hints[variable.type] ?? "");
        find("write-editor").replaceChildren(this.makeEditor(variable));
        this.show("edit");
        this.dialog.showModal();
        find("write-value").focus();
        find("write-value").select?.();
    }

    makeEditor(variable) {
        const value = String(variable.value);
        const label = {id: "write-value", "aria-label": "New value", "aria-describedby": "write-hint"};
        if (variable.type === "bool") {
            const options = ["true", "false"].map((text) => make("option", {value: text, textContent: text}));
            const select = make("select", label, ...options);
            select.value = value === "true" ? "false" : "true";
            return select;
        }
        const isNumber = variable.type === "double" || variable.type === "int64";
        return make("input", {
            ...label, type: "text", value, autocomplete: "off", spellcheck: false,
            inputMode: isNumber ? "decimal" : "text"});
    }

    show(step) {
        this.stepNow = step;
        find("write-edit").hidden = step !== "edit";
        find("write-confirm").hidden = step === "edit";
        find("write-result").hidden = step === "edit" || step === "confirm";
        find("write-back").hidden = step !== "confirm" && step !== "failed";
        find("write-next").hidden = step !== "edit" && step !== "confirm";
        setText(find("write-next"), step === "edit" ? "Review" : "Write");
        setText(find("write-cancel"), step === "result" || step === "failed" ? "Close" : "Cancel");
    }

    back() {
        this.show("edit");
        find("write-value").focus();
    }

    step(event) {
        event.preventDefault();
        if (this.stepNow === "edit") {
            const old = formatValue(this.variable.type, this.variable.value, "all");
            setText(find("write-old"), `${old} (${this.model.qualityOf(this.variable).word})`);
            setText(find("write-new"), find("write-value").value);
            this.show("confirm");
            find("write-next").focus();
        } else if (this.stepNow === "confirm") {
            this.send();
        }
    }

    async send() {
        const result = find("write-result");
        this.show("sending");
        result.dataset.outcome = "sending";
        setText(result, "Waiting for the provider …");
        const answer = await this.request();
        result.dataset.outcome = answer.outcome;
        setText(result, `${outcomes[answer.outcome] ?? "Not sent"}: ${answer.text}`
            + (answer.warning ? ` (${answer.warning})` : ""));
        this.show(answer.outcome === "confirmed" ? "result" : "failed");
        find("write-cancel").focus();
    }

    async request() {
        const asked = {
            provider: this.model.nameOf(this.variable), path: this.variable.path, value: find("write-value").value};
        try {
            const answer = await fetch("/api/write", {
                method: "POST", headers: {"Content-Type": "application/json"}, body: JSON.stringify(asked)});
            const body = await answer.json();
            return answer.ok ? body : {outcome: "invalid", text: body.error};
        } catch {
            return {outcome: "not_confirmed", text: "corvelctl does not answer; the write may have been sent"};
        }
    }
}
