"""Private copies of the product in which one source at a time is changed, compiled and linked, without CMake: by the
release build's own commands."""

import contextlib
import filecmp
import json
import os
import pathlib
import re
import resource
import shutil
import subprocess

from .context import Failure

# Programs with the product's objects in them.
UNIT_TESTS = "lab/qrvadmin_unit_tests.exe"
PROGRAMS = (UNIT_TESTS, "bin/qrvadmin.exe", "bin/qrvrun.exe", "lab/cache_client.exe", "lab/database_client.exe",
            "lab/late_line_client.exe")
COPIES = {"bin/qrvadmin.exe": ("lab/qrvadmin.exe", "lab/qsfscan.exe", "bin/qsfscan.exe"),
          "bin/qrvrun.exe": ("lab/qrvrun.exe",)}
BUILD = pathlib.Path("build/release")
# What a program that allocates for ever may take of the machine, in bytes.
MOST_DATA = 2 << 30


def without_symbols(command):
    """They are large, and would make each object another one."""
    return command if " -g0 " in command else command.replace(" -g ", " ")


def limit_data():
    resource.setrlimit(resource.RLIMIT_DATA, (MOST_DATA, MOST_DATA))


class Plan:
    """What the release build knows: how each object is compiled, from which files, and how programs are linked."""

    def __init__(self, context):
        self.root = context.root
        build = context.root / BUILD
        self.compile = {}
        for item in json.loads((build / "compile_commands.json").read_text()):
            target = re.search(r" -o (\S+\.obj) ", item["command"])
            if target:
                self.compile[target[1]] = without_symbols(item["command"])
        self.link = {program: self._link_commands(context, build, program) for program in PROGRAMS}
        linked = {word for commands in self.link.values() for command in commands for word in command.split()}
        self.compile = {target: command for target, command in self.compile.items() if target in linked}
        self.sources = self._sources(context, build)
        self.members = {}  # what the linker took into each program

    def _sources(self, context, build):
        """The project's files that each object is made of."""
        sources, target = {}, None
        for line in context.require(["ninja", "-C", build, "-t", "deps"]).splitlines():
            if not line.startswith(" "):
                target = line.split(":")[0]
            elif target in self.compile:
                path = os.path.normpath(build / line.strip())
                if path.startswith(f"{self.root}/"):
                    sources.setdefault(target, set()).add(os.path.relpath(path, self.root))
        return sources

    def _link_commands(self, context, build, program):
        """The libraries' and the program's commands, without what splits the symbols off."""
        commands = []
        for line in context.require(["ninja", "-C", build, "-t", "commands", program]).splitlines():
            if re.search(r"-ar qc src/|-o " + re.escape(program), line):
                commands.append(line.split(" && cd ")[0].replace(" -g ", " -s ") + " && :")
        return commands

    def objects_of(self, file):
        return sorted(target for target, sources in self.sources.items() if file in sources)

    def programs_with(self, targets):
        names = {target.rsplit("/", 1)[1] for target in targets}
        return [program for program in PROGRAMS if names & self.members[program]]


def is_product(target):
    return target.startswith("src/")


class Workshop:
    """One copy. `base` is the copy that is never changed; its own is none."""

    def __init__(self, context, plan, name, base=None):
        self.context = context
        self.plan = plan
        self.base = base
        self.root = context.build / "mutants.work" / name
        self.build = self.root / BUILD
        self.files = []       # sources, objects and programs that are not the original ones
        self.changed = set()
        self.linked = []
        self._prepare()

    def _prepare(self):
        shutil.rmtree(self.root, ignore_errors=True)
        self.build.mkdir(parents=True)
        shutil.copytree(self.context.root / "src", self.root / "src")
        for folder in ("lab", "tests", "cmake"):
            (self.root / folder).symlink_to(self.context.root / folder)
        release = self.context.root / BUILD
        for source in [*release.glob("*.a"), *release.glob("lib/*.a"), *release.rglob("*.res"),
                       *release.glob("lab/*.*"), *release.glob("lab/stub/*.dll")]:
            if source.is_file():
                self._link_file(source, self.build / source.relative_to(release))
        (self.build / "bin").mkdir(exist_ok=True)
        if self.base:
            for target in self.plan.compile:
                self._link_file(self.base.build / target, self.build / target)
            own = [target for target, command in self.plan.compile.items()
                   if f'"{self.context.root}/' in command.replace("\\", "")]
        else:
            own = list(self.plan.compile)
        for target in own:
            message = self.compile(target)
            if message:
                raise Failure(message)
        for program in PROGRAMS if self.base else ():
            self._take(self.base.build, program)
        self.link(self.plan.programs_with(own) if self.base else PROGRAMS)
        self.original = self.root / "original"
        for program in PROGRAMS:
            self._link_file(self.build / program, self.original / program)

    def _take(self, folder, program):
        for name in (program, *COPIES.get(program, ())):
            self._link_file(folder / program, self.build / name)

    @staticmethod
    def _link_file(source, target):
        target.parent.mkdir(parents=True, exist_ok=True)
        target.unlink(missing_ok=True)
        os.link(source, target)

    def _shell(self, command, **variables):
        command = command.replace(str(self.context.root), str(self.root))
        return subprocess.run(["bash", "-c", command], cwd=self.build, stdin=subprocess.DEVNULL, text=True,
                              capture_output=True, errors="replace", check=False, env={**os.environ, **variables})

    def compile(self, target):
        """Compiles an object; answers what the compiler says when it refuses."""
        path = self.build / target
        path.parent.mkdir(parents=True, exist_ok=True)
        path.unlink(missing_ok=True)
        launcher = "ccache " if not self.base and shutil.which("ccache") else ""
        result = self._shell(launcher + self.plan.compile[target] + " -w")
        return result.stderr or "failed" if result.returncode else ""

    def link(self, programs):
        """Links programs whose objects have changed. Answers what the linker says when it refuses."""
        done = set()
        for program in programs:
            for command in self.plan.link[program]:
                if command in done:
                    continue
                done.add(command)
                target = re.search(r" -o (\S+)|-ar qc (\S+)", command)
                (self.build / (target[1] or target[2])).unlink(missing_ok=True)
                # Said twice, it names what the linker takes from the libraries.
                result = self._shell(command if self.base else command.replace(" -s ", " -s -Wl,-t,-t ", 1))
                if result.returncode:
                    return result.stderr or "failed"
                if not self.base and target[1]:
                    self.plan.members[program] = set(re.findall(r"([^/()\s]+\.obj)\b", result.stdout))
            for copy in COPIES.get(program, ()):
                self._link_file(self.build / program, self.build / copy)
        return ""

    def differs(self, name, folder):
        return not filecmp.cmp(self.build / name, folder / name, shallow=False)

    def change(self, file, text):
        """Compiles what is made of the file with another text. Answers "invalid", "unchanged" or "changed"."""
        self.files.append(file)
        (self.root / file).write_text(text, encoding="utf-8")
        objects = self.plan.objects_of(file)
        product = [target for target in objects if is_product(target)]
        for target in product:
            self.changed.add(target)
            if self.compile(target):
                return "invalid"
        if not any(self.differs(target, self.base.build) for target in product):
            return "unchanged"
        for target in set(objects) - set(product):
            self.changed.add(target)
            if self.compile(target):
                return "invalid"
        return "changed"

    def link_changed(self, wanted):
        """Links those of the wanted programs that the change is in. Answers as `change` does."""
        programs = [program for program in self.plan.programs_with(self.changed) if program in wanted]
        self.linked += programs
        if self.link(programs):
            return "invalid"
        return "changed" if any(self.differs(program, self.original) for program in programs) else "unchanged"

    @contextlib.contextmanager
    def unchanged(self):
        """Has the original programs and sources in their places for a while."""
        changed = self.root / "changed"
        for program in self.linked:
            self._link_file(self.build / program, changed / program)
            self._take(self.original, program)
        texts = {file: (self.root / file).read_bytes() for file in self.files}
        for file in self.files:
            shutil.copyfile(self.context.root / file, self.root / file)
        yield
        for file, text in texts.items():
            (self.root / file).write_bytes(text)
        for program in self.linked:
            self._take(changed, program)

    def restore(self):
        for file in self.files:
            shutil.copyfile(self.context.root / file, self.root / file)
        self.files.clear()
        for target in self.changed:
            self._link_file(self.base.build / target, self.build / target)
        for program in self.linked:
            self._take(self.original, program)
        self.changed.clear()
        self.linked = []
