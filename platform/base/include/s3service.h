// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace hq {

// The S3 service endpoint host: the site of S3 sources that name none. The provider's service
// domain is what follows its first label.
constexpr const char *kS3ServiceHost = "s3.amazonaws.com";

// An S3 address with one "/" between site and bucket, where the walk of an account puts two. Every
// other text stays as it is.
std::string usualS3Address(std::string_view address);

} // namespace hq
