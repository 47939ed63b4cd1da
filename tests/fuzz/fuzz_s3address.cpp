// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "base/printable.h"
#include "base/redaction.h"
#include "base/s3address.h"
#include "credentials.h"
#include "hqutil.h"
#include "net/s3/endpoint.h"

#include <cstdlib>

// The parts of an address put together again are the address; what is shown never has the secret.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    char bucket[256], folder[4096], name[4096], region[64], key[1512], secret[1512], site[1512];
    hqOSAwsParse(text.c_str(), bucket, folder, name, region, key, secret, site);
    const std::string shown = hq::harmlessAddress(text);
    hq::holdsCredentials(text);
    hq::harmlessReport(text, text);
    bool isGood = hq::printable(shown) == shown;
    if (const auto address = hq::S3Address::parse(text)) {
        const std::string start = text.substr(0, 2) + "://" + address->accessKey + ":";
        const std::string end = "@" + address->site;
        const std::string shownStart = hq::printable(start) + "***@";
        const hq::S3Endpoint endpoint = hq::s3Endpoint(address->site, address->bucket, "us-east-1");
        isGood = isGood && text.rfind(start + address->secret + end, 0) == 0 &&
                 text.size() >= text.find(end) + address->bucket.size() + address->rawKey.size() &&
                 shown.rfind(shownStart, 0) == 0 &&
                 endpoint.host.find_first_of("/@?# \r\n") == std::string::npos;
    }
    if (!isGood)
        std::abort();
    return 0;
}
