// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "hqutil.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

// Nobody makes a text that decodes without the key, and what was encoded comes back.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const char kKey[] = "fuzz";
    const auto length = static_cast<std::uint32_t>(size);
    char *output = nullptr;
    std::uint32_t outputLength = 0;
    if (hqXCDecode(kKey, sizeof kKey, reinterpret_cast<const char *>(data), length, 0, 0, &output,
                   &outputLength))
        std::abort();

    char *encoded = nullptr;
    std::uint32_t encodedLength = 0;
    if (!hqXCEncode(kKey, sizeof kKey, data, length, 0, 0, &encoded, &encodedLength))
        std::abort();
    if (!hqXCDecode(kKey, sizeof kKey, encoded, encodedLength, 0, 0, &output, &outputLength) ||
        outputLength != length || std::memcmp(output, data, size) != 0)
        std::abort();
    hqXCFree(output);
    output = nullptr;
    // One flipped bit is one too many.
    encoded[size % encodedLength] = static_cast<char>(encoded[size % encodedLength] ^ 1);
    if (hqXCDecode(kKey, sizeof kKey, encoded, encodedLength, 0, 0, &output, &outputLength))
        std::abort();
    hqXCFree(encoded);
    return 0;
}
