"""Real databases for the end-to-end tests: SQLite always, others where tools/databases runs them."""
import os
import pathlib
import re
import socket
import sqlite3
import subprocess
import threading

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

    def odbc_ini(self):
        return f"Driver=SQLite3\nDatabase={self.folder}/shop.db\n"

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

    def odbc_ini(self):
        parts = self.parts()
        return (f"Driver={parts['Driver'].strip('{}')}\n{self.server_key}={parts['Server']}\n"
                f"Port={parts['Port']}\nDatabase={parts['Database']}\n"
                f"{self.user_key}={parts['UID']}\nPassword={self.password()}\n")

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
    server_key, user_key = "Servername", "Username"

    def client(self):
        candidates = sorted(pathlib.Path("/usr/lib/postgresql").glob("*/bin/psql"))
        return [str(candidates[-1]), "-q", "-At", "-v", "ON_ERROR_STOP=1", "-f", "-"]


class Mariadb(Server):
    variable = "PV_TEST_MARIADB"
    server_key, user_key = "Server", "User"
    boolean, quote = "tinyint", "`"

    def literal(self, value):
        return super().literal(value).replace("\\", "\\\\") if isinstance(value, str) \
            else super().literal(value)

    def client(self):
        parts = self.parts()
        return ["mariadb", "--no-defaults", "-N", "-B", "-h", parts["Server"], "-P", parts["Port"],
                "-u", parts["UID"], "--default-character-set=utf8mb4", parts["Database"]]


class Proxy:
    """Passes connections on to the server of a test, and cuts one of them after some bytes from the
    client, or at its first request after some bytes to it, or just behind these bytes."""

    def __init__(self, test, cut_after, from_client=True, reconnect=False, at_once=False):
        parts = test.parts()
        self.server = (parts["Server"], int(parts["Port"]))
        self.cut_after = cut_after
        self.from_client = from_client
        self.reconnect = reconnect
        self.at_once = at_once
        self.requests = []  # of each connection: the bytes that had come back at each request
        self.was_cut = False
        self.cut_next = False
        self.listener = socket.create_server(("127.0.0.1", 0))
        port = self.listener.getsockname()[1]
        self.connection = test.connection().replace(f"Port={parts['Port']}", f"Port={port}")
        test.addCleanup(self.close)
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        while True:
            try:
                client, _ = self.listener.accept()
            except OSError:
                return
            threading.Thread(target=self.serve, args=(client,), daemon=True).start()

    def serve(self, client):
        with client:
            if self.was_cut and not self.reconnect:
                return
            with socket.create_connection(self.server) as server:
                passed = {True: 0, False: 0}
                self.requests.append([])
                requests = self.requests[-1]
                back = threading.Thread(target=self.pump,
                                        args=(server, client, False, passed, requests))
                back.start()
                self.pump(client, server, True, passed, requests)
                back.join()

    def pump(self, source, target, from_client, passed, requests):
        counted = from_client == self.from_client
        try:
            while data := source.recv(4096):
                if from_client:
                    requests.append(passed[False])
                passed[from_client] += len(data)
                too_many = passed[from_client] - self.cut_after
                if counted and too_many > 0 and not self.was_cut:
                    if self.at_once:
                        self.was_cut = True
                        target.sendall(data[:len(data) - too_many])
                        break
                    self.cut_next = True
                if self.cut_next and from_client and not self.was_cut:
                    self.was_cut = True
                    break
                target.sendall(data)
        except OSError:
            pass  # the other end was cut
        for end in (source, target):
            try:
                end.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass

    def close(self):
        # Wakes accept() up.
        self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()
