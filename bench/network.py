#!/usr/bin/env python3
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

"""Whole-process figures of listing and copying against a loopback server, each beside rclone and
curl in the same run:

    bench/network.py [--client build/release/bench_client] [--runs 5] [--only listing,pages,near,far,chaos]

Prints the median of each figure, the spread of the wall time and the ratios to the peers'. The
copies go to /dev/shm, or to --target, a file on a disk. Ours are on the disk when they are done; the
peers' are synced behind them. "pages" lists levels of a server that takes its time for each page."""

import argparse
import datetime
import json
import os
import random
import statistics
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
TARGET = "/dev/shm/pellory-bench"
SYNCED = ["sh", "-c", 'target=$1; shift; "$@" && sync "$target"', "sh"]
GIB = 1 << 30
CHAOS = [[0.025, {"status": 503}], [0.025, {"reset": True}], [0.05, {"cut": -1}]]


class Server:
    def __init__(self):
        script = os.path.join(ROOT, "tests/servers/fault_server.py")
        self.process = subprocess.Popen(["/usr/bin/python3", script], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, text=True)
        self.port = json.loads(self.process.stdout.readline())["port"]

    def command(self, op, **members):
        self.process.stdin.write(json.dumps({"op": op, **members}) + "\n")
        self.process.stdin.flush()
        answer = json.loads(self.process.stdout.readline())
        if "error" in answer:
            raise RuntimeError(answer["error"])
        return answer

    def close(self):
        self.process.stdin.close()
        self.process.wait()


def apart(work):
    """Does it in a process of its own: programs that are started inherit the peak of this one."""
    child = os.fork()
    if child == 0:
        try:
            work()
            os._exit(0)
        finally:
            os._exit(1)
    if os.waitpid(child, 0)[1]:
        sys.exit("failed in a process of its own")


def run(command):
    """(wall s, processor s, peak MiB, but not less than this script's own) of one run; a failure
    ends the benchmark."""
    environment = {k: v for k, v in os.environ.items()
                   if not k.lower().endswith("_proxy") and k != "AWS_CA_BUNDLE"}
    began = time.monotonic()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                               env=environment)
    _, status, usage = os.wait4(process.pid, 0)
    wall = time.monotonic() - began
    if status:
        sys.exit(f"{command[0]} failed: {process.stderr.read().decode()[-500:]}")
    return wall, usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024


def compare(title, commands, runs, check=None, server=None):
    """Runs the commands in turn, the first being ours, and prints medians and ratios, and the most
    requests that the server got from one."""
    figures = {name: [] for name in commands}
    requests = {name: [] for name in commands}
    for turn in range(runs + 1):
        for name, command in commands.items():
            if os.path.exists(TARGET):
                os.remove(TARGET)
            if server:
                server.command("requests")
            result = run(command)
            if server:
                requests[name].append(len(server.command("requests")["requests"]))
            if check:
                check(name)
            if turn:  # the first one warms up
                figures[name].append(result)
    print(f"\n{title}")
    medians = {name: [statistics.median(column) for column in zip(*rows)]
               for name, rows in figures.items()}
    ours = next(iter(medians.values()))
    for name, (wall, cpu, peak) in medians.items():
        spread = "-".join(f"{f(row[0] for row in figures[name]):.2f}" for f in (min, max))
        count = f"   {max(requests[name]):5} requests" if server else ""
        print(f"  {name:18} wall {wall:7.3f} s ({spread})   cpu {cpu:7.3f} s   peak {peak:7.1f} MiB"
              f"   ours/this: wall {ours[0] / wall:5.2f}  cpu {ours[1] / cpu:5.2f}{count}", flush=True)


def touch_memory(size):
    """Pages that the machine never used cost seconds per GiB; they are not what is measured."""
    with open(TARGET, "wb") as file:
        for _ in range(size >> 20):
            file.write(b"\1" * (1 << 20))
    os.remove(TARGET)


def rclone(server, *arguments):
    return ["rclone", "--config", "/dev/null", *arguments, "--s3-provider", "Other",
            "--s3-endpoint", f"http://127.0.0.1:{server.port}", "--s3-access-key-id", "AK",
            "--s3-secret-access-key", "SK", "--s3-list-version", "2"]


def check_size(name):
    if os.path.getsize(TARGET) != GIB:
        sys.exit(f"{name} left {os.path.getsize(TARGET)} bytes")


def uneven_names(count):
    """Days with few and days with many clips, named by words."""
    dice = random.Random(1)
    words = "archive clip crowd drone final goal interview match news press scene studio".split()
    day, names = datetime.date(2015, 1, 1), set()
    while len(names) < count:
        day += datetime.timedelta(days=dice.choice([1, 1, 1, 2, 3, 9]))
        for _ in range(min(int(dice.paretovariate(0.9) * 20), 3000, count - len(names))):
            names.add(f"{day} {dice.choice(words)} {dice.choice(words)}-{dice.randrange(100):02}.mxf")
    return names


def worst_names(count):
    """Beginnings tell nothing about how many names have them."""
    dice = random.Random(1)
    return {"".join(dice.choice("az") * dice.randrange(1, 14) for _ in range(12)) + f"{i}"
            for i in range(count)}


def pages(server, client, source, runs):
    levels = [("100,000, counted", {"count": 100000, "format": "clip-{:07}.mxf"}, (0, 20, 200)),
              ("100,000 UUIDs", {"count": 100000, "format": "{1}.mxf"}, (0, 20)),
              ("100,000 folders", {"count": 100000, "format": "reel-{:06}/clip"}, (0, 20)),
              ("1,000,000 UUIDs", {"count": 1000000, "format": "{1}.mxf"}, (20,)),
              ("100,000, dates and words", uneven_names, (0, 20)),
              ("100,000, the worst order", worst_names, (20,)),
              ("999 names", {"count": 999}, (20,))]
    for title, bucket, latencies in levels:
        def fill(bucket=bucket):
            if callable(bucket):
                bucket = {"objects": dict.fromkeys(bucket(100000), 10)}
            server.command("bucket", bucket="level", **bucket)
        apart(fill)
        for latency in latencies:
            server.command("set", latency=latency)
            compare(f"{title}, {latency} ms a page",
                    {"pellory": [client, "walk", source + "/level"],
                     "page by page": [client, "pages", source + "/level"],
                     "rclone": rclone(server, "lsf", ":s3:level")}, runs, server=server)
    server.command("calm")


def main():
    global TARGET
    parser = argparse.ArgumentParser()
    parser.add_argument("--client", default=os.path.join(ROOT, "build/release/bench_client"))
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--only", default="listing,pages,near,far,chaos")
    parser.add_argument("--target", default=TARGET)
    options = parser.parse_args()
    TARGET = options.target
    wanted = options.only.split(",")
    server = Server()
    source = f"s3://AK:SK@127.0.0.1:{server.port}"
    web = f"http://127.0.0.1:{server.port}"
    server.command("bucket", bucket="many", count=100000, format="clip-{:08}.mxf")
    server.command("bucket", bucket="more", count=400000, format="clip-{:08}.mxf")
    server.command("bucket", bucket="media", objects={"big": GIB, "part": GIB // 4})
    server.command("bucket", bucket="names", count=20000)
    try:
        if "listing" in wanted:
            compare("Listing 100,000 keys of one level",
                    {"pellory": [options.client, "walk", source + "/many"],
                     "rclone": rclone(server, "lsf", ":s3:many")}, options.runs)
            compare("Listing 400,000 keys: memory",
                    {"pellory": [options.client, "walk", source + "/more"]}, 1)
        if "pages" in wanted:
            pages(server, options.client, source, options.runs)
        copy = [options.client, "copy", source + "/media/big", TARGET]
        curl = [*SYNCED, TARGET, "curl", "-sf", "-o", TARGET, web + "/media/big"]

        def streams(count, cutoff):
            return [*SYNCED, TARGET,
                    *rclone(server, "copyto", ":s3:media/big", TARGET, "--multi-thread-streams",
                            str(count), "--multi-thread-cutoff", cutoff)]

        if "near" in wanted or "far" in wanted:
            touch_memory(GIB + (64 << 20))
        if "near" in wanted:
            compare("Copying 1 GiB, unshaped",
                    {"pellory": copy, "rclone, 8 streams": streams(8, "64M"), "curl": curl},
                    options.runs, check_size)
            compare("Copying 1 GiB from a web address",
                    {"pellory": [options.client, "copy", web + "/media/big", TARGET],
                     "curl": curl}, options.runs, check_size)
        if "far" in wanted:
            server.command("set", rate=50_000_000, latency=20)
            compare("Copying 1 GiB, 20 ms and 50 MB/s a connection",
                    {"pellory": copy, "rclone, 32 streams": streams(32, "16M"), "curl": curl},
                    options.runs, check_size)
            server.command("calm")
        if "chaos" in wanted:
            chaos(server, options.client, source, 0)
            chaos(server, options.client, source, 2, atOnce=6, latency=10, rate=50_000_000)
    finally:
        server.close()
        if os.path.exists(TARGET):
            os.remove(TARGET)


def disturbed(server, command, restarts, dice):
    """What the command prints, None when it fails; the server restarts so often meanwhile."""
    process = subprocess.Popen(command, stdout=subprocess.PIPE, text=True)
    for _ in range(restarts):
        time.sleep(dice.uniform(0.4, 0.7))
        server.command("away", ms=300)
    text = process.communicate()[0]
    return text if process.returncode == 0 else None


def chaos(server, client, source, restarts, **settings):
    """5 % refused, 5 % cut: twenty seeds, every listing and copy right."""
    right = 0
    for seed in range(20):
        dice = random.Random(seed)
        server.command("set", pageSize=200, **settings)
        server.command("chaos", seed=seed, effects=CHAOS)
        listed = disturbed(server, [client, "walk", source + "/names"], restarts, dice)
        if os.path.exists(TARGET):
            os.remove(TARGET)
        copied = disturbed(server, [client, "copy", source + "/media/part", TARGET], restarts, dice)
        server.command("calm")
        same = copied is not None and not subprocess.run(
            f"curl -sf {source.replace('s3://AK:SK@', 'http://')}/media/part | cmp - {TARGET}",
            shell=True).returncode
        right += listed == "20000 entries\n" and same
    print(f"\n5 % refused and 5 % cut, {restarts} restarts, {settings}: "
          f"{right} of 20 seeds listed 20,000 names and copied 256 MiB right")


if __name__ == "__main__":
    main()
