// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/s3documents.h"

#include <QXmlStreamReader>

#include <algorithm>

namespace hq {

namespace {

std::string elementText(QXmlStreamReader &xml)
{
    return xml.readElementText(QXmlStreamReader::SkipChildElements).toStdString();
}

int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// The encoding of "encoding-type=url": form encoding, so "+" is a blank.
std::string urlDecoded(const std::string &text)
{
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size() && hexDigit(text[i + 1]) >= 0 &&
            hexDigit(text[i + 2]) >= 0) {
            result += static_cast<char>(hexDigit(text[i + 1]) * 16 + hexDigit(text[i + 2]));
            i += 2;
        } else {
            result += text[i] == '+' ? ' ' : text[i];
        }
    }
    return result;
}

// The text of the child `name` of the current element, whose end is passed.
std::string childText(QXmlStreamReader &xml, QLatin1String name)
{
    std::string text;
    while (xml.readNextStartElement()) {
        if (xml.name() == name)
            text = elementText(xml);
        else
            xml.skipCurrentElement();
    }
    return text;
}

void readObjects(QXmlStreamReader &xml, S3Listing &listing)
{
    bool encoded = false;
    while (xml.readNextStartElement()) {
        const QStringRef name = xml.name();
        if (name == QLatin1String("Contents"))
            listing.entries.push_back({childText(xml, QLatin1String("Key")), false});
        else if (name == QLatin1String("CommonPrefixes"))
            listing.entries.push_back({childText(xml, QLatin1String("Prefix")), true});
        else if (name == QLatin1String("IsTruncated"))
            listing.isTruncated = elementText(xml) == "true";
        else if (name == QLatin1String("NextContinuationToken"))
            listing.nextToken = elementText(xml);
        else if (name == QLatin1String("EncodingType"))
            encoded = elementText(xml) == "url";
        else
            xml.skipCurrentElement();
    }
    if (encoded) {
        for (S3Listing::Entry &entry : listing.entries)
            entry.name = urlDecoded(entry.name);
    }
}

void readBuckets(QXmlStreamReader &xml, S3Listing &listing)
{
    while (xml.readNextStartElement()) {
        if (xml.name() != QLatin1String("Buckets")) {
            xml.skipCurrentElement();
            continue;
        }
        while (xml.readNextStartElement())
            listing.entries.push_back({childText(xml, QLatin1String("Name")) + "/", true});
    }
}

} // namespace

S3ErrorDocument parseS3Error(const std::string &text)
{
    S3ErrorDocument error;
    QXmlStreamReader xml(QByteArray::fromRawData(text.data(), static_cast<int>(text.size())));
    if (!xml.readNextStartElement() || xml.name() != QLatin1String("Error"))
        return error;
    while (xml.readNextStartElement()) {
        if (xml.name() == QLatin1String("Code"))
            error.code = elementText(xml);
        else if (xml.name() == QLatin1String("Message"))
            error.message = elementText(xml);
        else if (xml.name() == QLatin1String("Region"))
            error.region = elementText(xml);
        else if (xml.name() == QLatin1String("Endpoint"))
            error.endpoint = elementText(xml);
        else
            xml.skipCurrentElement();
    }
    return error;
}

std::optional<S3Listing> parseS3Listing(const std::string &text)
{
    S3Listing listing;
    QXmlStreamReader xml(QByteArray::fromRawData(text.data(), static_cast<int>(text.size())));
    if (!xml.readNextStartElement())
        return std::nullopt;
    if (xml.name() == QLatin1String("ListBucketResult"))
        readObjects(xml, listing);
    else if (xml.name() == QLatin1String("ListAllMyBucketsResult"))
        readBuckets(xml, listing);
    else
        return std::nullopt;
    if (xml.hasError() || !xml.isEndElement())
        return std::nullopt;

    const auto byName = [](const S3Listing::Entry &a, const S3Listing::Entry &b) {
        return a.name < b.name;
    };
    // Objects and common prefixes come apart, each in order.
    if (!std::is_sorted(listing.entries.begin(), listing.entries.end(), byName))
        std::stable_sort(listing.entries.begin(), listing.entries.end(), byName);
    return listing;
}

} // namespace hq
