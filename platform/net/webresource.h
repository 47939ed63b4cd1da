// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "net/resource.h"

#include <optional>
#include <string>

namespace hq {

// Requests for an "https://" or "http://" address. Bytes that cannot stand in a URL are
// percent-encoded, "\" in the path counts as "/"; everything else is sent as written, so that
// presigned addresses stay valid. An https address of a configured repository carries a bearer
// token.
class WebResource : public Resource
{
public:
    explicit WebResource(const std::string &address);

    // Gets the token that the requests will carry, where the host wants one; false with the last
    // error when it is refused.
    bool authorize(const Patience &patience);
    HttpRequest request(const RequestOptions &options) override;
    Adjustment adjust(const HttpResponse &response, const Patience &patience) override;

private:
    std::string m_url;
    std::string m_host; // with its port; empty when no token may be sent
    std::string m_token;
    std::optional<Patience::Clock::time_point> m_renewal; // of a token that was refused
};

} // namespace hq
