// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "warningbox.h"

#include <QMessageBox>

void showWarning(QWidget *parent, const QString &title, const QString &text)
{
    QMessageBox box(QMessageBox::Warning, title, text, QMessageBox::Ok, parent);
    box.setTextFormat(Qt::PlainText);
    box.exec();
}

static void openBox(QMessageBox::Icon icon, QWidget *parent, const QString &title,
                    const QString &text)
{
    auto *box = new QMessageBox(icon, title, text, QMessageBox::Ok, parent);
    box->setTextFormat(Qt::PlainText);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}

void openWarning(QWidget *parent, const QString &title, const QString &text)
{
    openBox(QMessageBox::Warning, parent, title, text);
}

void openInformation(QWidget *parent, const QString &title, const QString &text)
{
    openBox(QMessageBox::Information, parent, title, text);
}
