#!/usr/bin/python3
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

"""windows_window.py PROGRAM INSTALLER PICTURE: works with the window of the Windows program under
Wine by mouse and keyboard, as its user does, against Swift and a TAMS repository. Takes a picture of
it. Wine must not be running yet; WINEPREFIX and DISPLAY are set."""

import os
import pathlib
import subprocess
import sys
import tempfile
import time

REPOSITORY = pathlib.Path(__file__).resolve().parent.parent
sys.path[:0] = [str(REPOSITORY / name) for name in ("scripts", "tests/servers", "docs/examples")]
import common
from read_stream import address
from server_client import Server

PROGRAM, INSTALLER, PICTURE = sys.argv[1:]
DRIVE = pathlib.Path(os.environ["WINEPREFIX"]) / "dosdevices" / "p:"
SECRET, HOST, CLIP, SIZE = "ab/c+d@e:f", "tams.amazonaws.com", "clip ü.final.mxf", 9_000_000
FLOWS = '[{"id": "flow-1", "label": "News 8.30"}]'
# With these heights places do not depend on the machine's fonts.
SHEET = """QPushButton { min-height: 16px; max-height: 16px }
QTreeView::item { height: 20px } QHeaderView::section { height: 20px }"""
NEW_TAMS, NEW_S3, CONNECT, URL, TARGET, EXIT = (
    (478, 23), (576, 23), (674, 23), (180, 23), (300, 510), (812, 578))
MAKE, ENCRYPT, LOCALIZE = (170, 544), (170, 578), (498, 544)
ROOT, SECOND, FILE = (60, 90), (90, 110), (500, 90)  # rows of the two views


def run(*command):
    return subprocess.run([*map(str, command)], capture_output=True, text=True, timeout=180)


def soon(what, is_done, action=lambda: None):
    """Does it, and again when nothing comes of it: a click can be lost."""
    end = time.monotonic() + 120
    while time.monotonic() < end:
        action()
        again = time.monotonic() + 5
        while time.monotonic() < again:
            if result := is_done():
                print("ok:", what, flush=True)
                return result
            time.sleep(0.2)
    raise SystemExit(f"windows_window.py: {what}: nothing comes of it")


class Window:
    def __init__(self, title, action=lambda: None):
        search = "xdotool", "search", "--onlyvisible", "--name", f"^{title}$"
        self.id = soon(title, lambda: run(*search).stdout.split(), action)[0]

    def click(self, *places, button=1, times=1):
        for place in places:
            run("xdotool", "mousemove", "--window", self.id, *place,
                "click", "--repeat", times, "--delay", 60, button)
            time.sleep(0.3)

    def enter(self, place, *texts):
        self.click(place)
        run("xdotool", "windowfocus", self.id)
        for text in texts:
            run("xdotool", "key", "ctrl+a", "type", "--delay", 20, text)
            run("xdotool", "key", "Tab")


def of_profile(name):
    """Files of the program's user."""
    return [*(DRIVE.parent / "c:" / "users").glob(f"*/AppData/*/Corvane/Pellory/{name}")]


def left(file, content):
    """Whether the file is there with that content, an address or bytes; then it goes."""
    found = file.read_bytes() if file.exists() else None
    if found is not None and isinstance(content, str):
        found = ":x" * found.startswith(b":x") + address(found)
    if found != content:
        return False
    file.unlink()
    return True


def work(target, port):
    main = Window("Pellory")
    assert run("wine", INSTALLER, "/S").returncode == 2, "the installer goes on beside the program"
    assert run("import", "-window", "root", PICTURE).returncode == 0
    main.enter(TARGET, "P:\\target")

    def add(opener, title, place, texts, accept, count):
        dialog = Window(title, lambda: main.click(opener))
        dialog.enter(place, *texts)
        soon("its entry", lambda: len(of_profile("*.[cj]s*")) == count, lambda: dialog.click(accept))

    def connect(number):
        main.click(URL, button=4, times=9)  # the wheel
        main.click(URL, button=5, times=number)
        main.click(CONNECT)

    def use(opened, *actions):
        def act():
            for step in opened:
                run("xdotool", "key", step) if isinstance(step, str) else main.click(step)
            main.click(FILE, button)
        for button, name, content in actions:
            soon(name, lambda: left(target / name, content), act)

    use([SECOND], (MAKE, "local.stream", "P:/local.mxf"), (LOCALIZE, "local.mxf", b"media"))
    # In this order: a new repository loads the sources anew, and entry files tell no site.
    add(NEW_TAMS, "Add TAMS Repository", (150, 16),
        [HOST, "x-api", HOST + "/token", "word", "client"], (265, 180), 1)
    add(NEW_S3, "Add URL", (100, 16),
        ["TESTER", "us-east-1", SECRET, "rushes", f"127.0.0.1:{port}"], (218, 180), 2)
    connect(1)
    clip, name = f"s3://TESTER:{SECRET}@127.0.0.1:{port}/rushes/day 1/{CLIP}", "clip ü.stream"
    use([ROOT, "Right", SECOND], (MAKE, name, clip), (ENCRYPT, name, ":x" + clip),
        (LOCALIZE, CLIP, common.content(0, SIZE)))
    connect(0)
    flow, name = f"tamss://{HOST}/x-api/flows/flow-1", "News 8.30.stream"
    use([ROOT], (MAKE, name, flow), (ENCRYPT, name, ":x" + flow))
    # A click too early is for the file before it; a copy leaves nothing unfinished.
    assert all(file.suffix == ".stream" for file in target.iterdir())
    soon("Exit", lambda: program.poll() is not None, lambda: main.click(EXIT))
    assert program.returncode == 0


with (tempfile.TemporaryDirectory() as folder, Server("swift_server.py", "--secret", SECRET) as swift,
      Server("tams_server.py") as tams,
      Server("tls_front.py", "--port", str(tams.ready["port"]), "--names", HOST) as front):
    swift.command("bucket", bucket="rushes")
    swift.command("put", bucket="rushes", objects={"day 1/" + CLIP: SIZE})
    tams.command("reset", flows=FLOWS)
    DRIVE.unlink(missing_ok=True)
    DRIVE.symlink_to(folder)
    (DRIVE / "target").mkdir()
    (DRIVE / "local.mxf").write_bytes(b"media")
    (DRIVE / "sheet.qss").write_text(SHEET)
    for file in of_profile("*.*"):
        file.unlink()
    # Windows checks certificates for the program, Wine does not: nothing here shows that they are.
    os.environ["https_proxy"] = f"http://127.0.0.1:{front.ready['proxyPort']}"
    program = subprocess.Popen(["wine", PROGRAM, "-stylesheet", "P:\\sheet.qss"])
    try:
        work(DRIVE / "target", swift.ready["port"])
        log = "".join(file.read_text() for file in of_profile("*.log"))
        assert "ERROR" not in log and SECRET not in log, log
    finally:
        program.kill()
        DRIVE.unlink()
