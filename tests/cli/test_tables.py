#!/usr/bin/env python3
"""Tables of the family: ours in other programs' eyes, theirs in ours."""
import datetime
import json
import re
import shutil
import struct
import subprocess
import sys

import harness
from harness import DAMAGED, UNAVAILABLE, USAGE

# Reads a table with an independent reader and prints its live records as JSON.
DBFREAD = """
import json, sys
from dbfread import DBF, FieldParser
class Parser(FieldParser):
    def parseW(self, field, data):
        return data.decode('utf-16-le').split(chr(0))[0]
table = DBF(sys.argv[1], encoding='cp1252', load=False, ignorecase=True, parserclass=Parser)
print(json.dumps([{k: v if isinstance(v, (int, float, bool, type(None))) else str(v)
                   for k, v in r.items()} for r in table]))
"""
DBF = """
import dbf, json, sys
table = dbf.Table(sys.argv[1])
table.open(dbf.READ_ONLY)
rows = []
for record in table:
    if dbf.is_deleted(record): continue
    rows.append({n: None if record[n] is None else str(record[n]).rstrip()
                 for n in table.field_names})
print(json.dumps([table.codepage.name, rows]))
"""


class TablesTest(harness.CliTest):
    def outside(self, script, module, path):
        """Runs a reader in whichever Python has it; skips when none has."""
        for python in (sys.executable, "/usr/bin/python3"):
            probe = subprocess.run([python, "-c", f"import {module}"], capture_output=True,
                                   check=False)
            if probe.returncode == 0:
                run = subprocess.run([python, "-c", script, str(path)], capture_output=True,
                                     check=False)
                self.assertEqual(run.returncode, 0, run.stderr.decode())
                return json.loads(run.stdout)
        self.skipTest(f"the Python module {module} is not installed")

    def make(self, with_unicode):
        wide = ["日本", "Αθηνά"] if with_unicode else ["Köln", "Málaga"]
        self.write("in.csv", "Email,Name,Wide,Joined,Balance,Active,Note,Seen\n"
                             f"a@example.org,Jürgen,{wide[0]},2020-01-31,-1.50,yes,"
                             f"{'long ' * 100}end,2020-01-31 13:45:10\n"
                             f"b@example.org,Ann,{wide[1]},,22.25,no,short,\n"
                             "c@example.org,Gone,x,2021-12-01,3.00,yes,,2021-01-01 00:00:00\n")
        self.ok("import", "g", "in.csv")
        self.ok("remove", "g", "c@example.org")
        return self.table_of("g")

    def test_our_tables_in_dbfread(self):
        path = self.make(with_unicode=True)
        shutil.copy(path, self.folder / "copy.dbf")
        shutil.copy(path.with_suffix(".fpt"), self.folder / "copy.fpt")
        rows = self.outside(DBFREAD, "dbfread", self.folder / "copy.dbf")
        self.assertEqual(rows, [
            {"EMAIL": "a@example.org", "NAME": "Jürgen", "WIDE": "日本", "JOINED": "2020-01-31",
             "BALANCE": -1.5, "ACTIVE": True, "NOTE": "long " * 100 + "end",
             "SEEN": "2020-01-31 13:45:10"},
            {"EMAIL": "b@example.org", "NAME": "Ann", "WIDE": "Αθηνά", "JOINED": None,
             "BALANCE": 22.25, "ACTIVE": False, "NOTE": "short", "SEEN": None}])

    def test_our_tables_in_dbf(self):
        path = self.make(with_unicode=False)
        shutil.copy(path, self.folder / "copy.dbf")
        shutil.copy(path.with_suffix(".fpt"), self.folder / "copy.fpt")
        page, rows = self.outside(DBF, "dbf", self.folder / "copy.dbf")
        self.assertEqual(page, "cp1252")
        self.assertEqual(len(rows), 2)
        first = {k.upper(): v for k, v in rows[0].items()}
        self.assertEqual((first["NAME"], first["WIDE"], first["JOINED"], first["ACTIVE"]),
                         ("Jürgen", "Köln", "2020-01-31", "True"))
        self.assertEqual(float(first["BALANCE"]), -1.5)
        self.assertEqual(first["NOTE"], "long " * 100 + "end")
        self.assertEqual(first["SEEN"], "2020-01-31 13:45:10")

    def test_table_verbs(self):
        path = self.make(with_unicode=True)
        info = self.ok("table", "info", path, "--json").json
        self.assertEqual((info["records"], info["live"], info["code_page"]), (3, 2, 1252))
        self.assertEqual(self.ok("table", "show", path, "--format", "recno").lines,
                         ["1", "2", "3"])
        self.assertEqual(self.ok("table", "show", path, "--tag", "email", "--format",
                                 "recno").lines, ["1", "2"])
        self.assertEqual(self.ok("table", "show", path, "--fields", "Email", "--format",
                                 "csv").out, "EMAIL\na@example.org\nb@example.org\n")
        rows = self.ok("table", "show", path, "--json", "--deleted").json
        self.assertEqual([r["deleted"] for r in rows], [False, False, True])
        self.assertIn("sound", self.ok("table", "verify", path).out)
        message = self.fails(USAGE, "table", "show", path, "--tag", "nope")
        self.assertIn("EMAIL", message)

    def test_files_that_are_no_tables(self):
        self.fails(UNAVAILABLE, "table", "show", "missing.dbf")
        for content in (b"", b"hello", b"\x30" * 40, bytes(600)):
            path = self.write("bad.dbf", content)
            self.assertIn("bad.dbf", self.fails(DAMAGED, "table", "show", path))

    def test_real_tables(self):
        folder = self.sample("foxpro")
        for path in folder.iterdir():
            shutil.copy(path, self.folder)
            (self.folder / path.name).chmod(0o600)
        tables = sorted(self.folder.glob("*.dbf"))
        self.assertEqual(len(tables), 5)
        for path in tables:
            header = path.read_bytes()[:12]
            count, = struct.unpack("<I", header[4:8])
            info = self.ok("table", "info", path, "--json").json
            self.assertEqual(info["records"], count, path.name)
            self.assertGreater(len(info["tags"]), 0, path.name)
            natural = self.ok("table", "show", path, "--format", "recno").lines
            self.assertEqual(natural, [str(n) for n in range(1, count + 1)])
            for tag in info["tags"]:
                self.assertNotIn("unusable", tag, path.name)
                order = self.ok("table", "show", path, "--tag", tag["name"], "--format",
                                "recno").lines
                self.assertEqual(len(set(order)), len(order))
                if not tag["filter"] and not tag["unique"]:
                    self.assertEqual(sorted(map(int, order)), list(range(1, count + 1)))
            verify = self.ok("table", "verify", path, "--json").json
            self.assertEqual(verify["findings"], [], path.name)

    def test_real_tables_agree_with_an_independent_reader(self):
        folder = self.sample("foxpro")
        compared = 0
        for path in sorted(folder.iterdir()):
            shutil.copy(path, self.folder / path.name.lower())
        for path in sorted(self.folder.glob("*.dbf")):
            theirs = self.outside(DBFREAD, "dbfread", path)
            ours = self.ok("table", "show", path, "--json").json
            self.assertEqual(len(ours), len(theirs), path.name)
            for mine, other in zip(ours, theirs):
                self.assertEqual(set(mine), set(other))
                for name, value in mine.items():
                    self.compare(path.name, name, value, other[name])
                    compared += 1
        self.assertGreater(compared, 1000)

    def compare(self, table, field, ours, theirs):
        where = f"{table} {field}: {ours!r} and {theirs!r}"
        if isinstance(ours, bool) or isinstance(theirs, bool):
            self.assertEqual(bool(ours), bool(theirs), where)
        elif isinstance(ours, (int, float)):
            self.assertAlmostEqual(ours, float(theirs), places=4, msg=where)
        elif ours is None:
            self.assertIn(theirs, (None, ""), where)
        elif isinstance(theirs, str) and re.fullmatch(r"\d{4}-\d\d-\d\dT[\d:]{8}", ours):
            moment = datetime.datetime.fromisoformat(ours)
            other = datetime.datetime.fromisoformat(theirs)
            self.assertLess(abs((moment - other).total_seconds()), 1.0, where)
        elif ours == "(object)":
            pass
        else:
            self.assertEqual(ours, (theirs or "").rstrip(" ") if isinstance(theirs, str)
                             else theirs or "", where)


if __name__ == "__main__":
    harness.main()
