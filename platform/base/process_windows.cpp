// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "base/winapi.h"
#include "process.h"

#include <algorithm>

namespace hq {

void makeProcessDpiAware()
{
    ::SetProcessDPIAware();
}

void sleepMilliseconds(int milliseconds)
{
    ::Sleep(static_cast<DWORD>(std::max(milliseconds, 0)));
}

} // namespace hq
