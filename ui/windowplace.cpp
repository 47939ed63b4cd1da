// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "windowplace.h"

#include "treeviews.h"
#include "windowsettings.h"

#include <QApplication>
#include <QEvent>
#include <QScreen>
#include <QStyle>
#include <QTreeView>
#include <algorithm>

namespace {

const QLatin1String placeKey("Window/Place");
const QLatin1String maximizedKey("Window/Maximized");

QString widthsKey(const QTreeView *view, const QByteArray &kind)
{
    return QStringLiteral("Window/%1/%2").arg(view->objectName(), QString::fromLatin1(kind));
}

// The rectangle moved and, where it is too large, shrunk so that a window with this content lies
// within `screen`, its title bar of `titleBar` pixels too.
QRect clampedTo(const QRect &screen, int titleBar, const QRect &content)
{
    const QRect room = screen.adjusted(0, titleBar, 0, 0);
    const QSize size = content.size().boundedTo(room.size());
    return {std::clamp(content.x(), room.x(), room.right() + 1 - size.width()),
            std::clamp(content.y(), room.y(), room.bottom() + 1 - size.height()), size.width(),
            size.height()};
}

} // namespace

WindowPlace::WindowPlace(QWidget *window, QList<QTreeView *> views)
    : m_window(window), m_views(std::move(views)), m_firstSize(window->size())
{
    window->installEventFilter(this);
}

WindowPlace::~WindowPlace()
{
    if (m_shownAt.isValid())
        store();
}

bool WindowPlace::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Show && !event->spontaneous() && !m_shownAt.isValid()) {
        restore();
        m_shownAt = m_window->geometry();
    }
    return QObject::eventFilter(watched, event);
}

void WindowPlace::restore()
{
    const WindowSettings settings;
    const QRect place = settings.value(placeKey).toRect();
    if (place.isValid() && m_window->size() == m_firstSize) {
        const QScreen *screen = QGuiApplication::screenAt(place.center());
        if (!screen)
            screen = m_window->screen();
        const int titleBar = m_window->style()->pixelMetric(QStyle::PM_TitleBarHeight);
        m_window->setGeometry(clampedTo(screen->availableGeometry(), titleBar, place));
        if (settings.value(maximizedKey).toBool())
            m_window->setWindowState(m_window->windowState() | Qt::WindowMaximized);
    }
    for (QTreeView *view : m_views) {
        for (const QByteArray &kind : keptWidthsNames())
            view->setProperty(kind, settings.value(widthsKey(view, kind)));
        applyWidths(view);
    }
}

void WindowPlace::store() const
{
    WindowSettings settings;
    const QRect place = m_window->normalGeometry();
    const bool isMaximized = m_window->isMaximized();
    // What nobody changed stays what the program chooses. Where it was put before it had a frame
    // may be the frame's corner by now.
    const bool isUnchanged = place.size() == m_shownAt.size() && !isMaximized &&
                             (place.topLeft() == m_shownAt.topLeft() ||
                              m_window->frameGeometry().topLeft() == m_shownAt.topLeft());
    if (place.isValid() && (!isUnchanged || settings.contains(placeKey))) {
        settings.setValue(placeKey, place);
        settings.setValue(maximizedKey, isMaximized);
    }
    for (QTreeView *view : m_views) {
        keepWidths(view);
        for (const QByteArray &kind : keptWidthsNames()) {
            const QVariant widths = view->property(kind);
            if (widths.isValid())
                settings.setValue(widthsKey(view, kind), widths);
        }
    }
}
