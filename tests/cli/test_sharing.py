#!/usr/bin/env python3
"""Several processes at one group, and groups that somebody holds for himself."""
import concurrent.futures
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

    def until_free(self, *arguments):
        """Runs pvgroup again while somebody holds what it needs for longer than it waits."""
        for _ in range(20):
            run = self.run_any(*arguments)
            if run.code != LOCKED and "in use" not in run.err:
                break
        self.assertEqual(run.code, 0, f"{arguments}: {run.out}{run.err}")
        return run

    def test_groups_are_made_listed_renamed_and_deleted_side_by_side(self):
        kept = {}

        def work(worker):
            mine = {}

            def expect_mine():
                run = self.until_free("list", "--json")
                listed = [g["id"] for g in run.json]
                self.assertEqual(len(listed), len(set(listed)), run.out)
                names = {g["id"]: g["name"] for g in run.json}
                self.assertEqual({i: names.get(i) for i in mine}, mine)
                recipients = {g["id"]: g["recipients"] for g in run.json}
                self.assertEqual({recipients[i] for i in mine}, {1} if mine else set())

            for i in range(6):
                name = f"{'am'[i % 2]} {worker} {i}"
                run = self.until_free("create", name, "Name:text(20)")
                group = run.out.strip()
                self.until_free("add", group, f"{worker}@example.org")
                mine[group] = name
                expect_mine()
                mine[group] = f"{'zb'[i % 2]} {worker} {i}"
                self.until_free("rename", group, mine[group])
                expect_mine()
                if i % 3 == 0:
                    self.until_free("delete", group, "--yes")
                    del mine[group]
                    expect_mine()
            kept.update(mine)

        with concurrent.futures.ThreadPoolExecutor() as pool:
            for done in [pool.submit(work, worker) for worker in range(4)]:
                done.result()
        self.assertEqual(len(kept), 16)
        listed = self.ok("list", "--json").json
        self.assertEqual({g["id"]: g["name"] for g in listed}, kept)
        names = [g["name"] for g in listed]
        self.assertEqual(names, sorted(names))
        self.assertEqual(len(list(self.data.glob("*.pvg"))), 17)
        self.ok("table", "verify", self.data / "groups.pvg")


if __name__ == "__main__":
    harness.main()
