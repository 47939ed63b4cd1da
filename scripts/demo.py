#!/usr/bin/env python3
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

"""demo.py PROGRAM: opens the program's window on the tests' S3 and TAMS servers, which it starts on
free loopback ports, in a temporary home. Everything goes when the window is closed."""

import contextlib
import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile

from server_client import Server

TAMS_HOST = "tams.demo.amazonaws.com"
TOKEN_HOST = "auth.demo.amazonaws.com"
MEDIA = {  # key: bytes
    "opening-titles.mov": 2_400_000,
    "day 1/interview_01.mxf": 3_100_000,
    "day 1/interview_02.mxf": 2_700_000,
    "day 1/cutaways/harbour.mxf": 1_900_000,
    "day 2/match.final.mxf": 4_200_000,
    "slow line/feature.mxf": 80_000_000,
}
FLOWS = [
    {"id": "6f1d2c10-0001", "label": "Studio A", "format": "urn:x-nmos:format:video",
     "created": "2026-03-02T08:00:00Z"},
    {"id": "6f1d2c10-0002", "label": "News 8.30 / late", "format": "urn:x-nmos:format:multi",
     "created": "2026-03-02T20:30:00Z"},
    {"id": "6f1d2c10-0003", "label": "News 8.30, sound", "format": "urn:x-nmos:format:audio",
     "created": "2026-03-02T20:30:00Z", "collected_by": ["6f1d2c10-0002"]},
]


def fill(server):
    server.command("bucket", bucket="rushes", objects=MEDIA)
    server.command("bucket", bucket="Prod", objects={"flows": json.dumps(FLOWS)})
    server.command("fault", method="POST", times=0, status=200, body=json.dumps(
        {"access_token": "demo", "token_type": "Bearer", "expires_in": 3600}))
    server.command("fault", method="GET", contains="/rushes/slow", times=0, rate=500_000)


def configure(home, port):
    folder = home / ".config" / "Corvane" / "Pellory"
    folder.mkdir(parents=True)
    (folder / "rushes.csv").write_text(
        "AWSAccessKeyId=DEMO\r\nAWSSecretKey=DEMO\r\nAWSRegion=us-east-1\r\n"
        f"AWSSite=127.0.0.1:{port}\r\n")
    (folder / f"{TAMS_HOST}.json").write_text(json.dumps(
        {"client_id": "demo", "client_secret": "demo", "grant_type": "client_credentials",
         "endpoint": "/Prod/", "scope": ["tams-api/read"]}))
    (folder / "hqutil.ini").write_text(
        f"[Tidewell]\nOAuth2\\{TAMS_HOST}\\oauth2server={TOKEN_HOST}/oauth2/token\n")
    (home / "Documents").mkdir()


def environment(home, front):
    values = {name: value for name, value in os.environ.items()
              if not name.lower().endswith("_proxy")
              and name not in ("XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_DATA_HOME",
                               "XDG_CACHE_HOME", "SSL_CERT_FILE")}
    # The display's key stays in the real home.
    values.setdefault("XAUTHORITY", os.path.expanduser("~/.Xauthority"))
    return {**values, "HOME": str(home), "CURL_CA_BUNDLE": front["caFile"],
            "https_proxy": f"http://127.0.0.1:{front['proxyPort']}"}


def main():
    if not any(os.environ.get(name)
               for name in ("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM")):
        raise SystemExit("demo: there is no display to open a window on")
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    with contextlib.ExitStack() as stack:
        home = pathlib.Path(stack.enter_context(tempfile.TemporaryDirectory(prefix="pellory-demo-")))
        server = stack.enter_context(Server("fault_server.py"))
        port = server.ready["port"]
        names = "*.demo.amazonaws.com,localhost,127.0.0.1"
        front = stack.enter_context(Server("tls_front.py", "--port", str(port), "--names", names))
        fill(server)
        configure(home, port)
        print(f"""The demonstration runs on this machine alone:
  S3 bucket "rushes" on 127.0.0.1:{port}, with {len(MEDIA)} sample files
  TAMS repository {TAMS_HOST}, led to the same server, with its OAuth2 token
  home {home}; stream files go to its Documents folder
Choose a source in the "URL:" box and press "Connect". "slow line" shows a copy's progress.
Everything is removed when the window is closed.""", flush=True)
        program = subprocess.Popen([sys.argv[1]], env=environment(home, front.ready), cwd=home)
        try:
            return program.wait()  # as long as its user likes
        except KeyboardInterrupt:
            return 130
        finally:
            program.terminate()
            try:
                program.wait(10)
            except subprocess.TimeoutExpired:
                program.kill()


if __name__ == "__main__":
    try:
        sys.exit(main())
    except RuntimeError as error:
        sys.exit(f"demo: {error}")
