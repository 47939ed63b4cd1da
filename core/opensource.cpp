// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "opensource.h"

HQHANDLE openSource(const QString &address, std::uint32_t attributes)
{
    return hqOSCreateFile(address.toUtf8().constData(), HQ_ACCESS_READ, HQ_SHARE_READ, nullptr,
                          HQ_OPEN_EXISTING, attributes, nullptr);
}

bool isReachable(const QString &address)
{
    const HQHANDLE source = openSource(address);
    if (source == HQ_INVALID_HANDLE)
        return false;
    hqOSCloseFile(source);
    return true;
}
