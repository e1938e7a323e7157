"""What the end-to-end tests share: a data folder of their own and runs of pvgroup in it."""
import json
import os
import pathlib
import pty
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
DONE, FINDINGS, USAGE, UNAVAILABLE, LOCKED, DAMAGED = range(6)
INTERRUPTED = 130


class Run:
    """The outcome of one run."""

    def __init__(self, process):
        self.code = process.returncode
        self.raw = process.stdout
        self.out = process.stdout.decode("utf-8")
        self.err = process.stderr.decode("utf-8")

    @property
    def json(self):
        return json.loads(self.out)

    @property
    def lines(self):
        return self.out.splitlines()


class CliTest(unittest.TestCase):
    def setUp(self):
        self.program = os.environ.get("PVGROUP")
        if not self.program or not os.path.exists(self.program):
            self.fail("PVGROUP must name the pvgroup program")
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="pvgroup-test-"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.data = self.folder / "data"
        self.environment = dict(os.environ, PVGROUP_DATA=str(self.data), TMPDIR=str(self.folder))
        self.environment.pop("PVGROUP_CODEPAGE", None)

    def command(self, *arguments):
        return [self.program, *map(str, arguments)]

    def start(self, *arguments, **options):
        """Starts pvgroup without waiting for it."""
        options.setdefault("stdin", subprocess.DEVNULL)
        return subprocess.Popen(self.command(*arguments), env=self.environment, cwd=self.folder,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, **options)

    def run_any(self, *arguments, stdin=b""):
        """Runs pvgroup, whatever its exit code."""
        return Run(subprocess.run(self.command(*arguments), input=stdin, env=self.environment,
                                  cwd=self.folder, stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE, timeout=300, check=False))

    def ok(self, *arguments, stdin=b"", code=DONE):
        """Runs pvgroup and expects an exit code."""
        run = self.run_any(*arguments, stdin=stdin)
        self.assertEqual(run.code, code, f"{arguments}: {run.out}{run.err}")
        return run

    def fails(self, code, *arguments, stdin=b""):
        """Runs pvgroup and expects it to give up with one line on standard error."""
        run = self.run_any(*arguments, stdin=stdin)
        self.assertEqual(run.code, code, f"{arguments}: {run.out}{run.err}")
        self.assertRegex(run.err, r"\Apvgroup: [^\n]+\n\Z")
        return run.err

    def ask(self, question, answer, *arguments):
        """Runs pvgroup on a terminal, types an answer to its question, returns its exit code and
        what stood there."""
        master, slave = pty.openpty()
        process = subprocess.Popen(self.command(*arguments), env=self.environment,
                                   cwd=self.folder, stdin=slave, stdout=slave, stderr=slave)
        os.close(slave)
        seen = b""
        try:
            while piece := os.read(master, 65536):
                seen += piece
                if answer and question in seen:
                    os.write(master, answer)
                    answer = None
        except OSError:
            pass  # the terminal is closed: it has ended
        os.close(master)
        return process.wait(timeout=60), seen.decode()

    def write(self, name, content):
        path = self.folder / name
        path.write_bytes(content if isinstance(content, bytes) else content.encode("utf-8"))
        return path

    def read(self, name):
        return (self.folder / name).read_bytes()

    def account(self, run):
        """(read, added, updated, skipped, rejected) from a JSON account; they must add up."""
        names = ("read", "added", "updated", "skipped", "rejected")
        numbers = tuple(run.json[name] for name in names)
        self.assertEqual(numbers[0], sum(numbers[1:]))
        return numbers

    def rows(self, group, *arguments):
        """The group's recipients as dictionaries, in address order."""
        return self.ok("show", group, "--json", *arguments).json

    def table_of(self, group):
        return pathlib.Path(self.ok("info", group, "--json").json["data"]["path"])

    def verify(self, group):
        run = self.ok("verify", group, "--json")
        self.assertEqual(run.json["findings"], [])
        return run.json

    def sample(self, name):
        """A file of the sample data, or a skipped test."""
        folder = os.environ.get("PV_SAMPLE_DATA")
        if not folder:
            self.skipTest("PV_SAMPLE_DATA is not set")
        return pathlib.Path(folder) / name


def main():
    unittest.main(verbosity=1, argv=[sys.argv[0], *sys.argv[1:]])
