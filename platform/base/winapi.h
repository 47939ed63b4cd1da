// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// What the files of Windows share.
#pragma once

#include "base/system.h"

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <string>

namespace hq::system {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// Sets the last error; false.
bool failWith(DWORD code);
bool failNow();

std::wstring wide(const std::string &text);
std::string narrow(const std::wstring &text);

// Paths near the old limit of 260 characters are given in the form that has no limit.
std::wstring native(const std::string &path);
inline HANDLE native(std::intptr_t handle)
{
    return reinterpret_cast<HANDLE>(handle);
}

// Virus scanners and indexers hold new files open for a moment.
template <typename Call>
bool patiently(Call call)
{
    for (int attempt = 0; attempt < 10; ++attempt) {
        if (call())
            return true;
        const DWORD error = ::GetLastError();
        if (error != ERROR_SHARING_VIOLATION && error != ERROR_ACCESS_DENIED)
            break;
        ::Sleep(20);
        ::SetLastError(error);
    }
    return failNow();
}

} // namespace hq::system
