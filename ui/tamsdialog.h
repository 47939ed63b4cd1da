// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDialog>

class QLabel;
class QLineEdit;
class QPushButton;

// Asks for a new TAMS repository. It checks nothing and is made to be shown again and again:
// "Accept" and "Cancel" empty the fields, closing the window keeps them.
class TamsDialog : public QDialog
{
    Q_OBJECT
public:
    explicit TamsDialog(QWidget *parent);

public slots:
    void onAccept();
    void onCancel();

signals:
    void addTams(QString tams, QString endpoint, QString oauth, QString id, QString secret);

private:
    void layoutFields();

    QPushButton *acceptButton;
    QPushButton *cancelButton;
    QLabel *tamsLabel;
    QLineEdit *tamsEdit;
    QLabel *endpointLabel;
    QLineEdit *endpointEdit;
    QLabel *oauthLabel;
    QLineEdit *oauthEdit;
    QLabel *idLabel;
    QLineEdit *idEdit;
    QLabel *secretLabel;
    QLineEdit *secretEdit;
};
