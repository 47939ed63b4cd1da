// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "targetlook.h"

class QAction;
class QComboBox;

// Lets a person choose the text of the target box with the system's dialog, and marks a text that
// is no folder. Nothing is stored before Return is pressed in the box.
class TargetBox : public QObject
{
    Q_OBJECT
public:
    // `box` is editable and keeps its line edit.
    explicit TargetBox(QComboBox *box);

    // What is known of the text that stands in the box.
    void show(const TargetAnswer &answer);

private:
    void browse();
    void showMenu(const QPoint &place);

    QComboBox *m_box;
    QAction *m_browse;
    QAction *m_mark;
    bool m_isFolder = false;
};
