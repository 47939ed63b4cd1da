// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "paging.h"

#include "guarded.h"
#include "handletable.h"

bool hq::hasNextPage(HQHANDLE file)
{
    return guardedBool([file] {
        return HandleTable::instance().with(
            file, [](const File &opened) { return opened.hasNextPage(); });
    });
}
