// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "tamsdialog.h"

#include "dialogplacement.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

// The order in which the widgets are made is their keyboard focus order: the secret comes before
// the id.
TamsDialog::TamsDialog(QWidget *parent)
    : QDialog(parent)
    , acceptButton(new QPushButton(tr("Accept"), this))
    , cancelButton(new QPushButton(tr("Cancel"), this))
    , tamsLabel(new QLabel(tr("Tams Server: "), this))
    , tamsEdit(new QLineEdit(this))
    , endpointLabel(new QLabel(tr("Api Endpoint: "), this))
    , endpointEdit(new QLineEdit(this))
    , oauthLabel(new QLabel(tr("OAuth Server: "), this))
    , oauthEdit(new QLineEdit(this))
{
    secretLabel = new QLabel(tr("Client Secret: "), this);
    secretEdit = new QLineEdit(this);
    idLabel = new QLabel(tr("Client Id: "), this);
    idEdit = new QLineEdit(this);

    setWindowTitle(tr("Add TAMS Repository"));
    setFixedSize(600, 200);
    layoutFields();
    prepareForm(this, acceptButton, cancelButton);
}

void TamsDialog::onAccept()
{
    emit addTams(tamsEdit->text(), endpointEdit->text(), oauthEdit->text(), idEdit->text(),
                 secretEdit->text());
    closeEmptied(this);
}

void TamsDialog::onCancel()
{
    closeEmptied(this);
}

void TamsDialog::layoutFields()
{
    placeForm(this,
              {{tamsLabel, tamsEdit},
               {endpointLabel, endpointEdit},
               {oauthLabel, oauthEdit},
               {idLabel, idEdit},
               {secretLabel, secretEdit}},
              acceptButton, cancelButton, {80, width() - 160, 78, 86});
}
