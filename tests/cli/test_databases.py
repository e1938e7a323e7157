#!/usr/bin/env python3
"""Groups on real databases: SQLite always, PostgreSQL and MariaDB where tools/databases runs them."""
import json
import re
import sqlite3

import databases
import harness
from harness import DONE, FINDINGS, UNAVAILABLE, USAGE

PEOPLE = [
    # email, "first name", country, age, balance, joined, vip, note
    ("anna@example.org", "Anna", "DE", 34, "12.50", "2024-02-29", 1, "two\nlines"),
    ("bert@example.org", "O'Brien #2", "AT", 17, "-3.25", "2021-04-01", 0, None),
    ("cora@example.org", "Çora \\ Ω 😀", "DE", None, None, None, None, ""),
    ("dora@example.org", "Dora \"D\"", "01234", 80, "100000.00", "1969-07-20", 1, "x"),
]
COLUMNS = 'email varchar(100), "first name" varchar(60), country varchar(20), age integer, ' \
          'balance decimal(12,2), joined date, vip {boolean}, note {text}'


class DatabaseCases:
    """What holds for every database; the classes below say which."""

    def setUp(self):
        super().setUp()
        self.create("people")

    def create(self, table, rows=PEOPLE):
        columns = COLUMNS.format(boolean=self.boolean, text=self.text).replace('"', self.quote)
        name = self.quoted(table)
        self.drop_later(table)
        self.execute(f"create table {name} ({columns})")
        for row in rows:
            self.execute(f"insert into {name} values (" +
                         ", ".join(self.literal(v) for v in row) + ")")

    def add(self, name, *arguments, table="people", code=DONE):
        return self.ok("sql", "add", name, "--source", "db", "--table", table, *arguments,
                       code=code)

    def mails(self, group):
        return [r["email"][:4] for r in self.ok("show", group, "--json").json]

    def test_the_source_connects(self):
        self.assertEqual(self.ok("source", "test", "db").out, "connected to db\n")

    def test_a_table_is_previewed_shown_counted_and_exported(self):
        out = self.add("all").out
        self.assertIn("select * from", out)
        self.assertIn("anna@example.org", out)
        self.assertIn("4 rows", out)
        self.assertEqual(self.ok("count", "all").out, "4\n")
        rows = self.ok("show", "all", "--json").json
        self.assertEqual([r["email"] for r in rows], [p[0] for p in PEOPLE])
        self.assertEqual([r["first name"] for r in rows], [p[1] for p in PEOPLE])
        self.assertEqual([r["age"] for r in rows], [p[3] for p in PEOPLE])
        self.assertEqual([r["balance"] for r in rows],
                         [None if p[4] is None else float(p[4]) for p in PEOPLE])
        self.assertEqual([r["joined"] for r in rows], [p[5] for p in PEOPLE])
        self.assertEqual([None if r["vip"] is None else int(r["vip"]) for r in rows],
                         [p[6] for p in PEOPLE])
        self.assertEqual([r["note"] for r in rows], [p[7] for p in PEOPLE])
        exported = self.ok("export", "all", "-", "--format", "ndjson").out
        self.assertEqual([json.loads(line) for line in exported.splitlines()], rows)
        self.assertEqual(self.ok("show", "all", "--fields", "AGE,email", "--offset", "1",
                                 "--limit", "1", "--json").json,
                         [{"age": 17, "email": "bert@example.org"}])

    def test_find(self):
        self.add("all")
        found = self.ok("find", "all", "CORA@example.org", "--json").json
        self.assertEqual([r["first name"] for r in found], ["Çora \\ Ω 😀"])
        self.assertEqual(self.mails_of(self.ok("find", "all", "country=de", "--json")),
                         ["anna", "cora"])
        self.assertEqual(self.mails_of(self.ok("find", "all", "--prefix", "b", "--json")), ["bert"])
        self.fails(FINDINGS, "find", "all", "nobody@example.org")

    def test_the_database_answers_find(self):
        if not self.failing:
            self.skipTest("a division by zero is no error there")
        self.write("q.sql", f"select email, country, {self.failing} as fails from people")
        self.ok("sql", "add", "q", "--source", "db", "--sql", "q.sql", "--no-check")
        # Walking meets the row of bert, whose third value cannot be had.
        self.fails(UNAVAILABLE, "show", "q")
        for what in ("Dora@EXAMPLE.org", "country=01234"):
            self.assertEqual(self.mails_of(self.ok("find", "q", what, "--json")), ["dora"])
        self.assertEqual(self.mails_of(self.ok("find", "q", "--prefix", "do", "--json")), ["dora"])
        # Where the database is not to be trusted with the comparison the rows are walked.
        self.write("o.sql", "select email, country from people order by email desc")
        self.ok("sql", "add", "o", "--source", "db", "--sql", "o.sql")
        self.assertEqual(self.mails_of(self.ok("find", "o", "country=de", "--json")),
                         ["cora", "anna"])
        self.add("all")
        self.assertEqual(self.mails_of(self.ok("find", "all", "first name=çORA \\ Ω 😀", "--json")),
                         ["cora"])
        self.assertEqual(self.mails_of(self.ok("find", "all", "age=34", "--json")), ["anna"])
        for what in ("country=%", "country=d_", "country="):
            self.fails(FINDINGS, "find", "all", what)

    @staticmethod
    def mails_of(run):
        return [r["email"][:4] for r in run.json]

    def test_conditions_are_quoted_by_what_their_fields_hold(self):
        cases = {
            "country = 'DE'": ["anna", "cora"],
            "country = DE": ["anna", "cora"],
            "COUNTRY = 01234": ["dora"],
            "age >= 18": ["anna", "dora"],
            "age between 17 and 34 and country <> AT": ["anna"],
            "age is null": ["cora"],
            "country = AT or age > 40": ["bert", "dora"],
            "country in ('AT', 01234)": ["bert", "dora"],
            "email like 'a%'": ["anna"],
            "\"first name\" like Çora%": ["cora"],
            "email not like a%": ["bert", "cora", "dora"],
            "joined >= 2024-01-01": ["anna"],
            "balance < 0": ["bert"],
            "\"first name\" = O'Brien #2": ["bert"],
            "\"first name\" = 'O''Brien #2'": ["bert"],
            "\"first name\" = 'Çora \\ Ω 😀'": None,  # the code page lacks its letters
            "\"first name\" like 'Dora \"D\"' and country = 01234": ["dora"],
        }
        for number, (condition, expected) in enumerate(cases.items()):
            with self.subTest(condition):
                group = f"g{number}"
                if expected is None:
                    self.fails(USAGE, "sql", "add", group, "--source", "db", "--table", "people",
                               "--where", condition)
                    continue
                self.add(group, "--where", condition)
                self.assertEqual(self.mails(group), expected)
                self.assertEqual(self.ok("count", group).out, f"{len(expected)}\n")

    def test_backslashes_are_taken_as_they_are(self):
        self.execute("insert into people (email, country) values ('eva@example.org', '" +
                     ("a\\\\b" if self.quote == "`" else "a\\b") + "')")
        self.add("g", "--where", "country = 'a\\b'")
        self.assertEqual(self.mails("g"), ["eva@"])

    def test_wrong_conditions_save_nothing(self):
        for condition in ("age = many", "nofield = 1", "age = '18 or 1=1'", "age ="):
            self.fails(USAGE, "sql", "add", "g", "--source", "db", "--table", "people", "--where",
                       condition)
        self.assertIn("first name", self.fails(USAGE, "sql", "add", "g", "--source", "db",
                                               "--table", "people", "--where", "frist = 1"))
        self.assertEqual(self.ok("list", "--json").json, [])

    def test_a_condition_cannot_bring_in_another_statement(self):
        for condition in ("country = 'x''; drop table people; --'", "country = x'; drop table x"):
            self.add("g", "--where", condition)
            self.assertEqual(self.mails("g"), [])
            self.ok("sql", "delete", "g", "--yes")
        self.add("all")
        self.assertEqual(self.ok("count", "all").out, "4\n")

    def test_a_missing_table_is_named(self):
        message = self.fails(UNAVAILABLE, "sql", "add", "g", "--source", "db", "--table", "nobody")
        self.assertIn("nobody", message)
        self.add("all")
        self.execute(f"drop table people")
        self.assertIn("people", self.fails(UNAVAILABLE, "show", "all"))
        self.assertIn("people", self.fails(UNAVAILABLE, "count", "all"))

    def test_names_with_blanks_and_quotes(self):
        table = 'our "people" of `old`'
        self.create(table, PEOPLE[:2])
        self.add("odd", "--where", "\"first name\" = Anna", table=table)
        self.assertEqual(self.mails("odd"), ["anna"])
        self.assertEqual(self.ok("count", "odd").out, "1\n")
        self.add("whole", table=table)
        self.assertEqual(self.ok("sql", "show", "whole", "--json").json["table"], table)
        where = self.ok("sql", "show", "odd", "--json").json.get("where")
        if where is not None:  # else the definition is a statement
            self.assertEqual(where, "\"first name\" = 'Anna'")
            self.ok("sql", "edit", "whole", "--where", where)
            self.assertEqual(self.mails("whole"), ["anna"])
        statement = self.ok("sql", "show", "odd", "--json").json["statement"]
        self.write("pasted.sql", statement)
        self.ok("sql", "add", "pasted", "--source", "db", "--sql", "pasted.sql")
        self.assertEqual(self.mails("pasted"), ["anna"])
        self.ok("sql", "edit", "whole", "--where", "age > 20")
        self.assertEqual(self.mails("whole"), ["anna"])
        self.ok("sql", "edit", "whole", "--no-where")
        self.assertEqual(self.mails("whole"), ["anna", "bert"])

    def test_statements(self):
        self.write("q.sql", "select country, email from people\nwhere age > 20 -- grown up\n")
        out = self.ok("sql", "add", "q", "--source", "db", "--sql", "q.sql").out
        self.assertIn("2 rows", out)
        self.assertEqual(self.ok("show", "q", "--json").json,
                         [{"country": "DE", "email": "anna@example.org"},
                          {"country": "01234", "email": "dora@example.org"}])
        self.write("n.sql", "select age, email from people")
        self.ok("sql", "add", "n", "--source", "db", "--sql", "n.sql")
        self.assertEqual(self.ok("count", "n").out, "4\n", "a null is a row too")
        self.write("bad.sql", "select nothing from people where")
        message = self.fails(UNAVAILABLE, "sql", "add", "b", "--source", "db", "--sql", "bad.sql")
        self.assertGreater(len(message), 20)
        self.assertEqual(self.ok("sql", "add", "d", "--source", "db", "--sql", "q.sql",
                                 "--dry-run").code, DONE)
        self.assertEqual({g["name"] for g in self.ok("list", "--json").json}, {"q", "n"})

    def test_export_and_show_agree_with_find_on_many_rows(self):
        self.execute("delete from people")
        for start in range(0, 3000, 500):
            self.execute("insert into people (email, age) values " + ", ".join(
                f"('p{i:05}@example.org', {i})" for i in range(start, start + 500)))
        self.add("all")
        self.assertEqual(self.ok("count", "all").out, "3000\n")
        mails = [json.loads(line)["email"] for line in
                 self.ok("export", "all", "-", "--format", "ndjson").lines]
        self.assertEqual(sorted(mails), [f"p{i:05}@example.org" for i in range(3000)])
        self.assertEqual(self.ok("find", "all", "p02999@example.org", "--json").json[0]["age"],
                         2999)

    def test_copy_into_a_table_of_ours(self):
        self.execute("delete from people where email like 'cora%'")
        self.add("all")
        self.assertEqual(self.account(self.ok("copy", "all", "mine", "--json")), (3, 3, 0, 0, 0))
        rows = self.rows("mine")
        self.assertEqual([r["EMAIL"] for r in rows],
                         ["anna@example.org", "bert@example.org", "dora@example.org"])
        self.assertEqual([r["COUNTRY"] for r in rows], ["DE", "AT", "01234"])
        self.assertEqual([r["AGE"] for r in rows], [34, 17, 80])
        self.assertEqual([r["BALANCE"] for r in rows], [12.5, -3.25, 100000])
        self.assertEqual([r["JOINED"] for r in rows], ["2024-02-29", "2021-04-01", "1969-07-20"])
        self.assertEqual([r["FIRST_NAME"] for r in rows], ["Anna", "O'Brien #2", 'Dora "D"'])
        self.assertEqual(rows[0]["NOTE"], "two\nlines")
        fields = {f["name"]: f["type"] for f in self.ok("info", "mine", "--json").json["fields"]}
        self.assertEqual(fields["COUNTRY"], "C")
        self.assertEqual(self.account(self.ok("copy", "all", "mine", "--json")), (3, 0, 0, 3, 0))
        self.verify("mine")

    def test_nothing_tells_the_password(self):
        self.add("all")
        password = self.password()
        if not password:
            self.skipTest("the database has no password")
        for arguments in (("source", "list"), ("source", "show", "db"), ("sql", "show", "all"),
                          ("info", "all"), ("show", "all"), ("source", "show", "db", "--json")):
            self.assertNotIn(password, self.ok(*arguments).out)
        self.write("connection", re.sub(r"PWD=\{.*\}$", "PWD={wrong-geheim}", self.connection()))
        message = self.fails(UNAVAILABLE, "source", "add", "w", "--connection-file", "connection")
        self.assertNotIn("wrong-geheim", message)

    def test_a_password_from_outside(self):
        password = self.password()
        if not password:
            self.skipTest("the database has no password")
        bare = re.sub(r";PWD=\{.*\}$", "", self.connection())
        self.fails(UNAVAILABLE, "source", "add", "bare", bare)
        self.ok("source", "add", "bare", bare, "--no-check")
        self.fails(UNAVAILABLE, "source", "test", "bare")
        self.environment["PVGROUP_PASSWORD"] = password
        self.ok("source", "test", "bare")
        self.ok("sql", "add", "all", "--source", "bare", "--table", "people")
        self.assertEqual(self.ok("count", "all").out, "4\n")
        del self.environment["PVGROUP_PASSWORD"]
        self.write("secret", password + "\n")
        self.environment["PVGROUP_PASSWORD_FILE"] = str(self.folder / "secret")
        self.assertEqual(self.ok("count", "all").out, "4\n")
        self.assertNotIn("PWD", self.ok("source", "show", "bare").out)

    def test_a_data_source_of_the_odbc_manager(self):
        self.write("odbc.ini", "[pv shop]\n" + self.odbc_ini())
        self.environment["ODBCINI"] = str(self.folder / "odbc.ini")
        # The driver keeps what it read there and is unloaded: no suppression could name that leak.
        options = self.environment.get("ASAN_OPTIONS", "")
        self.environment["ASAN_OPTIONS"] = f"{options}:detect_leaks=0"
        self.fails(UNAVAILABLE, "source", "add", "none", "DSN=nobody")
        self.ok("source", "add", "dsn", "DSN=pv shop")
        self.ok("sql", "add", "all", "--source", "dsn", "--table", "people", "--where", "age > 20")
        self.assertEqual(self.mails("all"), ["anna", "dora"])
        self.assertEqual(self.ok("count", "all").out, "2\n")
        # Its driver is known too: nothing is read ahead, and booleans are booleans.
        self.assertEqual([bool(r["vip"]) for r in self.ok("show", "all", "--json").json],
                         [True, True])

    def test_a_connection_string_in_place_of_a_source(self):
        self.ok("sql", "add", "all", "--source", self.connection_without_password(), "--table",
                "people", code=DONE if not self.password() else UNAVAILABLE)
        if not self.password():
            self.assertEqual([s["name"] for s in self.ok("source", "list", "--json").json], ["db"],
                             "the saved source has the same string")


class ServerCases(DatabaseCases):
    def add_people(self, count):
        for start in range(0, count, 2000):
            self.execute("insert into people (email, age) values " + ", ".join(
                f"('p{i:05}@example.org', {i})" for i in range(start, start + 2000)))

    def show_through(self, proxy):
        """Shows the table over a connection of the proxy."""
        self.write("connection", proxy.connection)
        name = f"cut {proxy.connection.split('Port=')[1].split(';')[0]}"
        self.ok("source", "add", name, "--connection-file", "connection", "--no-check")
        self.ok("sql", "add", name, "--source", name, "--table", "people", "--no-check")
        return self.run_any("show", name, "--csv", "--fields", "email,age")

    def test_a_connection_cut_at_any_moment(self):
        self.add_people(4000)
        proxy = databases.Proxy(self, cut_after=1 << 40)
        whole = self.show_through(proxy)
        self.assertEqual((whole.code, len(whole.lines)), (DONE, 4005))
        answers = max(proxy.requests, key=lambda requests: requests[-1])
        pages = [(first, last) for first, last in zip(answers, answers[1:]) if last - first > 20_000]
        self.assertGreaterEqual(len(pages), 3, answers)
        moments = [1, answers[1] + 1]
        for first, last in (pages[0], pages[2]):
            moments += [first, first + 1, first + 5000, (first + last) // 2, last - 1, last]
        for moment in moments:
            proxy = databases.Proxy(self, cut_after=moment, from_client=False, at_once=True)
            run = self.show_through(proxy)
            self.assertTrue(proxy.was_cut, moment)
            self.assertEqual(run.code, UNAVAILABLE, (moment, run.err))
            self.assertRegex(run.err, r"\Apvgroup: [^\n]+\n\Z")
            self.assertLess(len(run.lines), 4005)

    def test_a_connection_cut_in_the_middle_of_a_walk(self):
        self.add_people(20_000)
        proxy = databases.Proxy(self, cut_after=300_000, from_client=False)
        self.write("connection", proxy.connection)
        self.ok("source", "add", "cut", "--connection-file", "connection")
        self.ok("sql", "add", "all", "--source", "cut", "--table", "people", "--no-check")
        self.fails(UNAVAILABLE, "export", "all", "out.csv")
        self.assertTrue(proxy.was_cut)
        self.assertFalse((self.folder / "out.csv").exists(), "part of a group is no group")


class SqliteTest(DatabaseCases, databases.Sqlite):
    def test_a_file_that_is_cut_in_the_middle_of_a_walk(self):
        with sqlite3.connect(self.folder / "cut.db") as database:
            database.execute("create table people as with recursive n(i) as (select 1 union all "
                             "select i + 1 from n where i < 60000) "
                             "select 'p' || i || '@example.org' as email, hex(zeroblob(60)) from n")
        database.close()
        self.ok("source", "add", "cut", f"Driver=SQLite3;Database={self.folder}/cut.db")
        self.ok("sql", "add", "all", "--source", "cut", "--table", "people")
        process = self.start("show", "all", "--csv")
        process.stdout.readline()  # it waits for its reader now
        with open(self.folder / "cut.db", "r+b") as file:
            file.truncate(1 << 20)
        out, err = process.communicate()
        self.assertEqual(process.returncode, UNAVAILABLE, err)
        self.assertRegex(err.decode(), r"\Apvgroup: [^\n]+\n\Z")
        self.assertLess(out.count(b"\n"), 60_000)

    failing = "case when age = 17 then abs(-9223372036854775807 - 1) end"


class PostgresqlTest(ServerCases, databases.Postgresql):
    failing = "1 / (coalesce(age, 0) - 17)"


class MariadbTest(ServerCases, databases.Mariadb):
    failing = None


if __name__ == "__main__":
    harness.main()
