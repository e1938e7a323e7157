#!/usr/bin/env python3
"""Groups that are address books: looking for them, adding, reading, changing and deleting them."""
import os
import shutil

import harness
from harness import DAMAGED, FINDINGS, UNAVAILABLE, USAGE

# Three people, a list with another list in it, and a member who has no entry.
LDIF = """version: 1

dn: cn=Ann Miller,mail=ann@example.org
objectClass: person
cn: Ann Miller
givenName: Ann
sn: Miller
mail: ann@example.org
birthyear: 1980
birthmonth: 2
birthday: 29

dn: cn=Bob,mail=bob@example.org
objectClass: person
cn:: QsO2Yg==
mail: bob@example.org
description: likes =formulas

dn: cn=Cid,mail=cid@example.org
objectClass: person
cn: Cid
mail: cid@example.org

dn: cn=Team
objectClass: groupOfNames
cn: Team
member: cn=Ann Miller,mail=ann@example.org
member: cn=Guest,mail=guest@example.org
member: cn=Inner

dn: cn=Inner
objectClass: groupOfNames
cn: Inner
member: cn=Bob,mail=bob@example.org
member: cn=Team
"""

MAB = r"""// <!-- <mdb:mork:z v="1.4"/> -->
< <(a=c)> // (f=iso-8859-1)
  (80=ns:addrbk:db:row:scope:card:all)(81=ns:addrbk:db:table:kind:pab)(82=DisplayName)
  (83=PrimaryEmail)(84=FirstName)>
<(90=Dora)(91=dora@example.org)(92=Emil M$C3$BCller)(93=emil@example.org)>
{1:^80 {(k^81:c)(s=9)}
  [1:^80(^82^90)(^84^90)(^83^91)]
  [2:^80(^82^92)(^83^93)]}
"""

# Folders are categories; the second contact is in none.
ADR = """Opera Hotlist version 2.0
Options: encoding = utf8, version=3

#FOLDER
\tID=10
\tNAME=Friends

#CONTACT
\tID=11
\tNAME=Fay
\tMAIL=fay@example.org

#CONTACT
\tID=12
\tNAME=Gus
\tMAIL=gus@example.org

-

#CONTACT
\tID=13
\tNAME=Hal
\tMAIL=hal@example.org

"""


class BooksTest(harness.CliTest):
    def setUp(self):
        super().setUp()
        self.ldif = self.write("people.ldif", LDIF)
        self.mab = self.write("abook.mab", MAB)

    def add(self, name, *options, location=None, form="LDIF"):
        return self.ok("book", "add", name, "--format", form, "--location", location or self.ldif,
                       *options)

    def addresses(self, group):
        return [row["Email"] for row in self.rows(group)]

    def test_formats(self):
        formats = {row["code"]: row for row in self.ok("book", "formats", "--json").json}
        self.assertEqual(len(formats), 18)
        for code in ("LDIF", "MAB"):
            self.assertIs(formats[code]["readable"], True)
            self.assertIsNone(formats[code]["reason"])
        self.assertIs(formats["NSF"]["readable"], False)
        self.assertTrue(formats["NSF"]["reason"])

    def test_a_book_is_read_in_place(self):
        before = self.ldif.read_bytes()
        identifier = self.add("Friends").out.strip()
        self.assertRegex(identifier, r"\A[0-9A-F]{32}\Z")
        self.assertEqual(self.addresses("Friends"),
                         ["ann@example.org", "bob@example.org", "cid@example.org"])
        self.assertEqual(self.ok("count", "friends").out, "3\n")
        self.assertEqual(self.ok("count", identifier, "--json").json["count"], 3)
        with open(self.ldif, "a", encoding="utf-8") as book:
            book.write("\ndn: cn=New\ncn: New\nmail: new@example.org\n")
        self.assertEqual(self.ok("count", "Friends").out, "4\n")
        self.ldif.write_bytes(before)
        self.assertEqual(self.ok("count", "Friends").out, "3\n")
        listed = self.ok("list", "--json").json
        self.assertEqual([(row["name"], row["kind"]) for row in listed],
                         [("Friends", "address book")])

    def test_values(self):
        self.add("Friends")
        ann, bob, cid = self.rows("Friends")
        self.assertEqual(ann["Birthday"], "1980-02-29")
        self.assertEqual((ann["GivenName"], ann["Surname"], ann["DisplayName"]),
                         ("Ann", "Miller", "Ann Miller"))
        self.assertEqual(bob["DisplayName"], "Böb")
        self.assertIsNone(cid["Birthday"])
        self.assertIn("Categories", ann)

    def test_a_book_of_mork(self):
        self.add("Mozilla", location=self.mab, form="mab")
        self.assertEqual([(r["DisplayName"], r["Email"]) for r in self.rows("Mozilla")],
                         [("Dora", "dora@example.org"), ("Emil Müller", "emil@example.org")])

    def test_categories(self):
        book = self.write("contacts.adr", ADR)
        self.add("All", location=book, form="ADR")
        self.assertEqual([(row["Email"], row["Categories"]) for row in self.rows("All")],
                         [("fay@example.org", "Friends"), ("gus@example.org", "Friends"),
                          ("hal@example.org", None)])
        self.add("Friends", "--category", "Friends", location=book, form="ADR")
        self.assertEqual(self.addresses("Friends"), ["fay@example.org", "gus@example.org"])
        self.assertEqual(self.ok("book", "lists", "Friends", "--json").json,
                         [{"kind": "category", "name": "Friends", "contacts": 2}])
        found = self.ok("find", "All", "Categories=friends", "--json").json
        self.assertEqual(len(found), 2)
        self.ok("book", "edit", "Friends", "--all-categories")
        self.assertEqual(self.ok("count", "Friends").out, "3\n")
        self.fails(USAGE, "book", "edit", "Friends", "--category", "friends")

    def test_members_of_lists(self):
        self.add("Team", "--list", "Team")
        self.assertEqual(self.addresses("Team"),
                         ["ann@example.org", "bob@example.org", "guest@example.org"])
        self.assertEqual(self.rows("Team")[2]["DisplayName"], "Guest")
        self.add("Inner", "--list", "Inner")
        self.assertEqual(self.ok("count", "Inner").out, "3\n", "each list contains the other")
        self.add("Both", "--list", "Team", "--list", "Inner")
        self.assertEqual(self.ok("count", "Both").out, "3\n")

    def test_show_and_its_options(self):
        self.add("Friends")
        rows = self.rows("Friends", "--fields", "Email,DisplayName", "--offset", "1", "--limit", "1")
        self.assertEqual(rows, [{"Email": "bob@example.org", "DisplayName": "Böb"}])
        self.assertIn("there is no field Nonsense",
                      self.fails(USAGE, "show", "Friends", "--fields", "Nonsense"))
        self.assertIn("address book", self.fails(USAGE, "show", "Friends", "--deleted"))

    def test_find(self):
        self.add("Friends")
        for what in ("BOB@example.org", "DisplayName=böb", "Email=bob@example.org"):
            found = self.ok("find", "Friends", what, "--json").json
            self.assertEqual([row["Email"] for row in found], ["bob@example.org"], what)
        self.assertEqual(len(self.ok("find", "Friends", "--prefix", "ann", "--json").json), 1)
        self.fails(FINDINGS, "find", "Friends", "nobody@example.org")

    def test_export(self):
        self.add("Friends")
        self.ok("export", "Friends", "out.csv", "--fields", "Email,Comment,Birthday")
        self.assertEqual(self.read("out.csv").decode("utf-8").splitlines(), [
            "Email,Comment,Birthday", "ann@example.org,,1980-02-29",
            "bob@example.org,likes =formulas,", "cid@example.org,,"])
        lines = self.ok("export", "Friends", "-", "--format", "ndjson").lines
        self.assertEqual(len(lines), 3)

    def test_exported_contacts_can_be_imported(self):
        self.add("Friends", "--list", "Team")
        self.ok("export", "Friends", "out.csv", "--raw")
        self.ok("import", "Copy", "out.csv")
        self.assertEqual([row["EMAIL"] for row in self.rows("Copy")],
                         ["ann@example.org", "bob@example.org", "guest@example.org"])

    def test_verbs_of_tables_say_that_it_is_none(self):
        self.add("Friends")
        for arguments in (("set", "Friends", "ann@example.org", "DisplayName=x"),
                          ("compact", "Friends"), ("verify", "Friends"),
                          ("import", "Friends", "out.csv")):
            self.write("out.csv", "Email\nx@example.org\n")
            run = self.run_any(*arguments)
            self.assertIn(run.code, (USAGE, UNAVAILABLE), arguments)
            self.assertRegex(run.err, r"\Apvgroup: [^\n]+\n\Z")

    def test_fields(self):
        rows = self.ok("book", "fields", "--format", "LDIF", "--location", self.ldif, "--json").json
        fields = {row["field"]: row for row in rows}
        self.assertEqual(fields["Email"]["property"], "0x3003001E")
        self.assertEqual(fields["Email"]["name"], "Email Address")
        self.assertEqual(fields["Email"]["contacts"], 3)
        self.assertEqual(fields["Birthday"]["contacts"], 1)
        self.assertTrue(all(row["column"] for row in rows))
        self.assertFalse(self.data.exists(), "nothing is saved by looking")

    def test_fields_beyond_the_sample_are_marked(self):
        people = "".join(f"dn: cn={n}\ncn: {n}\nmail: p{n}@example.org\n"
                         f"{'title: Dr' if n > 21 else ''}\n\n" for n in range(1, 31))
        book = self.write("many.ldif", people)
        rows = self.ok("book", "fields", "--format", "LDIF", "--location", book, "--json").json
        columns = {row["field"]: (row["contacts"], row["column"]) for row in rows}
        self.assertEqual(columns["Email"], (30, True))
        self.assertEqual(columns["Title"], (9, False))
        self.add("Many", location=book)
        self.assertNotIn("Title", self.rows("Many")[25])

    def test_lists(self):
        arguments = ("--format", "LDIF", "--location", self.ldif, "--json")
        rows = self.ok("book", "lists", *arguments).json
        self.assertEqual([(row["kind"], row["name"], row["contacts"]) for row in rows],
                         [("list", "Team", 3), ("list", "Inner", 3)])
        self.add("Friends")
        self.assertEqual(self.ok("book", "lists", "Friends", "--json").json, rows)
        self.fails(USAGE, "book", "lists")
        self.fails(USAGE, "book", "fields", "--format", "LDIF")

    def test_scan(self):
        home = self.folder / "home"
        (home / ".thunderbird/x.default").mkdir(parents=True)
        shutil.copy(self.mab, home / ".thunderbird/x.default/abook.mab")
        (home / "Downloads").mkdir()
        shutil.copy(self.ldif, home / "Downloads/people.ldif")
        (home / "broken.mab").write_bytes(b"this is no address book")
        self.environment["HOME"] = str(home)
        rows = self.ok("book", "scan", "--json").json
        seen = [(row["format"], os.path.relpath(row["location"], home), row["contacts"],
                 row["lists"]) for row in rows]
        self.assertEqual(seen, [("LDIF", "Downloads/people.ldif", 3, 2),
                                ("MAB", ".thunderbird/x.default/abook.mab", 2, 0),
                                ("MAB", "broken.mab", None, None)])
        self.assertIsNone(rows[0]["note"])
        self.assertIn("broken.mab", rows[2]["note"])
        empty = self.folder / "empty"
        empty.mkdir()
        self.assertIn(str(empty), self.fails(FINDINGS, "book", "scan", empty))

    def test_what_cannot_be_read_is_not_added(self):
        cases = [(("--format", "XYZ", "--location", self.ldif), USAGE, "XYZ"),
                 (("--format", "NSF", "--location", self.ldif), UNAVAILABLE, "NSF"),
                 (("--format", "LDIF", "--location", "none.ldif"), UNAVAILABLE, "none.ldif"),
                 (("--format", "MAB", "--location", self.ldif), DAMAGED, "people.ldif"),
                 (("--format", "LDIF", "--location", self.ldif, "--list", "Nobody"), USAGE,
                  'distribution list "Nobody"; it has Team, Inner'),
                 (("--format", "LDIF", "--location", self.ldif, "--category", "Work"), USAGE,
                  'category "Work"')]
        for options, code, expected in cases:
            self.assertIn(expected, self.fails(code, "book", "add", "Bad", *options), options)
        self.assertEqual(self.ok("list", "--json").json, [])
        self.assertFalse((self.data / "AddrSrc.pvg").exists())

    def test_names_are_given_once(self):
        self.add("Friends")
        self.fails(USAGE, "book", "add", "friends", "--format", "LDIF", "--location", self.ldif)
        self.assertEqual(len(self.ok("book", "list", "--json").json), 1)

    def test_unchecked(self):
        self.add("Later", "--unchecked", "--list", "Whoever", location="later.ldif")
        self.assertEqual(self.ok("book", "list", "--json").json[0]["location"],
                         str(self.folder / "later.ldif"), "kept from the root")
        self.assertIn("later.ldif", self.fails(UNAVAILABLE, "show", "Later"))
        shown = self.ok("book", "show", "Later", "--json", code=FINDINGS).json
        self.assertIsNone(shown["contacts"])
        self.assertIn("later.ldif", shown["notes"][0])

    def test_show_settings(self):
        self.add("Team", "--list", "Team")
        shown = self.ok("book", "show", "Team", "--json").json
        self.assertEqual((shown["format"], shown["location"], shown["categories"], shown["lists"],
                          shown["contacts"]), ("LDIF", str(self.ldif), [], ["Team"], 3))
        self.assertIn("Team", self.ok("book", "show", "Team").out)
        self.ok("import", "Table", self.write("t.csv", "Email\nx@example.org\n"))
        self.assertIn("not an address book", self.fails(USAGE, "book", "show", "Table"))

    def test_edit(self):
        self.add("Friends", "--list", "Team")
        self.ok("book", "edit", "Friends", "--list", "Inner")
        self.assertEqual(self.ok("book", "show", "Friends", "--json").json["lists"], ["Inner"])
        self.ok("book", "edit", "Friends", "--all-lists")
        self.assertEqual(self.ok("count", "Friends").out, "3\n")
        self.ok("book", "edit", "Friends", "--format", "MAB", "--location", self.mab)
        self.assertEqual(self.addresses("Friends"), ["dora@example.org", "emil@example.org"])
        self.fails(USAGE, "book", "edit", "Friends", "--list", "Team")
        self.fails(UNAVAILABLE, "book", "edit", "Friends", "--location", "none.mab")
        self.assertEqual(self.addresses("Friends"), ["dora@example.org", "emil@example.org"])

    def test_delete(self):
        self.add("Friends", "--list", "Team")
        self.add("Others", "--list", "Inner")
        self.fails(USAGE, "book", "delete", "Friends")
        self.ok("book", "delete", "Friends", "--yes")
        self.assertEqual([row["name"] for row in self.ok("book", "list", "--json").json],
                         ["Others"])
        self.assertTrue(self.ldif.exists())
        for file in ("AddrSrc.pvg", "AddrDist.pvg"):
            rows = self.ok("table", "show", self.data / file, "--format", "json").json
            self.assertEqual(len(rows), 1, file)
        self.ok("delete", "Others", "--yes")
        self.assertEqual(self.ok("table", "show", self.data / "AddrSrc.pvg", "--format",
                                 "json").json, [])

    def test_rename(self):
        self.add("Friends")
        self.ok("rename", "Friends", "Pals")
        self.assertEqual(self.ok("count", "Pals").out, "3\n")

    def test_a_damaged_store_is_named(self):
        self.add("Friends")
        (self.data / "AddrSrc.pvg").write_bytes(b"no table")
        self.assertIn("AddrSrc.pvg", self.fails(DAMAGED, "show", "Friends"))
        self.assertIn("AddrSrc.pvg", self.ok("book", "list", code=FINDINGS).err)

    def test_samples(self):
        counts = {"MAB/tb-abLists1.mab": (5, 3), "MAB/tb-empty.mab": (0, 0),
                  "MAB/tb-import.mab": (1, 1), "LDIF/cpan-ldifSample.ldif": (4, 2),
                  "LDIF/tb-export.ldif": (2, 1), "LDIF/turba-import.ldif": (2, 0),
                  "WAB/tb-OutlookExpress.wab": (1, 0), "PALM/p5palm-AddressDB.pdb": (2, 0),
                  "EUD/cpan-EudoraSampleFile.txt": (7, 3), "TB/kcontacts-thebat-emails.ldif": (1, 0),
                  "PINE/cpan-pineSample.addressbook": (5, 2),
                  "ADR/redacted-opera12-contacts.adr": (5, 0)}
        for name, (contacts, lists) in counts.items():
            path = self.sample("addressbooks") / name
            form = name.split("/", maxsplit=1)[0]
            self.add(name, location=path, form=form)
            self.assertEqual(self.ok("count", name).out, f"{contacts}\n", name)
            self.assertEqual(len(self.rows(name)), contacts, name)
            found = self.ok("book", "lists", name, "--json").json
            self.assertEqual(len([row for row in found if row["kind"] == "list"]), lists, name)
        self.add("List1", "--list", "TestList1", form="MAB",
                 location=self.sample("addressbooks/MAB/tb-abLists1.mab"))
        self.assertEqual(self.addresses("List1"),
                         ["test1@invalid.com", "test2@invalid.com", "test3@invalid.com"])


if __name__ == "__main__":
    harness.main()
