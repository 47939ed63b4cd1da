// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace hq {

// The parts of "s3://" key ":" secret "@" site "/" bucket ["/" object key]. Nothing in an address
// is escaped, so each part is the text between its separators. In front of the bucket there may be
// two "/".
struct S3Address
{
    std::string accessKey;
    std::string secret;
    std::string site; // host, may carry a port and a scheme of its own
    std::string bucket;
    std::string rawKey; // behind the bucket and one separator, as written

    // The object key with "\" taken as "/".
    std::string key() const;
    // Where the secret begins in the address.
    std::size_t secretStart() const
    {
        return std::string_view("s3://").size() + accessKey.size() + 1;
    }
    bool isSigned() const { return !accessKey.empty() || !secret.empty(); }

    // None when the text is not of the form, or when a part could not stand in a request header.
    static std::optional<S3Address> parse(std::string_view address);
};

// Length of the site that `text` begins with, a host with its port and perhaps a scheme; 0 when
// there is none, or when neither a separator nor the end follows it. Without a scheme of its own
// the host is localhost, an IP address or a name with a dot inside; `anyName` lifts that.
std::size_t siteLength(std::string_view text, bool anyName);

// Whether `address` begins with "s3://" in any letter case.
bool isS3Address(std::string_view address);

} // namespace hq
