// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/webresource.h"

#include "net/bearertoken.h"
#include "net/query.h"

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

    static constexpr std::string_view kSecure = "https://";
    if (m_url.compare(0, kSecure.size(), kSecure) == 0) {
        const std::size_t end = m_url.find_first_of("/?#", kSecure.size());
        m_host = m_url.substr(kSecure.size(), end - kSecure.size());
        if (m_host.find('@') != std::string::npos)
            m_host.clear(); // the address brings credentials of its own
    }
}

bool WebResource::authorize(const Patience &patience)
{
    return m_host.empty() || bearerToken(m_host, &m_token, patience);
}

HttpRequest WebResource::request(const RequestOptions &options)
{
    HttpRequest request = requestWith(options);
    request.url = m_url;
    request.followRedirects = true;
    if (!m_token.empty()) {
        request.headers.push_back("Authorization: Bearer " + m_token);
        request.secrets = {m_token};
    }
    return request;
}

Adjustment WebResource::adjust(const HttpResponse &response, const Patience &patience)
{
    // A token that is refused at once is not the reason; a long copy may see several run out.
    constexpr std::chrono::minutes kMinLife{1};
    const auto now = Patience::Clock::now();
    if (response.status != 401 || m_token.empty() || (m_renewal && now < *m_renewal + kMinLife))
        return Adjustment::None;
    m_renewal = now;
    refuseBearerToken(m_host, m_token, patience);
    return authorize(patience) ? Adjustment::Adjusted : Adjustment::Failed;
}

} // namespace hq
