// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace hq {

// The S3 service endpoint host: the site of S3 sources that name none. The provider's service
// domain is what follows its first label.
constexpr const char *kS3ServiceHost = "s3.amazonaws.com";

} // namespace hq
