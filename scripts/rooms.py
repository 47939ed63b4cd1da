#!/usr/bin/env python3
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

"""scripts/rooms.py: prints which room includes headers of which, and how often. Fails where an arrow
points the wrong way, or through a wall of the platform's rooms: to a header outside of include/."""

import os
import re
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
# What a room may know.
KNOWS = {"platform/base": (), "platform/net": ("platform/base",),
         "platform": ("platform/net", "platform/base"),
         "core": ("platform",), "store": ("core", "platform"),
         "browse": ("core", "platform"), "ui": ("browse", "store", "core", "platform"),
         "app": ("ui", "browse", "store", "core", "platform")}
PLATFORM = ("platform/base", "platform/net", "platform")


def room_of(path):
    return next((room for room in sorted(KNOWS, key=len, reverse=True)
                 if path.startswith(room + "/")), None)


def main():
    files = sorted(os.path.relpath(os.path.join(folder, name), ROOT).replace(os.sep, "/")
                   for top in KNOWS if "/" not in top
                   for folder, _, names in os.walk(os.path.join(ROOT, top)) for name in names)
    headers = {path for path in files if path.endswith(".h")}
    arrows, wrong = {}, []
    for path in (path for path in files if path.endswith((".h", ".cpp"))):
        room = room_of(path)
        with open(os.path.join(ROOT, path), encoding="utf-8") as file:
            names = re.findall(r'^#include "([^"]+)"', file.read(), re.MULTILINE)
        for name in names:
            beside = os.path.normpath(os.path.join(os.path.dirname(path), name))
            found = [beside] if beside in headers else [
                header for header in headers if header.endswith("/" + name)]
            if not found:
                continue  # made by the build
            if len(found) > 1:
                wrong.append(f"{path}: {name} may be any of {', '.join(found)}")
            other = room_of(found[0])
            if other == room:
                continue
            arrows[room, other] = arrows.get((room, other), 0) + 1
            # The doors of the inner rooms are the platform's.
            through_door = other in PLATFORM and "/include/" in found[0]
            known = other in KNOWS[room] or (through_door and "platform" in KNOWS[room])
            if not known or (other in PLATFORM and room not in PLATFORM and not through_door):
                wrong.append(f"{path}: {found[0]} is not for {room}")
    for (room, other), count in sorted(arrows.items()):
        print(f"{room} -> {other}  {count}")
    for line in wrong:
        print(line, file=sys.stderr)
    return bool(wrong)


sys.exit(main())
