// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "filename.h"

#include <QStringList>
#include <algorithm>

namespace {

// Whether a name without its extensions is a device's.
bool isDevice(const QString &stem)
{
    const QString name = stem.toUpper();
    if (name.size() == 4 &&
        (name.startsWith(QLatin1String("COM")) || name.startsWith(QLatin1String("LPT"))))
        return QStringLiteral("123456789\u00b9\u00b2\u00b3").contains(name[3]);
    static const QStringList others{QStringLiteral("CON"),    QStringLiteral("PRN"),
                                    QStringLiteral("AUX"),    QStringLiteral("NUL"),
                                    QStringLiteral("CONIN$"), QStringLiteral("CONOUT$")};
    return others.contains(name);
}

} // namespace

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
    if (!windows || result.isEmpty())
        return result;
    // Windows would drop them.
    if (result.endsWith(QLatin1Char('.')) || result.endsWith(QLatin1Char(' ')))
        result[result.size() - 1] = QLatin1Char('_');
    int stem = result.indexOf(QLatin1Char('.'));
    stem = stem < 0 ? result.size() : stem;
    while (stem > 0 && result[stem - 1] == QLatin1Char(' '))
        --stem;
    if (isDevice(result.left(stem)))
        result.insert(stem, QLatin1Char('_'));
    return result;
}
