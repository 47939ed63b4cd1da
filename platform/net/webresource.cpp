// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/webresource.h"

#include "net/s3signer.h"

namespace hq {

WebResource::WebResource(const std::string &address)
{
    const std::size_t pathEnd = address.find_first_of("?#");
    m_url.reserve(address.size());
    for (std::size_t i = 0; i < address.size(); ++i) {
        const auto byte = static_cast<unsigned char>(address[i]);
        if (address[i] == '\\' && i < pathEnd)
            m_url += '/';
        else if (byte <= 0x20 || byte >= 0x7f)
            m_url += percentEncoded(std::string_view(&address[i], 1), false);
        else
            m_url += address[i];
    }
    const std::size_t scheme = m_url.find(':');
    for (std::size_t i = 0; i < scheme && i < m_url.size(); ++i)
        m_url[i] = static_cast<char>(m_url[i] | 0x20);
}

HttpRequest WebResource::request(const RequestOptions &options)
{
    HttpRequest request;
    request.method = options.method;
    request.url = m_url;
    request.followRedirects = true;
    if (!options.range.empty())
        request.headers.push_back("Range: " + options.range);
    if (!options.ifMatch.empty())
        request.headers.push_back("If-Match: " + options.ifMatch);
    return request;
}

bool WebResource::learn(const HttpAnswer &)
{
    return false;
}

} // namespace hq
