// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "logaccess.h"

#include "displaytext.h"
#include "failures.h"
#include "warningbox.h"

#include <QAction>
#include <QDesktopServices>
#include <QDir>
#include <QEvent>
#include <QTextEdit>
#include <QUrl>

LogAccess::LogAccess(QTextEdit *box) : QObject(box), m_box(box)
{
    auto *copy = new QAction(tr("Copy"), box);
    copy->setEnabled(false);
    connect(copy, &QAction::triggered, box, &QTextEdit::copy);
    connect(box, &QTextEdit::copyAvailable, copy, &QAction::setEnabled);
    auto *open = new QAction(tr("Open Error Log"), box);
    connect(open, &QAction::triggered, this, &LogAccess::openLog);
    box->addActions({copy, open});
    box->setContextMenuPolicy(Qt::ActionsContextMenu);
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
