// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "displaytext.h"

#include "addressforms.h"
#include "credentials.h"
#include "hqutil.h"
#include "outputfile.h"
#include "wholetext.h"

#include <QFileInfo>
#include <QStringList>
#include <QWidget>
#include <algorithm>

QString addressWithoutCredentials(const QString &address)
{
    const std::string text = address.toStdString();
    const bool isFlow = address.startsWith(QLatin1String("tamss://"));
    if (!isFlow && hqOSIsNetworkSource(text.c_str()) == 0)
        return address;
    if (const auto plain = hq::s3AddressWithoutCredentials(text))
        return QString::fromStdString(*plain);
    return QString::fromStdString(hq::harmlessAddress(text));
}

QString addressToShow(const QString &address)
{
    QString text = addressWithoutCredentials(usualAddress(address));
    const auto isHidden = [](QChar c) { return !c.isPrint() && !c.isSurrogate(); };
    std::replace_if(text.begin(), text.end(), isHidden, QChar(QChar::ReplacementCharacter));
    return text;
}

QString pathToShow(const QString &path)
{
    const QString native = hqNativePath(path);
    const bool isAddress = hqOSIsNetworkSource(path.toUtf8().constData()) != 0;
    return isAddress ? addressToShow(path) : hqNativePath(QFileInfo(native).absoluteFilePath());
}

QString plainToolTip(const QString &text)
{
    if (text.isEmpty())
        return text;
    // A path that is broken at its blanks and hyphens is hard to read; only a long one has to be.
    constexpr int maxLineLetters = 120;
    const QStringList lines = text.split(QLatin1Char('\n'));
    const bool isShort = std::all_of(lines.cbegin(), lines.cend(), [](const QString &line) {
        return line.size() <= maxLineLetters;
    });
    const QString start = isShort ? QStringLiteral("<p style='white-space:pre'>")
                                  : QStringLiteral("<p style='white-space:pre-wrap'>");
    return start + (isShort ? text : breakable(text)).toHtmlEscaped() + QStringLiteral("</p>");
}

void describe(QWidget *widget, const QString &text)
{
    widget->setToolTip(plainToolTip(text));
    widget->setAccessibleDescription(text);
}
