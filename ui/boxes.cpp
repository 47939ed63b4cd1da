// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "boxes.h"

#include "displaytext.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QCompleter>
#include <QHelpEvent>
#include <QLineEdit>
#include <QScreen>
#include <QScrollBar>
#include <QStyle>
#include <algorithm>

namespace {
constexpr int minBoxLetters = 12; // letters
}

LongTextBox::LongTextBox(QComboBox *box) : QObject(box), m_box(box)
{
    box->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    box->setMinimumContentsLength(minBoxLetters);
    box->setToolTip(box->currentText());
    connect(box, &QComboBox::currentTextChanged, box, &QWidget::setToolTip);

    box->installEventFilter(this);
    box->view()->parentWidget()->installEventFilter(this); // the list's window
}

bool LongTextBox::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_box && event->type() == QEvent::ToolTip) {
        showWholeText(static_cast<QHelpEvent *>(event)->globalPos(), m_box->toolTip(), m_box);
        return true;
    }
    const bool shows = event->type() == QEvent::Show;
    if (watched != m_box && (shows || event->type() == QEvent::Hide)) {
        if (shows)
            fitList();
        showListOpen(shows);
    }
    return QObject::eventFilter(watched, event);
}

// The list starts at the box's left edge and is as wide as the box until here.
void LongTextBox::fitList()
{
    QAbstractItemView *list = m_box->view();
    QWidget *window = list->parentWidget();
    const QRect screen = m_box->screen()->availableGeometry();
    const int bar = m_box->count() > m_box->maxVisibleItems()
                        ? list->verticalScrollBar()->sizeHint().width()
                        : 0;
    const int frames = window->width() - list->viewport()->width();
    const int wanted = list->sizeHintForColumn(0) + bar + std::max(frames, 2 * list->frameWidth());
    const int width = std::min(std::max(window->width(), wanted), screen.width());
    const int left = std::min(window->x(), screen.right() + 1 - width);
    window->setGeometry(std::max(screen.left(), left), window->y(), width, window->height());
}

void LongTextBox::showListOpen(bool open)
{
    if (!m_box->lineEdit())
        return;
    m_box->setProperty("listOpen", open);
    m_box->style()->unpolish(m_box);
    m_box->style()->polish(m_box);
}

void nameParts(QComboBox *box)
{
    box->view()->setAccessibleName(box->accessibleName());
    if (box->lineEdit())
        box->lineEdit()->setAccessibleName(box->accessibleName());
}

void completeInList(QComboBox *box)
{
    auto *completer = new QCompleter(box->model(), box);
    completer->setCaseSensitivity(Qt::CaseInsensitive); // the box finds doubles by the same rule
    completer->setCompletionMode(QCompleter::PopupCompletion);
    // The list is a window of its own, without the style of the window that opens it.
    // A view's space at its top would take the last row's place.
    completer->popup()->setStyleSheet(
        box->window()->styleSheet() +
        QStringLiteral("QListView { padding-top: 0; outline: none; }"));
    completer->popup()->setAccessibleName(box->accessibleName());
    box->setCompleter(completer);
}
