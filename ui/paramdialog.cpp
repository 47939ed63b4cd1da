// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "paramdialog.h"

#include "dialogplacement.h"
#include "url.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

// The order in which the widgets are made is their keyboard focus order.
ParamDialog::ParamDialog(QWidget *parent, int position, URL *record)
    : QDialog(parent)
    , acceptButton(new QPushButton(tr("Accept"), this))
    , cancelButton(new QPushButton(tr("Cancel"), this))
    , keyLabel(new QLabel(tr("Key: "), this))
    , keyEdit(new QLineEdit(record->getKey(), this))
    , regionLabel(new QLabel(tr("Region: "), this))
    , regionEdit(new QLineEdit(record->getRegion(), this))
    , secretLabel(new QLabel(tr("Secret: "), this))
    , secretEdit(new QLineEdit(record->getSecret(), this))
    , bucketLabel(new QLabel(tr("Bucket: "), this))
    , bucketEdit(new QLineEdit(record->getBucket(), this))
    , index(position)
    , target(record)
{
    setWindowTitle(tr("Set Params"));
    // A later record may get the same address, and would then be taken for this one.
    connect(target, &QObject::destroyed, this, [this] { target = nullptr; });
    resize(500, 200);
    prepareForm(this, acceptButton, cancelButton);
}

void ParamDialog::onAccept()
{
    emit updateUrl(keyEdit->text(), secretEdit->text(), regionEdit->text(), bucketEdit->text(),
                   target, index);
    close();
}

void ParamDialog::onCancel()
{
    close();
}

void ParamDialog::resizeEvent(QResizeEvent *event)
{
    QDialog::resizeEvent(event);
    placeS3Form(this,
                {{keyLabel, keyEdit},
                 {secretLabel, secretEdit},
                 {regionLabel, regionEdit},
                 {bucketLabel, bucketEdit}},
                acceptButton, cancelButton);
}
