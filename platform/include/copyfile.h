// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "copyprogress.h"

namespace hq {

// hqOSCopyFile with a progress report; an empty `progress` is allowed.
int copyFile(const char *source, const char *destination, int keepExisting,
             const CopyProgressCallback &progress);

} // namespace hq
