// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "hqutil.h"

#include <QString>

// Opens what an address names for reading: HQ_INVALID_HANDLE and hqOSGetLastError() when it cannot
// be reached. The caller closes it. The attributes make no difference. Any thread.
HQHANDLE openSource(const QString &address, std::uint32_t attributes = HQ_ATTRIBUTE_NORMAL);

// Whether it opens, which proves that it is there and admits the credentials.
bool isReachable(const QString &address);
