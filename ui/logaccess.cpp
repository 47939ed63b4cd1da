// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "logaccess.h"

#include "contextmenu.h"
#include "displaytext.h"
#include "errorlog.h"
#include "warningbox.h"

#include <QAction>
#include <QDesktopServices>
#include <QDir>
#include <QEvent>
#include <QTextEdit>
#include <QUrl>

LogAccess::LogAccess(QTextEdit *box) : QObject(box), m_box(box)
{
    QAction *copy = addMenuAction(box, this, tr("Copy"), [box] { box->copy(); });
    copy->setEnabled(false);
    connect(box, &QTextEdit::copyAvailable, copy, &QAction::setEnabled);
    addMenuAction(box, this, tr("Open Error Log"), [this] { openLog(); });
    box->viewport()->installEventFilter(this);
}

void LogAccess::refresh()
{
    QString line = QString::fromStdString(hq::lastLogLine());
    const QString error = QStringLiteral("ERROR: ");
    if (line.startsWith(error))
        line.remove(0, error.size());
    describe(m_box, line.isEmpty() ? line : tr("Last line of the error log:\n") + line);
}

bool LogAccess::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::ToolTip)
        refresh();
    return QObject::eventFilter(watched, event);
}

void LogAccess::openLog()
{
    const QString path = QDir::fromNativeSeparators(QString::fromStdString(hq::errorLogPath()));
    if (path.isEmpty() || !QDesktopServices::openUrl(QUrl::fromLocalFile(path)))
        openWarning(m_box->window(), tr("Unable to open the error log"),
                    tr("Unable to open the error log <%1>").arg(QDir::toNativeSeparators(path)));
}
