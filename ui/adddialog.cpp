// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "adddialog.h"

#include "dialogplacement.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

// The order in which the widgets are made is their keyboard focus order.
AddDialog::AddDialog(QWidget *parent)
    : QDialog(parent)
    , acceptButton(new QPushButton(tr("Accept"), this))
    , cancelButton(new QPushButton(tr("Cancel"), this))
    , keyLabel(new QLabel(tr("Key: "), this))
    , keyEdit(new QLineEdit(this))
    , regionLabel(new QLabel(tr("Region: "), this))
    , regionEdit(new QLineEdit(this))
    , secretLabel(new QLabel(tr("Secret: "), this))
    , secretEdit(new QLineEdit(this))
    , bucketLabel(new QLabel(tr("Bucket: "), this))
    , bucketEdit(new QLineEdit(this))
    , siteLabel(new QLabel(tr("Site: "), this))
    , siteEdit(new QLineEdit(this))
{
    setWindowTitle(tr("Add URL"));
    resize(500, 200);
    prepareForm(this, acceptButton, cancelButton);
}

void AddDialog::onAccept()
{
    emit addUrl(keyEdit->text(), secretEdit->text(), regionEdit->text(), bucketEdit->text(),
                siteEdit->text());
    closeEmptied(this);
}

void AddDialog::onCancel()
{
    closeEmptied(this);
}

void AddDialog::resizeEvent(QResizeEvent *event)
{
    QDialog::resizeEvent(event);
    placeS3Form(this,
                {{keyLabel, keyEdit},
                 {secretLabel, secretEdit},
                 {regionLabel, regionEdit},
                 {bucketLabel, bucketEdit},
                 {siteLabel, siteEdit}},
                acceptButton, cancelButton);
}
