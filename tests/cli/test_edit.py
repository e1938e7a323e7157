#!/usr/bin/env python3
"""Single recipients: showing, finding, adding, changing and removing them."""
import harness
from harness import FINDINGS, USAGE


class EditTest(harness.CliTest):
    def setUp(self):
        super().setUp()
        self.ok("create", "g", "Name:text(10)", "City:text(20)", "Joined:date", "Score:number(6,1)")
        self.ok("add", "g", "bob@example.org", "Name=Bob", "City=Zürich", "Score=1.5")
        self.ok("add", "g", "Email=Ann@Example.org", "Name=Ann", "City=Köln", "Joined=2024-02-29")

    def test_show(self):
        self.assertEqual([r["NAME"] for r in self.rows("g")], ["Ann", "Bob"])
        self.assertEqual([r["NAME"] for r in self.rows("g", "--natural")], ["Bob", "Ann"])
        self.assertEqual(self.rows("g", "--limit", 1, "--offset", 1, "--fields", "city,name"),
                         [{"CITY": "Zürich", "NAME": "Bob"}])
        self.assertEqual(self.ok("show", "g", "--fields", "Name,Score").out,
                         "NAME\tSCORE\nAnn\t\nBob\t1.5\n")
        self.assertEqual(self.ok("show", "g", "--csv", "--fields", "Name,Joined").out,
                         "NAME,JOINED\nAnn,2024-02-29\nBob,\n")
        self.assertIn("NAME", self.fails(USAGE, "show", "g", "--fields", "Nme"))

    def test_show_deleted(self):
        self.ok("remove", "g", "bob@example.org")
        self.assertEqual([r["NAME"] for r in self.rows("g")], ["Ann"])
        self.assertEqual([(r["deleted"], r["NAME"]) for r in self.rows("g", "--deleted")],
                         [(True, "Bob"), (False, "Ann")])

    def test_find(self):
        for address in ("bob@example.org", "BOB@example.org", " bob@example.org "):
            self.assertEqual(self.ok("find", "g", address, "--json").json[0]["NAME"], "Bob")
        self.assertEqual(self.ok("find", "g", "ann@example.org", "--json").json[0]["NAME"], "Ann")
        self.assertEqual(self.ok("find", "g", "City=zürich", "--json").json[0]["NAME"], "Bob")
        self.assertEqual(len(self.ok("find", "g", "--prefix", "AN", "--json").json), 1)
        self.assertEqual(len(self.ok("find", "g", "--prefix", "City=k", "--json").json), 1)
        self.assertEqual(len(self.ok("find", "g", "--prefix", "", "--json").json), 2)
        self.assertEqual(self.ok("find", "g", "x@example.org", "--json", code=FINDINGS).out, "")
        self.assertIn("nothing found", self.fails(FINDINGS, "find", "g", "x@example.org"))
        self.assertEqual(self.ok("find", "g", "City=Rome", "--json", code=FINDINGS).json, [])

    def test_add_refuses(self):
        for arguments in (["bob@example.org"], ["BOB@EXAMPLE.ORG"]):
            self.assertIn("already", self.fails(FINDINGS, "add", "g", *arguments))
        for arguments in (["no-address"], ["Name=x"], ["c@example.org", "Nope=1"],
                          ["c@example.org", "Name=eleven chars"], ["c@example.org", "Score=ten"],
                          ["c@example.org", "Joined=29.2.2024"], ["c@example.org", "plain"],
                          ["c@example.org", "Name=日本"]):
            self.fails(USAGE, "add", "g", *arguments)
        self.assertEqual(self.ok("count", "g").out, "2\n")
        self.verify("g")

    def test_set(self):
        self.ok("set", "g", "ANN@example.org", "City=Bonn", "Joined=", "Score=-7")
        ann = self.rows("g")[0]
        self.assertEqual((ann["CITY"], ann["JOINED"], ann["SCORE"], ann["EMAIL"]),
                         ("Bonn", None, -7.0, "Ann@Example.org"))
        self.ok("set", "g", "ann@example.org", "Email=anna@example.net")
        self.assertEqual(self.ok("find", "g", "anna@example.net", "--json").json[0]["NAME"], "Ann")
        self.fails(FINDINGS, "set", "g", "ann@example.org", "Name=x")
        self.fails(FINDINGS, "set", "g", "anna@example.net", "Email=BOB@example.org")
        self.fails(USAGE, "set", "g", "anna@example.net", "Name=far too long for it")
        self.fails(USAGE, "set", "g", "anna@example.net", "Email=none")
        self.ok("set", "g", "anna@example.net", "Email=ANNA@example.net")
        self.assertEqual(self.rows("g")[0]["EMAIL"], "ANNA@example.net")
        self.verify("g")

    def test_remove(self):
        run = self.ok("remove", "g", "bob@example.org", "nobody@example.org", code=FINDINGS)
        self.assertIn("nobody@example.org", run.err)
        self.assertEqual(self.ok("count", "g").out, "1\n")
        self.ok("add", "g", "bob@example.org", "Name=Again")
        self.assertEqual(self.ok("find", "g", "bob@example.org", "--json").json[0]["NAME"], "Again")
        self.verify("g")


if __name__ == "__main__":
    harness.main()
