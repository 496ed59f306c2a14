#!/usr/bin/env python3
"""Runs the tests of build/PRESET with all cases of an executable in one process, and those that need the
simulated device on one device: together.py [--valgrind] PRESET [REGEX]. It takes a part of the time where a
program takes long to start, in an emulator, with a sanitizer or under valgrind. What else there is to run, the scripts,
ctest runs meanwhile.

A case that fails in such company runs again alone. Under valgrind what it has to say is a failure, too, and
the examples and the fuzz targets' seeds run as well, but no script: what that starts runs elsewhere.
"""
import argparse
import concurrent.futures
import glob
import json
import os
import re
import shutil
import subprocess
import sys

FOUND = 99
VALGRIND = ["valgrind", "--quiet", "--vgdb=no", "--fair-sched=yes", f"--error-exitcode={FOUND}",
            "--leak-check=full", "--errors-for-leak-kinds=definite,indirect", "--child-silent-after-fork=yes",
            "--soname-synonyms=somalloc=nouserintercepts"]  # lest it replaces what a test has put there


def start_of_program(words):
    return words.index("--") + 1 if "--" in words else 0


def program(words):
    return os.path.basename(words[start_of_program(words)])


def commands(preset):
    """Each command of the suite that is no script, without its choice of a case, and whether cases can be
    chosen."""
    suite = json.loads(subprocess.check_output(["ctest", "--preset", preset, "--show-only=json-v1"]))
    found = {}
    for test in suite["tests"]:
        command = test["command"]
        options = [word for word in command if word.startswith("--gtest")]
        words = tuple(word for word in command if word not in options)
        if not re.match("bash|confined|python3|ztsim_", program(words)):
            found[words] = bool(options)
    return found


class Runner:
    def __init__(self, results, valgrind):
        self.results = results
        self.valgrind = valgrind

    def run(self, words, options, name):
        """Returns the exit code and what there is to read about it."""
        start = start_of_program(words)
        log = f"{self.results}/{name}"
        under = [*VALGRIND, f"--log-file={log}.%p"] if self.valgrind else []
        ran = subprocess.run(["timeout", "600", *words[:start], *under, *words[start:], *options],
                             stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace",
                             env={**os.environ, **({"ZT_VALGRIND": "1"} if self.valgrind else {})}, check=False)
        findings = "".join(open(part, errors="replace").read() for part in sorted(glob.glob(f"{log}.*")))
        return ran.returncode, ran.stdout + findings

    def check(self, words, is_gtest):
        name = program(words)
        code, text = self.run(words, [], name)
        if code == 1 and is_gtest:
            failed = set(re.findall(r"^\[  FAILED  \] ([\w./]+)(?:,| \(|$)", text, re.MULTILINE))
            for number, case in enumerate(sorted(failed)):
                code, text = self.run(words, [f"--gtest_filter={case}"], f"{name}-{number}")
                if code != 0:
                    break
        return name, code, text

    @staticmethod
    def check_scripts(preset, regex):
        ran = subprocess.run(["ctest", "--preset", preset, "--parallel", "6", "--quiet", "--no-tests=ignore",
                              "--label-exclude", "_test$", "--tests-regex", regex,
                              "--output-log", f"build/{preset}/together/scripts"],
                             stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
        with open(f"build/{preset}/together/scripts") as log:
            return "scripts", ran.returncode, log.read()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("preset")
    parser.add_argument("--valgrind", action="store_true")
    parser.add_argument("regex", nargs="?", default=".")
    options = parser.parse_args()
    logs = f"build/{options.preset}/together"
    shutil.rmtree(logs, ignore_errors=True)
    os.makedirs(logs)
    runner = Runner(logs, options.valgrind)
    chosen = [(words, is_gtest) for words, is_gtest in commands(options.preset).items()
              if (is_gtest or options.valgrind) and re.search(options.regex, program(words))]
    failures = 0
    with concurrent.futures.ThreadPoolExecutor(2 * os.cpu_count()) as pool:  # most of them wait now and then
        results = [pool.submit(runner.check, *one) for one in chosen]
        if not options.valgrind:
            results.insert(0, pool.submit(runner.check_scripts, options.preset, options.regex))
        for result in results:
            name, code, text = result.result()
            if code != 0:
                failures += 1
                print(f"{name}: {'valgrind has findings' if code == FOUND else f'exit code {code}'}\n{text}")
    print(f"{len(chosen)} executables, {failures} failed")
    return 1 if failures or not chosen else 0


os.chdir(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.exit(main())
