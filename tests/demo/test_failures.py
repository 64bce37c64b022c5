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

    def test_a_last_line_without_an_end(self):
        output, errors = self.assert_fails(
            "boiler", "printf 'begun\\nno fuel'; exit 3", "the boiler has ended with exit code 3")
        self.assertTrue(output.endswith("boiler: begun\nboiler: no fuel\n"), output)
        self.assertIn("The last lines of the boiler:\n    begun\n    no fuel\n", errors)
