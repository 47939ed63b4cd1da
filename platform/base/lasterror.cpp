// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "base/lasterror.h"

namespace hq {

namespace {
thread_local std::uint32_t t_lastError = 0;
}

void setLastError(Error error)
{
    t_lastError = static_cast<std::uint32_t>(error);
}

void setLastSystemError(std::uint32_t code)
{
    t_lastError = code;
}

std::uint32_t lastError()
{
    return t_lastError;
}

bool fail(Error error)
{
    setLastError(error);
    return false;
}

} // namespace hq
