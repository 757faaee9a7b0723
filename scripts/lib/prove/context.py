"""What the parts share: where things lie, the options, progress, and what a run leaves for the next."""

import hashlib
import json
import os
import re
import subprocess
import sys
import time


class Failure(Exception):
    """Ends the command with a line; what was done so far is kept."""


class Context:
    """One run of `scripts/prove`."""

    def __init__(self, root, options):
        self.root = root
        self.build = root / "build" / "prove"
        self.options = options
        self._end = time.monotonic() + options.hours * 3600 if options.hours else None
        self.build.mkdir(parents=True, exist_ok=True)

    def step(self, text):
        print(f"==> {time.strftime('%H:%M:%S')} {text}", file=sys.stderr, flush=True)

    def load(self, name, default):
        """The state that an earlier run has saved under the name."""
        try:
            return json.loads((self.build / f"{name}.json").read_text(encoding="utf-8"))
        except FileNotFoundError:
            return default

    def save(self, name, data):
        """Replaces the state whole: a run that is cut off leaves the old one or the new one."""
        path = self.build / f"{name}.json"
        partial = path.with_suffix(f".{os.getpid()}")
        partial.write_text(json.dumps(data, indent=1, ensure_ascii=False) + "\n", encoding="utf-8")
        partial.replace(path)

    def deadline_over(self):
        """Whether --hours are over: a part then stops at its next case."""
        return self._end is not None and time.monotonic() >= self._end

    def run(self, command, **settings):
        """Runs a command in the repository without standard input and collects what it prints."""
        settings = {"cwd": self.root, "stdin": subprocess.DEVNULL, "capture_output": True,
                    "text": True, "errors": "replace", **settings}
        return subprocess.run([str(word) for word in command], **settings, check=False)

    def require(self, command, **settings):
        """The same for a command that must not fail."""
        result = self.run(command, **settings)
        if result.returncode:
            raise Failure(f"{' '.join(map(str, command))}: {result.stdout}{result.stderr}")
        return result.stdout

    def git(self, *words):
        return self.require(["git", *words]).strip()

    def commit(self):
        return self.git("rev-parse", "--short=12", "HEAD")

    def state_of(self, *paths):
        """Names the present content of folders and patterns of files; figures of another one are out of date."""
        return hashlib.sha256(self.git("ls-files", "--stage", "--", *paths).encode()).hexdigest()[:12]

    def version(self):
        text = (self.root / "CMakeLists.txt").read_text(encoding="utf-8")
        return re.search(r"^project\(qrvadmin VERSION (\S+)", text, re.MULTILINE)[1]
