# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

"""The other end of the control channel of the tests' servers."""

import json
import pathlib
import subprocess
import sys
import threading

SERVERS = pathlib.Path(__file__).resolve().parent.parent / "tests" / "servers"
LIMIT = 60  # seconds for an answer


class Server:
    """Runs one of the servers; what it reports when it is ready is `ready`. For a with block."""

    def __init__(self, script, *arguments):
        # A session of its own: Ctrl-C is for the program beside it.
        self.process = subprocess.Popen(
            [sys.executable, SERVERS / script, *arguments],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, start_new_session=True)
        self.ready = self.answer()

    def answer(self):
        watch = threading.Timer(LIMIT, self.process.kill)
        watch.start()
        line = self.process.stdout.readline()
        watch.cancel()
        answer = json.loads(line or '{"error": "no answer"}')
        if "error" in answer:
            raise RuntimeError(f"{self.process.args[1].name}: {answer['error']}")
        return answer

    def command(self, op, **members):
        self.process.stdin.write(json.dumps({"op": op, **members}) + "\n")
        self.process.stdin.flush()
        return self.answer()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.stdin.close()
        try:
            self.process.wait(LIMIT)
        except subprocess.TimeoutExpired:
            self.process.kill()
