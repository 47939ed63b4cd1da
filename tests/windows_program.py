#!/usr/bin/python3
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

"""windows_program.py PROGRAM: runs the Windows program under Wine as a caller that captures its
output does, on local files, and checks status, text and stream files. WINEPREFIX is set."""

import os
import pathlib
import subprocess
import sys
import tempfile

PROGRAM = sys.argv[1]
SUB, LONG = "sub ü 片", "x" * 200
DRIVE, SHARE = "C:\\pellory", "\\\\nas\\media"  # both lead to the same folder


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
    for source in (f"C:/pellory\\{SUB}/clip.mxf", f"{SHARE}\\{SUB}\\clip.mxf",
                   f"//nas/media/{SUB}/clip.mxf", f"{DRIVE}\\{LONG}\\{LONG}\\clip.mxf"):
        written(folder / "out.stream", source, "-u", source, "-t", SHARE + "\\out")
    for source in ("q:\\clip.mxf", "\\\\nowhere\\media\\clip.mxf"):
        run("Could not open source url\r\n", "-u", source, "-t", DRIVE + "\\out")


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
        assert not list(pathlib.Path(name).glob("*.stream"))
    finally:
        for link in links:
            link.unlink()
