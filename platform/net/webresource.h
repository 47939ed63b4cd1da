// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "net/resource.h"

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
    bool authorize();
    HttpRequest request(const RequestOptions &options) override;
    bool learn(const HttpAnswer &answer) override;

private:
    std::string m_url;
    std::string m_host; // with its port; empty when no token may be sent
    std::string m_token;
    bool m_tokenRenewed = false;
};

} // namespace hq
