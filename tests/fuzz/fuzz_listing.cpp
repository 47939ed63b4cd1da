// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/s3documents.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    hq::parseS3Error(text);
    if (const auto listing = hq::parseS3Listing(text)) {
        const bool ordered =
            std::is_sorted(listing->entries.begin(), listing->entries.end(),
                           [](const auto &a, const auto &b) { return a.name < b.name; });
        if (!ordered)
            std::abort();
    }
    return 0;
}
