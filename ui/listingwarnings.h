// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>
#include <QPointer>
#include <QStringList>

class QMessageBox;
class QWidget;

// Tells of listings that broke off, in one box after the other, without waiting. A child of the
// window.
class ListingWarnings : public QObject
{
    Q_OBJECT
public:
    explicit ListingWarnings(QWidget *window);

    // `folder` and `reason` hold no credentials.
    void add(const QString &folder, quint64 entries, const QString &reason);
    // Forgets what has not been shown: its source is left.
    void clear() { m_texts.clear(); }

private:
    void showNext();

    QWidget *m_window;
    QPointer<QMessageBox> m_box;
    QStringList m_texts; // that wait for the box
};
