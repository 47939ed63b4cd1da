// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/lasterror.h"

#include <exception>

namespace hq {

// Runs a call of the C interface, which lets no exception out.
template <typename Result, typename Call>
Result guarded(Result failure, Call call) noexcept
{
    try {
        return call();
    } catch (const std::exception &) {
        fail(Error::OutOfMemory);
        return failure;
    }
}

template <typename Call>
int guardedBool(Call call) noexcept
{
    return guarded(0, [&call] { return call() ? 1 : 0; });
}

} // namespace hq
