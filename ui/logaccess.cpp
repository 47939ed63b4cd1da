// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "logaccess.h"

#include "failures.h"
#include "warningbox.h"

#include <QAction>
#include <QDesktopServices>
#include <QDir>
#include <QEvent>
#include <QTextEdit>
#include <QUrl>

namespace {

// A tooltip breaks no line by itself.
QString wrapped(QString text)
{
    constexpr int maxLineLetters = 100;
    for (int begin = 0; text.size() - begin > maxLineLetters;) {
        const int blank = text.lastIndexOf(QLatin1Char(' '), begin + maxLineLetters);
        if (blank > begin)
            text[blank] = QLatin1Char('\n');
        else
            text.insert(begin + maxLineLetters, QLatin1Char('\n'));
        begin = text.indexOf(QLatin1Char('\n'), begin) + 1;
    }
    return text;
}

} // namespace

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
    // The first line keeps what stands in "<" and ">" from being taken for markup.
    m_box->setToolTip(line.isEmpty() ? QString()
                                     : tr("Last line of the error log:\n") + wrapped(line));
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
