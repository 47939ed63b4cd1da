#!/usr/bin/env python3
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

"""scripts/mutate.py: tells how many small faults in the code the tests find.

Faults are made by rule at places that a seed draws, more of them where one does more harm, and in
every room. All of them are compiled into one build of a copy of the tree; PELLORY_FAULT chooses the
one that a run has. First the tests run without a fault and note which places they reach; then each
fault meets the tests that reach its place, the quickest first, until one fails or hangs. A fault
that does not compile is dropped, the next one drawn takes its turn. A run that was interrupted goes on
where it was when it is started again with the same options and tree. Where only the tests have changed
since, every fault is judged anew, but meets the test that found it first."""

import argparse
import concurrent.futures
import contextlib
import hashlib
import json
import os
import pathlib
import random
import re
import resource
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time

from mutation_rules import ROOMS, draw, room_of, with_faults

ROOT = pathlib.Path(__file__).resolve().parent.parent
LIMIT = 60  # seconds for a test
MEMORY = 4 << 30  # bytes, for a fault that takes more and more
HEADER = """#ifndef PELLORY_FAULT_H
#define PELLORY_FAULT_H
#include <cstdlib>
#include <fcntl.h>
#include <sys/mman.h>
// Whether the fault is the chosen one. Marks its place as reached in the file PELLORY_FAULT_MAP.
inline bool pelloryFault(int number)
{
    static const char *const text = std::getenv("PELLORY_FAULT");
    static const int chosen = text ? std::atoi(text) : -1;
    static const char *const path = std::getenv("PELLORY_FAULT_MAP");
    static void *const map = path ? ::mmap(nullptr, 65536, PROT_READ | PROT_WRITE, MAP_SHARED,
                                           ::open(path, O_RDWR | O_CLOEXEC), 0) : MAP_FAILED;
    if (map != MAP_FAILED)
        static_cast<char *>(map)[number] = 1;
    return number == chosen;
}
#endif
"""


def write(path, content):
    path.parent.mkdir(parents=True, exist_ok=True)
    if not path.exists() or path.read_bytes() != content:  # else it would be compiled again
        path.write_bytes(content)


def save(path, state):
    """In one step, so that a run can be ended at any time."""
    path.with_suffix(".new").write_text(json.dumps(state))
    path.with_suffix(".new").replace(path)


def make(tree, made, header, jobs):
    """Builds the tree; what the compiler says, or None."""
    flags = f"-DCMAKE_CXX_FLAGS=-w -include {header}"
    subprocess.run(["cmake", "-S", tree, "-B", made, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release", flags,
                    "-DCMAKE_CXX_FLAGS_RELEASE=-O1 -DNDEBUG", "-DPELLORY_WERROR=OFF"],
                   check=True, stdout=subprocess.DEVNULL)
    built = subprocess.run(["cmake", "--build", made, "--", "-k", "0", f"-j{jobs}"],
                           capture_output=True, text=True)
    return built.stdout if built.returncode else None


def build(contents, faults, folder, jobs, dropped):
    """Builds a copy of the tree with the faults; adds those that do not compile to `dropped`."""
    tree, made = folder / "tree", folder / "build"
    changed = {fault.path for fault in faults}
    for path in contents.keys() - changed:
        write(tree / path, contents[path])
        shutil.copymode(ROOT / path, tree / path)
    for path in tree.rglob("*"):
        if path.is_file() and path.relative_to(tree).as_posix() not in contents:
            path.unlink()
    write(folder / "fault.h", HEADER.encode())
    kept = faults
    while True:
        kept = [fault for fault in kept if fault.id not in dropped]
        for path in changed:
            here = [fault for fault in kept if fault.path == path]
            write(tree / path, with_faults(path, contents[path].decode(), here).encode())
        messages = make(tree, made, folder / "fault.h", jobs)
        if messages is None:
            return
        # Where the compiler says it, or, for a constant that another one needs, its notes. Where no
        # line tells which one it was: all of the file.
        wrong = []
        for kind, is_line in (("error|required from", True), ("note", True), ("error", False)):
            at = {(os.path.relpath(os.path.join(made, name), tree), int(line)) for name, line in re.findall(
                rf"^(\S+?):(\d+):\d+: +(?:fatal )?(?:{kind})", messages, re.MULTILINE)}
            wrong = wrong or [fault for fault in kept if any(
                path == fault.path and (fault.line <= line <= fault.last_line or not is_line)
                for path, line in at)]
        if not wrong:
            sys.exit(messages[-5000:])
        dropped += [fault.id for fault in wrong]
        print(f"{len(wrong)} do not compile", flush=True)


def run(test, folder, limit=LIMIT, number=-1, seen=None):
    """Why the test failed, or None; stops it at the first failure, with all that it started."""
    properties = {entry["name"]: entry["value"] for entry in test.get("properties", ())}
    home = tempfile.mkdtemp(prefix="mutate")
    os.chmod(home, 0o755)  # as /tmp is, for tests that go on as another user
    environment = dict(os.environ, TMPDIR=home, PELLORY_FAULT=str(number),
                       **dict(entry.split("=", 1) for entry in properties.get("ENVIRONMENT", ())))
    if seen:
        environment["PELLORY_FAULT_MAP"] = str(seen)
    failed = re.compile("|".join([r"FAIL!  : .*"] + properties.get("FAIL_REGULAR_EXPRESSION", [])))
    process = subprocess.Popen(
        test["command"], env=environment, cwd=properties.get("WORKING_DIRECTORY", folder),
        start_new_session=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
        preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY)))
    deadline, text, match, more = time.monotonic() + limit, "", None, True
    try:
        while more and not match:
            if not select.select([process.stdout], [], [], max(0, deadline - time.monotonic()))[0]:
                return "hangs"
            more = os.read(process.stdout.fileno(), 65536).decode(errors="replace")
            text = text[-4096:] + more
            match = failed.search(text)
        if match:
            return match[0][:160]
        status = process.wait(max(1, deadline - time.monotonic()))
        return f"ends with {status}" if status else None
    except subprocess.TimeoutExpired:
        return "hangs"
    finally:
        with contextlib.suppress(ProcessLookupError):  # nothing of it is left
            os.killpg(process.pid, signal.SIGKILL)
        process.wait()
        process.stdout.close()
        shutil.rmtree(home, ignore_errors=True)


def without_fault(tests, folder, pool):
    """Runs each test twice: its longest time, the numbers of the places it reaches, its failures."""
    def measure(test):
        reached, seconds, failures = set(), 0, []
        for _ in range(2):
            seen, begin = folder / f"seen-{test['name']}", time.monotonic()
            seen.write_bytes(bytes(65536))
            failure = run(test, folder, seen=seen)
            failures += [failure] if failure else []
            seconds = max(seconds, time.monotonic() - begin)
            reached |= {number for number, mark in enumerate(seen.read_bytes()) if mark}
        return {"seconds": round(seconds, 1), "reached": sorted(reached), "failures": failures}
    return dict(zip((test["name"] for test in tests), pool.map(measure, tests)))


def report(faults, state, options):
    results = [(fault, state["results"][fault.id]) for fault in faults if fault.id in state["results"]]
    lines = [f"# Seed {options.seed}, {len(results)} faults of {len(faults)}", "",
             "| Room | Faults | Found | Survived | of these not reached | Power |",
             "|---|---|---|---|---|---|"]
    for room in (*ROOMS, "all"):
        here = [result for fault, result in results if room in ("all", room_of(fault.path))]
        found = sum(bool(result["by"]) for result in here)
        missed = sum(not result["reached"] for result in here)
        if here:
            lines.append(f"| {room} | {len(here)} | {found} | {len(here) - found} | {missed} | "
                         f"{100 * found / len(here):.0f} % |")
    for rule in sorted({fault.rule for fault in faults}):
        here = [bool(result["by"]) for fault, result in results if fault.rule == rule]
        lines.append(f"{rule}: {sum(here)} of {len(here)} found")
    lines += ["", "Survivors:"] + [f"- {fault.id} (reached by {result['reached'] or 'no test'})"
                                   for fault, result in results if not result["by"]]
    failed = {name: test["failures"] for name, test in state["tests"].items() if test["failures"]}
    lines += ["", f"Failed without a fault: {failed or 'none'}"]
    lines += ["", "Found:"] + [f"- {fault.id} (by {result['by']}: {result['why']})"
                               for fault, result in results if result["by"]]
    return "\n".join(lines) + "\n"


def meet(fault, tests, finder, folder):
    """Lets the tests run with the fault until one finds it, the one that found it before first."""
    meeting = [test for test in tests if fault.number in test["reached"]]
    meeting.sort(key=lambda test: test["name"] != finder)
    result = {"by": None, "why": None, "reached": " ".join(sorted(test["name"] for test in meeting))}
    for test in meeting:
        limit = min(LIMIT, 15 + 5 * test["seconds"])
        result["why"] = run(test, folder, limit, fault.number)
        # A test that fails without the fault too has found nothing.
        if result["why"] and not run(test, folder, limit):
            result["by"] = test["name"]
            break
    return fault, result


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(10 ** 6))
    parser.add_argument("--count", type=int, default=200)
    parser.add_argument("--only", choices=ROOMS, metavar="ROOM")
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build" / "mutate")
    options = parser.parse_args()
    print(f"--seed {options.seed}", flush=True)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    folder = options.build.resolve()
    names = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, check=True, capture_output=True,
                           text=True).stdout.split("\0")[:-1]
    contents = {name: (ROOT / name).read_bytes() for name in sorted(names, key=lambda name: name.split("/"))
                if (ROOT / name).is_file()}
    drawn = draw({path: content.decode() for path, content in contents.items()
                  if room_of(path) and re.fullmatch(r"(?!.*(?:_windows|winapi)).*\.(?:cpp|h)", path)},
                 options.seed, options.count, options.only)
    code = {path: content for path, content in contents.items() if room_of(path)}
    key, tree = (hashlib.sha256(repr(value).encode()).hexdigest()
                 for value in ([code, [fault.id for fault in drawn]], contents))
    kept = folder / "results.json"
    state = json.loads(kept.read_text()) if kept.exists() else {}
    if state.get("key") != key:
        state = {"key": key, "dropped": []}
    if state.get("tree") != tree:
        finders = {name: result["by"] for name, result in state.get("results", {}).items()}
        state.update(tree=tree, tests={}, results={}, finders={**state.get("finders", {}), **finders})
    build(contents, drawn, folder, options.jobs, state["dropped"])
    save(kept, state)
    faults, rooms = [], {}
    for fault in (fault for fault in drawn if fault.id not in state["dropped"]):
        rooms[room_of(fault.path)] = rooms.get(room_of(fault.path), 0) + 1
        if rooms[room_of(fault.path)] <= fault.quota:
            faults.append(fault)
    tests = json.loads(subprocess.run(["ctest", "--show-only=json-v1"], cwd=folder / "build", check=True,
                                      capture_output=True).stdout)["tests"]
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        state["tests"] = state["tests"] or without_fault(tests, folder, pool)
        save(kept, state)
        good = [test | state["tests"][test["name"]] for test in tests]
        good = sorted((test for test in good if not test["failures"]), key=lambda test: test["seconds"])
        waiting = [fault for fault in faults if fault.id not in state["results"]]
        random.Random(options.seed).shuffle(waiting)  # so that a part of them tells of all rooms
        runs = [pool.submit(meet, fault, good, state["finders"].get(fault.id), folder)
                for fault in waiting]
        try:
            for done in concurrent.futures.as_completed(runs):
                fault, result = done.result()
                state["results"][fault.id] = result
                save(kept, state)
                (folder / "report.md").write_text(report(faults, state, options))
                print("found by " + result["by"] if result["by"] else "SURVIVED", fault.id, flush=True)
        except BaseException:
            pool.shutdown(cancel_futures=True)
            raise
    print(report(faults, state, options))
    return 0


if __name__ == "__main__":
    sys.exit(main())
