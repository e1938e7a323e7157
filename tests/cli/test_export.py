#!/usr/bin/env python3
"""Exports: the forms, formulas, files that appear whole, memory, and the way back."""
import csv
import io
import json
import os
import random
import subprocess

import harness
from harness import UNAVAILABLE, USAGE


class ExportTest(harness.CliTest):
    def make(self):
        self.write("in.csv", "Email,Name,Phone,Balance,Joined,Active,Note\n"
                             "a@example.org,=cmd(),+49 30,-1.50,2020-01-02,true,\"two\nlines\"\n"
                             "b@example.org,\"-x, y\",@home,2.00,,false,\n"
                             "c@example.org,日本語,'quoted',,2021-12-31,, blank ends \n")
        self.ok("import", "g", "in.csv")

    def test_csv(self):
        self.make()
        rows = list(csv.DictReader(io.StringIO(self.ok("export", "g").out, newline="")))
        self.assertEqual(rows[0], {"EMAIL": "a@example.org", "NAME": "'=cmd()", "PHONE": "'+49 30",
                                   "BALANCE": "-1.50", "JOINED": "2020-01-02", "ACTIVE": "true",
                                   "NOTE": "two\nlines"})
        self.assertEqual(rows[1]["NAME"], "'-x, y")
        self.assertEqual(rows[1]["PHONE"], "'@home")
        raw = list(csv.DictReader(io.StringIO(self.ok("export", "g", "--raw").out, newline="")))
        self.assertEqual(raw[0]["NAME"], "=cmd()")
        self.assertEqual(raw[1]["PHONE"], "@home")
        self.assertEqual(raw[2]["PHONE"], "'quoted'")

    def test_json_and_ndjson(self):
        self.make()
        rows = self.ok("export", "g", "--format", "json").json
        self.assertEqual(rows[0], {"EMAIL": "a@example.org", "NAME": "=cmd()", "PHONE": "+49 30",
                                   "BALANCE": -1.5, "JOINED": "2020-01-02", "ACTIVE": True,
                                   "NOTE": "two\nlines"})
        self.assertEqual((rows[2]["BALANCE"], rows[2]["ACTIVE"], rows[1]["JOINED"]),
                         (None, None, None))
        lines = self.ok("export", "g", "--format", "ndjson").lines
        self.assertEqual([json.loads(line) for line in lines], rows)
        some = self.ok("export", "g", "--format", "ndjson", "--fields", "Name").lines
        self.assertEqual(json.loads(some[0]), {"NAME": "=cmd()"})
        self.fails(USAGE, "export", "g", "--format", "xml")

    def test_files_appear_whole_and_are_not_overwritten(self):
        self.make()
        run = self.ok("export", "g", "out.csv")
        self.assertEqual(run.out, "3 recipients exported to out.csv\n")
        before = self.read("out.csv")
        self.fails(USAGE, "export", "g", "out.csv", "--raw")
        self.assertEqual(self.read("out.csv"), before)
        self.ok("export", "g", "out.csv", "--raw", "--yes")
        self.assertNotEqual(self.read("out.csv"), before)
        self.fails(UNAVAILABLE, "export", "g", "missing/out.csv")
        self.assertEqual([p.name for p in self.folder.iterdir() if ".part" in p.name], [])

    def test_devices_links_and_folders(self):
        self.make()
        self.assertIn("a@example.org", self.ok("export", "g", "/dev/stdout").out)
        self.assertTrue(os.path.exists("/dev/stdout"))
        fifo = self.folder / "pipe"
        os.mkfifo(fifo)
        process = self.start("export", "g", fifo, "--yes")
        with open(fifo, encoding="utf-8") as pipe:
            self.assertIn("b@example.org", pipe.read())
        process.communicate(timeout=60)
        self.assertEqual(process.returncode, 0)
        self.assertTrue(fifo.is_fifo())
        target = self.write("target.csv", "old")
        (self.folder / "link.csv").symlink_to("target.csv")
        self.fails(USAGE, "export", "g", "link.csv")
        self.ok("export", "g", "link.csv", "--yes")
        self.assertTrue((self.folder / "link.csv").is_symlink())
        self.assertIn(b"a@example.org", target.read_bytes())
        self.fails(UNAVAILABLE, "export", "g", self.folder, "--yes")

    def test_what_is_exported_raw_comes_back_the_same(self):
        generator = random.Random(3)
        letters = "abcXYZ ,;\"'\n\t=+-@|éßñ€日本😀\\"
        text = io.StringIO()
        writer = csv.writer(text)
        writer.writerow(["Email", "Text", "Wide", "Long", "Amount", "Day", "Moment", "Flag"])
        for i in range(500):
            def word(low, high, alphabet):
                return "".join(generator.choice(alphabet)
                               for _ in range(generator.randint(low, high))).rstrip(" ")
            writer.writerow([
                f"user{i}@example.org", word(0, 30, letters[:24]), word(0, 60, letters),
                word(0, 600, letters[:22]),
                f"{generator.randint(-99999, 99999) / 100:.2f}" if i % 5 else "",
                f"{generator.randint(1900, 2100)}-{generator.randint(1, 12):02}-01",
                f"2020-01-{generator.randint(1, 31):02} {generator.randint(0, 23):02}:30:15",
                generator.choice(["true", "false"])])
        self.write("in.csv", text.getvalue())
        run = self.ok("import", "first", "in.csv", "--json")
        self.assertEqual(self.account(run), (500, 500, 0, 0, 0))
        self.ok("export", "first", "out.csv", "--raw")
        second = self.ok("import", "second", "out.csv", "--json")
        self.assertEqual(self.account(second), (500, 500, 0, 0, 0))
        self.assertEqual([c["type"] for c in second.json["columns"]],
                         [c["type"] for c in run.json["columns"]])
        self.assertEqual(self.rows("second"), self.rows("first"))
        self.ok("export", "second", "again.csv", "--raw")
        self.assertEqual(self.read("again.csv"), self.read("out.csv"))
        original = {r[0]: r for r in csv.reader(io.StringIO(text.getvalue()))}
        for row in self.rows("first"):
            want = original[row["EMAIL"]]
            self.assertEqual([row["TEXT"], row["WIDE"], row["LONG"]], want[1:4])
        self.verify("second")

    def test_memory_does_not_grow_with_the_group(self):
        def peak(rows):
            name = f"g{rows}"
            # Written and exported without much memory here: a process starts with its parent's.
            with open(self.folder / "big.csv", "w", encoding="utf-8") as file:
                file.write("Email,Name\n")
                for i in range(rows):
                    file.write(f"user{i}@example.org,{'x' * 200}\n")
            self.ok("import", name, "big.csv")
            with open(os.devnull, "wb") as nowhere:
                process = subprocess.Popen(self.command("export", name, "--format", "json"),
                                           env=self.environment, stdout=nowhere)
                _, status, usage = os.wait4(process.pid, 0)
                process.returncode = status
            self.assertEqual(status, 0)
            return usage.ru_maxrss
        small = peak(2000)
        large = peak(300_000)
        # The data file alone has 90 MB; what is mapped of it is bounded.
        self.assertLess(large - small, 110 * 1024, f"{small} KiB against {large} KiB")


if __name__ == "__main__":
    harness.main()
