#!/usr/bin/env python3
"""Address books of every format from end to end: looked at, added, counted, shown, searched, exported
and copied into a group of our own."""
import re
import shutil
import subprocess
import sys

import harness
from harness import DAMAGED, FINDINGS, ROOT, UNAVAILABLE

sys.path.insert(0, str(ROOT / "tests/directory"))
import ranged_server  # noqa: E402  (a directory of a few people)

LDIF = """dn: cn=Ann,mail=ann@x.org
objectclass: person
cn: Ann
mail: ann@x.org

dn: cn=Bob,mail=bob@x.org
objectclass: person
cn: Bob
mail: bob@x.org

dn: cn=Crew
objectclass: groupOfNames
cn: Crew
member: cn=Bob,mail=bob@x.org
member: cn=Zoe,mail=zoe@x.org
"""
MAB = """// <!-- <mdb:mork:z v="1.4"/> -->
< <(a=c)> (80=ns:addrbk:db:row:scope:card:all)(81=ns:addrbk:db:row:scope:list:all)
  (82=ns:addrbk:db:table:kind:pab)(83=DisplayName)(84=PrimaryEmail)(85=ListName)(86=Address1)>
{1:^80 {(k^82:c)(s=9)} [1(^83=Ann)(^84=ann@x.org)][2(^83=Bob)(^84=bob@x.org)]
  [1:^81(^85=Crew)(^86=2)]}
"""
PINE = "a\tAnn\tann@x.org\nb\tBob\tbob@x.org\ncrew\tCrew\t(b,Zoe <zoe@x.org>)\n"
EUDORA = "alias Ann ann@x.org\nalias Bob bob@x.org\nalias Crew Bob,Zoe <zoe@x.org>\n"
OPERA = ("Opera Hotlist version 2.0\n#CONTACT\n\tNAME=Ann\n\tMAIL=ann@x.org\n#FOLDER\n\tNAME=Crew\n"
         "#CONTACT\n\tNAME=Bob\n\tMAIL=bob@x.org\n-\n")


class BookFormatsTest(harness.CliTest):
    def check(self, form, location, people, chosen=None, options=()):
        """The verbs on a book of these people (address or, without one, name), and on a part of it."""
        def person(row):
            return row.get("Email") or row["DisplayName"]

        fields = self.ok("book", "fields", "--format", form, "--location", location, "--json").json
        self.assertIn("DisplayName", [row["field"] for row in fields])
        self.ok("book", "add", form, "--format", form.lower(), "--location", location)
        self.assertEqual(self.ok("count", form).out, f"{len(people)}\n")
        rows = self.rows(form)
        self.assertEqual([person(row) for row in rows], people)
        found = self.ok("find", form, "DisplayName=" + rows[-1]["DisplayName"].upper(),
                        "--json").json
        self.assertIn(people[-1], [person(row) for row in found])
        self.fails(FINDINGS, "find", form, "nobody@nowhere.example")

        self.ok("export", form, f"{form}.csv", "--fields", "DisplayName")
        names = self.read(f"{form}.csv").decode("utf-8-sig").splitlines()
        self.assertEqual(len(names), len(people) + 1)
        # Who has no address that mail can be sent to is kept beside the group, not in it.
        sendable = [row["DisplayName"] for row in rows
                    if re.fullmatch(r"[^@]+@.+", row.get("Email") or "")]
        run = self.ok("copy", form, f"{form} kept", "--json",
                      code=0 if len(sendable) == len(people) else FINDINGS)
        self.assertEqual(self.account(run),
                         (len(people), len(sendable), 0, 0, len(people) - len(sendable)))
        kept = self.rows(f"{form} kept")
        self.assertEqual(sorted(row["DISPLAYNAM"] for row in kept), sorted(sendable))
        self.verify(f"{form} kept")
        if chosen is not None:
            self.ok("book", "edit", form, *options)
            self.assertEqual([person(row) for row in self.rows(form)], chosen)
            self.assertEqual(self.ok("count", form).out, f"{len(chosen)}\n")
            self.assertEqual(len(self.ok("export", form, "-", "--format", "ndjson").lines),
                             len(chosen))

    CREW = ["bob@x.org", "zoe@x.org"]

    def test_ldif(self):
        self.check("LDIF", self.write("b.ldif", LDIF), ["ann@x.org", "bob@x.org"], self.CREW,
                   ("--list", "Crew"))

    def test_the_bat(self):
        self.check("TB", self.write("b.ldif", LDIF), ["ann@x.org", "bob@x.org"], self.CREW,
                   ("--list", "Crew"))
        own = self.write("own.abd", b"\1\2\3")
        self.assertIn("export the address book as LDIF", self.fails(
            DAMAGED, "book", "add", "Own", "--format", "TB", "--location", own))

    def test_mab(self):
        self.check("MAB", self.write("b.mab", MAB), ["ann@x.org", "bob@x.org"], ["bob@x.org"],
                   ("--list", "Crew"))

    def test_pine(self):
        self.check("PINE", self.write(".addressbook", PINE), ["ann@x.org", "bob@x.org"],
                   self.CREW, ("--list", "Crew"))

    def test_eudora(self):
        # The program's folder: its own file and one of more nicknames.
        (self.folder / "eudora/Nickname").mkdir(parents=True)
        self.write("eudora/nndbase.txt", EUDORA)
        self.write("eudora/Nickname/more.txt", "alias Cid cid@x.org\n")
        self.check("EUD", self.folder / "eudora", ["ann@x.org", "bob@x.org", "cid@x.org"],
                   self.CREW, ("--list", "Crew"))

    def test_opera(self):
        self.check("ADR", self.write("contacts.adr", OPERA), ["ann@x.org", "bob@x.org"],
                   ["bob@x.org"], ("--category", "Crew"))

    def test_windows_address_book(self):
        book = ROOT / "fuzz/corpus/book_wab/record"
        self.check("WAB", book, ["ann@x", "bob@x"], ["bob@x", "cid@x"],
                   ("--list", "Crew"))

    def test_palm(self):
        self.check("PALM", ROOT / "fuzz/corpus/book_palm/handheld", ["a@x", "Café"], ["a@x"],
                   ("--category", "Business"))

    def test_outlook(self):
        store = self.sample("addressbooks/PST/javalibpst-dist-list.pst")
        formats = {row["code"]: row for row in self.ok("book", "formats", "--json").json}
        if not formats["PST"]["readable"]:
            self.skipTest(formats["PST"]["reason"])
        lists = self.ok("book", "lists", "--format", "PST", "--location", store, "--json").json
        self.ok("book", "add", "Store", "--format", "PST", "--location", store)
        people = [row.get("Email") or row["DisplayName"] for row in self.rows("Store")]
        self.ok("book", "delete", "Store", "--yes")
        names = [row["name"] for row in lists if row["kind"] == "list"]
        self.check("PST", store, people)
        self.ok("book", "edit", "PST", "--list", names[0])
        self.assertEqual(self.ok("count", "PST").out, f"{lists[0]['contacts']}\n")
        # Another program finds the same messages in the store.
        if not shutil.which("pffexport"):
            self.skipTest("pffexport is unavailable: install the package pff-tools")
        subprocess.run(["pffexport", "-q", "-m", "items", "-t", self.folder / "out", store],
                       check=True, capture_output=True)
        seen = [path.name for path in (self.folder / "out.export").rglob("*.txt")]
        self.assertEqual(seen.count("Contact.txt"), len(people))
        self.assertEqual(seen.count("DistributionList.txt"), len(names))


class DirectoryTest(harness.CliTest):
    def setUp(self):
        super().setUp()
        formats = {row["code"]: row for row in self.ok("book", "formats", "--json").json}
        if not formats["GAL"]["readable"]:
            self.skipTest(formats["GAL"]["reason"])
        server = ranged_server.start()
        self.addCleanup(server.close)
        self.url = f"ldap://127.0.0.1:{server.getsockname()[1]}/dc=small????x-tls=off"
        self.environment.pop("PVGROUP_LDAP_PASSWORD", None)

    def test_verbs(self):
        self.ok("book", "add", "Staff", "--format", "GAL", "--location", self.url)
        self.assertEqual([row["Email"] for row in self.rows("Staff")], ["m7@example.org"])
        self.assertEqual(self.ok("book", "lists", "Staff", "--json").json,
                         [{"kind": "list", "name": "Large", "contacts": 3}])
        self.ok("book", "edit", "Staff", "--list", "Large")
        members = [f"m{i}@example.org" for i in range(3)]
        self.assertEqual([row["Email"] for row in self.rows("Staff")], members)
        self.assertEqual(len(self.ok("find", "Staff", "M1@example.org", "--json").json), 1)
        self.assertEqual(len(self.ok("export", "Staff", "-", "--format", "ndjson").lines), 3)
        self.ok("copy", "Staff", "Kept")
        self.assertEqual([row["EMAIL"] for row in self.rows("Kept")], members)

    def test_a_password_is_asked_for(self):
        url = self.url + ",bindname=cn=me"
        self.assertIn("a password is needed", self.fails(
            UNAVAILABLE, "book", "add", "Staff", "--format", "GAL", "--location", url))
        add = ("book", "add", "Staff", "--format", "GAL", "--location", url)
        code, seen = self.ask(b"Password for ", b"guess\n", *add)
        self.assertNotEqual(code, 0, seen)
        self.assertIn(f"Password for {url}: ", seen)
        self.assertIn("Invalid credentials", seen)
        self.assertNotIn("guess", seen)
        code, seen = self.ask(b"Password for ", ranged_server.PASSWORD.encode() + b"\n", *add)
        self.assertEqual(code, 0, seen)
        self.assertNotIn(ranged_server.PASSWORD, seen)
        # It is not kept: the next run asks again, or is given it in the environment.
        code, seen = self.ask(b"Password for ", ranged_server.PASSWORD.encode() + b"\n",
                              "count", "Staff")
        self.assertEqual(code, 0, seen)
        self.assertTrue(seen.endswith("\r\n1\r\n"), seen)
        self.fails(UNAVAILABLE, "count", "Staff")
        self.environment["PVGROUP_LDAP_PASSWORD"] = ranged_server.PASSWORD
        self.assertEqual(self.ok("count", "Staff").out, "1\n")
        for path in self.data.rglob("*"):
            self.assertNotIn(ranged_server.PASSWORD.encode(), path.read_bytes(), path)


if __name__ == "__main__":
    harness.main()
