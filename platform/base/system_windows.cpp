// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "lasterror.h"
#include "text.h"
#include "winapi.h"

#include <shlobj.h>

#include <QDir>
#include <QScopeGuard>

namespace hq::system {

namespace {

constexpr DWORD kMissing = INVALID_FILE_ATTRIBUTES;

// An environment variable counts only when it depends on no current folder or drive, which is more
// than Qt asks of a path.
std::string folderFromEnvironment(const char *name, int folder)
{
    const QString value = qEnvironmentVariable(name);
    const QString begin = QDir::fromNativeSeparators(value).left(3);
    if (begin.startsWith(QLatin1String("//")) || begin.endsWith(QLatin1String(":/")))
        return value.toStdString() + '\\';
    wchar_t path[MAX_PATH] = {};
    if (FAILED(::SHGetFolderPathW(nullptr, folder, nullptr, SHGFP_TYPE_CURRENT, path)))
        return {};
    return narrow(path) + '\\';
}

} // namespace

Kind kindOf(const std::string &path)
{
    constexpr std::size_t kMaxName = 255;
    const DWORD attributes = ::GetFileAttributesW(native(path).c_str());
    if (attributes == kMissing) {
        failNow();
        const std::size_t end = path.find_last_of("/\\") + 1;
        if (wide(path.substr(end)).size() > kMaxName) // which not every drive tells
            fail(Error::InvalidName);
        return Kind::Missing;
    }
    if (attributes & FILE_ATTRIBUTE_DIRECTORY)
        return Kind::Folder;
    return attributes & FILE_ATTRIBUTE_DEVICE ? Kind::Other : Kind::File;
}

std::string linkTarget(const std::string &path)
{
    const DWORD attributes = ::GetFileAttributesW(native(path).c_str());
    if (attributes == kMissing || !(attributes & FILE_ATTRIBUTE_REPARSE_POINT))
        return path;
    const NativeFile file(reinterpret_cast<std::intptr_t>(
        ::CreateFileW(native(path).c_str(), 0, kShareAll, nullptr, OPEN_EXISTING,
                      FILE_FLAG_BACKUP_SEMANTICS, nullptr)));
    if (!file.isOpen())
        return path;
    std::wstring target(32768, L'\0');
    target.resize(::GetFinalPathNameByHandleW(native(file.handle()), target.data(),
                                              static_cast<DWORD>(target.size()), 0));
    return target.empty() ? path : narrow(target);
}

bool isTaken(const std::string &path)
{
    return ::GetFileAttributesW(native(path).c_str()) != kMissing;
}

bool renameOver(const std::string &from, const std::string &to)
{
    const std::wstring source = native(from);
    const std::wstring target = native(to);
    return patiently([&] {
        return ::MoveFileExW(source.c_str(), target.c_str(),
                             MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
    });
}

bool removeFile(const std::string &path)
{
    const std::wstring name = native(path);
    return patiently([&] { return ::DeleteFileW(name.c_str()); });
}

bool listFolder(const std::string &path, std::vector<FolderEntry> *entries,
                const std::function<bool()> &goOn)
{
    if (kindOf(path) != Kind::Folder)
        return kindOf(path) != Kind::Missing && fail(Error::PathNotFound);
    std::string pattern = path;
    if (pattern.empty() || !isAddressSeparator(pattern.back()))
        pattern += separator();
    WIN32_FIND_DATAW found{};
    const std::wstring names = native(pattern + '*');
    HANDLE search = ::FindFirstFileExW(names.c_str(), FindExInfoBasic, &found,
                                       FindExSearchNameMatch, nullptr, FIND_FIRST_EX_LARGE_FETCH);
    if (search == INVALID_HANDLE_VALUE && ::GetLastError() != ERROR_FILE_NOT_FOUND)
        search = ::FindFirstFileW(names.c_str(), &found); // not every drive knows the faster way
    if (search == INVALID_HANDLE_VALUE)                   // an empty drive has no entry at all
        return ::GetLastError() == ERROR_FILE_NOT_FOUND || failNow();
    const auto close = qScopeGuard([search] { ::FindClose(search); });
    do {
        if (!goOn())
            return fail(Error::Cancelled);
        const std::wstring name = found.cFileName;
        if (name != L"." && name != L".." && !(found.dwFileAttributes & FILE_ATTRIBUTE_HIDDEN))
            entries->push_back(
                {narrow(name), (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0});
    } while (::FindNextFileW(search, &found));
    return ::GetLastError() == ERROR_NO_MORE_FILES || failNow();
}

bool makeFolders(const std::string &path)
{
    for (std::size_t end = 0; end != std::string::npos;) {
        end = path.find_first_of("/\\", end + 1);
        // Drives and shares refuse to be made, so only the last folder has to be there.
        ::CreateDirectoryW(native(path.substr(0, end)).c_str(), nullptr);
    }
    const Kind kind = kindOf(path);
    return kind == Kind::Folder || (kind != Kind::Missing && fail(Error::PathNotFound));
}

std::string configurationRoot()
{
    return folderFromEnvironment("APPDATA", CSIDL_APPDATA);
}

std::string stateRoot()
{
    return folderFromEnvironment("LOCALAPPDATA", CSIDL_LOCAL_APPDATA);
}

char separator()
{
    return '\\';
}

std::uint64_t threadId()
{
    return ::GetCurrentThreadId();
}

bool takeFromOthers(const std::string &path)
{
    const std::wstring name = native(path);
    DWORD size = 0;
    ::GetFileSecurityW(name.c_str(), DACL_SECURITY_INFORMATION, nullptr, 0, &size);
    if (size == 0) // nothing there, or a file system without rights
        return true;
    std::vector<unsigned char> descriptor(size);
    OwnerOnly owner;
    BOOL isThere = FALSE, isDefault = FALSE;
    PACL wanted = nullptr, found = nullptr;
    if (!owner.prepare() ||
        !::GetFileSecurityW(name.c_str(), DACL_SECURITY_INFORMATION, descriptor.data(), size,
                            &size) ||
        !::GetSecurityDescriptorDacl(descriptor.data(), &isThere, &found, &isDefault) ||
        !::GetSecurityDescriptorDacl(owner.attributes()->lpSecurityDescriptor, &isThere, &wanted,
                                     &isDefault))
        return failNow();
    const auto account = [](PACL list, DWORD index) -> PSID {
        void *entry = nullptr;
        const bool isRead = ::GetAce(list, index, &entry) != 0;
        return isRead ? &static_cast<ACCESS_ALLOWED_ACE *>(entry)->SidStart : nullptr;
    };
    bool isOpen = !found;
    for (DWORD i = 0; found && i < found->AceCount; ++i) {
        const PSID other = account(found, i);
        isOpen =
            isOpen || !other ||
            !(::EqualSid(other, account(wanted, 0)) || ::IsWellKnownSid(other, WinLocalSystemSid) ||
              ::IsWellKnownSid(other, WinCreatorOwnerSid) ||
              ::IsWellKnownSid(other, WinBuiltinAdministratorsSid));
    }
    return !isOpen ||
           ::SetFileSecurityW(name.c_str(), DACL_SECURITY_INFORMATION,
                              owner.attributes()->lpSecurityDescriptor) ||
           failNow();
}

} // namespace hq::system
