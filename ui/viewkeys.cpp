// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "viewkeys.h"

#include <QAbstractItemView>
#include <QGuiApplication>
#include <QItemSelectionModel>
#include <QKeyEvent>
#include <QStyleHints>

ViewKeys::ViewKeys(QAbstractItemView *view) : QObject(view), m_view(view)
{
    view->installEventFilter(this);
}

bool ViewKeys::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() != QEvent::KeyPress)
        return QObject::eventFilter(watched, event);
    const auto *key = static_cast<QKeyEvent *>(event);
    if (!isClick(key))
        return false;
    const QModelIndex index = m_view->currentIndex();
    if (!index.isValid())
        return false;
    // A key that is held down is one click.
    if (!key->isAutoRepeat()) {
        m_view->selectionModel()->select(index, QItemSelectionModel::ClearAndSelect |
                                                    QItemSelectionModel::Rows);
        emit m_view->clicked(index);
    }
    return true;
}

// Keeps the time of type-ahead by the view's own rule: each letter goes on with the name when it
// comes soon enough after the one before, and then a blank is a letter like the others.
bool ViewKeys::isClick(const QKeyEvent *key)
{
    if (key->modifiers() & ~(Qt::KeypadModifier | Qt::ShiftModifier))
        return false;
    if (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter)
        return !(key->modifiers() & Qt::ShiftModifier);
    const bool goesOn =
        m_sinceTypeAhead.isValid() &&
        m_sinceTypeAhead.elapsed() <= QGuiApplication::styleHints()->keyboardInputInterval();
    const bool isSpace = key->key() == Qt::Key_Space;
    if (isSpace && !goesOn)
        return !(key->modifiers() & Qt::ShiftModifier);
    const QString text = key->text();
    if (!text.isEmpty() && text.at(0).isPrint())
        m_sinceTypeAhead.start();
    return false;
}
