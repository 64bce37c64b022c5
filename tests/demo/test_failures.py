# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""What the demo says and leaves behind when it cannot show everything."""

from demo_run import BUILD, DemoTest


class Failures(DemoTest):
    def test_a_boiler_that_cannot_be_started(self):
        self.assert_fails("boiler", None, "the boiler has ended with exit code 127")

    def test_a_boiler_that_does_not_return(self):
        boiler = BUILD / "examples/boiler/boiler"
        self.assert_fails(
            "boiler", f'mkdir "{self.folder}/once" && exec "{boiler}" "$@"\nexec sleep 60',
            "not seen within 10 s: the boiler is accepted by the hub")
