#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""Does what docs/getting-started.md says, in an empty folder: writes its files, runs its commands,
types its input, and looks for the output that it shows. Only the commands with sudo are left out:
the library and the development hub must be where CMake, pkg-config and the shell find them.

Argument: the page."""

import pathlib
import re
import socket
import subprocess
import sys
import tempfile
import threading
import time

LIMIT = 60  # seconds, for every step
BLOCK = re.compile(r"^```(\w+)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
NAME = re.compile(r"(?://|#) ([\w.]+)\n")


class Program:
    def __init__(self, command, folder):
        self.command = command
        self.lines = []
        self._read = 0
        self._changed = threading.Condition()
        # If this script is killed, the kernel ends the program.
        self.process = subprocess.Popen(
            ["setpriv", "--pdeathsig", "KILL", "--", "bash", "-c",
             f"set -e\n{command}" if "\n" in command else f"exec {command}"],
            cwd=folder, text=True, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT)
        threading.Thread(target=self._collect, daemon=True).start()

    def _collect(self):
        for line in self.process.stdout:
            with self._changed:
                self.lines.append(line.rstrip("\n"))
                self._changed.notify_all()

    def await_line(self, expected):
        """Numbers stand for any numbers, because a temperature depends on when one looks."""
        pattern = re.sub(r"\d+(\\\.\d+)?", r"[\\d.]+", re.escape(expected))
        with self._changed:
            if not self._changed.wait_for(lambda: self._find(pattern), LIMIT):
                sys.exit(f"{self.command}\ndid not print: {expected}\nbut: {self.lines[-10:]}")

    def _find(self, pattern):
        while self._read < len(self.lines):
            self._read += 1
            if re.fullmatch(pattern, self.lines[self._read - 1]):
                return True
        return False

    def await_success(self):
        if self.process.wait(LIMIT * 5) != 0:
            sys.exit(f"{self.command}\nended with {self.process.returncode}: {self.lines[-20:]}")

    def type(self, text):
        self.process.stdin.write(text)
        self.process.stdin.flush()


def free_port():
    with socket.create_server(("127.0.0.1", 0)) as listener:
        return str(listener.getsockname()[1])


def follow(page, folder):
    ports = {"14222": free_port(), "18080": free_port()}
    text = re.sub(r"\b(14222|18080)\b", lambda found: ports[found[1]], page)
    running, latest = {}, None
    blocks = BLOCK.findall(text)
    for position, (language, content) in enumerate(blocks):
        if language in ("cpp", "cmake"):
            (folder / NAME.match(content)[1]).write_text(content, encoding="utf-8")
        elif language == "sh" and "sudo " not in content:
            command = content.strip()
            command += f" --nats-port {ports['14222']}" * command.startswith("corvel-dev-hub fault")
            latest = Program(command, folder)
            goes_on = blocks[position + 1][0] == "text" and "fault" not in command
            if goes_on:
                running[pathlib.Path(command.split()[0]).name] = latest
            else:
                latest.await_success()
                latest = running.get("watch", latest)
        elif language == "input":
            latest.type(content)
        elif language == "text":
            for line in content.splitlines():
                name, _, rest = line.partition(": ")
                (running[name] if name in running else latest).await_line(
                    rest if name in running else line)
    return running


def main(page):
    with tempfile.TemporaryDirectory() as folder:
        begin = time.monotonic()
        running = follow(pathlib.Path(page).read_text(encoding="utf-8"), pathlib.Path(folder))
        for program in reversed(running.values()):
            program.process.terminate()
            program.process.wait(LIMIT)
        print(f"followed in {time.monotonic() - begin:.0f} s")


main(*sys.argv[1:])
