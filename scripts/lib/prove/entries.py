"""ctest's entries, run one by one: coverage keeps their data apart, and mutants choose among them."""

import dataclasses
import json
import os
import re
import signal
import subprocess
import time

# The machine's own scripts, and what looks at the shipped file instead of running it.
WITHOUT_PRODUCT = re.compile(r"^(build_script|ExecutableTest|Files/HardenedTest)")


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


def run(entry, timeout, environment, replaced=(), arguments=()):
    """Runs an entry. `replaced` are pairs of texts that are exchanged in its command and its folder."""
    def exchange(word):
        for old, new in replaced:
            word = word.replace(str(old), str(new))
        return word

    begin = time.monotonic()
    process = subprocess.Popen(
        [*map(exchange, entry.command), *arguments], cwd=exchange(entry.folder), stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace", start_new_session=True,
        env={**os.environ, **entry.environment, **environment})
    timed_out = False
    try:
        output, _ = process.communicate(timeout=timeout)
    except subprocess.TimeoutExpired:
        timed_out = True
        output = _stop(process)
    return Outcome(process.returncode == 0 and not timed_out, timed_out, time.monotonic() - begin, output or "")


def _stop(process):
    """Ends the entry with what it has started. lab-exec clears its prefix when it is told to end."""
    for sign in (signal.SIGTERM, signal.SIGKILL):
        try:
            os.killpg(process.pid, sign)
            return process.communicate(timeout=20)[0]
        except subprocess.TimeoutExpired:
            continue
        except ProcessLookupError:
            break
    return ""


def file_name(name):
    """A name for a file or folder of the entry's."""
    return re.sub(r"[^A-Za-z0-9._-]", "_", name)
