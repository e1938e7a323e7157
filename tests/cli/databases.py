"""Real databases for the end-to-end tests: SQLite always, others where tools/databases runs them."""
import os
import pathlib
import re
import sqlite3
import subprocess

import harness


class Database(harness.CliTest):
    """A saved source "db"; the classes below say of what."""
    boolean, text, quote = "boolean", "text", '"'

    def setUp(self):
        super().setUp()
        # PostgreSQL's library would take them for what a connection string leaves out.
        for name in [n for n in self.environment if n.startswith("PG")]:
            del self.environment[name]
        self.write("connection", self.connection())
        provider = pathlib.Path(self.program).parent.parent / "providers/libpv-adodb.so"
        if not provider.exists() and "PVGROUP_PROVIDERS" not in self.environment:
            self.skipTest("the provider of databases was not built")
        self.ok("source", "add", "db", "--connection-file", "connection")

    def quoted(self, name):
        return self.quote + name.replace(self.quote, 2 * self.quote) + self.quote

    def drop_later(self, table):
        """Takes a table away that an earlier test left, and at the end."""
        self.execute(f"drop table if exists {self.quoted(table)}")
        self.addCleanup(self.execute, f"drop table if exists {self.quoted(table)}")

    def literal(self, value):
        if value is None:
            return "null"
        if isinstance(value, int):
            return {0: "false", 1: "true"}.get(value, str(value)) if self.boolean == "boolean" \
                else str(value)
        return "'" + value.replace("'", "''") + "'"

    def count(self, table):
        return int(self.ask(f"select count(*) from {self.quoted(table)}"))

    def connection_without_password(self):
        return re.sub(r";PWD=\{.*\}$", "", self.connection())


class Sqlite(Database):
    def connection(self):
        return f"Driver=SQLite3;Database={self.folder}/shop.db"

    def password(self):
        return ""

    def execute(self, sql):
        with sqlite3.connect(self.folder / "shop.db", timeout=60) as database:
            database.execute(sql)
        database.close()

    def ask(self, sql):
        """The first value of the first row, as text."""
        database = sqlite3.connect(self.folder / "shop.db", timeout=60)
        row = database.execute(sql).fetchone()
        database.close()
        return str(row[0])


class Server(Database):
    def setUp(self):
        if not os.environ.get(self.variable):
            self.skipTest(self.variable + " is not set")
        super().setUp()

    def connection(self):
        return os.environ[self.variable]

    def password(self):
        written = re.search(r"PWD=\{(.*)\}$", self.connection()).group(1)
        return written.replace("}}", "}")

    def parts(self):
        """The connection string without its password, as a dictionary."""
        return dict(part.split("=", 1) for part in self.connection().split(";PWD=")[0].split(";"))

    def execute(self, sql):
        self.run_client(sql)

    def ask(self, sql):
        return self.run_client(sql).split("\n")[0]

    def run_client(self, sql):
        return subprocess.run(self.client(), input=sql.encode(), check=True,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              env=dict(os.environ, MYSQL_PWD=self.password())).stdout.decode()


class Postgresql(Server):
    variable = "PV_TEST_POSTGRESQL"

    def client(self):
        candidates = sorted(pathlib.Path("/usr/lib/postgresql").glob("*/bin/psql"))
        return [str(candidates[-1]), "-q", "-At", "-v", "ON_ERROR_STOP=1", "-f", "-"]


class Mariadb(Server):
    variable = "PV_TEST_MARIADB"
    boolean, quote = "tinyint", "`"

    def literal(self, value):
        return super().literal(value).replace("\\", "\\\\") if isinstance(value, str) \
            else super().literal(value)

    def client(self):
        parts = self.parts()
        return ["mariadb", "--no-defaults", "-N", "-B", "-h", parts["Server"], "-P", parts["Port"],
                "-u", parts["UID"], "--default-character-set=utf8mb4", parts["Database"]]
