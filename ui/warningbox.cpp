// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "warningbox.h"

#include "displaytext.h"

#include <QMessageBox>

void showWarning(QWidget *parent, const QString &title, const QString &text)
{
    QMessageBox box(QMessageBox::Warning, title, text, QMessageBox::Ok, parent);
    box.setTextFormat(Qt::PlainText);
    wrapLongWords(&box);
    box.exec();
}

static QMessageBox *openBox(QMessageBox::Icon icon, QWidget *parent, const QString &title,
                            const QString &text)
{
    auto *box = new QMessageBox(icon, title, text, QMessageBox::Ok, parent);
    box->setTextFormat(Qt::PlainText);
    wrapLongWords(box);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
    return box;
}

QMessageBox *openWarning(QWidget *parent, const QString &title, const QString &text)
{
    return openBox(QMessageBox::Warning, parent, title, text);
}

QMessageBox *openInformation(QWidget *parent, const QString &title, const QString &text)
{
    return openBox(QMessageBox::Information, parent, title, text);
}
