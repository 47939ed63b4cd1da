// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>

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

    enum class Finding { Unknown, Folder, NoFolder };
    // What is known of the text that stands in the box.
    void show(Finding finding);

private:
    void browse();
    void showMenu(const QPoint &place);

    QComboBox *m_box;
    QAction *m_browse;
    QAction *m_mark;
    Finding m_finding = Finding::Unknown;
};
