// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Asks for the password. The part of the address behind "#" stays, and with it what is shown.

const answer = document.getElementById("answer");

document.getElementById("login").addEventListener("submit", async (event) => {
    event.preventDefault();
    const password = document.getElementById("password").value;
    try {
        const response = await fetch("/login", {method: "POST", body: password});
        if (response.ok) {
            location.reload();
        } else {
            answer.textContent = (await response.json()).error;
        }
    } catch {
        answer.textContent = "corvelctl does not answer";
    }
});
