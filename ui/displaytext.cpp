// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "displaytext.h"

#include "credentials.h"
#include "hqutil.h"

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
    QString text = addressWithoutCredentials(address);
    const auto isHidden = [](QChar c) { return !c.isPrint() && !c.isSurrogate(); };
    std::replace_if(text.begin(), text.end(), isHidden, QChar(QChar::ReplacementCharacter));
    return text;
}

QString plainToolTip(const QString &text)
{
    return QStringLiteral("<qt>") +
           text.toHtmlEscaped().replace(QLatin1Char('\n'), QLatin1String("<br>")) +
           QStringLiteral("</qt>");
}
