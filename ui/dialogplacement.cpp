// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "dialogplacement.h"

#include <QDialog>
#include <QLabel>
#include <QPushButton>

namespace {
constexpr int edge = 4;
constexpr int rowStep = 31;
constexpr int height = 24;
constexpr int gap = 8;
constexpr int buttonsAboveBottom = 32;

// The first column of what stands beside a widget, counted from the widget's last one.
int rightOf(const QWidget *widget)
{
    return widget->geometry().right() + gap;
}
} // namespace

void placeRows(std::initializer_list<std::pair<QLabel *, QWidget *>> rows, int labelWidth,
               int fieldWidth)
{
    int top = edge;
    for (const auto &[label, field] : rows) {
        label->setGeometry(edge, top, labelWidth, height);
        field->setGeometry(rightOf(label), top, fieldWidth, height);
        top += rowStep;
    }
}

void placeButtons(const QDialog *dialog, QPushButton *accept, QPushButton *cancel, int offset,
                  int width)
{
    const int top = dialog->height() - buttonsAboveBottom;
    accept->setGeometry(dialog->width() / 2 - offset, top, width, height);
    cancel->setGeometry(rightOf(accept), top, width, height);
}
