"""What the suites on Windows share: the runtime that programs run in, and paths as they see them."""
import pathlib
import struct
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent

NOT_HERE = 77  # what a suite ends with that cannot run here


def windows(path):
    """The path of a file of ours as Windows programs see it."""
    return "Z:" + str(path).replace("/", "\\")


def is_x64(library):
    """Whether a program or library is for 64 bits."""
    data = pathlib.Path(library).read_bytes()
    header = struct.unpack_from("<I", data, 0x3C)[0]
    return struct.unpack_from("<4sH", data, header) == (b"PE\0\0", 0x8664)


class Runtime:
    """A Windows of 32 bits, or one of 64 bits that runs programs of both."""

    def __init__(self, x64=False):
        self.command = [str(ROOT / "tools" / "wine-runtime")] + ["--x64"] * x64

    def missing(self):
        """Why it cannot be had, and the exit status that says so; None when it is there."""
        found = subprocess.run(self.command + ["check"], capture_output=True, text=True,
                               check=False)
        if found.returncode == 0:
            return None
        why = "Windows runtime unavailable: " + found.stderr.strip()
        return why, NOT_HERE if found.returncode == NOT_HERE else 1

    def start(self, folder, command):
        """Starts a shell command that may call wine and use the files of the folder."""
        return subprocess.Popen(self.command + ["run", f"{folder}/prefix", str(folder), command],
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                                errors="replace")

    def run(self, folder, command):
        process = self.start(folder, command)
        out, err = process.communicate()
        return process.returncode, out.replace("\r\n", "\n"), err
