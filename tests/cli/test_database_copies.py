#!/usr/bin/env python3
"""pvgroup copy into tables of databases, and back: SQLite, PostgreSQL, MariaDB."""
import csv
import re
import signal
import time

import databases
import harness
from harness import DONE, FINDINGS, INTERRUPTED, UNAVAILABLE, USAGE

FIELDS = ["Email:text(60)", "Name:unicode(40)", "City:text(30)", "Age:number(3)",
          "Balance:number(10,2)", "Score:double", "Points:integer", "Credit:currency",
          "Joined:date", "Seen:datetime", "Vip:logical", "Notes:memo"]
ROWS = [
    ["anna@example.org", "Anna Ω 😀", "Köln", "34", "-12.50", "0.125", "-7", "1234.5678",
     "2024-02-29", "2024-02-29 13:45:10", "yes", "two\nlines, \"quoted\""],
    ["bert@example.org", "O'Brien \\ #2", "", "", "", "", "", "", "", "", "", ""],
    ["cora@example.org", "Çora", "a;b", "0", "9999999.99", "-1e-05", "2147483647", "-0.0001",
     "1899-12-29", "1969-07-20 02:56:15", "no", "x" * 70000],
    ["Dora@Example.org", "Дора", " leading", "999", "0.00", "12345678901", "0", "900000000.25",
     "9999-12-31", "2021-12-31 23:59:59", "no", ""],
]


class CopyCases:
    keeps_any_decimals = False

    def native(self, name="mine", rows=ROWS, fields=FIELDS):
        self.ok("create", name, *fields)
        path = self.folder / (name + ".csv")
        with open(path, "w", encoding="utf-8", newline="") as file:
            writer = csv.writer(file)
            writer.writerow([f.split(":")[0] for f in fields])
            writer.writerows(rows)
        self.assertEqual(self.account(self.ok("import", name, path, "--json"))[1], len(rows))

    def copy(self, *arguments, code=DONE):
        return self.account(self.ok("copy", *arguments, "--json", code=code))

    def into(self, table, *arguments, group="theirs", code=DONE):
        """Copies the group "mine" into a new group that is a table."""
        return self.copy("mine", group, "--source", "db", "--table", table, *arguments, code=code)

    def rejected(self, stem="group mine"):
        """The rejected rows with their reasons."""
        with open(self.folder / (stem + ".rejected.csv"), encoding="utf-8", newline="") as file:
            rows = list(csv.DictReader(file))
        with open(self.folder / (stem + ".rejected.reasons.csv"), encoding="utf-8",
                  newline="") as file:
            reasons = [r["reason"] for r in csv.DictReader(file)]
        self.assertEqual(len(rows), len(reasons))
        return [(row, reason) for row, reason in zip(rows, reasons)]

    def test_a_group_moves_into_a_new_table_and_back(self):
        self.native()
        self.drop_later("people")
        run = self.ok("copy", "mine", "theirs", "--source", "db", "--table", "people")
        self.assertIn(f"made table {self.quoted('people')} with a unique index on "
                      f"{self.quoted('email')}\n", run.out)
        self.assertIn("read 4 = added 4 + updated 0 + skipped 0 + rejected 0\n", run.out)
        self.assertEqual(self.ask("select city from people where email = 'anna@example.org'"),
                         "Köln")
        self.assertEqual(self.ask("select count(*) from people where joined is null and age is "
                                  "null and vip is null and seen is null and points = 0"), "1")
        self.assertEqual(self.ask("select age + 1 from people where age = 34"), "35")
        theirs = {r["email"]: r for r in self.ok("show", "theirs", "--json").json}
        self.assertEqual(len(theirs), 4)
        self.assertEqual(self.copy("theirs", "back"), (4, 4, 0, 0, 0))
        self.verify("back")
        self.assertEqual([self.comparable(r) for r in self.rows("back")],
                         [self.comparable(r) for r in self.rows("mine")])
        # Into a group that is there its fields decide what the values are.
        self.ok("create", "again", *FIELDS)
        self.assertEqual(self.copy("theirs", "again"), (4, 4, 0, 0, 0))
        self.assertEqual(self.rows("again"), self.rows("mine"))

    @staticmethod
    def comparable(row):
        """Numbers are the same however many zeros a field shows."""
        return {k: float(v) if isinstance(v, (int, float)) and not isinstance(v, bool) else v
                for k, v in row.items()}

    def test_rows_that_are_there_are_skipped_updated_or_rejected(self):
        self.native()
        self.drop_later("people")
        self.assertEqual(self.into("people"), (4, 4, 0, 0, 0))
        self.assertEqual(self.copy("mine", "theirs"), (4, 0, 0, 4, 0))
        self.ok("set", "mine", "anna@example.org", "city=Bonn", "age=")
        self.ok("set", "mine", "bert@example.org", "email=BERT@example.org", "points=5")
        self.assertEqual(self.copy("mine", "theirs", "--on-duplicate", "update"), (4, 0, 4, 0, 0))
        rows = {r["email"]: r for r in self.ok("show", "theirs", "--json").json}
        self.assertEqual(len(rows), 4)
        self.assertEqual((rows["anna@example.org"]["city"], rows["anna@example.org"]["age"]),
                         ("Bonn", None))
        self.assertEqual(rows["bert@example.org"]["points"], 5, "letter case does not matter")
        self.assertEqual(self.copy("mine", "theirs", "--on-duplicate", "reject", code=FINDINGS),
                         (4, 0, 0, 0, 4))
        self.assertEqual({reason for _, reason in self.rejected()},
                         {"the address is there already"})
        self.assertEqual(self.count("people"), 4)

    def test_a_bad_row_does_not_take_its_batch_with_it(self):
        rows = [[f"p{i:04}@example.org", f"City {i}", str(i), "x"] for i in range(2500)]
        for i in (0, 700, 701, 1999, 2499):
            rows[i][1] = "a city with too long a name"
        rows[1200][2] = "702"
        rows[1300][3] = ""
        self.native(rows=rows, fields=["Email:text(60)", "City:text(30)", "Number:integer",
                                       "Mark:text(1)"])
        self.drop_later("bad")
        self.execute(f"create table bad (email varchar(60), city varchar(12) check "
                     f"(char_length(city) <= 12), number integer unique, mark varchar(1) "
                     "check (mark <> ''))".replace("char_length", self.length))
        self.ok("sql", "add", "theirs", "--source", "db", "--table", "bad")
        self.assertEqual(self.copy("mine", "theirs", code=FINDINGS), (2500, 2493, 0, 0, 7))
        self.assertEqual(self.count("bad"), 2493)
        rejected = {row["Email" if "Email" in row else "EMAIL"]: reason
                    for row, reason in self.rejected()}
        self.assertEqual(set(rejected), {f"p{i:04}@example.org" for i in
                                         (0, 700, 701, 1200, 1300, 1999, 2499)})
        self.assertRegex(rejected["p0700@example.org"], "(?i)too long|city")
        self.assertRegex(rejected["p1200@example.org"], "(?i)unique|duplicate")
        self.assertRegex(rejected["p1300@example.org"], "(?i)constraint")

    def test_values_that_a_column_would_change_are_rejected(self):
        self.native(rows=[["a@b.c", "1.25", "2024-02-29", "2"],
                          ["b@b.c", "1.20", "2024-02-29 13:45:10", "2"],
                          ["c@b.c", "1.20", "2024-02-29", "2.5"],
                          ["d@b.c", "1.20", "2024-02-29", "2"]],
                    fields=["Email:text(60)", "Price:number(8,2)", "Day:datetime",
                            "Pieces:number(5,1)"])
        self.drop_later("strict")
        self.execute("create table strict (email varchar(60), price decimal(8,1), day date, "
                     "pieces integer)")
        self.ok("sql", "add", "theirs", "--source", "db", "--table", "strict")
        expected = [
            'price: "1.25" has more decimals than the column keeps (1)',
            'day: "2024-02-29T13:45:10" has a time of day, which the column does not keep',
            'pieces: "2.5" is no whole number',
        ]
        if self.keeps_any_decimals:
            del expected[0]
        count = len(expected)
        self.assertEqual(self.copy("mine", "theirs", code=FINDINGS), (4, 4 - count, 0, 0, count))
        self.assertEqual([reason for _, reason in self.rejected()], expected)

    def test_a_null_where_none_may_be_is_rejected(self):
        self.native(rows=[["a@b.c", ""], ["d@e.f", "2024-02-29"]],
                    fields=["Email:text(60)", "Day:date"])
        self.drop_later("strict")
        self.execute("create table strict (email varchar(60), day date not null)")
        self.ok("sql", "add", "theirs", "--source", "db", "--table", "strict")
        self.assertEqual(self.copy("mine", "theirs", code=FINDINGS), (2, 1, 0, 0, 1))
        self.assertRegex(self.rejected()[0][1], "(?i)null")

    def test_rows_without_an_address_are_rejected(self):
        self.native()
        self.drop_later("people")
        self.into("people")
        self.execute("update people set email = 'nobody' where email like 'bert%'")
        self.drop_later("other")
        self.assertEqual(self.copy("theirs", "others", "--source", "db", "--table", "other",
                                   code=FINDINGS), (4, 3, 0, 0, 1))
        self.assertEqual(self.rejected("group theirs")[0][1], "the address has no @")

    def test_between_tables_of_one_database(self):
        self.native()
        self.drop_later("people")
        self.into("people")
        self.execute(f"alter table people add photo {self.bytes}")
        self.execute(f"update people set photo = {self.hexadecimal('00ff41')} "
                     "where email like 'anna%'")
        self.drop_later("other")
        self.assertEqual(self.copy("theirs", "others", "--source", "db", "--table", "other"),
                         (4, 4, 0, 0, 0))
        def by_mail(group):
            return sorted(self.ok("show", group, "--json").json, key=lambda r: r["email"])
        self.assertEqual(by_mail("others"), by_mail("theirs"))
        self.assertEqual(self.ask(f"select count(*) from other where photo = "
                                  f"{self.hexadecimal('00ff41')}"), "1")
        # Bytes are hexadecimal digits in a table of ours and bytes again behind it.
        self.assertEqual(self.copy("theirs", "back"), (4, 4, 0, 0, 0))
        self.assertEqual({r["EMAIL"]: r for r in self.rows("back")}["anna@example.org"]["PHOTO"], "00ff41")
        self.execute("delete from other")
        self.assertEqual(self.copy("back", "others"), (4, 4, 0, 0, 0))
        self.assertEqual(self.ask(f"select count(*) from other where photo = "
                                  f"{self.hexadecimal('00ff41')}"), "1")

    def test_moments_have_milliseconds(self):
        moments = ["2024-02-29 13:45:10.123", "1824-02-29 13:45:10.5", "2024-02-29 13:45:10"]
        self.drop_later("fine")
        self.execute(f"create table fine (email varchar(60), seen {self.moment})")
        self.execute("insert into fine values " + ", ".join(
            f"('p{i}@example.org', '{moment}')" for i, moment in enumerate(moments)))
        self.ok("sql", "add", "theirs", "--source", "db", "--table", "fine")
        for table in ("same", "coarse"):
            self.drop_later(table)
        run = self.ok("copy", "theirs", "others", "--source", "db", "--table", "same")
        self.assertNotIn("rounded", run.err)
        expected = [moment.replace(" ", "T") for moment in moments]
        expected[1] += "00"
        self.assertEqual([r["seen"] for r in self.ok("show", "others", "--json").json], expected)
        if self.keeps_any_decimals:
            return  # its driver gives milliseconds, and its columns keep what they are given
        self.execute(f"create table coarse (email varchar(60), seen {self.moment[:-3]}(0))")
        self.ok("sql", "add", "coarse", "--source", "db", "--table", "coarse")
        self.assertEqual(self.copy("theirs", "coarse", code=FINDINGS), (3, 1, 0, 0, 2))
        self.assertEqual([reason for _, reason in self.rejected("group theirs")],
                         [f'seen: "{moment}" has a fraction of a second, which the column does not '
                          "keep" for moment in expected[:2]])
        # What is finer is rounded, and said to be.
        self.execute("update fine set seen = '2024-02-29 13:45:10.123456' where email like 'p0%'")
        for run in (self.ok("copy", "theirs", "others", "--on-duplicate", "update"),
                    self.ok("copy", "theirs", "back")):
            self.assertIn("note: moments of seen were rounded to milliseconds\n", run.err)
        self.assertIn(expected[0], [r["seen"] for r in self.ok("show", "others", "--json").json])
        self.verify("back")

    def test_a_table_is_not_copied_onto_itself(self):
        for name, columns in (("plain", "x integer, y varchar(5)"), ("people", "email varchar(60)")):
            self.drop_later(name)
            self.execute(f"create table {name} ({columns})")
            self.ok("sql", "add", name, "--source", "db", "--table", name)
            self.ok("sql", "add", name + " some", "--source", "db", "--table", name, "--where",
                    columns.split()[0] + " is not null")
        self.execute("insert into plain values (1, 'a'), (2, 'b')")
        self.write("q.sql", "select * from plain where x > 0")
        self.ok("sql", "add", "query", "--source", "db", "--sql", "q.sql")
        for group, target in (("plain", "plain some"), ("plain some", "plain"),
                              ("people", "people some"), ("query", "plain")):
            self.assertIn("cannot be copied onto itself", self.fails(USAGE, "copy", group, target))
        self.assertIn("cannot be copied onto itself", self.fails(
            USAGE, "copy", "plain", "new", "--source", "db", "--table", "plain"))
        self.assertEqual(self.count("plain"), 2)
        # Into another table, also one with a longer name.
        self.drop_later("plain2")
        self.execute("create table plain2 (x integer, y varchar(5))")
        self.assertEqual(self.copy("plain", "other", "--source", "db", "--table", "plain2"),
                         (2, 2, 0, 0, 0))

    def test_an_address_book_moves_into_a_database(self):
        self.write("friends.ldif", "dn: cn=Anna,mail=anna@example.org\nobjectclass: person\n"
                   "cn: Anna Müller\nmail: anna@example.org\n\n"
                   "dn: cn=Bert,mail=bert@example.org\nobjectclass: person\n"
                   "cn: Bert\nmail: bert@example.org\n")
        self.ok("book", "add", "Friends", "--format", "LDIF", "--location",
                self.folder / "friends.ldif")
        self.drop_later("friends")
        self.assertEqual(self.copy("Friends", "theirs", "--source", "db", "--table", "friends"),
                         (2, 2, 0, 0, 0))
        book = {r["Email"]: r for r in self.rows("Friends")}
        rows = {r["Email"]: r for r in self.ok("show", "theirs", "--json").json}
        self.assertEqual(set(rows), {"anna@example.org", "bert@example.org"})
        for mail, row in rows.items():
            self.assertEqual({k: v or None for k, v in row.items()},
                             {k: v or None for k, v in book[mail].items()})
        self.assertEqual(self.copy("Friends", "theirs"), (2, 0, 0, 2, 0))

    def test_names_with_blanks_and_quotes(self):
        self.native()
        table = 'our "people" of `old`'
        self.drop_later(table)
        self.assertEqual(self.into(table, "--map", 'NAME=the "name" of `it`', "--map", "NOTES="),
                         (4, 4, 0, 0, 0))
        rows = self.ok("show", "theirs", "--json").json
        self.assertEqual(rows[0]['the "name" of `it`'], "Anna Ω 😀")
        self.assertNotIn("notes", rows[0])
        self.assertIn("has no column for NAME, NOTES", self.fails(USAGE, "copy", "mine", "theirs"))

    def test_columns_that_count_by_themselves_are_left_alone(self):
        self.native(rows=[["a@b.c", "7"]], fields=["Email:text(60)", "Id:integer"])
        self.drop_later("counted")
        self.execute(f"create table counted (id {self.identity}, email varchar(60))")
        self.ok("sql", "add", "theirs", "--source", "db", "--table", "counted")
        out = self.ok("copy", "mine", "theirs").out
        self.assertIn("the database counts id by itself", out)
        self.assertEqual(self.ask("select id from counted"), "1")

    def test_what_cannot_be_a_target(self):
        self.native()
        self.drop_later("people")
        self.into("people")
        self.write("q.sql", "select * from people")
        self.ok("sql", "add", "query", "--source", "db", "--sql", "q.sql")
        self.assertIn("statement", self.fails(USAGE, "copy", "mine", "query"))
        self.fails(USAGE, "copy", "mine", "theirs", "--source", "db", "--table", "people")
        self.fails(USAGE, "copy", "mine", "new", "--source", "db")
        self.fails(USAGE, "copy", "mine", "new", "--source", "db", "--table", "x", "--dry-run")
        self.execute("drop table people")
        self.assertIn("people", self.fails(UNAVAILABLE, "copy", "mine", "theirs"))

    def many(self, count):
        self.native("many", [[f"p{i:06}@example.org", f"City {i % 100}"] for i in range(count)],
                    ["Email:text(60)", "City:text(30)"])

    def test_an_interrupted_copy_says_what_is_in(self):
        self.drop_later("people")
        for size in (20_000, 80_000, 320_000):
            self.many(size)
            process = self.start("copy", "many", "theirs", "--source", "db", "--table", "people",
                                 "--json")
            while process.poll() is None:
                try:
                    if self.count("people") > 0:
                        break
                except Exception:  # the table is not there yet
                    pass
                time.sleep(0.01)
            if process.poll() is None:
                process.send_signal(signal.SIGINT)
            out, err = process.communicate()
            if process.returncode == INTERRUPTED:
                break
            self.assertEqual(process.returncode, DONE, err)  # it was faster: with more rows, then
            self.ok("delete", "theirs", "--yes")
            self.ok("delete", "many", "--yes")
            self.execute("drop table people")
        self.assertEqual(process.returncode, INTERRUPTED)
        run = harness.Run(type("Ended", (), {"returncode": process.returncode, "stdout": out,
                                             "stderr": err}))
        read, added, _, _, _ = self.account(run)
        self.assertEqual(read, added)
        self.assertLess(added, size)
        self.assertEqual(self.count("people"), added)
        self.assertIn(f"{added} rows were added and are in", run.err)
        # What is in is skipped when it is done again.
        self.assertEqual(self.copy("many", "theirs"), (size, size - added, 0, added, 0))


class ServerCases(CopyCases):
    def test_between_two_databases(self):
        self.native()
        self.drop_later("people")
        self.into("people")
        self.ok("source", "add", "file", f"Driver=SQLite3;Database={self.folder}/shop.db")
        self.assertEqual(self.copy("theirs", "in file", "--source", "file", "--table", "people"),
                         (4, 4, 0, 0, 0))
        self.drop_later("again")
        self.assertEqual(self.copy("in file", "again", "--source", "db", "--table", "again"),
                         (4, 4, 0, 0, 0))
        def by_mail(group):
            return sorted((self.comparable(r) for r in self.ok("show", group, "--json").json),
                          key=lambda r: r["email"])
        self.assertEqual(by_mail("again"), by_mail("theirs"))
        self.assertEqual(self.copy("again", "in file"), (4, 0, 0, 4, 0))

    def copy_over_a_cut_connection(self, reconnect):
        self.many(12_000)
        self.drop_later("people")
        proxy = databases.Proxy(self, cut_after=200_000, reconnect=reconnect)
        self.write("connection", proxy.connection)
        self.ok("source", "add", "cut", "--connection-file", "connection")
        run = self.run_any("copy", "many", "theirs", "--source", "cut", "--table", "people",
                           "--json")
        self.assertEqual(run.code, UNAVAILABLE, run.err)
        self.assertTrue(proxy.was_cut)
        _, added, _, _, _ = self.account(run)
        self.assertIn("the connection broke", run.err)
        self.assertIn(f"{added} rows were added and are in", run.err)
        self.assertGreater(added, 0)
        self.assertLess(added, 12_000)
        return added, self.count("people"), run.err

    def test_a_connection_that_breaks_leaves_whole_batches(self):
        added, count, error = self.copy_over_a_cut_connection(reconnect=False)
        doubt = re.search(r"whether the (\d+) rows that were being written are in cannot be told",
                          error)
        self.assertIn(count, (added, added + int(doubt.group(1))))

    def test_what_became_of_the_last_batch_is_asked_over_a_new_connection(self):
        added, count, error = self.copy_over_a_cut_connection(reconnect=True)
        self.assertEqual(count, added)
        self.assertNotIn("cannot be told", error)


class SqliteTest(CopyCases, databases.Sqlite):
    moment = "timestamp"
    length, bytes, identity = "length", "blob", "integer primary key autoincrement"
    keeps_any_decimals = True

    @staticmethod
    def hexadecimal(digits):
        return f"x'{digits}'"


class PostgresqlTest(ServerCases, databases.Postgresql):
    moment = "timestamp(6)"
    length, bytes, identity = "char_length", "bytea", "serial primary key"

    @staticmethod
    def hexadecimal(digits):
        return f"'\\x{digits}'"

    def test_a_table_in_a_schema(self):
        self.native()
        self.execute("drop schema if exists sales cascade; create schema sales")
        self.addCleanup(self.execute, "drop schema sales cascade")
        self.assertEqual(self.into("sales.people"), (4, 4, 0, 0, 0))
        self.assertEqual(self.ask("select count(*) from sales.people"), "4")
        self.assertEqual(self.ok("count", "theirs").out, "4\n")
        self.assertEqual(self.copy("mine", "theirs"), (4, 0, 0, 4, 0))


class MariadbTest(ServerCases, databases.Mariadb):
    moment = "datetime(6)"
    length, bytes, identity = "char_length", "longblob", "integer auto_increment primary key"

    @staticmethod
    def hexadecimal(digits):
        return f"x'{digits}'"

    def test_nothing_is_cut_where_the_database_would_cut(self):
        self.native(rows=[["a@b.c", "Köln am Rhein"], ["d@e.f", "Bonn"]],
                    fields=["Email:text(60)", "City:text(30)"])
        self.drop_later("short")
        self.execute("create table short (email varchar(60), city varchar(5))")
        self.write("connection", self.connection() + ";InitStmt={set sql_mode = ''}")
        self.ok("source", "add", "lax", "--connection-file", "connection")
        self.ok("sql", "add", "theirs", "--source", "lax", "--table", "short")
        self.assertEqual(self.copy("mine", "theirs", code=FINDINGS), (2, 1, 0, 0, 1))
        self.assertRegex(self.rejected()[0][1], "(?i)too long")


if __name__ == "__main__":
    harness.main()
