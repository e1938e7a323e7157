#!/usr/bin/env python3
"""Repair: a whole group or table out of a damaged one."""
import shutil

import harness
from harness import DAMAGED, FINDINGS, UNAVAILABLE, USAGE


class RepairTest(harness.CliTest):
    def setUp(self):
        super().setUp()
        self.write("in.csv", "Email,Name,Note\n" + "".join(
            f"user{i}@example.org,Name {i},{'note ' * 60}{i}\n" for i in range(300)))
        self.ok("import", "g", "in.csv")
        self.path = self.table_of("g")
        self.index = self.path.with_suffix(".cdx")
        self.memo = self.path.with_suffix(".fpt")
        self.before = self.rows("g")

    def damage(self, path, offset, content):
        data = bytearray(path.read_bytes())
        data[offset:offset + len(content)] = content
        path.write_bytes(data)

    def test_an_index_of_which_any_page_is_zeroed(self):
        whole = self.index.read_bytes()
        for page in range(2, len(whole) // 512):
            self.index.write_bytes(whole)
            self.damage(self.index, page * 512, bytes(512))
            run = self.run_any("repair", "g", "--json")
            self.assertIn(run.code, (0, FINDINGS), run.err)
            self.assertEqual(run.json["live"], 300)
            self.assertEqual(self.rows("g"), self.before, f"page {page}")
            self.assertEqual(run.code, 0, run.out)
            self.verify("g")
            for kept in self.data.glob("*.damaged*"):
                kept.unlink()

    def test_a_lost_memo_costs_itself_only(self):
        self.damage(self.memo, 512 + 4, b"\x7f\xff\xff\xff")
        self.ok("verify", "g", code=FINDINGS)
        run = self.ok("repair", "g", "--json", code=FINDINGS)
        self.assertEqual((run.json["live"], run.json["memos_lost"]), (300, 1))
        self.assertTrue(any("record 1" in s for s in run.json["losses"]), run.json["losses"])
        after = self.rows("g")
        first = next(r for r in self.before if r["EMAIL"] == "user0@example.org")
        for row, old in zip(after, self.before):
            if old is first:
                self.assertEqual({**row, "NOTE": old["NOTE"]}, old)
            else:
                self.assertEqual(row, old)
        self.verify("g")

    def test_a_wrong_record_count(self):
        self.damage(self.path, 4, (7).to_bytes(4, "little"))
        self.run_any("repair", "g")
        self.assertEqual(self.rows("g"), self.before)
        self.verify("g")

    def test_the_damaged_files_are_kept(self):
        self.damage(self.memo, 512 + 4, b"\x7f\xff\xff\xff")
        damaged = {p.suffix: p.read_bytes() for p in (self.path, self.index, self.memo)}
        run = self.ok("repair", "g", code=FINDINGS)
        stem = str(self.path)[:-len(".pvg")]
        self.assertIn(f"kept as {stem}.damaged.pvg", run.out)
        for suffix in (".pvg", ".fpt"):
            with open(stem + ".damaged" + suffix, "rb") as file:
                self.assertEqual(file.read(), damaged[suffix])
        self.ok("repair", "g")
        self.assertTrue((self.data / (self.path.stem + ".damaged2.pvg")).exists())

    def test_a_repair_that_was_stopped_is_brought_to_its_end(self):
        # As it is when the data file has left its place and nothing has come back yet.
        stem = str(self.path)[:-len(".pvg")]
        for suffix in (".pvg", ".cdx", ".fpt"):
            shutil.copy(stem + suffix, stem + ".repaired" + suffix)
        self.path.rename(stem + ".damaged.pvg")
        self.fails(UNAVAILABLE, "show", "g")
        run = self.ok("repair", "g")
        self.assertIn("interrupted repair", run.err)
        self.assertEqual(self.rows("g"), self.before)
        self.assertEqual(list(self.data.glob("*.repaired*")), [])

    def test_a_table_file(self):
        for suffix in (".pvg", ".cdx", ".fpt"):
            shutil.copy(self.path.with_suffix(suffix), self.folder / ("t" + suffix))
        self.damage(self.folder / "t.cdx", 0, bytes(512))
        before = self.read("t.cdx")
        self.fails(DAMAGED, "table", "show", "t.pvg")
        run = self.run_any("repair", "t.pvg", "--json")
        self.assertEqual(run.json["live"], 300, run.err)
        self.assertEqual(run.json["table"], "t.repaired.pvg")
        self.assertEqual(self.read("t.cdx"), before)
        rows = self.ok("table", "show", "t.repaired.pvg", "--json").json
        self.assertEqual(sorted(r["EMAIL"] for r in rows), [r["EMAIL"] for r in self.before])
        self.fails(USAGE, "repair", "t.pvg")
        self.run_any("repair", "t.pvg", "--to", "other.pvg")
        self.assertTrue((self.folder / "other.pvg").exists())

    def test_what_is_not_there(self):
        self.fails(UNAVAILABLE, "repair", "nothing")
        self.fails(USAGE, "repair", "g", "--to", "x.pvg")


if __name__ == "__main__":
    harness.main()
