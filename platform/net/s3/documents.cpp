// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/s3/documents.h"

#include "net/xmldocument.h"

#include <curl/curl.h>

#include <algorithm>
#include <memory>
#include <new>

namespace hq {

namespace {

// The encoding of "encoding-type=url": form encoding, so "+" is a blank.
std::string urlDecoded(std::string text)
{
    std::replace(text.begin(), text.end(), '+', ' ');
    int size = 0;
    const std::unique_ptr<char, void (*)(void *)> decoded(
        curl_easy_unescape(nullptr, text.data(), static_cast<int>(text.size()), &size), curl_free);
    if (!decoded)
        throw std::bad_alloc();
    return {decoded.get(), static_cast<std::size_t>(size)};
}

// The text of the child `name` of the element entered last, whose end is passed.
std::string childText(XmlDocument &xml, QLatin1String name)
{
    std::string text;
    while (xml.nextChild()) {
        if (xml.name() == name)
            text = xml.text();
        else
            xml.skip();
    }
    return text;
}

using Entry = S3Listing::Entry;

bool byName(const Entry &a, const Entry &b)
{
    return a.name < b.name;
}

// The last name in the server's own order: the one that NextMarker names, be it encoded like the
// names or not, else the last of the objects or of the common prefixes. A page without names has
// the marker alone.
std::string lastName(const std::vector<Entry> &objects, const std::vector<Entry> &folders,
                     const std::string &marker, bool isEncoded)
{
    std::string decoded = isEncoded ? urlDecoded(marker) : marker;
    if (objects.empty() && folders.empty())
        return decoded;
    for (const std::string &name : {decoded, marker}) {
        const auto isIt = [&name](const Entry &entry) { return entry.name == name; };
        if (!name.empty() && (std::any_of(objects.begin(), objects.end(), isIt) ||
                              std::any_of(folders.begin(), folders.end(), isIt)))
            return name;
    }
    const std::string none;
    return std::max(objects.empty() ? none : objects.back().name,
                    folders.empty() ? none : folders.back().name);
}

void readObjects(XmlDocument &xml, S3Listing &listing)
{
    std::vector<Entry> &objects = listing.entries;
    std::vector<Entry> folders;
    std::string marker;
    bool isEncoded = false;
    const auto add = [](std::vector<Entry> &entries, std::string name, bool isFolder) {
        if (!name.empty())
            entries.push_back({std::move(name), isFolder});
    };
    while (xml.nextChild()) {
        const QStringView name = xml.name();
        if (name == QLatin1String("Contents"))
            add(objects, childText(xml, QLatin1String("Key")), false);
        else if (name == QLatin1String("CommonPrefixes"))
            add(folders, childText(xml, QLatin1String("Prefix")), true);
        else if (name == QLatin1String("IsTruncated"))
            listing.isTruncated = xml.text() == "true";
        else if (name == QLatin1String("NextContinuationToken"))
            listing.nextToken = xml.text();
        else if (name == QLatin1String("NextMarker"))
            marker = xml.text();
        else if (name == QLatin1String("EncodingType"))
            isEncoded = xml.text() == "url";
        else
            xml.skip();
    }
    if (!xml.isComplete())
        return;
    for (std::vector<Entry> *entries : {&objects, &folders}) {
        for (auto entry = entries->begin(); isEncoded && entry != entries->end(); ++entry)
            entry->name = urlDecoded(entry->name);
    }
    listing.isVersion1 = !marker.empty();
    if (listing.isTruncated)
        listing.last = lastName(objects, folders, marker, isEncoded);
    objects.insert(objects.end(), std::make_move_iterator(folders.begin()),
                   std::make_move_iterator(folders.end()));
}

void readBuckets(XmlDocument &xml, S3Listing &listing)
{
    while (xml.nextChild()) {
        if (xml.name() != QLatin1String("Buckets")) {
            xml.skip();
            continue;
        }
        while (xml.nextChild()) {
            std::string name = childText(xml, QLatin1String("Name"));
            if (!name.empty())
                listing.entries.push_back({name + "/", true});
        }
    }
}

} // namespace

std::optional<S3Listing> parseS3Listing(const std::string &text)
{
    S3Listing listing;
    XmlDocument xml(text);
    if (!xml.nextChild())
        return std::nullopt;
    if (xml.name() == QLatin1String("ListBucketResult"))
        readObjects(xml, listing);
    else if (xml.name() == QLatin1String("ListAllMyBucketsResult"))
        readBuckets(xml, listing);
    else
        return std::nullopt;
    if (!xml.isComplete())
        return std::nullopt;
    // Objects and common prefixes come apart, each in order.
    std::vector<Entry> &entries = listing.entries;
    if (!std::is_sorted(entries.begin(), entries.end(), byName))
        std::stable_sort(entries.begin(), entries.end(), byName);
    return listing;
}

} // namespace hq
