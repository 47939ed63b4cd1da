# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

"""What the test servers share: the control channel and the content of generated objects."""

import json
import os
import signal
import sys

# Byte i of every generated object is PATTERN[i % PERIOD]. The period is prime, so that a part
# that lands at a wrong offset shows.
PERIOD = 1048573
PATTERN = bytes((i * 2654435761 >> 24) & 255 for i in range(PERIOD))


def content(offset, size):
    start = offset % PERIOD
    return (PATTERN * ((start + size) // PERIOD + 1))[start:start + size]


def take_stdout():
    """Keeps the real stdout for the control channel; what libraries print goes to stderr."""
    channel = os.fdopen(os.dup(1), "w")
    os.dup2(2, 1)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(0))
    return channel


def control(channel, ready, commands):
    """Reports {ready}, then answers one JSON line {"op": NAME, ...} by one JSON line until stdin
    closes. A command is a function of the line's other members; what it returns is the answer."""

    def say(answer):
        channel.write(json.dumps(answer) + "\n")
        channel.flush()

    say(ready)
    for line in sys.stdin:
        try:
            arguments = json.loads(line)
            say(commands[arguments.pop("op")](**arguments) or {})
        except Exception as error:
            say({"error": f"{type(error).__name__}: {error}"})
