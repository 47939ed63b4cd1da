// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Signature Version 4 of S3 requests, and the percent-encoding that it prescribes. curl's own signs
// by this computer's clock, whatever the server's is.
#pragma once

#include <ctime>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace hq {

using NameValues = std::vector<std::pair<std::string, std::string>>;

// Every byte but the unreserved characters (and "/" if `keepSlash`) becomes %XX.
std::string percentEncoded(std::string_view text, bool keepSlash);

// "name=value" joined by "&", both encoded, in byte order of the encoded names.
std::string canonicalQuery(const NameValues &query);

struct SigningInput
{
    std::string method;
    std::string path;        // encoded, as it is sent
    std::string query;       // canonical, as it is sent
    NameValues headers;      // lower-case names, trimmed values: host and every x-amz- header
    std::string payloadHash; // "UNSIGNED-PAYLOAD" or the hexadecimal SHA-256 of the body
    std::string accessKey;
    std::string secret;
    std::string region;
    std::time_t time; // UTC
};

// "YYYYMMDDTHHMMSSZ", the value of x-amz-date.
std::string amzDate(std::time_t time);

// The value of the Authorization header.
std::string authorization(const SigningInput &input);

} // namespace hq
