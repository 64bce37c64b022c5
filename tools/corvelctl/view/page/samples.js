// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// From points of a history to what a chart draws.

import {numberOf} from "./format.js";
import {findPoint} from "./history.js";

const stale = 3;

/**
 * Rows for the charting library: [time in ms, a number for each trace], where a NaN is a gap. With more
 * changes than columns the smallest and the largest number of each column are kept.
 */
export function makeRows(traces, from, to, columns) {
    const times = new Set([from, to]);
    for (const points of traces) {
        const begin = Math.max(findPoint(points, from), 0);
        for (let index = begin; index < points.length && points[index].time <= to; ++index) {
            if (points[index].time >= from) {
                times.add(points[index].time);
            }
        }
        if (times.size > 2 * columns) {
            return makeColumns(traces, from, to, columns);
        }
    }
    const sorted = Float64Array.from(times).sort();
    const rows = Array.from(sorted, (time) => [time / 1000]);
    for (const points of traces) {
        let index = findPoint(points, from);
        sorted.forEach((time, row) => {
            while (index + 1 < points.length && points[index + 1].time <= time) {
                index += 1;
            }
            rows[row].push(numberAt(points[index]));
        });
    }
    return rows;
}

function numberAt(point) {
    return point === undefined || point.status === stale ? NaN : numberOf(point.value);
}

function makeColumns(traces, from, to, columns) {
    const width = (to - from) / columns;
    const rows = [];
    for (let column = 0; column < columns; ++column) {
        rows.push([(from + column * width) / 1000], [(from + (column + 0.5) * width) / 1000]);
    }
    for (const points of traces) {
        let index = findPoint(points, from);
        for (let column = 0; column < columns; ++column) {
            const end = from + (column + 1) * width;
            let first = numberAt(points[index]);
            let least = first;
            let most = first;
            let last = first;
            while (index + 1 < points.length && points[index + 1].time <= end) {
                index += 1;
                last = numberAt(points[index]);
                least = Number.isNaN(least) || last < least ? last : least;
                most = Number.isNaN(most) || last > most ? last : most;
            }
            const rising = !(last < first);
            rows[2 * column].push(Number.isNaN(first) || Number.isNaN(last) ? last : rising ? least : most);
            rows[2 * column + 1].push(Number.isNaN(last) ? NaN : rising ? most : least);
        }
    }
    return rows;
}

/** The spans in which the status is one of the given ones: [{from, to, status}]. */
export function findSpans(points, from, to, isWanted) {
    const spans = [];
    for (let index = Math.max(findPoint(points, from), 0); index < points.length; ++index) {
        const point = points[index];
        if (point.time > to) {
            break;
        }
        if (isWanted(point)) {
            const end = index + 1 < points.length ? points[index + 1].time : to;
            const begin = Math.max(point.time, from);
            const previous = spans.at(-1);
            if (previous && previous.status === point.status && previous.to >= begin
                && previous.value === point.value) {
                previous.to = Math.min(end, to);
            } else {
                spans.push({from: begin, to: Math.min(end, to), status: point.status, value: point.value});
            }
        }
    }
    return spans;
}
