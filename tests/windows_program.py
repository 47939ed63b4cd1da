#!/usr/bin/python3
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

"""windows_program.py PROGRAM: runs the Windows program under Wine as a caller that captures its
output does, against local files and against Swift, and checks status, text and stream files.
WINEPREFIX is set."""

import os
import pathlib
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "scripts"))
from server_client import Server

PROGRAM = sys.argv[1]
SECRET = "ab/c+d@e:f"
SUB, LONG = "sub ü 片", "x" * 200
DRIVE, SHARE = "C:\\pellory", "\\\\nas\\media"  # both lead to the same folder
NO_SOURCE, NO_TARGET = "Could not open source url\r\n", "Could not open target\r\n"


def run(printed, *arguments):
    done = subprocess.run(["wine", PROGRAM, *arguments], capture_output=True, timeout=120)
    result = done.returncode, done.stdout.decode()
    assert result == (255 if printed else 1, printed), (arguments, result)
    print(f"ok, {result[0]}:", *(argument[:60] for argument in arguments), flush=True)


def written(file, address, *arguments):
    """Both forms of a stream file."""
    for form in ((), ("-e",)):
        run("", *form, *arguments)
        content = file.read_bytes()
        file.unlink()
        assert (content.startswith(b":x") and address.encode() not in content) if form else (
            content == address.encode()), (file, content)


def local(folder):
    for place in (folder / SUB, folder / LONG / LONG):
        place.mkdir(parents=True)
        (place / "clip.mxf").write_bytes(b"media")
    both = f"{DRIVE}\\{SUB}\\clip.mxf"
    for source in (both, f"C:/pellory\\{SUB}/clip.mxf", f"{SHARE}\\{SUB}\\clip.mxf",
                   f"//nas/media/{SUB}/clip.mxf", f"{DRIVE}\\{LONG}\\{LONG}\\clip.mxf"):
        written(folder / "out.stream", source, "-u", source, "-t", SHARE + "\\out")
    written(folder / "clip.mxf.stream", both, "-u", DRIVE, "-b", SUB, "-f", "clip.mxf", "-t", DRIVE)
    written(folder / LONG / LONG / (LONG + ".stream"), both, "-u", both,
            "-t", f"{DRIVE}/{LONG}\\{LONG}\\{LONG}.stream")
    for source in (DRIVE + "\\none", "q:\\clip.mxf", "\\\\nowhere\\media\\clip.mxf"):
        run(NO_SOURCE, "-u", source, "-t", DRIVE + "\\out")
    run(NO_TARGET, "-u", both, "-t", DRIVE + "\\none\\out")


def network(folder):
    with Server("swift_server.py", "--secret", SECRET) as server:
        server.command("bucket", bucket="rushes")
        server.command("put", bucket="rushes", objects={"day 1/clip ü.mxf": 100000})
        start = f"s3://TESTER:{SECRET}@127.0.0.1:{server.ready['port']}/rushes"
        target, out, key = DRIVE + "\\s3", folder / "s3.stream", "day 1/clip ü.mxf"
        written(out, f"{start}/{key}", "-u", f"{start}/{key}", "-t", target)
        written(out, f"{start}\\{key}", "-u", start, "-f", key, "-t", target)
        run(NO_SOURCE, "-u", start + "/none", "-t", target)
        run(NO_SOURCE, "-u", f"{start}/{key}".replace(SECRET, "wrong"), "-t", target)
    logs = list(pathlib.Path(os.environ["WINEPREFIX"]).rglob("Pellory.log"))
    assert logs and all(SECRET.encode() not in log.read_bytes() for log in logs)


with tempfile.TemporaryDirectory() as name:
    # Wine looks for drives and shares among these links.
    devices = pathlib.Path(os.environ["WINEPREFIX"]) / "dosdevices"
    links = [devices / "c:" / "pellory", devices / "unc" / "nas" / "media"]
    links[1].parent.mkdir(parents=True, exist_ok=True)
    for link in links:
        link.unlink(missing_ok=True)
        link.symlink_to(name)
    try:
        local(pathlib.Path(name))
        network(pathlib.Path(name))
        assert not list(pathlib.Path(name).glob("*.stream"))
    finally:
        for link in links:
            link.unlink()
