#!/usr/bin/env python3
"""Several processes at one group, and groups that somebody holds for himself."""
import fcntl

import harness
from harness import LOCKED


class SharingTest(harness.CliTest):
    def test_a_table_that_somebody_has_alone_is_locked(self):
        self.ok("create", "g")
        with open(self.table_of("g"), "rb+") as table:
            fcntl.flock(table, fcntl.LOCK_EX)
            for arguments in (["show", "g"], ["add", "g", "a@example.org"], ["count", "g"],
                              ["compact", "g"], ["verify", "g"], ["delete", "g", "--yes"]):
                self.assertRegex(self.fails(LOCKED, *arguments), r"in use")
            self.write("in.csv", "Email\na@example.org\n")
            self.fails(LOCKED, "import", "g", "in.csv")
        self.ok("add", "g", "a@example.org")

    def test_a_table_that_somebody_reads_can_be_changed_but_not_compacted(self):
        self.ok("create", "g")
        with open(self.table_of("g"), "rb+") as table:
            fcntl.flock(table, fcntl.LOCK_SH)
            self.ok("add", "g", "a@example.org")
            self.fails(LOCKED, "compact", "g")
            self.fails(LOCKED, "delete", "g", "--yes")
            # An import that would rather have the group alone goes on beside the reader.
            self.write("in.csv", "Email\n" + "".join(f"u{i}@example.org\n" for i in range(3000)))
            run = self.ok("import", "g", "in.csv", "--json")
            self.assertEqual(self.account(run), (3000, 3000, 0, 0, 0))
        self.assertEqual(self.verify("g")["live"], 3001)

    def test_imports_side_by_side_lose_nothing(self):
        self.write("start.csv", "Email,Who\n" + "".join(
            f"start{i}@example.org,x\n" for i in range(4000)))
        self.ok("import", "g", "start.csv")
        processes = []
        for p in range(4):
            self.write(f"in{p}.csv", "Email,Who\n" + "".join(
                f"p{p}-{i}@example.org,{p}\n" for i in range(700)) + "common@example.org,x\n")
            processes.append(self.start("import", "g", f"in{p}.csv", "--json"))
        added = skipped = 0
        for process in processes:
            out, err = process.communicate(timeout=300)
            self.assertEqual(process.returncode, 0, err)
            account = harness.json.loads(out)
            self.assertEqual(account["read"], 701)
            added += account["added"]
            skipped += account["skipped"]
        self.assertEqual((added, skipped), (4 * 700 + 1, 3))
        self.assertEqual(self.verify("g")["live"], 4000 + added)


if __name__ == "__main__":
    harness.main()
