#!/usr/bin/env python3
"""The reference page is what the program's own help says, and the tour's data imports."""
import subprocess
import sys

import harness
from harness import FINDINGS


class ReferenceTest(harness.CliTest):
    def test_the_reference_page_is_current(self):
        run = subprocess.run([sys.executable, "-B", str(harness.ROOT / "tools/make-cli-reference"),
                              "--check", self.program], capture_output=True, check=False)
        self.assertEqual(run.returncode, 0, run.stdout.decode() + run.stderr.decode())

    def test_every_line_of_help_fits_a_terminal(self):
        page = (harness.ROOT / "docs/pvgroup.md").read_text("utf-8")
        for line in page.splitlines():
            self.assertLessEqual(len(line), 110, line)

    def test_the_example_people(self):
        source = self.write("people.csv", (harness.ROOT / "examples/people.csv").read_bytes())
        run = self.ok("import", "people", source, "--json", code=FINDINGS)
        read, added, _, skipped, rejected = self.account(run)
        self.assertGreaterEqual(read, 200)
        self.assertGreaterEqual(rejected, 4)
        self.assertGreaterEqual(skipped, 1)
        for row in self.rows("people"):
            domain = row["EMAIL"].split("@")[1]
            self.assertRegex(domain, r"(^|\.)(example\.(org|com|net)|[\w.-]+\.invalid)$")
        self.assertEqual(self.verify("people")["live"], added)


if __name__ == "__main__":
    harness.main()
