#!/usr/bin/python3
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

"""windows_program.py PROGRAM: runs the Windows program under Wine as a caller that captures its
output does, against local files and against Swift, and checks status, text and stream files.
WINEPREFIX is set."""

import json
import os
import pathlib
import subprocess
import sys
import tempfile

PROGRAM = sys.argv[1]
SECRET = "ab/c+d@e:f"
SERVER = pathlib.Path(__file__).with_name("servers") / "swift_server.py"
NO_SOURCE, NO_TARGET = "Could not open source url\r\n", "Could not open target\r\n"


def check(arguments, status, printed, files=()):
    run = subprocess.run(["wine", PROGRAM, *arguments], capture_output=True, timeout=120)
    text = run.stdout.decode()
    assert (run.returncode, text) == (status, printed), (arguments, run.returncode, text)
    for path, address in files:
        content = path.read_bytes()
        if "-e" in arguments:
            assert content.startswith(b":x") and address.encode() not in content, content
        else:
            assert content == address.encode(), (path, content)
        path.unlink()
    print("ok:", *(argument[:60] for argument in arguments), flush=True)


def local(folder):
    """`folder` is C:\\pellory and, as a share, \\\\nas\\media."""
    drive, share = "C:\\pellory", "\\\\nas\\media"
    (folder / "sub ü 片").mkdir()
    (folder / "sub ü 片" / "clip.mxf").write_bytes(b"media")
    long = "x" * 200
    (folder / long / long).mkdir(parents=True)
    (folder / long / long / "clip.mxf").write_bytes(b"media")
    out, sub = folder / "out.stream", "sub ü 片"
    for source in (f"{drive}\\{sub}\\clip.mxf", f"C:/pellory\\{sub}/clip.mxf",
                   f"{share}\\{sub}\\clip.mxf", f"//nas/media/{sub}/clip.mxf",
                   f"{drive}\\{long}\\{long}\\clip.mxf"):
        check(["-u", source, "-t", drive + "\\out"], 1, "", [(out, source)])
        check(["-e", "-u", source, "-t", share + "\\out"], 1, "", [(out, source)])
    both = f"{drive}\\{sub}\\clip.mxf"
    check(["-u", drive, "-b", sub, "-f", "clip.mxf", "-t", drive], 1, "",
          [(folder / "clip.mxf.stream", both)])
    check(["-u", both, "-t", f"{drive}/{long}\\{long}\\{long}.stream"], 1, "",
          [(folder / long / long / (long + ".stream"), both)])
    check(["-u", drive + "\\none", "-t", drive + "\\out"], 255, NO_SOURCE)
    check(["-u", "q:\\clip.mxf", "-t", drive + "\\out"], 255, NO_SOURCE)
    check(["-u", "\\\\nowhere\\media\\clip.mxf", "-t", drive + "\\out"], 255, NO_SOURCE)
    check(["-u", both, "-t", drive + "\\none\\out"], 255, NO_TARGET)
    assert not out.exists()
    run = subprocess.run(["wine", PROGRAM, "-t", drive], capture_output=True, timeout=120)
    assert run.returncode == 255 and run.stdout.count(b"\r\n") == 12, run


def network(folder):
    server = subprocess.Popen([sys.executable, SERVER, "--secret", SECRET], stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, text=True)

    def command(**members):
        server.stdin.write(json.dumps(members) + "\n")
        server.stdin.flush()
        answer = json.loads(server.stdout.readline())
        assert "error" not in answer, answer

    try:
        ready = json.loads(server.stdout.readline())
        command(op="bucket", bucket="rushes")
        command(op="put", bucket="rushes", objects={"day 1/clip ü.mxf": 100000})
        start = f"s3://TESTER:{SECRET}@127.0.0.1:{ready['port']}/rushes"
        target, out = "C:\\pellory\\s3", folder / "s3.stream"
        address = start + "/day 1/clip ü.mxf"
        check(["-u", address, "-t", target], 1, "", [(out, address)])
        check(["-u", address, "-e", "-t", target], 1, "", [(out, address)])
        check(["-u", start, "-f", "day 1/clip ü.mxf", "-t", target], 1, "",
              [(out, start + "\\day 1/clip ü.mxf")])
        check(["-u", start + "/none", "-t", target], 255, NO_SOURCE)
        check(["-u", address.replace(SECRET, "wrong"), "-t", target], 255, NO_SOURCE)
        assert not out.exists()
        logs = list(pathlib.Path(os.environ["WINEPREFIX"]).rglob("Pellory.log"))
        assert logs and all(SECRET.encode() not in log.read_bytes() for log in logs)
    finally:
        server.stdin.close()
        server.wait()


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
    finally:
        for link in links:
            link.unlink()
