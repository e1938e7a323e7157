#!/usr/bin/env python3
"""Importing: what is found out, what becomes of each row, and what is handed back."""
import csv
import io
import os
import threading

import harness
from harness import DONE, FINDINGS, UNAVAILABLE, USAGE


class ImportCase(harness.CliTest):
    def import_json(self, group, source, *arguments, code=DONE, stdin=b""):
        return self.ok("import", group, source, "--json", *arguments, code=code, stdin=stdin)


class ImportTest(ImportCase):
    def test_a_new_group_is_made_of_the_file(self):
        self.write("people.csv",
                   "Email,First Name,Born,Balance,Active,Zip\n"
                   "ann@example.org,Ann,1999-12-31,12.50,yes,01234\n"
                   "bob@example.org,Jürgen,2001-01-01,-7,no,99999\n")
        run = self.ok("import", "people", "people.csv")
        self.assertIn("read 2 = added 2 + updated 0 + skipped 0 + rejected 0\n", run.out)
        self.assertIn("people.csv: 2 rows, utf-8, delimiter ',', quote '\"', header row", run.out)
        fields = {f["name"]: f["type"] for f in self.ok("info", "people", "--json").json["fields"]}
        self.assertEqual(fields, {"EMAIL": "C", "FIRST_NAME": "C", "BORN": "D", "BALANCE": "N",
                                  "ACTIVE": "L", "ZIP": "C"})
        self.assertEqual(self.rows("people")[1], {
            "EMAIL": "bob@example.org", "FIRST_NAME": "Jürgen", "BORN": "2001-01-01",
            "BALANCE": -7.0, "ACTIVE": False, "ZIP": "99999"})
        tags = self.ok("info", "people", "--json").json["tags"]
        self.assertEqual(tags, [{"name": "EMAIL", "expression": "EMAIL",
                                 "filter": ".NOT. DELETED()", "unique": True,
                                 "descending": False}])
        self.verify("people")

    def test_what_was_found_out_stands_before_anything_is_written(self):
        self.write("in.csv", "Email;Name\na@example.org;x\n")
        process = self.start("import", "g", "in.csv")
        out, _ = process.communicate(timeout=60)
        text = out.decode()
        self.assertLess(text.index("delimiter ';'"), text.index("read 1 ="))
        self.assertLess(text.index("EMAIL"), text.index("read 1 ="))

    def test_rows_that_cannot_be_taken_come_back_as_they_were(self):
        good = b"ok@example.org,Fine\r\n"
        bad = [b"no-address,x\r\n", b"short@example.org\r\n", b'q@example.org,"open\r\n',
               b"nul@example.org,a\0b\r\n", b"latin@example.org,\xe9 \r\n",
               b"too@many.org,fields,here\r\n", b'"after"x@example.org,y\r\n']
        content = b"Email,Name\r\n" + good + b"".join(bad) + "u@example.org,Ümläüt\r\n".encode()
        self.write("in.csv", content)
        run = self.import_json("g", "in.csv", code=FINDINGS)
        self.assertEqual(self.account(run), (9, 2, 0, 0, 7))
        self.assertEqual(self.read("in.csv.rejected.csv"), b"Email,Name\r\n" + b"".join(bad))
        reasons = list(csv.DictReader(io.StringIO(
            self.read("in.csv.rejected.reasons.csv").decode())))
        self.assertEqual([r["line"] for r in reasons], [str(n) for n in range(3, 10)])
        for row, original in zip(reasons, bad):
            offset = int(row["offset"])
            self.assertEqual(content[offset:offset + len(original)], original)
            self.assertTrue(row["reason"])

    def test_corrected_rejects_can_be_imported_again(self):
        self.write("in.csv", "Email;Name;Joined;Balance\n"
                             "a@example.org;Ann;31.12.2020;1,50\n"
                             "b@@example.org;Jürgen;01.02.2021;22,00\n"
                             "c@example.org;Carl;02.03.2021;3,25;surplus\n")
        run = self.ok("import", "g", "in.csv", code=FINDINGS)
        again = [line for line in run.lines if line.startswith("  pvgroup import")][0].split()[1:]
        rejected = self.folder / "in.csv.rejected.csv"
        rejected.write_text(rejected.read_text("utf-8").replace("@@", "@").replace(";surplus", ""),
                            "utf-8")
        self.assertIn("in.csv.rejected.csv", again)
        second = self.ok(*[a.strip("'") for a in again], "--json")
        self.assertEqual(self.account(second), (2, 2, 0, 0, 0))
        self.assertEqual([r["EMAIL"] for r in self.rows("g")],
                         ["a@example.org", "b@example.org", "c@example.org"])
        self.assertEqual(self.rows("g")[1]["BALANCE"], 22.0)
        self.assertEqual(self.rows("g")[1]["JOINED"], "2021-02-01")

    def test_earlier_rejects_are_never_overwritten(self):
        self.write("in.csv", "Email\nbad\nok@example.org\n")
        self.ok("import", "g", "in.csv", code=FINDINGS)
        self.write("in.csv.rejected.csv", "Email\ncorrected@example.org\n")
        self.ok("import", "g", "in.csv", code=FINDINGS)
        self.assertEqual(self.read("in.csv.rejected.csv"), b"Email\ncorrected@example.org\n")
        self.assertEqual(self.read("in.csv.rejected.2.csv"), b"Email\nbad\n")
        self.ok("import", "g", "in.csv.rejected.2.csv", code=FINDINGS)
        self.assertEqual(self.read("in.csv.rejected.3.csv"), b"Email\nbad\n")
        self.write("mine.csv", "keep")
        self.fails(USAGE, "import", "g", "in.csv", "--rejects", "mine.csv")
        self.assertEqual(self.read("mine.csv"), b"keep")
        self.ok("import", "g", "in.csv", "--rejects", "mine.csv", "--yes", code=FINDINGS)
        self.assertEqual(self.read("mine.csv"), b"Email\nbad\n")
        self.assertTrue((self.folder / "mine.reasons.csv").exists())
        self.fails(USAGE, "import", "g", "in.csv", "--rejects", "in.csv", "--yes")

    def test_duplicates(self):
        self.write("a.csv", "Email,Name\na@example.org,one\nA@Example.org,two\nb@example.org,3\n")
        self.assertEqual(self.account(self.import_json("g", "a.csv")), (3, 2, 0, 1, 0))
        self.write("b.csv", "Email,Name\nB@EXAMPLE.ORG,new\nc@example.org,four\n")
        run = self.import_json("g", "b.csv", "--on-duplicate", "update")
        self.assertEqual(self.account(run), (2, 1, 1, 0, 0))
        self.assertEqual([(r["EMAIL"], r["NAME"]) for r in self.rows("g")],
                         [("a@example.org", "one"), ("b@example.org", "new"),
                          ("c@example.org", "four")])
        run = self.import_json("g", "b.csv", "--on-duplicate", "reject", code=FINDINGS)
        self.assertEqual(self.account(run), (2, 0, 0, 0, 2))
        self.verify("g")

    def test_a_dry_run_counts_the_same_and_writes_nothing(self):
        rows = "Email,Name\na@example.org,x\nA@example.org,y\nbad,z\nb@example.org,w\n"
        self.write("in.csv", rows)
        dry = self.import_json("g", "in.csv", "--dry-run", code=FINDINGS)
        self.assertEqual(self.account(dry), (4, 2, 0, 1, 1))
        self.assertFalse(self.data.exists())
        self.assertEqual(sorted(p.name for p in self.folder.iterdir()), ["in.csv"])
        self.assertEqual(self.account(self.import_json("g", "in.csv", code=FINDINGS)),
                         self.account(dry))
        table = self.table_of("g")
        before = table.read_bytes()
        self.write("more.csv", rows + "c@example.org,v\n")
        for policy in ("skip", "update", "reject"):
            self.ok("import", "g", "more.csv", "--dry-run", "--on-duplicate", policy,
                    code=FINDINGS)
        self.assertEqual(table.read_bytes(), before)

    def test_standard_input_and_pipes(self):
        run = self.import_json("g", "-", stdin=b"Email,Name\na@example.org,x\nbad,y\n",
                               code=FINDINGS)
        self.assertEqual(self.account(run), (2, 1, 0, 0, 1))
        self.assertEqual(self.read("stdin.rejected.csv"), b"Email,Name\nbad,y\n")
        fifo = self.folder / "pipe"
        os.mkfifo(fifo)

        def feed():
            with open(fifo, "wb") as pipe:
                pipe.write(b"Email,Name\nb@example.org,z\n")

        thread = threading.Thread(target=feed)
        thread.start()
        run = self.import_json("g", fifo)
        thread.join()
        self.assertEqual(self.account(run), (1, 1, 0, 0, 0))
        left = [p.name for p in self.folder.iterdir() if p.name.startswith("pvgroup-")]
        self.assertEqual(left, [], "the spooled input is removed")

    def test_encodings(self):
        text = "Email,Name\njürgen@exämple.org,Größe\n"
        for encoding, name in (("utf-8", "utf-8"), ("utf-8-sig", "utf-8"), ("utf-16", "utf-16le"),
                               ("utf-16-be", "utf-16be"), ("cp1252", "windows-1252")):
            self.write("in.csv", text.encode(encoding))
            run = self.import_json("g-" + encoding, "in.csv")
            self.assertEqual(run.json["source"]["encoding"], name)
            self.assertEqual(self.rows("g-" + encoding),
                             [{"EMAIL": "jürgen@exämple.org", "NAME": "Größe"}])
        for encoding in ("cp437", "cp850", "latin1"):
            self.write("in.csv", text.encode(encoding))
            self.import_json("g-" + encoding, "in.csv", "--encoding", encoding)
            self.assertEqual(self.rows("g-" + encoding)[0]["NAME"], "Größe")
        self.fails(USAGE, "import", "g", "in.csv", "--encoding", "klingon")

    def test_rejected_rows_of_utf16_come_back_in_utf16(self):
        self.write("in.csv", "Email,Name\r\nbad,Größe\r\nok@example.org,x\r\n".encode("utf-16"))
        self.ok("import", "g", "in.csv", code=FINDINGS)
        self.assertEqual(self.read("in.csv.rejected.csv"),
                         "Email,Name\r\nbad,Größe\r\n".encode("utf-16"))

    def test_text_outside_the_code_page(self):
        self.write("in.csv", "Email,Name,City\na@example.org,日本語,Köln\nb@例え.org,x,y\n")
        run = self.import_json("g", "in.csv", code=FINDINGS)
        self.assertEqual([c["type"] for c in run.json["columns"]], ["C(100)", "W(20)", "C(10)"])
        self.assertEqual(self.rows("g"),
                         [{"EMAIL": "a@example.org", "NAME": "日本語", "CITY": "Köln"}])
        self.assertIn("not in code page 1252",
                      self.read("in.csv.rejected.reasons.csv").decode())

    def test_nothing_is_ever_cut(self):
        self.ok("create", "g", "Name:text(5)", "Amount:number(6,2)", "On:date", "Yes:logical")
        self.write("in.csv", "Email,Name,Amount,On,Yes\n"
                             "ok@example.org,12345,999.99,2020-02-29,true\n"
                             "a@example.org,123456,1,2020-02-29,true\n"
                             "b@example.org,x,1000,2020-02-29,true\n"
                             "c@example.org,x,0.001,2020-02-29,true\n"
                             "d@example.org,x,1,2021-02-29,true\n"
                             "e@example.org,x,1,2020-02-29,perhaps\n"
                             + "f" * 100 + "@example.org,x,1,2020-02-29,true\n")
        run = self.import_json("g", "in.csv", code=FINDINGS)
        self.assertEqual(self.account(run), (7, 1, 0, 0, 6))
        reasons = self.read("in.csv.rejected.reasons.csv").decode()
        for field in ("NAME:", "AMOUNT:", "ON:", "YES:", "EMAIL:"):
            self.assertIn(field, reasons)

    def test_memos_and_unicode_and_times(self):
        long = "x" * 300 + "\nsecond line, with \"quotes\""
        self.write("in.csv", "Email,Note,Seen\na@example.org,\"%s\",2020-01-02 03:04:05\n"
                             "b@example.org,short,2021-01-02\n" % long.replace('"', '""'))
        self.import_json("g", "in.csv")
        self.assertEqual(self.rows("g")[0]["NOTE"], long)
        self.assertEqual(self.rows("g")[0]["SEEN"], "2020-01-02T03:04:05")
        self.verify("g")

    def test_mapping(self):
        self.write("in.csv", "Login,Full name,Zip code,Junk\na@example.org,Ann,12345,x\n")
        self.import_json("g", "in.csv", "--map", "Login=Email", "--map", "Full name=WHO:text(80)",
                         "--map", "3=ZIP:text(10)", "--map", "Junk=")
        self.assertEqual(self.rows("g"), [{"EMAIL": "a@example.org", "WHO": "Ann", "ZIP": "12345"}])
        self.fails(USAGE, "import", "g", "in.csv")
        self.fails(USAGE, "import", "h", "in.csv", "--map", "Nope=X")
        self.assertEqual([g["name"] for g in self.ok("list", "--json").json], ["g"])

    def test_given_delimiter_quote_and_header(self):
        self.write("in.txt", "a@example.org\t'x\ty'\nb@example.org\tz\n")
        self.import_json("g", "in.txt", "--delimiter", "tab", "--quote", "'", "--header", "no",
                         "--map", "2=NAME")
        self.assertEqual(self.rows("g")[0], {"EMAIL": "a@example.org", "NAME": "x\ty"})
        self.fails(USAGE, "import", "g", "in.txt", "--delimiter", "ab")
        self.fails(USAGE, "import", "g", "in.txt", "--delimiter", "x", "--quote", "x")

    def test_dates_that_can_be_read_two_ways(self):
        self.write("in.csv", "Email,On\na@example.org,01/02/2020\n")
        run = self.ok("import", "g", "in.csv")
        self.assertIn("cannot be told apart stay text", run.out)
        self.import_json("dmy", "in.csv", "--date-order", "dmy")
        self.import_json("mdy", "in.csv", "--date-order", "mdy")
        self.assertEqual(self.rows("dmy")[0]["ON"], "2020-02-01")
        self.assertEqual(self.rows("mdy")[0]["ON"], "2020-01-02")
        self.assertIn("--date-order", self.fails(USAGE, "import", "dmy", "in.csv"))

    def test_sources_that_are_not_there_or_hold_nothing(self):
        self.assertIn("nowhere.csv", self.fails(UNAVAILABLE, "import", "g", "nowhere.csv"))
        self.fails(UNAVAILABLE, "import", "g", self.folder)
        self.write("empty.csv", "")
        self.fails(USAGE, "import", "g", "empty.csv")
        self.write("none.csv", "Name,City\nAnn,Rome\n")
        self.assertIn("no column holds e-mail addresses",
                      self.fails(USAGE, "import", "g", "none.csv"))
        self.assertEqual(self.ok("list", "--json").json, [])

    def test_a_header_alone_makes_an_empty_group(self):
        self.write("in.csv", "Email,Name\n")
        self.assertEqual(self.account(self.import_json("g", "in.csv")), (0, 0, 0, 0, 0))
        self.assertEqual(self.ok("count", "g").out, "0\n")

    def test_a_folder_of_its_own(self):
        (self.folder / "own").mkdir()
        self.write("in.csv", "Email\na@example.org\n")
        self.import_json("g", "in.csv", "--folder", "own")
        self.assertEqual(self.table_of("g").parent, self.folder / "own")
        self.fails(UNAVAILABLE, "import", "h", "in.csv", "--folder", "missing")
        self.fails(USAGE, "import", "g", "in.csv", "--folder", "own")

    def test_files_are_private(self):
        self.write("in.csv", "Email\na@example.org\nbad\n")
        old = os.umask(0)
        try:
            self.ok("import", "g", "in.csv", code=FINDINGS)
        finally:
            os.umask(old)
        for path in [*self.data.iterdir(), self.folder / "in.csv.rejected.csv"]:
            self.assertEqual(path.stat().st_mode & 0o777, 0o600, path)
        self.assertEqual(self.data.stat().st_mode & 0o777, 0o700)


class SampleTest(ImportCase):
    """Real-world files."""

    def test_clean(self):
        source = self.sample("csv/clean-10k.csv")
        self.assertEqual(self.account(self.import_json("g", source)), (10000, 10000, 0, 0, 0))
        with open(source, newline="", encoding="utf-8") as file:
            expected = {r["Email"]: r for r in csv.DictReader(file)}
        rows = self.rows("g")
        self.assertEqual(len(rows), len(expected))
        for row in rows:
            want = expected[row["EMAIL"]]
            self.assertEqual(row["FIRST_NAME"], want["First Name"])
            self.assertEqual(row["LAST_NAME"], want["Last Name"])
            self.assertEqual(row["COMPANY"], want["Company"])
            self.assertEqual(row["JOINED"], want["Joined"])
            self.assertEqual(row["BALANCE"], float(want["Balance"]))
            self.assertEqual(row["ACTIVE"], want["Active"] == "true")
        self.verify("g")

    def test_spreadsheet_with_decimal_commas(self):
        source = self.sample("csv/spreadsheet-eu.csv")
        run = self.import_json("g", source)
        self.assertEqual(self.account(run), (500, 500, 0, 0, 0))
        self.assertEqual(run.json["source"]["delimiter"], ";")
        with open(source, newline="", encoding="utf-8-sig") as file:
            expected = {r["E-Mail"]: r for r in csv.DictReader(file, delimiter=";")}
        for row in self.rows("g"):
            want = expected[row["EMAIL"]]
            day, month, year = want["Seit"].split(".")
            self.assertEqual(row["SEIT"], f"{year}-{month}-{day}")
            self.assertEqual(row["SALDO"], float(want["Saldo"].replace(",", ".")))
            self.assertEqual(row["AKTIV"], want["Aktiv"] == "ja")
            self.assertEqual(row["VORNAME"], want["Vorname"])

    def test_tab_file_in_windows_1252(self):
        source = self.sample("csv/latin-tab.txt")
        run = self.import_json("g", source)
        self.assertEqual(self.account(run), (200, 200, 0, 0, 0))
        self.assertEqual(run.json["source"]["encoding"], "windows-1252")
        with open(source, newline="", encoding="cp1252") as file:
            expected = {r["email"]: r for r in csv.DictReader(file, delimiter="\t")}
        rows = self.rows("g")
        self.assertEqual(len(rows), 200)
        for row in rows:
            self.assertEqual(row["NAME"], expected[row["EMAIL"]]["name"])
            self.assertEqual(row["CITY"], expected[row["EMAIL"]]["city"])

    def test_every_row_of_the_messy_file_is_accounted_for(self):
        source = self.write("messy.csv", self.sample("csv/messy.csv").read_bytes())
        run = self.import_json("g", source, code=FINDINGS)
        self.assertEqual(self.account(run), (18, 7, 0, 2, 9))
        self.assertEqual(run.json["blank_lines"], 1)
        self.assertEqual([r["EMAIL"] for r in self.rows("g")],
                         ["big@example.org", "dup@example.org", "formula@example.org",
                          "iri@exämple.org", "ok1@example.org", "ok2@example.org",
                          "quoted@example.org"])
        reasons = list(csv.DictReader(io.StringIO(
            self.read("messy.csv.rejected.reasons.csv").decode())))
        self.assertEqual({int(r["line"]): r["reason"] for r in reasons}, {
            5: "the address has no @", 6: "the address has more than one @",
            7: "there is no address", 10: "1 column instead of 3",
            11: "5 columns instead of 3", 12: "column 2 is not valid utf-8",
            13: "a value holds a zero byte", 20: "a quote is never closed",
            21: "1 column instead of 3"})
        content = source.read_bytes()
        rejected = self.read("messy.csv.rejected.csv")
        self.assertTrue(rejected.startswith(content[:content.index(b"\n") + 1]))
        for line in rejected.splitlines(keepends=True):
            self.assertIn(line, content)




if __name__ == "__main__":
    harness.main()
