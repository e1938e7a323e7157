#!/usr/bin/env python3
"""Whole groups: making, listing, naming, counting, compacting, deleting them."""
import pathlib

import harness
from harness import DAMAGED, FINDINGS, UNAVAILABLE, USAGE


class GroupsTest(harness.CliTest):
    def test_create_with_every_type(self):
        run = self.ok("create", "all", "T:text(20)", "U:unicode(10)", "N:number(8,2)",
                      "F:float(8,2)", "I:integer", "B:double", "Y:currency", "D:date",
                      "W:datetime", "L:logical", "M:memo", "Z:binary(5)", "X:memobinary")
        self.assertRegex(run.out, r"\A[0-9A-F]{32}\n\Z")
        info = self.ok("info", "all", "--json").json
        self.assertEqual([(f["name"], f["type"]) for f in info["fields"]],
                         [("EMAIL", "C"), ("T", "C"), ("U", "W"), ("N", "N"), ("F", "F"),
                          ("I", "I"), ("B", "B"), ("Y", "Y"), ("D", "D"), ("W", "T"), ("L", "L"),
                          ("M", "M"), ("Z", "Z"), ("X", "X")])
        self.ok("add", "all", "a@example.org", "T=Grün", "U=日本", "N=-1.5", "F=2.25", "I=-7",
                "B=0.1", "Y=12.3456", "D=2024-02-29", "W=2024-02-29 13:45:07", "L=yes",
                "M=a longer\ntext", "Z=z", "X=x")
        self.assertEqual(self.rows("all"), [{
            "EMAIL": "a@example.org", "T": "Grün", "U": "日本", "N": -1.5, "F": 2.25, "I": -7,
            "B": 0.1, "Y": 12.3456, "D": "2024-02-29", "W": "2024-02-29T13:45:07", "L": True,
            "M": "a longer\ntext", "Z": "z", "X": "x"}])
        self.verify("all")

    def test_what_cannot_be_created(self):
        self.ok("create", "One")
        for arguments in (["one"], [" "], ["two", "Name:nothing"], ["two", "A:text(300)"],
                          ["two", "A", "a"], ["two", "Email:memo"], ["two", "Email:text(250)"],
                          ["two", "not a name"], ["日本"], ["x" * 241]):
            self.fails(USAGE, "create", *arguments)
        self.fails(UNAVAILABLE, "create", "two", "--folder", "missing")
        self.assertEqual([g["name"] for g in self.ok("list", "--json").json], ["One"])

    def test_list_in_every_form(self):
        self.assertEqual(self.ok("list", "--json").json, [])
        self.assertFalse(self.data.exists(), "looking makes no folder")
        self.ok("create", "Beta")
        self.ok("create", "Alpha")
        self.ok("add", "beta", "a@example.org")
        groups = self.ok("list", "--json").json
        self.assertEqual([(g["name"], g["recipients"], g["kind"]) for g in groups],
                         [("Alpha", 0, "table"), ("Beta", 1, "table")])
        plain = self.ok("list").lines
        self.assertEqual(plain[0].split("\t")[:2], ["name", "recipients"])
        self.assertEqual(plain[2].split("\t")[:2], ["Beta", "1"])
        table = self.ok("list", "--csv").lines
        self.assertEqual(table[0], "name,recipients,kind,id,folder")
        self.assertNotIn("\\", self.ok("list").out, "paths are in the system's form")
        self.fails(USAGE, "list", "--csv", "--json")

    def test_a_group_is_named_by_name_or_id(self):
        self.ok("create", "Customers")
        identifier = self.ok("list", "--json").json[0]["id"]
        for name in ("Customers", "customers", "CUSTOMERS", identifier, identifier.lower()):
            self.assertEqual(self.ok("count", name).out, "0\n")
        self.assertIn("nobody", self.fails(UNAVAILABLE, "count", "nobody"))

    def test_rename(self):
        self.ok("create", "one")
        self.ok("create", "two")
        self.fails(USAGE, "rename", "one", "TWO")
        self.ok("rename", "one", "One")
        self.ok("rename", "One", "Drei Größen")
        self.assertEqual([g["name"] for g in self.ok("list", "--json").json],
                         ["Drei Größen", "two"])
        self.fails(UNAVAILABLE, "count", "one")

    def test_delete_asks_or_needs_yes(self):
        self.ok("create", "g")
        table = self.table_of("g")
        self.assertIn("--yes", self.fails(USAGE, "delete", "g"))
        self.assertTrue(table.exists())
        self.ok("delete", "g", "--yes")
        self.assertFalse(table.exists())
        self.assertFalse(table.with_suffix(".cdx").exists())
        self.assertEqual(self.ok("list", "--json").json, [])
        self.fails(UNAVAILABLE, "delete", "g", "--yes")

    def test_on_a_terminal_it_asks(self):
        self.ok("create", "g")
        code, seen = self.ask(b"[y/N]", b"n\n", "delete", "g")
        self.assertEqual(code, USAGE)
        self.assertIn('Delete the group "g" and its files? [y/N]', seen)
        self.assertEqual(self.ok("count", "g").out, "0\n")
        code, _ = self.ask(b"[y/N]", b"y\n", "delete", "g")
        self.assertEqual(code, 0)
        self.fails(UNAVAILABLE, "count", "g")

    def test_on_a_terminal_lists_are_aligned_and_harmless(self):
        self.ok("create", "g", "Name:text(30)")
        self.ok("add", "g", "a@example.org", "Name=\x1b[31mred\tend")
        code, seen = self.ask(b"", b"", "show", "g")
        self.assertEqual(code, 0)
        self.assertIn("\x1b[1mEMAIL          NAME", seen)
        self.assertIn("a@example.org  \\x1B[31mred\\tend", seen)
        self.environment["NO_COLOR"] = "1"
        _, seen = self.ask(b"", b"", "show", "g")
        self.assertNotIn("\x1b", seen)

    def test_compact(self):
        self.ok("create", "g", "Note:memo")
        for name in "abcd":
            self.ok("add", "g", name + "@example.org", "Note=" + name * 1000)
        self.ok("remove", "g", "a@example.org", "C@EXAMPLE.ORG")
        size = self.table_of("g").with_suffix(".fpt").stat().st_size
        self.assertEqual(self.ok("count", "g").out, "2\n")
        self.assertEqual(self.ok("count", "g", "--all").out, "4\n")
        self.assertEqual(self.ok("compact", "g").out, "2 records kept, 2 deleted records removed\n")
        self.assertEqual(self.ok("count", "g", "--all").out, "2\n")
        self.assertLess(self.table_of("g").with_suffix(".fpt").stat().st_size, size)
        self.assertEqual([r["NOTE"][:2] for r in self.rows("g")], ["bb", "dd"])
        self.verify("g")

    def test_data_folder_option(self):
        other = self.folder / "elsewhere"
        self.ok("create", "here")
        self.ok("--data", other, "create", "there")
        self.ok("add", "there", "a@example.org", "--data", other)
        self.assertEqual([g["name"] for g in self.ok("list", "--json").json], ["here"])
        self.assertEqual([g["name"] for g in self.ok("list", "--json", "--data", other).json],
                         ["there"])

    def test_a_group_whose_table_is_gone_is_listed_without_a_count(self):
        self.ok("create", "g")
        self.ok("create", "h")
        self.table_of("g").unlink()
        run = self.ok("list", "--json", code=FINDINGS)
        self.assertEqual([(g["name"], g["recipients"]) for g in run.json], [("g", None), ("h", 0)])
        self.fails(UNAVAILABLE, "show", "g")
        self.ok("delete", "g", "--yes")

    def test_a_damaged_table_is_told_apart(self):
        self.ok("create", "g")
        path = self.table_of("g")
        path.write_bytes(b"\x77" + path.read_bytes()[1:])
        message = self.fails(DAMAGED, "show", "g")
        self.assertIn(path.name, message)
        self.fails(DAMAGED, "verify", "g")
        self.ok("delete", "g", "--yes")

    def test_verify_names_faults(self):
        self.ok("create", "g", "Note:memo")
        for name in "abc":
            self.ok("add", "g", name + "@example.org", "Note=" + name * 100)
        memo = self.table_of("g").with_suffix(".fpt")
        content = bytearray(memo.read_bytes())
        content[512 + 4:512 + 8] = b"\x7f\xff\xff\xff"
        memo.write_bytes(content)
        run = self.ok("verify", "g", "--json", code=FINDINGS)
        self.assertEqual(len(run.json["findings"]), 1)
        self.assertIn("record 1, field NOTE", run.json["findings"][0])
        plain = self.ok("verify", "g", code=FINDINGS)
        self.assertIn("faults were found", plain.out)

    def test_a_table_that_is_nearly_full(self):
        self.ok("create", "g", *[f"F{n}:text(254)" for n in range(240)])
        path = self.table_of("g")
        length = 1 + 100 + 240 * 254
        count = 0x77FFFFFE // 100 * 91 // length
        with open(path, "r+b") as table:  # mostly a hole
            header = int.from_bytes(table.read(10)[8:10], "little")
            table.seek(4)
            table.write(count.to_bytes(4, "little"))
            table.truncate(header + count * length)
        self.assertTrue(self.ok("info", "g", "--json").json["nearly_full"])
        self.write("in.csv", "Email\na@example.org\n")
        run = self.ok("import", "g", "in.csv", "--json")
        self.assertEqual(self.account(run), (1, 1, 0, 0, 0))
        self.assertIn("over 90%", run.err)

    def test_help_and_version(self):
        self.assertRegex(self.ok("--version").out, r"\Apvgroup \d+\.\d+\.\d{4}\n\Z")
        self.assertIn("Exit codes", self.ok("--help").out)
        self.assertIn("--on-duplicate", self.ok("import", "--help").out)
        self.fails(USAGE)
        self.fails(USAGE, "nonsense")
        self.fails(USAGE, "show")
        self.fails(USAGE, "show", "g", "--limit", "-3")

    def test_info_for_people(self):
        self.ok("create", "g", "Name:text(30)")
        out = self.ok("info", "g").out
        self.assertIn("0 live, 0 deleted", out)
        self.assertIn("EMAIL  C(100)", out)
        self.assertIn(".NOT. DELETED()", out)
        self.assertTrue(pathlib.Path(out.split("data")[1].split()[0] or "/").anchor)


if __name__ == "__main__":
    harness.main()
