"""Counterparts of a plant's links, each a process of its own, for the tests beside this file."""
import pathlib
import socket
import subprocess
import threading
import time


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def answers(port):
    with socket.socket() as probe:
        return probe.connect_ex(("127.0.0.1", port)) == 0


def until(condition, seconds, what):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        result = condition()
        if result:
            return result
        time.sleep(0.01)
    raise AssertionError(f"not within {seconds} s: {what}")


def children(process):
    try:
        return [int(child) for child in pathlib.Path(f"/proc/{process}/task/{process}/children").read_text().split()]
    except OSError:
        return []


def runs(process):
    try:
        return pathlib.Path(f"/proc/{process}/stat").read_text().rpartition(")")[2].split()[0] != "Z"
    except OSError:
        return False


class Process:
    """A process that is told and tells by lines."""
    started = []

    def __init__(self, *arguments, **options):
        self.process = subprocess.Popen([str(each) for each in arguments], stdin=subprocess.PIPE, text=True,
                                        stdout=subprocess.PIPE, start_new_session=True,
                                        **{"stderr": subprocess.DEVNULL, **options})
        self.lines = []
        threading.Thread(target=self.read, daemon=True).start()
        Process.started.append(self)

    def read(self):
        for line in self.process.stdout:
            self.take(line)
            self.lines.append(line.rstrip("\n"))

    def take(self, line):
        pass

    def tell(self, line):
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()

    def line(self, beginning, seconds=10.0):
        return until(lambda: next((line for line in self.lines if line.startswith(beginning)), None), seconds, beginning)

    def kill(self):
        self.process.kill()
        self.process.wait()


class Device(Process):
    def __init__(self, where=None):
        self.where = where or free_port()
        self.written = {}
        super().__init__(pathlib.Path(__file__).parent / "device", self.where)

    def set(self, table, address, *words):
        before = self.lines.count("set")
        self.tell(f"set {table} {address} " + " ".join(map(str, words)))
        until(lambda: self.lines.count("set") > before, 5, "the device obeys")

    def take(self, line):
        when, *words = line.split()
        for i, word in enumerate(words[2:]):
            self.written.setdefault((words[0], int(words[1]) + i), []).append((float(when), int(word)))

    def writes(self, table, address):
        """What a point got so far, each with the time of CLOCK_MONOTONIC."""
        return list(self.written.get((table, address), ()))

    def wrote(self, address, word, since, seconds):
        """The time after `since` at which a holding register got the word."""
        found = until(lambda: [when for when, value in self.writes("holding", address) if value == word and when > since],
                      seconds, f"holding[{address}] = {word}")
        return found[0] - since
