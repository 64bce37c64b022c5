// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The small trend of a value in its row.

/** Draws the numbers of the last minute; a NaN is a gap. */
export function drawTrend(canvas, numbers, colour) {
    const scale = devicePixelRatio || 1;
    const width = Math.round(canvas.clientWidth * scale);
    const height = Math.round(canvas.clientHeight * scale);
    if (canvas.width !== width || canvas.height !== height) {
        canvas.width = width;
        canvas.height = height;
    }
    const context = canvas.getContext("2d");
    context.clearRect(0, 0, width, height);
    if (numbers) {
        context.strokeStyle = colour;
        context.lineWidth = 1.25 * scale;
        context.stroke(makePath(numbers, width, height, 2 * scale));
    }
}

function makePath(numbers, width, height, margin) {
    let least = Infinity;
    let most = -Infinity;
    for (const number of numbers) {
        if (Number.isFinite(number)) {
            least = Math.min(least, number);
            most = Math.max(most, number);
        }
    }
    const path = new Path2D();
    const step = width / Math.max(numbers.length - 1, 1);
    const span = most - least;
    let drawing = false;
    numbers.forEach((number, index) => {
        if (!Number.isFinite(number)) {
            drawing = false;
            return;
        }
        const share = span > 0 ? (number - least) / span : 0.5;
        const y = height - margin - share * (height - 2 * margin);
        if (drawing) {
            path.lineTo(index * step, y);
        } else {
            path.moveTo(index * step, y);
        }
        drawing = true;
    });
    return path;
}
