# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""What the demo says and leaves behind when it cannot show everything."""

from demo_run import BUILD, DemoTest


class Failures(DemoTest):
    def assert_fails(self, boiler, reason):
        code, output, errors = self.run_to_end(build=self.build_with_boiler(boiler))
        self.assertEqual(code, 1, output)
        self.assertEqual(errors.splitlines()[-1], f"the demo has failed: {reason}")
        self.assertNotIn("everything was seen", output)
        self.assert_nothing_is_left()

    def test_a_boiler_that_cannot_be_started(self):
        self.assert_fails(None, "the boiler has ended with exit code 127")

    def test_a_boiler_that_does_not_return(self):
        boiler = BUILD / "examples/boiler/boiler"
        self.assert_fails(
            f'mkdir "{self.folder}/once" && exec "{boiler}" "$@"\nexec sleep 60',
            "not seen within 10 s: the boiler is accepted by the hub")
