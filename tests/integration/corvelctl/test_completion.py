# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""completion: what TAB does in real shells, and the command behind it."""

import os
import pty
import select
import signal
import time

from tool_run import PATIENCE, SECRET, TOOL, OddProviderTest, ToolTest

HOSTILE = "x$(>pwned)"


class Shell:
    """An interactive shell on a pseudo terminal, with completion."""

    programs = {
        "bash": (["bash", "--noprofile", "--norc", "-i"], "source <(corvelctl completion bash)"),
        "zsh": (["zsh", "-f", "-i"],
                "autoload -Uz compinit; compinit -D; source <(corvelctl completion zsh)"),
        "fish": (["fish", "--no-config", "-i"], "corvelctl completion fish | source")}

    def __init__(self, test, name):
        self.test = test
        command, setup = self.programs[name]
        self.pid, self.terminal = pty.fork()
        if self.pid == 0:
            try:
                os.chdir(test.folder)
                os.execvpe(command[0], command, {
                    **test.environment, "TERM": "dumb", "INPUTRC": "/dev/null", "PS1": "$ ",
                    "PATH": f"{TOOL.parent}:{os.environ['PATH']}"})
            finally:
                os._exit(99)
        test.addCleanup(self.close)
        self.written = ""
        self.type(setup + "; echo re''ady\r")
        self.wait_for("ready")

    def type(self, text):
        os.write(self.terminal, text.encode())

    def wait_for(self, text):
        deadline = time.monotonic() + PATIENCE
        while text not in self.written:
            self.test.assertLess(time.monotonic(), deadline, f"no {text} in {self.written}")
            if select.select([self.terminal], [], [], 0.1)[0]:
                self.written += os.read(self.terminal, 65536).decode("utf-8", "replace")

    def complete(self, line):
        """Types a line with tabs and returns the words that the shell makes of it."""
        self.written = ""
        # In front of the line: a command that shows its words; behind it the mark of their end.
        self.type(line + "\x01printf '[%s]' \x05 'e''nd'\r")
        self.wait_for("[end]")
        self.test.assertNotIn(SECRET, self.written)
        shown = self.written[self.written.rindex("[corvelctl]"):self.written.rindex("[end]")]
        return shown[1:-1].split("][")[1:]

    def close(self):
        os.kill(self.pid, signal.SIGKILL)
        os.waitpid(self.pid, 0)
        os.close(self.terminal)


class Tab(OddProviderTest):
    def setUp(self):
        super().setUp()
        self.expect(0, "context", "add", "plant", "--hub", "nats://plc:4222", "--token-url",
                    "https://plc/token", "--client-id", "me", "--secret-file", self.secret_file)

    def check_shell(self, name):
        shell = Shell(self, name)
        for line, words in (
                ("corvelctl provider\t", ["providers"]),
                ("corvelctl read o\t", ["read", "odd"]),
                ("corvelctl read odd fla\t", ["read", "odd", "flags/on"]),
                ("corvelctl read odd 'fla\t", ["read", "odd", "flags/on"]),
                ("corvelctl write odd fl\toff", ["write", "odd", "flags/on=off"]),
                ("corvelctl wait odd times/s\tgt 1s", ["wait", "odd", "times/span", "gt", "1s"]),
                ("corvelctl watch odd answers/r\t", ["watch", "odd", "answers/refuses"]),
                ("corvelctl context use pl\t", ["context", "use", "plant"]),
                ("corvelctl --context pl\tversion", ["--context", "plant", "version"]),
                ("corvelctl --context=pl\tversion", ["--context=plant", "version"]),
                ("corvelctl dev fault server-r\t", ["dev", "fault", "server-restart"]),
                ("corvelctl read --secret-file sec\t", ["read", "--secret-file", "secret"])):
            self.assertEqual(shell.complete(line), words, f"{name}: {line}")

    def test_completes_in_bash(self):
        self.check_shell("bash")

    def test_completes_in_zsh(self):
        self.check_shell("zsh")

    def test_completes_in_fish(self):
        self.check_shell("fish")

    def test_lists_what_is_possible(self):
        shell = Shell(self, "bash")
        shell.type("corvelctl re\t\t")
        shell.wait_for("read")
        shell.wait_for("record")

    def test_never_runs_a_name(self):
        self.start_provider(HOSTILE)
        for name in Shell.programs:
            self.assertEqual(Shell(self, name).complete("corvelctl read x\t"), ["read", HOSTILE])
        self.assertFalse((self.folder / "pwned").exists())


class Candidates(OddProviderTest):
    def candidates(self, line, *arguments):
        result = self.expect(0, "complete", *arguments, "--", line)
        self.assertEqual(result.errors, "")
        return [one.split("\t")[0] for one in result.output.splitlines()]

    def test_are_described(self):
        self.assertEqual(self.expect(0, "complete", "corvelctl read odd fl").output,
                         "flags/on\tbool read-write\n")

    def test_are_writable_paths_for_write(self):
        self.assertEqual(self.candidates("corvelctl write odd t"), ["texts/plain=", "times/span="])

    def test_come_from_the_hub_that_the_line_names(self):
        url = self.environment.pop("CORVEL_HUB")
        self.assertEqual(self.candidates("corvelctl read o"), [])
        self.assertEqual(self.candidates(f"corvelctl --hub {url} read o"), ["odd"])

    def test_are_silently_none_without_a_hub(self):
        self.assertEqual(self.candidates("corvelctl --hub nats://127.0.0.1:1 read "), [])
        self.assertEqual(self.candidates("corvelctl def diff --hub nats://127.0.0.1:1 "), ["<files>"])
        self.hub.fault("freeze", "2s")
        self.assertEqual(self.candidates("corvelctl read "), [])
        self.wait_for(lambda: self.run_tool("providers").code == 0, "the hub")


class Script(ToolTest):
    def test_needs_a_shell_that_is_known(self):
        self.assertIn("bash", self.expect(2, "completion", "tcsh").errors)

    def test_is_an_object_too(self):
        for shell in Shell.programs:
            shown, = self.expect(0, "completion", shell, "-j").objects()
            self.assertEqual(shown["script"], self.expect(0, "completion", shell).output)

    def test_names_no_hidden_command(self):
        self.assertNotIn("complete ", self.expect(0, "--help").output)
