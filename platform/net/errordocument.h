// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace hq {

// The document that explains a refusal of an S3 server.
struct S3ErrorDocument
{
    std::string code;
    std::string message;
    std::string region;   // named by AuthorizationHeaderMalformed or PermanentRedirect
    std::string endpoint; // named by a redirect
};

// Empty fields when the text is not an error document.
S3ErrorDocument parseS3Error(const std::string &xml);

} // namespace hq
