#!/usr/bin/env python3
"""Servers of databases that are killed in the middle of walks and of a copy."""
import os
import pathlib
import signal
import subprocess
import time

import databases
import harness
from harness import UNAVAILABLE

ROWS = 20_000
SERVERS = []


def setUpModule():
    """Starts servers of our own, whatever servers other tests share."""
    for name in [n for n in os.environ if n.startswith("PV_TEST_")]:
        del os.environ[name]
    process = subprocess.Popen([harness.ROOT / "tools/databases", "sh", "-c", "env; echo; cat"],
                               stdin=subprocess.PIPE, stdout=subprocess.PIPE)
    SERVERS.append(process)
    while line := process.stdout.readline().decode().strip():
        name, _, value = line.partition("=")
        if name.startswith(("PV_TEST_", "PG")):
            os.environ[name] = value


def tearDownModule():
    for process in SERVERS:
        process.stdin.close()
        process.stdout.close()
        process.wait()


def parent_of(process):
    """The parent of a process by its folder in /proc, or nothing when it has ended."""
    try:
        return int((process / "stat").read_text().rpartition(")")[2].split()[1])
    except OSError:
        return None


class ServerCases:
    def setUp(self):
        super().setUp()
        numbers = ", ".join(f"('p{i:06}@example.org', {i})" for i in range(ROWS))
        self.execute("create table people (email varchar(60), age integer)")
        self.execute(f"insert into people values {numbers}")
        self.ok("sql", "add", "all", "--source", "db", "--table", "people", "--no-check")

    def kill(self):
        """Kills the server with all its processes."""
        server = int(os.environ[self.variable + "_PID"])
        family = [p for p in pathlib.Path("/proc").glob("[0-9]*") if parent_of(p) == server]
        for process in [server, *(int(p.name) for p in family)]:
            try:
                os.kill(process, signal.SIGKILL)
            except ProcessLookupError:
                pass  # it has ended with the others

    def wait_until(self, answer, sql, process):
        while self.ask(sql) != answer:
            self.assertIsNone(process.poll(), "it has ended before")
            time.sleep(0.02)

    def ends_with_an_error(self, process):
        out, err = process.communicate()
        self.assertEqual(process.returncode, UNAVAILABLE, err)
        self.assertRegex(err.decode(), r"\Apvgroup: [^\n]+\n\Z")
        return out, err.decode()

    def test_walks_and_a_copy(self):
        # A copy whose second batch waits for an address that somebody else is about to add.
        self.write("many.csv", "Email\n" + "".join(f"c{i:06}@example.org\n" for i in range(9000)))
        self.ok("import", "many", "many.csv")
        self.execute("create table target (email varchar(60) primary key)")
        self.ok("sql", "add", "theirs", "--source", "db", "--table", "target", "--no-check")
        somebody = subprocess.Popen(self.client(), stdin=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                    env=dict(os.environ, MYSQL_PWD=self.password()))
        somebody.stdin.write(b"begin; insert into target values ('c006000@example.org');\n")
        somebody.stdin.flush()
        self.wait_until("1", self.waiting, somebody)
        copy = self.start("copy", "many", "theirs", "--json")
        self.wait_until("4000", "select count(*) from target", copy)
        # Walks that wait for somebody to read what they wrote.
        show = self.start("show", "all", "--csv")
        export = self.start("export", "all", "-", "--format", "ndjson")
        for process in (show, export):
            process.stdout.readline()
        computing = self.start_computing()

        self.kill()
        for process in (show, export):
            out, _ = self.ends_with_an_error(process)
            self.assertLess(out.count(b"\n"), ROWS)
        if computing:
            self.ends_with_an_error(computing)
            self.assertFalse((self.folder / "out.csv").exists(), "part of a group is no group")
        out, err = self.ends_with_an_error(copy)
        self.assertIn("4000 rows were added and are in", err)
        self.assertIn("whether the 4000 rows that were being written are in cannot be told", err)
        self.assertIn(b'"added":4000', out.replace(b" ", b""))
        somebody.communicate()

    def start_computing(self):
        """Starts an export that the server is in the middle of answering."""
        return None


class PostgresqlTest(ServerCases, databases.Postgresql):
    waiting = "select count(*) from pg_stat_activity where state = 'idle in transaction'"

    def start_computing(self):
        self.write("slow.sql", "select email, case when age = 1700 then pg_sleep(3600)::text end "
                               "as slow from people")
        self.ok("sql", "add", "slow", "--source", "db", "--sql", "slow.sql", "--no-check")
        export = self.start("export", "slow", "out.csv")
        self.wait_until("1", "select count(*) from pg_stat_activity where wait_event = 'PgSleep'",
                        export)
        return export


class MariadbTest(ServerCases, databases.Mariadb):
    waiting = "set transaction isolation level read uncommitted; select count(*) from target"


if __name__ == "__main__":
    harness.main()
