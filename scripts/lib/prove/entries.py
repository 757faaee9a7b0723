"""ctest's entries, run one by one: coverage keeps their data apart, and mutants choose among them."""

import dataclasses
import json
import os
import re
import signal
import subprocess
import tempfile
import time

# The machine's own scripts, and what looks at the shipped file instead of running it.
WITHOUT_PRODUCT = re.compile(r"^(build_script|ExecutableTest|Files/HardenedTest)")

# What is kept of an entry's output, in bytes: a broken program may print for ever.
MOST_OUTPUT = 10_000_000


@dataclasses.dataclass
class Entry:
    name: str
    command: list
    environment: dict
    folder: str
    timeout: float


@dataclasses.dataclass
class Outcome:
    passed: bool
    timed_out: bool
    seconds: float
    output: str
    stopped: bool = False

    def failed_cases(self):
        """The names of the GoogleTest cases that failed; none when the program did not get that far."""
        return sorted(set(re.findall(r"^\[  FAILED  \] ([^\s,]+\.[^\s,]+)", self.output, re.MULTILINE)))


def read(context, preset):
    """The entries of the preset's tests, without the slow ones."""
    listing = json.loads(context.require(["ctest", "--preset", preset, "-LE", "slow", "--show-only=json-v1"]))
    return [_entry(test) for test in listing["tests"] if not WITHOUT_PRODUCT.match(test["name"])]


def _entry(test):
    properties = {item["name"]: item["value"] for item in test.get("properties", [])}
    environment = dict(word.split("=", 1) for word in properties.get("ENVIRONMENT", []))
    return Entry(test["name"], test["command"], environment, properties["WORKING_DIRECTORY"],
                 float(properties.get("TIMEOUT", 300)))


def suite(name):
    """The name without the number of the part and without the code page: PurgeQsfTest.3.932."""
    return re.sub(r"(\.\d+)+$", "", name)


def run(entry, timeout, environment, replaced=(), stop=None, prepare=None):
    """Runs an entry until the event `stop` at the latest. `replaced` are pairs of texts that are exchanged in its
    command and its folder; `prepare` is called in the new process."""
    def exchange(word):
        for old, new in replaced:
            word = word.replace(str(old), str(new))
        return word

    begin = time.monotonic()
    with tempfile.TemporaryFile() as output:
        # A pipe, so that lab-exec waits for all output; and no more of it is kept than a file may hold.
        process = subprocess.Popen(
            ["bash", "-c", f'set -o pipefail; "$@" 2>&1 | head -c {MOST_OUTPUT}', "entry", *map(exchange, entry.command)],
            cwd=exchange(entry.folder), stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT,
            start_new_session=True, preexec_fn=prepare, env={**os.environ, **entry.environment, **environment})
        stopped = False
        while process.poll() is None and not stopped:
            stopped = bool(stop and stop.wait(0.1)) or time.monotonic() - begin > timeout
            if not stop:
                time.sleep(0.1)
        if stopped:
            _stop(process)
        output.seek(0)
        text = output.read().decode(errors="replace")
    seconds = time.monotonic() - begin
    return Outcome(process.returncode == 0 and not stopped, stopped and seconds > timeout, seconds, text,
                   stopped and bool(stop) and stop.is_set())


def _stop(process):
    """Ends the entry with what it has started. lab-exec clears its prefix when it is told to end."""
    for sign in (signal.SIGTERM, signal.SIGKILL):
        try:
            os.killpg(process.pid, sign)
            process.wait(timeout=20)
            return
        except (subprocess.TimeoutExpired, ProcessLookupError):
            continue


def file_name(name):
    """A name for a file or folder of the entry's."""
    return re.sub(r"[^A-Za-z0-9._-]", "_", name)
