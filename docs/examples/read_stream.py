#!/usr/bin/python3
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

"""read_stream.py FILE...: prints the address that each stream file holds, plain or encrypted, as
docs/encrypted-form.md describes it. Needs PyNaCl (Debian: python3-nacl)."""

import base64
import hashlib
import re
import sys

import nacl.bindings
import nacl.exceptions

BUILT_IN_KEY = b"0x9c4e17b2a05d38f6e1c7024b9da36f58\0"
KEY = hashlib.blake2b(BUILT_IN_KEY, digest_size=32, person=b"Pellory.stream.1").digest()
VERSION, NONCE_SIZE, TAG_SIZE = b"\1", 24, 16


def address(content):
    """The address in a stream file's bytes; ValueError when there is none."""
    if not content.startswith(b":x"):
        return content.decode()
    text = content[2:]
    if not re.fullmatch(rb"[A-Za-z0-9_-]*", text):
        raise ValueError("a character that does not belong there")
    data = base64.urlsafe_b64decode(text + b"=" * (-len(text) % 4))
    if base64.urlsafe_b64encode(data).rstrip(b"=") != text:
        raise ValueError("not as it was written")
    if len(data) < 1 + NONCE_SIZE + TAG_SIZE or data[:1] != VERSION:
        raise ValueError("cut off, or of another version")
    nonce, rest = data[1:1 + NONCE_SIZE], data[1 + NONCE_SIZE:]
    try:
        return nacl.bindings.crypto_aead_xchacha20poly1305_ietf_decrypt(
            rest, VERSION, nonce, KEY).decode()
    except nacl.exceptions.CryptoError as error:
        raise ValueError("changed, or of another key") from error


if __name__ == "__main__":
    for name in sys.argv[1:]:
        try:
            with open(name, "rb") as file:
                print(address(file.read()))
        except (OSError, ValueError) as error:
            sys.exit(f"{name}: {error}")
