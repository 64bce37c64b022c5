// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The tree of providers and paths, as the list of rows that are shown.

import {keyOf} from "./model.js";

const compare = new Intl.Collator(undefined, {numeric: true}).compare;
const mostLevels = 32;
const mostOpen = 300; // variables up to which everything is open at first

/** A row is {key, name, level, node}; a node has children, a variable, or both. */
export class Tree {
    constructor(model) {
        this.model = model;
        this.shape = -1;
        this.roots = [];
        this.closed = new Set();
        this.opened = new Set();
        this.filter = "";
        this.provider = "";
    }

    /** The rows to show; the same array as long as nothing has changed. */
    rows() {
        const wanted = `${this.model.shape}|${this.filter}|${this.provider}|${this.changes ?? 0}`;
        if (wanted !== this.made) {
            this.made = wanted;
            if (this.shape !== this.model.shape) {
                this.build();
            }
            this.list = [];
            for (const root of this.roots) {
                if (this.provider === "" || this.provider === root.name) {
                    this.append(root, 1, this.words());
                }
            }
        }
        return this.list;
    }

    words() {
        return this.filter.toLowerCase().split(/\s+/).filter((word) => word !== "");
    }

    build() {
        this.shape = this.model.shape;
        this.roots = [];
        const nodes = new Map();
        this.model.providers.forEach((provider, index) => {
            const root = {key: keyOf(provider.name, ""), name: provider.name, provider: index, children: []};
            nodes.set(root.key, root);
            this.roots.push(root);
        });
        for (const variable of this.model.variables) {
            if (variable && this.isShown(variable)) {
                this.insert(nodes, variable);
            }
        }
        this.roots.sort((one, other) => compare(one.name, other.name));
        this.roots.forEach(sort);
        this.isSmall = this.model.variables.length <= mostOpen;
    }

    // Of several that had the same path one after the other, the latest.
    isShown(variable) {
        return this.model.byKey.get(keyOf(this.model.nameOf(variable), variable.path)) === variable;
    }

    insert(nodes, variable) {
        const owner = this.model.nameOf(variable);
        let node = nodes.get(keyOf(owner, ""));
        let end = 0;
        for (const name of namesOf(variable.path)) {
            end += name.length;
            const key = keyOf(owner, variable.path.slice(0, end));
            end += 1;
            let child = nodes.get(key);
            if (child === undefined) {
                child = {key, name: name === "" ? "(empty)" : name, provider: variable.provider, children: []};
                nodes.set(key, child);
                node.children.push(child);
            }
            node = child;
        }
        node.variable = variable;
        node.text = `${owner}/${variable.path}`.toLowerCase();
    }

    isOpen(node, level) {
        if (this.filter !== "") {
            return true;
        }
        if (this.opened.has(node.key) || this.closed.has(node.key)) {
            return this.opened.has(node.key);
        }
        return this.isSmall || level === 1;
    }

    setOpen(node, open) {
        (open ? this.opened : this.closed).add(node.key);
        (open ? this.closed : this.opened).delete(node.key);
        this.changes = (this.changes ?? 0) + 1;
    }

    append(node, level, words) {
        const place = this.list.length;
        const matches = words.length === 0
            || (node.variable !== undefined && words.every((word) => node.text.includes(word)));
        this.list.push({key: node.key, name: node.name, level, node, open: this.isOpen(node, level)});
        if (node.children.length > 0 && this.isOpen(node, level)) {
            for (const child of node.children) {
                this.append(child, level + 1, words);
            }
        }
        // Without anything below it that matches, a branch is not shown either.
        if (!matches && this.list.length === place + 1) {
            this.list.pop();
        }
    }
}

// "/" and "." separate the names of a path. One with very many is shown as a single name.
function namesOf(path) {
    const names = path.split(/[/.]/);
    return names.length <= mostLevels ? names : [path];
}

function sort(node) {
    node.children.sort((one, other) => compare(one.name, other.name));
    node.children.forEach(sort);
}

/** All variables of a node and below it. */
export function variablesBelow(node, found = []) {
    if (node.variable) {
        found.push(node.variable);
    }
    node.children.forEach((child) => variablesBelow(child, found));
    return found;
}
