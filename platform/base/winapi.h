// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// What the files of Windows share.
#pragma once

#include "system.h"

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
// Whether the error says that the file system does not know a call.
bool hasNoSuchCall(DWORD error);

std::wstring wide(const std::string &text);
std::string narrow(const std::wstring &text);

// Paths near the old limit of 260 characters are given in the form that has no limit.
std::wstring native(const std::string &path);
inline HANDLE native(std::intptr_t handle)
{
    return reinterpret_cast<HANDLE>(handle);
}

// The file; a handle that is not one sets the last error.
NativeFile take(HANDLE handle);

// The rights of a file for this process's user and, for the sake of backups, the system, whatever
// its folder would hand down.
class OwnerOnly
{
public:
    OwnerOnly() = default;
    OwnerOnly(const OwnerOnly &) = delete;
    OwnerOnly &operator=(const OwnerOnly &) = delete;
    ~OwnerOnly() { ::LocalFree(m_attributes.lpSecurityDescriptor); }

    // False sets the system's error.
    bool prepare();
    SECURITY_ATTRIBUTES *attributes() { return &m_attributes; }
    // Gives an open file these rights in place of its own.
    bool narrow(HANDLE file) const;

private:
    SECURITY_ATTRIBUTES m_attributes{sizeof(SECURITY_ATTRIBUTES), nullptr, FALSE};
};

// Whether an open file belongs to this process's user. On volumes that know no owners, files belong
// to everyone.
bool isOwn(HANDLE file);

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
