// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "stoptoken.h"

#include <QElapsedTimer>
#include <QProgressDialog>
#include <atomic>
#include <memory>

// Shows one copy beside the main window: name, amount, speed. It appears when the copy has taken a
// second, without taking the keyboard, and deletes itself when it is told to end or the user
// cancels. A child of the window.
class CopyProgressDialog : public QProgressDialog
{
public:
    // Written by the copying thread, in bytes; -1 while unknown.
    struct Amount
    {
        std::atomic<qint64> done{0};
        std::atomic<qint64> total{-1};
    };

    CopyProgressDialog(const QString &fileName, QWidget *window);

    std::shared_ptr<Amount> amount() const { return m_amount; }

    // Stops the copy when the user cancels; the dialog goes at once, the copy by itself.
    void stopOnCancel(const hq::StopToken &token);
    void end();

    // Cancels the copy that was started last, whether its dialog is shown or not. Does nothing when
    // there is none.
    static void cancelNewest(const QWidget *window);

protected:
    void showEvent(QShowEvent *event) override;

private:
    void refresh();

    const std::shared_ptr<Amount> m_amount;
    QString m_name;
    QElapsedTimer m_sinceLast;
    qint64 m_lastDone = 0;
    double m_speed = 0; // bytes/s, smoothed
    int m_place = 0;    // among the dialogs beside the window, from the top
    bool m_ended = false;
};
