// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace hq {

// Has requests for a bucket signed for `region` until a response names another one; what is no
// region's name stands for none. As long as the process lives, any thread.
void tryRegionFirst(const std::string &site, const std::string &bucket, const std::string &region);

} // namespace hq
