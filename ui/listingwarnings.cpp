// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "listingwarnings.h"

#include "warningbox.h"

#include <QMessageBox>

ListingWarnings::ListingWarnings(QWidget *window) : QObject(window), m_window(window) {}

void ListingWarnings::add(const QString &folder, quint64 entries, const QString &reason)
{
    const QString count =
        entries == 1 ? QStringLiteral("1 entry") : QStringLiteral("%1 entries").arg(entries);
    m_texts.append(QStringLiteral("The listing of <%1> broke off after %2:\n%3.\n\n"
                                  "\"List Again\" (F5) lists the folder once more.")
                       .arg(folder, count, reason));
    if (!m_box)
        showNext();
}

void ListingWarnings::showNext()
{
    if (m_texts.isEmpty())
        return;
    m_box = openWarning(m_window, QStringLiteral("ERROR: Listing incomplete"), m_texts.takeFirst());
    // Also when it is closed by its frame or by Escape.
    connect(m_box, &QDialog::finished, this, [this] {
        m_box.clear();
        showNext();
    });
}
