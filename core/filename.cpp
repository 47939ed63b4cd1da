// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "filename.h"

#include <algorithm>

QString fileNameOnDisk(const QString &name, NameRules rules)
{
    const bool windows = rules == NameRules::Windows;
    const auto refused = [windows](QChar character) {
        const ushort code = character.unicode();
        if (code == 0 || code == '/' || code == '\\')
            return true;
        return windows && (code < 0x20 || QStringLiteral("<>:\"|?*").contains(character));
    };
    QString result = name;
    std::replace_if(result.begin(), result.end(), refused, QLatin1Char('_'));
    return result;
}
