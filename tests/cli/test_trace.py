#!/usr/bin/env python3
"""pvgroup trace: lines that other programs send to the viewer's socket."""
import os
import re
import signal
import socket
import struct

import harness
from harness import DONE, INTERRUPTED, LOCKED, UNAVAILABLE, USAGE

TITLE = "Parvane :: Trace"


class TraceTest(harness.CliTest):
    def setUp(self):
        super().setUp()
        self.runtime = self.folder / "run"
        self.runtime.mkdir(mode=0o700)
        self.environment["XDG_RUNTIME_DIR"] = str(self.runtime)
        self.sender = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(self.sender.close)

    def viewer(self, *options):
        """A running viewer that listens already."""
        process = self.start("trace", *options)
        self.addCleanup(lambda: process.poll() is None and process.kill())
        self.assertIn(b"waiting for trace lines", process.stderr.readline())
        return process

    def send(self, text, kind=3, size=None):
        size = len(text) if size is None else size
        self.sender.sendto(struct.pack("<II", kind, size) + text, str(self.runtime / TITLE))

    def finish(self, process, code=DONE):
        out, err = process.communicate(timeout=60)
        self.assertEqual(process.returncode, code, out + err)
        return out.decode("utf-8"), err.decode("utf-8")

    def test_lines_are_printed_with_the_time(self):
        process = self.viewer("--lines", 3)
        self.send(b"EOF = False\0")
        self.send("Grüße €".encode("cp1252") + b"\0")
        self.send(b"\0")
        out, _ = self.finish(process)
        lines = out.splitlines()
        self.assertEqual([re.sub(r"^\d\d:\d\d:\d\d ", "<time> ", line) for line in lines],
                         ["<time> EOF = False", "<time> Grüße €", "<time> "])
        self.assertFalse((self.runtime / TITLE).exists(), "the socket is taken down again")

    def test_lines_come_while_it_runs(self):
        process = self.viewer()
        self.send(b"now\0")
        self.assertRegex(process.stdout.readline(), rb"^\d\d:\d\d:\d\d now\n$")
        process.send_signal(signal.SIGINT)
        self.finish(process, INTERRUPTED)
        self.assertFalse((self.runtime / TITLE).exists())

    def test_nothing_sent_can_steer_the_terminal(self):
        process = self.viewer("--lines", 1)
        self.send(b"\x1b[2J\r\n\0")
        out, _ = self.finish(process)
        self.assertTrue(out.endswith(" \\x1B[2J\\r\\n\n"), out)

    def test_other_messages_are_passed_over(self):
        process = self.viewer("--lines", 1)
        self.send(b"another kind\0", kind=4)
        self.send(b"contradiction\0", size=99)
        self.send(b"line\0")
        out, err = self.finish(process)
        self.assertRegex(out, r"\A\d\d:\d\d:\d\d line\n\Z")
        self.assertIn("a message of 22 bytes contradicts itself", err)

    def test_only_one_can_run(self):
        process = self.viewer()
        self.fails(LOCKED, "trace")
        process.send_signal(signal.SIGTERM)
        self.finish(process, INTERRUPTED)
        again = self.viewer("--lines", 1)
        self.send(b"again\0")
        self.finish(again)

    def test_socket_of_a_killed_viewer_is_replaced(self):
        process = self.viewer()
        process.kill()
        process.communicate(timeout=60)
        self.assertTrue((self.runtime / TITLE).exists())
        again = self.viewer("--lines", 1)
        self.send(b"again\0")
        self.finish(again)

    def test_folder_that_others_may_write_to_is_refused(self):
        os.chmod(self.runtime, 0o770)
        self.assertIn("XDG_RUNTIME_DIR", self.fails(UNAVAILABLE, "trace"))

    def test_usage(self):
        self.fails(USAGE, "trace", "--lines", "few")
        self.fails(USAGE, "trace", "customers")


if __name__ == "__main__":
    harness.main()
