// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "utf8settings.h"

#include <QSettings>

#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
#include <QTextCodec>

namespace {

// QSettings gives it each half of a character beyond U+FFFF on its own, and UTF-8 has no form for a
// half: Qt's codec drops both. Here the first waits for the second, which comes next.
class Utf8OfHalves : public QTextCodec
{
public:
    QByteArray name() const override { return "UTF-8-of-halves"; }
    int mibEnum() const override { return 2; } // IANA's "unknown"

protected:
    QString convertToUnicode(const char *text, int length, ConverterState *) const override
    {
        return QString::fromUtf8(text, length);
    }
    QByteArray convertFromUnicode(const QChar *text, int length, ConverterState *) const override
    {
        thread_local QChar first;
        if (length == 1 && text->isHighSurrogate()) {
            first = *text;
            return {};
        }
        if (length == 1 && text->isLowSurrogate()) {
            const QChar both[] = {first, *text};
            return QString(both, 2).toUtf8();
        }
        return QString(text, length).toUtf8();
    }
};

} // namespace
#endif

void hq::useUtf8([[maybe_unused]] QSettings &settings)
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    // Later ones know nothing else.
    static QTextCodec *const codec = new Utf8OfHalves; // Qt keeps and deletes it
    settings.setIniCodec(codec);
#endif
}
