// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "net/resource.h"

#include <string>

namespace hq {

// Requests for an "https://" or "http://" address. Bytes that cannot stand in a URL are
// percent-encoded, "\" in the path counts as "/"; everything else is sent as written, so that
// presigned addresses stay valid.
class WebResource : public Resource
{
public:
    explicit WebResource(const std::string &address);

    HttpRequest request(const RequestOptions &options) override;
    bool learn(const HttpAnswer &answer) override;

private:
    std::string m_url;
};

} // namespace hq
