// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What variables held before, as corvelctl keeps it. Points are {time, value, status}; a value holds
// until the next point, and the status 3 says that from there on it is not known.

const mostPoints = 4000;

/** Asks for points of variables; `range` may have from, to, after and most. */
export async function requestHistory(numbers, range) {
    const query = new URLSearchParams({v: numbers.join(",")});
    for (const name of ["from", "to", "after", "most"]) {
        if (range[name] !== undefined) {
            query.set(name, Math.round(range[name]));
        }
    }
    const answer = await fetch(`/api/history?${query}`);
    if (!answer.ok) {
        throw new Error(`corvelctl answers ${answer.status}`);
    }
    const {sequence, series} = await answer.json();
    const points = new Map(series.map(([number, ...all]) => [
        number, all.map(([time, value, status]) => ({time, value, status}))]));
    return {sequence, points};
}

/** The index of the last point at or before a time; -1 if there is none. */
export function findPoint(points, time) {
    let low = 0;
    let high = points.length;
    while (low < high) {
        const middle = (low + high) >> 1;
        if (points[middle].time <= time) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return low - 1;
}

/** The points of the charted variables, kept up to date while the charts follow the present. */
export class History {
    constructor() {
        this.clear();
    }

    /** Forgets everything; the numbers of variables mean others from now on. */
    clear() {
        this.points = new Map();
        this.reload();
    }

    /** Loads everything again with the next load(); until then the known points are shown. */
    reload() {
        this.sequence = null;
        this.from = Infinity;
        this.to = Infinity;
        this.numbers = "";
        this.turn = (this.turn ?? 0) + 1;
    }

    get(number) {
        return this.points.get(number) ?? [];
    }

    /** Loads what is missing of a range; without `to` everything up to now. */
    async load(numbers, from, to) {
        const wanted = numbers.join(",");
        const isSame = wanted === this.numbers && from >= this.from && to === this.to;
        if (isSame && to !== undefined) {
            return;
        }
        const turn = this.turn;
        const answer = isSame ? await requestHistory(numbers, {after: this.sequence})
                              : await requestHistory(numbers, {from, to, most: mostPoints});
        if (turn !== this.turn) {
            return; // something else is wanted meanwhile
        }
        this.sequence = answer.sequence;
        if (isSame) {
            for (const [number, points] of answer.points) {
                this.append(number, points, from);
            }
        } else {
            Object.assign(this, {points: answer.points, numbers: wanted, from, to});
        }
    }

    // Forgets what is far behind the range, but not what held at its beginning.
    append(number, points, from) {
        const known = this.points.get(number);
        known.push(...points);
        if (known.length > 4 * mostPoints) {
            this.numbers = ""; // load it again, with fewer points
        } else if (known.length > 100 && known[50].time < from) {
            known.splice(0, findPoint(known, from));
            this.from = from;
        }
    }
}
