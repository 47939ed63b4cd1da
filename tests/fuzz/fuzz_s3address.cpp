// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "base/redaction.h"
#include "hqutil.h"
#include "net/s3resource.h"

#include <cstdint>
#include <cstdlib>
#include <string>

// The parts of an address put together again are the address; a log line never shows the secret.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    const std::string redacted = hq::redact(text);
    char bucket[256], folder[4096], name[4096], region[64], key[1512], secret[1512], site[1512];
    hqOSAwsParse(text.c_str(), bucket, folder, name, region, key, secret, site);

    const auto address = hq::S3Address::parse(text);
    if (!address)
        return 0;
    const std::string start =
        "s3://" + address->accessKey + ":" + address->secret + "@" + address->site;
    if (text.compare(2, start.size() - 2, start, 2) != 0)
        std::abort();
    if (text.size() < start.size() + address->bucket.size() + address->rawKey.size())
        std::abort();
    // Addresses inside an address are not told apart from the next one of a line.
    const bool isOneAddress = text.find("3://", 2) == std::string::npos;
    if (isOneAddress && address->secret.size() > 8 &&
        redacted.compare(2, start.size() - 2, start, 2, std::string::npos) == 0)
        std::abort();
    const hq::S3Endpoint endpoint = hq::s3Endpoint(address->site, address->bucket, "us-east-1");
    if (endpoint.host.find_first_of("/@?# \r\n") != std::string::npos)
        std::abort();
    return 0;
}
