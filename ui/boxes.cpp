// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "boxes.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QCompleter>

void completeInList(QComboBox *box)
{
    auto *completer = new QCompleter(box->model(), box);
    completer->setCaseSensitivity(Qt::CaseInsensitive); // the box finds doubles by the same rule
    completer->setCompletionMode(QCompleter::PopupCompletion);
    // The list is a window of its own, without the style of the window that opens it.
    completer->popup()->setStyleSheet(box->window()->styleSheet());
    box->setCompleter(completer);
}
