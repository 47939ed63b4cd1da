// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Files on their way to their names.
#include "lasterror.h"
#include "temporaryfile.h"
#include "winapi.h"

#include <QScopeGuard>

#include <cstring>
#include <vector>

namespace hq::system {

namespace {

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

} // namespace

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
    *this = {}; // closed
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
    *this = {}; // closed
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
    const auto close = qScopeGuard([search] { ::FindClose(search); });
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
