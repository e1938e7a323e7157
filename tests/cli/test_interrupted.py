#!/usr/bin/env python3
"""Imports that are interrupted: what was reported is there, and the group is sound."""
import os
import random
import re
import signal
import time

import harness
from harness import FINDINGS, INTERRUPTED

ROUNDS = 60 if os.environ.get("PV_SOAK") else 12


class InterruptedTest(harness.CliTest):
    def write_rows(self, name, count, first=0):
        self.write(name, "Email,Name,Note\n" + "".join(
            f"user{i}@example.org,N{i},{'n' * (i % 300)}\n"
            for i in range(first, first + count)))

    def kill_at(self, delay, *arguments):
        """Kills an import after a while; returns the rows that it had reported by then."""
        process = self.start("import", *arguments, "--progress")
        time.sleep(delay)
        process.kill()
        _, err = process.communicate(timeout=60)
        told = re.findall(r"^progress: importing (\d+) rows$", err.decode(), re.M)
        return int(told[-1]) if told else 0

    def test_killed_while_a_new_group_is_filled(self):
        generator = random.Random(1)
        self.write_rows("in.csv", 60_000)
        start = time.monotonic()
        self.ok("import", "whole", "in.csv")
        whole = time.monotonic() - start
        seen = 0
        for n in range(ROUNDS):
            reported = self.kill_at(generator.uniform(0, whole), f"g{n}", "in.csv")
            groups = [g["name"] for g in self.run_any("list", "--json").json]
            if f"g{n}" not in groups:
                self.assertEqual(reported, 0)
                continue
            check = self.verify(f"g{n}")
            self.assertGreaterEqual(check["live"], reported)
            count = int(self.ok("count", f"g{n}").out)
            self.assertEqual(count, check["live"])
            seen += 1
            if count > 0:
                rows = self.rows(f"g{n}", "--natural", "--limit", 1, "--offset", count - 1)
                self.assertEqual(rows[0]["EMAIL"], f"user{count - 1}@example.org")
                self.assertEqual(rows[0]["NOTE"], "n" * ((count - 1) % 300))
            # The same import goes on where it was cut off.
            again = self.ok("import", f"g{n}", "in.csv", "--json")
            self.assertEqual(self.account(again), (60_000, 60_000 - count, 0, count, 0))
            self.verify(f"g{n}")
        self.assertGreater(seen, 0, "no import got as far as its group")

    def test_killed_while_rows_are_added_one_by_one(self):
        generator = random.Random(2)
        self.write_rows("first.csv", 2000)
        self.ok("import", "g", "first.csv")
        expected = 2000
        for n in range(ROUNDS):
            # Few rows beside many: the tags are kept up to date row by row.
            self.write_rows("more.csv", 900, first=100_000 + n * 1000)
            reported = self.kill_at(generator.uniform(0, 0.12), "g", "more.csv")
            check = self.verify("g")
            self.assertGreaterEqual(check["live"], expected + reported)
            self.assertLessEqual(check["live"], expected + 900)
            expected = check["live"]

    def test_an_interrupt_ends_it_in_order(self):
        self.write_rows("in.csv", 400_000)
        process = self.start("import", "g", "in.csv", "--progress", "--json")
        for line in process.stderr:
            if line.startswith(b"progress: importing"):
                break
        process.send_signal(signal.SIGINT)
        out, err = process.communicate(timeout=120)
        self.assertEqual(process.returncode, INTERRUPTED, err)
        account = harness.json.loads(out)
        self.assertTrue(account["interrupted"])
        self.assertEqual(account["read"], account["added"])
        self.assertLess(account["added"], 400_000)
        self.assertIn(b"interrupted behind line", err)
        self.assertEqual(self.verify("g")["live"], account["added"])

    def test_rejects_of_an_interrupted_import_are_kept(self):
        self.write("in.csv", "Email\nbad\n" + "".join(
            f"user{i}@example.org\n" for i in range(400_000)))
        process = self.start("import", "g", "in.csv", "--progress")
        for line in process.stderr:
            if line.startswith(b"progress: importing"):
                break
        process.send_signal(signal.SIGTERM)
        process.communicate(timeout=120)
        self.assertEqual(process.returncode, INTERRUPTED)
        self.assertEqual(self.read("in.csv.rejected.csv"), b"Email\nbad\n")
        self.ok("import", "g", "in.csv", code=FINDINGS)
        self.assertEqual(self.verify("g")["live"], 400_000)


if __name__ == "__main__":
    harness.main()
