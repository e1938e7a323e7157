#!/usr/bin/env python3
"""Data sources and definitions of groups on databases, without a database."""
import os
import unittest

import harness
from harness import DONE, FINDINGS, LOCKED, UNAVAILABLE, USAGE

NOWHERE = "Driver={No such driver};Server=nowhere"


class SourcesTest(harness.CliTest):
    def add(self, name, connection=NOWHERE, *arguments):
        return self.ok("source", "add", name, connection, "--no-check", *arguments).out.strip()

    def test_a_source_is_saved_listed_shown_and_deleted(self):
        identifier = self.add("Shop")
        self.assertRegex(identifier, r"\A[0-9A-F]{32}\Z")
        self.assertEqual(self.ok("source", "list", "--json").json,
                         [{"name": "Shop", "groups": 0, "connection": NOWHERE,
                           "id": identifier}])
        for name in ("Shop", "shop", identifier, identifier.lower()):
            shown = self.ok("source", "show", name, "--json").json
            self.assertEqual(shown["connection"], NOWHERE)
            self.assertEqual((shown["cursor"], shown["lock"], shown["location"]),
                             ("dynamic", "read-only", "server"))
        self.assertIn("--yes", self.fails(USAGE, "source", "delete", "shop"))
        self.ok("source", "delete", "shop", "--yes")
        self.assertEqual(self.ok("source", "list", "--json").json, [])
        self.fails(UNAVAILABLE, "source", "show", "shop")

    def test_options_for_programs(self):
        self.add("s", NOWHERE, "--cursor", "static", "--lock", "optimistic",
                 "--location", "client")
        shown = self.ok("source", "show", "s", "--json").json
        self.assertEqual((shown["cursor"], shown["lock"], shown["location"]),
                         ("static", "optimistic", "client"))
        self.fails(USAGE, "source", "add", "t", NOWHERE, "--cursor", "odd")

    def test_names_are_unique(self):
        self.add("Shop")
        self.fails(USAGE, "source", "add", "shop", NOWHERE, "--no-check")
        self.fails(USAGE, "source", "add", "  ", NOWHERE, "--no-check")

    def test_what_is_no_connection_string_is_refused(self):
        self.fails(USAGE, "source", "add", "s", "shop", "--no-check")
        self.fails(USAGE, "source", "add", "s", "--no-check")

    def test_a_password_on_the_command_line_is_refused(self):
        for connection in ("Driver={X};PWD=geheim", "Password = {geheim};Driver={X}"):
            for arguments in (("source", "add", "s", connection, "--no-check"),
                              ("sql", "add", "g", "--source", connection, "--table", "t",
                               "--no-check")):
                message = self.fails(USAGE, *arguments)
                self.assertIn("--password-from", message)
                self.assertNotIn("geheim", message)
        self.assertEqual(self.ok("source", "list", "--json").json, [])

    def passwords_nowhere(self, run):
        self.assertNotIn("geheim", run.out + run.err)

    def test_passwords_come_from_file_environment_or_connection_file_and_are_never_shown(self):
        self.write("secret", "ge}heim;1\nsecond line\n")
        self.environment["SHOP_PASSWORD"] = "geheim2"
        self.write("connection", "Driver={No such driver};UID=me;PWD=geheim3\n")
        runs = [
            self.ok("source", "add", "a", NOWHERE, "--no-check", "--password-from", "secret"),
            self.ok("source", "add", "b", NOWHERE, "--no-check", "--password-from",
                    "env:SHOP_PASSWORD"),
            self.ok("source", "add", "c", "--no-check", "--connection-file", "connection")]
        for name in "abc":
            self.assertIn("PWD=***", self.ok("source", "show", name).out)
            runs.append(self.ok("source", "show", name, "--json"))
            runs.append(self.run_any("source", "test", name))
            self.assertEqual(runs[-1].code, UNAVAILABLE)
        runs.append(self.ok("source", "list"))
        for run in runs:
            self.passwords_nowhere(run)
            self.assertNotIn("ge}heim", run.out + run.err)
        stored = b"".join(path.read_bytes() for path in self.data.iterdir())
        self.assertIn(b"PWD={ge}}heim;1}", stored)
        self.assertIn(b"PWD={geheim2}", stored)
        self.assertIn(b"PWD=geheim3", stored)

    def test_a_password_that_is_not_there_is_an_error(self):
        self.fails(USAGE, "source", "add", "s", NOWHERE, "--no-check", "--password-from", "env:NO")
        self.fails(UNAVAILABLE, "source", "add", "s", NOWHERE, "--no-check", "--password-from",
                   "no-file")
        self.fails(USAGE, "source", "add", "s", NOWHERE, "--no-check", "--password-from", "prompt")
        self.assertEqual(self.ok("source", "list", "--json").json, [])

    def test_a_password_is_asked_for_on_a_terminal(self):
        add = ("source", "add", "s", NOWHERE, "--password-from", "prompt")
        code, seen = self.ask(b"Password: ", b"geheim4\n", *add)
        self.assertEqual(code, UNAVAILABLE, seen)  # it was tried: there is no such driver
        self.assertNotIn("geheim", seen)
        self.assertEqual(self.ok("source", "list", "--json").json, [])
        code, seen = self.ask(b"Password: ", b"ge}heim 5\n", *add, "--no-check")
        self.assertEqual(code, DONE, seen)
        self.assertTrue(seen.startswith("Password: "), seen)
        self.assertNotIn("heim", seen)
        self.assertIn("PWD=***", self.ok("source", "show", "s").out)
        stored = b"".join(path.read_bytes() for path in self.data.iterdir())
        self.assertIn(b"PWD={ge}}heim 5}", stored)

    def test_files_of_sources_are_private(self):
        self.add("Shop")
        for path in self.data.iterdir():
            self.assertEqual(path.stat().st_mode & 0o077, 0, path)

    def test_a_source_that_cannot_be_reached_is_not_saved(self):
        self.fails(UNAVAILABLE, "source", "add", "s", NOWHERE)
        self.fails(UNAVAILABLE, "sql", "add", "g", "--source", NOWHERE, "--table", "t")
        self.assertEqual(self.ok("source", "list", "--json").json, [])
        self.assertEqual(self.ok("list", "--json").json, [])

    def test_a_definition_is_saved_shown_renamed_and_deleted(self):
        self.add("Shop")
        run = self.ok("sql", "add", "Customers", "--source", "shop", "--table", "people",
                      "--no-check")
        self.assertRegex(run.out, r"\Asaved as [0-9A-F]{32}\n\Z")
        shown = self.ok("sql", "show", "customers", "--json").json
        self.assertEqual((shown["source"], shown["table"], shown["where"], shown["statement"]),
                         ("Shop", "people", "", "select * from people"))
        self.assertEqual(self.ok("info", "customers", "--json").json, shown)
        listed = self.ok("list", "--json").json
        self.assertEqual([(g["name"], g["kind"], g["recipients"]) for g in listed],
                         [("Customers", "database", None)])
        self.ok("rename", "customers", "Clients")
        self.fails(LOCKED, "source", "delete", "shop", "--yes")
        self.assertEqual(self.ok("source", "show", "shop", "--json").json["groups"], "Clients")
        self.assertIn("database stays", self.fails(USAGE, "delete", "clients"))
        self.ok("delete", "clients", "--yes")
        self.assertEqual(list(self.data.glob("GroupADO*.ini")), [])
        self.ok("source", "delete", "shop", "--yes")

    def test_a_connection_string_is_saved_once_as_a_source(self):
        for name in ("one", "two"):
            self.ok("sql", "add", name, "--source", NOWHERE, "--table", "people", "--no-check")
        self.assertEqual([(s["name"], s["groups"]) for s in
                          self.ok("source", "list", "--json").json], [("one", 2)])
        self.ok("sql", "delete", "one", "--yes")
        self.ok("sql", "show", "two")

    def test_statements(self):
        self.add("Shop")
        self.write("q.sql", "\ufeffselect mail, name\nfrom people\nwhere city = 'Köln';\n")
        self.ok("sql", "add", "q", "--source", "shop", "--sql", "q.sql", "--no-check")
        self.assertEqual(self.ok("sql", "show", "q", "--json").json["statement"],
                         "select mail, name\nfrom people\nwhere city = 'Köln'")
        self.ok("sql", "edit", "q", "--sql", "-", "--no-check", stdin=b"select 1 as mail")
        self.assertEqual(self.ok("sql", "show", "q", "--json").json["statement"],
                         "select 1 as mail")
        self.ok("sql", "edit", "q", "--table", "people", "--no-check")
        self.assertEqual(self.ok("sql", "show", "q", "--json").json["statement"],
                         "select * from people")
        self.write("empty.sql", " ;\n")
        self.fails(USAGE, "sql", "edit", "q", "--sql", "empty.sql", "--no-check")

    def test_a_statement_that_the_code_page_lacks_letters_for_is_refused(self):
        self.add("Shop")
        self.write("q.sql", "select * from people where city = 'Łódź'")
        self.fails(USAGE, "sql", "add", "q", "--source", "shop", "--sql", "q.sql", "--no-check")
        self.assertEqual(self.ok("list", "--json").json, [])

    def test_edit_moves_a_group_to_another_source(self):
        self.add("a")
        self.add("b", "Driver={Other}")
        self.ok("sql", "add", "g", "--source", "a", "--table", "people", "--no-check")
        self.ok("sql", "edit", "g", "--source", "b", "--no-check")
        self.assertEqual(self.ok("sql", "show", "g", "--json").json["source"], "b")
        self.ok("source", "delete", "a", "--yes")
        self.fails(USAGE, "sql", "edit", "g")

    def test_what_does_not_go_together_is_refused(self):
        self.add("a")
        self.write("q.sql", "select 1")
        base = ("sql", "add", "g", "--source", "a", "--no-check")
        self.fails(USAGE, *base)
        self.fails(USAGE, *base, "--table", "t", "--sql", "q.sql")
        self.fails(USAGE, *base, "--sql", "q.sql", "--where", "a = 1")
        self.fails(UNAVAILABLE, "sql", "add", "g", "--source", "nobody", "--table", "t")
        self.ok("create", "native")
        self.fails(USAGE, "sql", "add", "Native", "--source", "a", "--table", "t", "--no-check")
        self.fails(USAGE, "sql", "show", "native")
        self.fails(USAGE, "sql", "delete", "native", "--yes")

    def test_verbs_about_tables_of_ours_refuse_a_query(self):
        self.add("a")
        self.ok("sql", "add", "g", "--source", "a", "--table", "t", "--no-check")
        self.fails(UNAVAILABLE, "add", "g", "a@example.org")
        self.fails(UNAVAILABLE, "verify", "g")
        self.fails(UNAVAILABLE, "compact", "g")
        self.fails(USAGE, "show", "g", "--deleted")

    def test_without_a_provider_opening_says_so(self):
        self.add("a")
        self.ok("sql", "add", "g", "--source", "a", "--table", "t", "--no-check")
        os.mkdir(self.folder / "none")
        self.environment["PVGROUP_PROVIDERS"] = str(self.folder / "none")
        for verb in (("show", "g"), ("count", "g"), ("export", "g"), ("source", "test", "a")):
            self.assertIn("ADODB", self.fails(UNAVAILABLE, *verb))


class CopyTest(harness.CliTest):
    def test_a_table_of_ours_is_copied_with_its_fields(self):
        self.ok("create", "a", "Name:text(30)", "Zip:text(5)", "Born:date", "Seen:datetime",
                "Money:currency", "N:number(8,2)", "I:integer", "D:double", "Yes:logical",
                "Note:memo")
        self.ok("add", "a", "a@example.org", "Name=Ann, \"A\" Ä", "Zip=01234", "Born=2024-02-29",
                "Seen=2024-02-29T13:45:10", "Money=12.3456", "N=-5.25", "I=-7", "D=0.1", "Yes=yes",
                "Note=two\nlines")
        self.ok("add", "a", "b@example.org")
        self.ok("add", "a", "gone@example.org")
        self.ok("remove", "a", "gone@example.org")
        self.assertEqual(self.account(self.ok("copy", "a", "b", "--json")), (2, 2, 0, 0, 0))
        self.assertEqual(self.rows("b"), self.rows("a"))
        shape = [(f["name"], f["type"]) for f in self.ok("info", "a", "--json").json["fields"]]
        self.assertEqual([(f["name"], f["type"]) for f in
                          self.ok("info", "b", "--json").json["fields"]], shape)
        self.verify("b")

    def test_into_a_group_that_is_there(self):
        self.ok("create", "a", "Name:text(30)")
        self.ok("create", "b", "Name:text(5)")
        self.ok("add", "a", "a@example.org", "Name=Ann")
        self.ok("add", "a", "b@example.org", "Name=Bartholomew")
        self.ok("add", "a", "c@example.org", "Name=Carl")
        self.ok("add", "b", "C@example.org", "Name=old")
        run = self.ok("copy", "a", "b", "--json", code=FINDINGS)
        self.assertEqual(self.account(run), (3, 1, 0, 1, 1))
        rejected = self.read("group a.rejected.csv").decode()
        self.assertIn("Bartholomew", rejected)
        self.assertIn("NAME: the text has 11 bytes", self.read("group a.rejected.reasons.csv")
                      .decode())
        self.write("group a.rejected.csv", rejected.replace("Bartholomew", "Bart"))
        self.ok("import", "b", "group a.rejected.csv")
        self.assertEqual([r["NAME"] for r in self.rows("b")], ["old", "Ann", "Bart"])
        run = self.ok("copy", "a", "b", "--on-duplicate", "update", "--json", code=FINDINGS)
        self.assertEqual(self.account(run), (3, 0, 2, 0, 1))

    def test_map_renames_and_leaves_out(self):
        self.ok("create", "a", "Name:text(30)", "Note:text(9)")
        self.ok("add", "a", "a@example.org", "Name=Ann", "Note=x")
        self.ok("copy", "a", "b", "--map", "Name=Who", "--map", "NOTE=")
        self.assertEqual(self.rows("b"), [{"EMAIL": "a@example.org", "WHO": "Ann"}])
        self.ok("create", "c")
        self.assertIn("--map", self.fails(USAGE, "copy", "a", "c"))

    def test_dry_run_and_mistakes(self):
        self.ok("create", "a")
        self.ok("add", "a", "a@example.org")
        self.ok("copy", "a", "b", "--dry-run")
        self.fails(UNAVAILABLE, "count", "b")
        self.fails(USAGE, "copy", "a", "A")
        self.fails(UNAVAILABLE, "copy", "nobody", "b")
        self.fails(USAGE, "copy", "a", "b", "--table", "t")
        self.fails(USAGE, "copy", "a", "b", "--source", NOWHERE)

    def test_an_empty_group(self):
        self.ok("create", "a", "Name:text(30)")
        self.assertEqual(self.account(self.ok("copy", "a", "b", "--json")), (0, 0, 0, 0, 0))
        self.assertEqual(self.rows("b"), [])


if __name__ == "__main__":
    harness.main()
