// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDialog>

class QLabel;
class QLineEdit;
class QPushButton;

// Asks for a new S3 source. It checks nothing and is made to be shown again and again: "Accept"
// and "Cancel" empty the fields, closing the window keeps them.
class AddDialog : public QDialog
{
    Q_OBJECT
public:
    explicit AddDialog(QWidget *parent);

public slots:
    void onAccept();
    void onCancel();

signals:
    void addUrl(QString key, QString secret, QString region, QString bucket, QString site);

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    QPushButton *acceptButton;
    QPushButton *cancelButton;
    QLabel *keyLabel;
    QLineEdit *keyEdit;
    QLabel *regionLabel;
    QLineEdit *regionEdit;
    QLabel *secretLabel;
    QLineEdit *secretEdit;
    QLabel *bucketLabel;
    QLineEdit *bucketEdit;
    QLabel *siteLabel;
    QLineEdit *siteEdit;
};
