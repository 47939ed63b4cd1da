// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Files on their way to their names.
#include "lasterror.h"
#include "temporaryfile.h"
#include "winapi.h"

#include <aclapi.h>
#include <sddl.h>

#include <cstring>
#include <memory>
#include <vector>

namespace hq::system {

namespace {

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

// With true the system removes the file when its last handle is closed, also when the process is
// killed.
bool markForRemoval(HANDLE file, bool remove)
{
    FILE_DISPOSITION_INFO disposition{};
    disposition.DeleteFile = remove;
    return ::SetFileInformationByHandle(file, FileDispositionInfo, &disposition,
                                        sizeof disposition);
}

bool renameByHandle(HANDLE file, const std::wstring &to, bool keepExisting)
{
    const std::size_t size = to.size() * sizeof(wchar_t);
    std::vector<FILE_RENAME_INFO> buffer(2 + size / sizeof(FILE_RENAME_INFO), FILE_RENAME_INFO{});
    FILE_RENAME_INFO *info = buffer.data();
    info->ReplaceIfExists = !keepExisting;
    info->FileNameLength = static_cast<DWORD>(size);
    std::memcpy(info->FileName, to.c_str(), size + sizeof(wchar_t));
    return ::SetFileInformationByHandle(
        file, FileRenameInfo, info, static_cast<DWORD>(buffer.size() * sizeof(FILE_RENAME_INFO)));
}

bool hasNoSuchCall(DWORD error)
{
    return error == ERROR_INVALID_FUNCTION || error == ERROR_NOT_SUPPORTED ||
           error == ERROR_INVALID_PARAMETER || error == ERROR_CALL_NOT_IMPLEMENTED;
}

// On volumes that know no owners, files belong to everyone.
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

} // namespace

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

NativeFile NativeFile::createNameless(const std::string &, Rights)
{
    fail(Error::NotSupported);
    return {};
}

NativeFile NativeFile::createLocked(const std::string &path, Rights rights)
{
    OwnerOnly owner;
    if (rights == kOwnerOnly && !owner.prepare()) {
        failNow();
        return {};
    }
    NativeFile file =
        take(::CreateFileW(native(path).c_str(), GENERIC_READ | GENERIC_WRITE | DELETE, 0,
                           rights == kOwnerOnly ? owner.attributes() : nullptr, CREATE_NEW,
                           FILE_ATTRIBUTE_NORMAL, nullptr));
    // Where this is refused, remove() does it by name.
    if (file.isOpen())
        markForRemoval(native(file.m_handle), true);
    return file;
}

bool NativeFile::link(const std::string &) const
{
    return fail(Error::NotSupported);
}

bool NativeFile::rename(const std::string &from, const std::string &to, bool keepExisting)
{
    const HANDLE file = native(m_handle);
    const std::wstring target = native(to);
    markForRemoval(file, false);
    if (patiently([&] { return renameByHandle(file, target, keepExisting); }))
        return true;
    if (!hasNoSuchCall(lastError())) {
        markForRemoval(file, true);
        return false;
    }
    const std::wstring source = native(from);
    const DWORD how = MOVEFILE_WRITE_THROUGH | (keepExisting ? 0 : MOVEFILE_REPLACE_EXISTING);
    close();
    if (patiently([&] { return ::MoveFileExW(source.c_str(), target.c_str(), how); }))
        return true;
    const LastErrorKeeper keeper;
    removeFile(from);
    return false;
}

void NativeFile::remove(const std::string &name)
{
    if (markForRemoval(native(m_handle), true))
        return;
    close();
    removeFile(name);
}

void NativeFile::syncName(const std::string &) const
{
    if (isOpen())
        ::FlushFileBuffers(native(m_handle));
}

void removeAbandoned(const std::string &folder, const NativeFile &,
                     const std::function<bool()> &goOn)
{
    const LastErrorKeeper keeper;
    WIN32_FIND_DATAW found{};
    const HANDLE search = ::FindFirstFileW(native(folder + ".*.pellory-*.part").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE)
        return;
    const std::unique_ptr<void, BOOL (*)(HANDLE)> closer(
        search, [](HANDLE handle) { return ::FindClose(handle); });
    do {
        constexpr DWORD kOther = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
        const std::string name = narrow(found.cFileName);
        if ((found.dwFileAttributes & kOther) != 0 || !isTemporaryName(name))
            continue;
        // Opens only when nobody else has it open.
        NativeFile file(reinterpret_cast<std::intptr_t>(
            ::CreateFileW(native(folder + name).c_str(), DELETE | READ_CONTROL, 0, nullptr,
                          OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT, nullptr)));
        if (file.isOpen() && isOwn(native(file.handle())))
            file.remove(folder + name);
    } while (goOn() && ::FindNextFileW(search, &found));
}

} // namespace hq::system
