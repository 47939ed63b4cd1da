// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "hqutil.h"

namespace hq {

// Whether the server said, when it answered for an open https source, that there is more than the
// answer holds: by a "Link" to the next page or by the key of one, as TAMS does. Any thread.
bool hasNextPage(HQHANDLE file);

} // namespace hq
