// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "targetbox.h"

#include "outputfile.h"

#include <QAction>
#include <QComboBox>
#include <QDir>
#include <QFileDialog>
#include <QLineEdit>
#include <QMenu>
#include <QStyle>

TargetBox::TargetBox(QComboBox *box) : QObject(box), m_box(box)
{
    QLineEdit *edit = box->lineEdit();
    const QStyle *style = box->style();
    m_mark = edit->addAction(style->standardIcon(QStyle::SP_MessageBoxWarning),
                             QLineEdit::LeadingPosition);
    m_mark->setToolTip(tr("This is not a folder that is there."));
    m_mark->setVisible(false);
    m_browse =
        edit->addAction(style->standardIcon(QStyle::SP_DirOpenIcon), QLineEdit::TrailingPosition);
    m_browse->setText(tr("Browse..."));
    m_browse->setToolTip(tr("Browse..."));
    connect(m_browse, &QAction::triggered, this, &TargetBox::browse);
    edit->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(edit, &QLineEdit::customContextMenuRequested, this, &TargetBox::showMenu);
}

void TargetBox::show(const TargetAnswer &answer)
{
    m_isFolder = answer.isFolder;
    const bool isMarked = answer.isKnown && !m_isFolder && !m_box->currentText().isEmpty();
    m_mark->setVisible(isMarked);
    m_box->lineEdit()->update(); // its text has moved
    m_box->lineEdit()->setAccessibleDescription(isMarked ? m_mark->toolTip() : QString());
}

void TargetBox::browse()
{
    auto *dialog = new QFileDialog(m_box->window(), tr("Target Folder"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly);
    // One that does not answer would hold the window.
    if (m_isFolder)
        dialog->setDirectory(hqNativePath(m_box->currentText()));
    connect(dialog, &QFileDialog::fileSelected, this, [this](const QString &folder) {
        m_box->setEditText(QDir::toNativeSeparators(folder));
        m_box->lineEdit()->setFocus(); // where Return keeps it
    });
    dialog->open();
}

void TargetBox::showMenu(const QPoint &place)
{
    QMenu *menu = m_box->lineEdit()->createStandardContextMenu();
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->addSeparator();
    menu->addAction(m_browse);
    menu->popup(m_box->lineEdit()->mapToGlobal(place));
}
