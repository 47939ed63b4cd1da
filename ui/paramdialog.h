// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDialog>

class QLabel;
class QLineEdit;
class QPushButton;
class URL;

// Edits the credentials of the S3 source that it was opened for.
class ParamDialog : public QDialog
{
    Q_OBJECT
public:
    // `index` is the source's position in the list; `target` stays its owner's and may go while
    // the dialog is open.
    ParamDialog(QWidget *parent, int index, URL *target);

public slots:
    void onAccept();
    void onCancel();

signals:
    // `target` is null when the record has gone since the dialog was opened.
    void updateUrl(QString key, QString secret, QString region, QString bucket, URL *target,
                   int index);

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
    int index;
    URL *target;
};
