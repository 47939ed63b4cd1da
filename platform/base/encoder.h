// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// The encrypted form of docs/encrypted-form.md.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace hq::encoder {

using Nonce = std::array<unsigned char, 24>;

// None when the cryptographic library does not start. Any thread.
std::optional<std::string> encode(std::string_view key, std::string_view plain);

// A nonce must not come twice with the same key; given by tests only.
std::optional<std::string> encode(std::string_view key, std::string_view plain, const Nonce &nonce);

// None for everything that encode() does not produce with this key.
std::optional<std::string> decode(std::string_view key, std::string_view text);

} // namespace hq::encoder
