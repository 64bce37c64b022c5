// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Values, qualities and times as text.

const qualities = new Map([
    [0xC0, {word: "good", kind: "good", meaning: "the value is valid"}],
    [0x44, {word: "initial", kind: "uncertain", meaning: "no value has been measured yet"}],
    [0x43, {word: "last usable", kind: "uncertain",
            meaning: "the source does not answer; this is its last good value"}],
    [0x40, {word: "uncertain", kind: "uncertain", meaning: "the value may be wrong"}],
    [0x00, {word: "bad", kind: "bad", meaning: "the value must not be used"}],
]);
const unknownQuality = {word: "unknown", kind: "bad", meaning: "a quality that is not known here"};
export const staleQuality = {word: "stale", kind: "stale", meaning: "it may have another value meanwhile"};
export const noQuality = {word: "no value", kind: "stale", meaning: "no value has arrived yet"};

export function qualityOf(code) {
    return qualities.get(code) ?? unknownQuality;
}

/** Whether values of the type are drawn as a line. */
export function isNumeric(type) {
    return type === "double" || type === "int64" || type === "duration";
}

/** The number that a chart draws, NaN if there is none. */
export function numberOf(value) {
    if (typeof value === "number") {
        return value;
    }
    return typeof value === "string" ? Number.parseFloat(value.replace("inf", "Infinity")) : Number(value);
}

/** The value as text; of doubles so many digits behind the point, "auto" for seven in all, or "all". */
export function formatValue(type, value, digits) {
    if (value === undefined) {
        return "";
    }
    if (type === "double" && typeof value === "number") {
        return formatNumber(value, digits);
    }
    if (type === "timestamp") {
        return digits === "all" ? value : formatTime(Date.parse(value) * 1000, true).slice(0, -4);
    }
    return String(value);
}

export function formatNumber(value, digits) {
    if (digits === "all") {
        return String(value);
    }
    if (digits === "auto") {
        return String(Number(value.toPrecision(7)));
    }
    const size = Math.abs(value);
    return size !== 0 && (size >= 1e12 || size < 0.5 * 10 ** -digits) ? value.toExponential(Math.min(digits, 6))
                                                                       : value.toFixed(digits);
}

/** "3.2 s", "11 min": how long ago, or since when. */
export function formatAge(microseconds) {
    const seconds = microseconds / 1e6;
    if (seconds < -2) {
        return "in the future";
    }
    if (seconds < 10) {
        return `${Math.max(seconds, 0).toFixed(1)} s`;
    }
    if (seconds < 120) {
        return `${Math.floor(seconds)} s`;
    }
    if (seconds < 7200) {
        return `${Math.floor(seconds / 60)} min`;
    }
    return seconds < 172800 ? `${Math.floor(seconds / 3600)} h` : `${Math.floor(seconds / 86400)} d`;
}

const two = (number) => String(number).padStart(2, "0");

/** Local time of day; with the date if it is asked for or is not today. */
export function formatTime(microseconds, withDate = false) {
    const when = new Date(microseconds / 1000);
    if (Number.isNaN(when.getTime())) {
        return "?";
    }
    const clock = `${two(when.getHours())}:${two(when.getMinutes())}:${two(when.getSeconds())}`
        + `.${String(when.getMilliseconds()).padStart(3, "0")}`;
    if (!withDate && when.toDateString() === new Date().toDateString()) {
        return clock;
    }
    return `${when.getFullYear()}-${two(when.getMonth() + 1)}-${two(when.getDate())} ${clock}`;
}

export function formatBytes(bytes) {
    return bytes < 1e6 ? `${(bytes / 1e3).toFixed(0)} kB` : `${(bytes / 1e6).toFixed(1)} MB`;
}

/** A field of a CSV row. */
export function csvField(text) {
    const plain = String(text);
    return /[",\n\r]/.test(plain) ? `"${plain.replaceAll('"', '""')}"` : plain;
}
