// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// The XML documents that S3 answers with. Text in, values out; a stop of the thread ends the
// reading, and what was being read counts as broken.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace hq {

struct S3Listing
{
    struct Entry
    {
        std::string name; // object key or common prefix, decoded, never empty
        bool isFolder = false;
    };
    std::vector<Entry> entries; // in byte order of their names
    bool isTruncated = false;
    std::string nextToken;   // as it stands in the response
    std::string last;        // the name that a truncated page goes on behind; empty if unknown
    bool isVersion1 = false; // it names its marker, as no page of version 2 does
};

// A page of ListObjectsV2 or ListObjects, or the buckets of ListBuckets as folders. None when the
// document is broken, cut off or something else.
std::optional<S3Listing> parseS3Listing(const std::string &xml);

} // namespace hq
