// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "winapi.h"

#include "lasterror.h"

#include <aclapi.h>
#include <sddl.h>

#include <QString>

namespace hq::system {

namespace {

constexpr DWORD kDiskQuotaExceeded = 1295; // not in every header

// What the process's token says, of a kind whose structure begins with a pointer to an account.
class Account
{
public:
    explicit Account(TOKEN_INFORMATION_CLASS kind)
    {
        HANDLE token = nullptr;
        DWORD size = 0;
        if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &token))
            return;
        m_isKnown = ::GetTokenInformation(token, kind, m_buffer, sizeof m_buffer, &size);
        const DWORD error = ::GetLastError();
        ::CloseHandle(token);
        ::SetLastError(error);
    }

    // Null, with the system's error, when it cannot be found out.
    PSID sid() { return m_isKnown ? *reinterpret_cast<PSID *>(m_buffer) : nullptr; }

private:
    alignas(TOKEN_USER) unsigned char m_buffer[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
    bool m_isKnown = false;
};

} // namespace

bool failWith(DWORD code)
{
    switch (code) {
    case ERROR_ALREADY_EXISTS:
        return fail(Error::FileExists);
    case ERROR_HANDLE_DISK_FULL:
    case ERROR_FILE_TOO_LARGE:
    case kDiskQuotaExceeded:
        return fail(Error::DiskFull);
    case ERROR_REQUEST_ABORTED:
        return fail(Error::Cancelled);
    case ERROR_DIRECTORY:
        return fail(Error::PathNotFound);
    case ERROR_FILENAME_EXCED_RANGE:
        return fail(Error::InvalidName);
    default:
        setLastSystemError(code);
        return false;
    }
}

bool failNow()
{
    return failWith(::GetLastError());
}

bool hasNoSuchCall(DWORD error)
{
    return error == ERROR_INVALID_FUNCTION || error == ERROR_NOT_SUPPORTED ||
           error == ERROR_INVALID_PARAMETER || error == ERROR_CALL_NOT_IMPLEMENTED;
}

std::wstring wide(const std::string &text)
{
    return QString::fromStdString(text).toStdWString();
}

std::string narrow(const std::wstring &text)
{
    return QString::fromStdWString(text).toStdString();
}

std::wstring native(const std::string &path)
{
    constexpr std::size_t kMaxPlain = 240;
    std::wstring result = wide(path);
    if (result.size() < kMaxPlain || result.compare(0, 4, L"\\\\?\\") == 0)
        return result;
    const DWORD length = ::GetFullPathNameW(result.c_str(), 0, nullptr, nullptr);
    std::wstring full(length, L'\0');
    full.resize(::GetFullPathNameW(result.c_str(), length, full.data(), nullptr));
    if (full.empty())
        return result;
    return full.compare(0, 2, L"\\\\") == 0 ? L"\\\\?\\UNC" + full.substr(1) : L"\\\\?\\" + full;
}

NativeFile take(HANDLE handle)
{
    if (handle == INVALID_HANDLE_VALUE)
        failNow();
    return NativeFile(reinterpret_cast<std::intptr_t>(handle));
}

bool OwnerOnly::prepare()
{
    Account user(TokenUser);
    wchar_t *sid = nullptr;
    if (!user.sid() || !::ConvertSidToStringSidW(user.sid(), &sid))
        return false;
    const std::wstring rights = L"D:P(A;;FA;;;" + std::wstring(sid) + L")(A;;FA;;;SY)";
    ::LocalFree(sid);
    return ::ConvertStringSecurityDescriptorToSecurityDescriptorW(
        rights.c_str(), SDDL_REVISION_1, &m_attributes.lpSecurityDescriptor, nullptr);
}

bool OwnerOnly::narrow(HANDLE file) const
{
    constexpr SECURITY_INFORMATION kWhat =
        DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION;
    BOOL isPresent = FALSE;
    BOOL isDefaulted = FALSE;
    PACL list = nullptr;
    return ::GetSecurityDescriptorDacl(m_attributes.lpSecurityDescriptor, &isPresent, &list,
                                       &isDefaulted) &&
           isPresent &&
           ::SetSecurityInfo(file, SE_FILE_OBJECT, kWhat, nullptr, nullptr, list, nullptr) ==
               ERROR_SUCCESS;
}

bool isOwn(HANDLE file)
{
    PSID owner = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (::GetSecurityInfo(file, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner, nullptr,
                          nullptr, nullptr, &descriptor) != ERROR_SUCCESS)
        return false;
    bool result = owner && ::IsWellKnownSid(owner, WinWorldSid);
    // An administrator's files may belong to the group.
    for (const auto kind : {TokenUser, TokenOwner}) {
        Account account(kind);
        result = result || (owner && account.sid() && ::EqualSid(owner, account.sid()));
    }
    ::LocalFree(descriptor);
    return result;
}

} // namespace hq::system
