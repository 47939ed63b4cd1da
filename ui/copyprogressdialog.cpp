// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "copyprogressdialog.h"

#include "dialogplacement.h"

#include <QLocale>
#include <QScreen>
#include <QShowEvent>
#include <QTimer>
#include <algorithm>

namespace {

constexpr int steps = 1000;

QString dataSize(double bytes)
{
    return QLocale().formattedDataSize(qint64(bytes), 1);
}

} // namespace

CopyProgressDialog::CopyProgressDialog(const QString &fileName, QWidget *window)
    : QProgressDialog(window), m_amount(std::make_shared<Amount>())
{
    setRange(0, steps);
    m_name = prepareProgress(this, tr("Localize File"), fileName);
    auto *timer = new QTimer(this);
    connect(timer, &QTimer::timeout, this, [this] { refresh(); });
    timer->start(250);
    m_sinceLast.start();
    refresh();
}

void CopyProgressDialog::stopOnCancel(const hq::StopToken &token)
{
    connect(this, &QProgressDialog::canceled, this, [this, token] {
        token.stop();
        end();
    });
}

void CopyProgressDialog::cancelNewest(const QWidget *window)
{
    auto copies = window->findChildren<CopyProgressDialog *>(QString(), Qt::FindDirectChildrenOnly);
    while (!copies.isEmpty() && copies.last()->m_ended)
        copies.removeLast();
    if (!copies.isEmpty())
        emit copies.last()->canceled();
}

void CopyProgressDialog::end()
{
    m_ended = true;
    hide();
    deleteLater();
}

void CopyProgressDialog::refresh()
{
    const qint64 done = m_amount->done;
    const qint64 total = m_amount->total;
    const double seconds = double(std::max<qint64>(m_sinceLast.restart(), 1)) / 1000;
    m_speed += (double(done - m_lastDone) / seconds - m_speed) * std::min(1.0, seconds);
    m_lastDone = done;

    QString amount = total < 0
                         ? dataSize(double(done))
                         : tr("%1 of %2").arg(dataSize(double(done)), dataSize(double(total)));
    setLabelText(m_name + QLatin1Char('\n') + amount + tr(", %1/s").arg(dataSize(m_speed)));
    // A value could bring the dialog up before its time.
    if (!isVisible())
        return;
    setMaximum(total < 0 && done > 0 ? 0 : steps);
    if (total > 0)
        setValue(int(double(done) / double(total) * steps));
}

void CopyProgressDialog::showEvent(QShowEvent *event)
{
    QProgressDialog::showEvent(event);
    if (event->spontaneous())
        return;
    const auto siblings =
        parent()->findChildren<CopyProgressDialog *>(QString(), Qt::FindDirectChildrenOnly);
    const auto taken = [&](int place) {
        return std::any_of(siblings.cbegin(), siblings.cend(), [&](const auto *other) {
            return other != this && other->isVisible() && other->m_place == place;
        });
    };
    m_place = 0;
    while (taken(m_place))
        ++m_place;
    const QRect window = parentWidget()->frameGeometry();
    const QRect available = parentWidget()->screen()->availableGeometry();
    const int titleBar = 40;
    const QPoint corner(window.right() + 8, window.top() + m_place * (height() + titleBar));
    move(std::max(available.left(), std::min(corner.x(), available.right() - width())),
         std::max(available.top(), std::min(corner.y(), available.bottom() - height() - titleBar)));
}
