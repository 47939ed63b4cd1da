// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QFileInfo>
#include <QRegularExpression>

#ifdef Q_OS_WIN
#include <windows.h>

#include <aclapi.h>
#include <sddl.h>
constexpr bool isWindows = true;
#else
constexpr bool isWindows = false;
#endif

// Whether anyone but a file's owner, the system and administrators may do something with it. Also
// true when that cannot be found out.
inline bool othersHaveAccess(const QString &path)
{
#ifdef Q_OS_WIN
    const SECURITY_INFORMATION parts = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    wchar_t *text = nullptr;
    if (GetNamedSecurityInfoW(reinterpret_cast<const wchar_t *>(path.utf16()), SE_FILE_OBJECT,
                              parts, nullptr, nullptr, nullptr, nullptr,
                              &descriptor) == ERROR_SUCCESS)
        ConvertSecurityDescriptorToStringSecurityDescriptorW(descriptor, SDDL_REVISION_1, parts,
                                                             &text, nullptr);
    const QString rights = QString::fromWCharArray(text ? text : L"");
    LocalFree(text);
    LocalFree(descriptor);
    // O:owner D:flags(A;;rights;;;account)(A;;rights;;;account)...
    const QString owner = QRegularExpression("^O:(.*)D:").match(rights).captured(1);
    auto accounts = QRegularExpression(";;;([^)]*)\\)").globalMatch(rights);
    bool others = owner.isEmpty() || !accounts.hasNext();
    while (accounts.hasNext()) {
        const QString account = accounts.next().captured(1);
        others = others || !QStringList({owner, "SY", "BA"}).contains(account);
    }
    return others;
#else
    const auto others = QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup | QFile::ReadOther |
                        QFile::WriteOther | QFile::ExeOther;
    return !QFileInfo::exists(path) || (QFile::permissions(path) & others);
#endif
}
