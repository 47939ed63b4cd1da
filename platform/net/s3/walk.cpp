// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/s3/walk.h"

#include "base/text.h"
#include "net/s3/client.h"
#include "net/s3/ranges.h"
#include "stoptoken.h"
#include "walkwatch.h"

#include <vector>

namespace hq {

namespace {

// Entries between two looks at the page that is on its way.
constexpr unsigned kEntriesPerPoll = 32;

// The prefixes of the keys directly inside the folder that is meant, in the order in which they
// are tried: a folder's name can itself hold a "\".
std::vector<std::string> folderPrefixes(const S3Address &address)
{
    std::vector<std::string> prefixes{address.key()};
    if (prefixes[0] != address.rawKey)
        prefixes.push_back(address.rawKey);
    for (std::string &prefix : prefixes) {
        if (!prefix.empty() && prefix.back() != '/')
            prefix += '/';
    }
    return prefixes;
}

// `reported` counts the entries; false when the walk broke off.
bool walkPrefix(const S3Address &address, const std::string &prefix, const std::string &base,
                const WalkCallback &entry, std::uint64_t *reported)
{
    const auto client = HttpClient::lease();
    S3Ranges ranges(*client, address, prefix);
    // More pages come while these entries are reported.
    const auto goOn = [&client, &ranges] {
        client->step(0);
        ranges.poll();
    };
    const auto isThereMore = [&ranges] {
        if (!ranges.poll())
            tellWalkWaits();
        ranges.wait();
        return !ranges.isAtEnd();
    };
    std::string full = base;
    while (isThereMore()) {
        const std::optional<S3Ranges::Entries> entries = ranges.take();
        if (!entries)
            return false;
        goOn();
        for (const S3Listing::Entry &item : *entries) {
            if (item.name.size() <= prefix.size() ||
                item.name.compare(0, prefix.size(), prefix) != 0)
                continue; // the folder's own marker
            if (item.isFolder && item.name.size() == prefix.size() + 1)
                continue; // a folder without a name
            if (isStopped())
                return fail(Error::Cancelled);
            if (++*reported % kEntriesPerPoll == 0)
                goOn();
            full.resize(base.size());
            full.append(item.name, prefix.size(), std::string::npos);
            if (!entry(full, item.isFolder))
                return true;
        }
    }
    return true;
}

bool hasEntries(const S3Address &address, const std::string &prefix)
{
    const auto client = HttpClient::lease();
    S3Pages pages(*client, address, prefix, 1);
    while (!pages.isAtEnd()) {
        pages.wait();
        const std::optional<S3Listing> page = pages.take();
        if (!page)
            return false;
        if (!page->entries.empty())
            return true;
    }
    return fail(Error::FileNotFound);
}

} // namespace

bool walkS3(const S3Address &address, const std::string &written, const WalkCallback &entry)
{
    std::string base = written;
    // The buckets of an account are reported behind its address and another "/", though it mostly
    // ends in "/" itself: whoever compares texts finds them below the account.
    const bool isDone = address.bucket.empty() ? base.substr(base.size() - 2) == "//"
                                               : isAddressSeparator(base.back());
    if (!isDone)
        base += '/';
    std::uint64_t reported = 0;
    for (const std::string &prefix : folderPrefixes(address)) {
        if (reported > 0)
            break;
        if (!walkPrefix(address, prefix, base, entry, &reported))
            return false;
    }
    return true;
}

bool isS3Folder(const S3Address &address)
{
    HttpResponse response;
    if (address.rawKey.empty())
        return headBucket(address, &response);
    for (const std::string &prefix : folderPrefixes(address)) {
        if (hasEntries(address, prefix))
            return true;
        if (!isLastError(Error::FileNotFound))
            return false;
    }
    return false;
}

} // namespace hq
