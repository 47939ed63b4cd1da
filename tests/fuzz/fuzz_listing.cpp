// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/errordocument.h"
#include "net/s3/paginator.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

// The documents of one listing, each ended by a NUL, taken one after the other.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    hq::S3Paginator paginator("a/");
    std::string query = hq::canonicalQuery(paginator.query());
    for (std::size_t at = 0; at <= size && paginator.state() == hq::S3Paginator::State::More;) {
        const std::size_t end = std::min(text.find('\0', at), size);
        const std::string document = text.substr(at, end - at);
        at = end + 1;
        hq::parseS3Error(document);
        auto listing = hq::parseS3Listing(document);
        if (!listing)
            continue;
        const std::size_t parsed = listing->entries.size();
        const bool goesOn = paginator.take(*listing) == hq::S3Paginator::State::More;
        const bool isOrdered =
            std::is_sorted(listing->entries.begin(), listing->entries.end(),
                           [](const auto &a, const auto &b) { return a.name < b.name; });
        // Never the same request twice running.
        const std::string next = hq::canonicalQuery(paginator.query());
        if (!isOrdered || listing->entries.size() > parsed || (goesOn && next == query))
            std::abort();
        query = next;
    }
    return 0;
}
