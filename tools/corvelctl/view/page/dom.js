// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The few helpers with which all parts make elements. Texts are set as text, so nothing that comes from
// a hub is ever parsed as markup.

/** Makes an element. `properties` are set on it; keys with a dash become attributes. */
export function make(tag, properties = {}, ...children) {
    const element = document.createElement(tag);
    for (const [key, value] of Object.entries(properties)) {
        if (key.includes("-") || key === "role") {
            element.setAttribute(key, value);
        } else {
            element[key] = value;
        }
    }
    element.append(...children);
    return element;
}

export function find(id) {
    return document.getElementById(id);
}

/** Sets a text only if it differs, because each change costs a layout. */
export function setText(element, text) {
    if (element.textContent !== text) {
        element.textContent = text;
    }
}

export function setAttribute(element, name, value) {
    if (value === null) {
        element.removeAttribute(name);
    } else if (element.getAttribute(name) !== String(value)) {
        element.setAttribute(name, value);
    }
}

/** Offers a file to the user. */
export function download(name, content, type) {
    const blob = content instanceof Blob ? content : new Blob([content], {type});
    const link = make("a", {href: URL.createObjectURL(blob), download: name});
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), 10000);
}
