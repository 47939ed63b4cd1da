// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// How the window's combo boxes treat long texts and typing.
#pragma once

#include <QObject>

class QComboBox;

// Keeps a box from asking for more width when its texts are long. Its tooltip is the whole current
// text. Its list is as wide as the entries need, at most as the screen. While the list of an
// editable box is open the box has the property "listOpen", for the style sheet. A child of the
// box.
class LongTextBox : public QObject
{
public:
    explicit LongTextBox(QComboBox *box);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void fitList();
    void showListOpen(bool open);

    QComboBox *m_box;
};

// Gives the parts of the box the box's own accessible name: its list and its line edit.
void nameParts(QComboBox *box);

// Lets an editable box offer the entries that begin with the typed text, whatever their letter
// case, in a list below it. Nothing changes what was typed until one of them is chosen; Return
// takes the text as it stands.
void completeInList(QComboBox *box);
