// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "boxes.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QCompleter>
#include <QLineEdit>

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
